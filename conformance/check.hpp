#pragma once

#include "core/kesp/errors.hpp"

#include <concepts>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

/// How the conformance program asserts what it asserts.
namespace Velmora::Conformance {

/// Demands that a property holds. Nothing happens when it does.
///
/// Throws std::runtime_error "workspace: " followed by `message` when `condition` is false.
inline void check(bool condition, std::string_view message) {
    if (!condition) {
        throw std::runtime_error("workspace: " + std::string(message));
    }
}

/// Whether `operation` throws InvalidWorkspace, with whatever message; false when it returns. Any
/// other exception passes through.
template <std::invocable Operation>
[[nodiscard]] bool refusedAsInvalid(Operation&& operation) {
    try {
        std::invoke(std::forward<Operation>(operation));
    } catch (const Core::Kesp::InvalidWorkspace&) {
        return true;
    }
    return false;
}

} // namespace Velmora::Conformance
