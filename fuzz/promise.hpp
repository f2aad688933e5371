#pragma once

#include "core/kesp/errors.hpp"

#include <concepts>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>

namespace Velmora::Fuzz {

/// Ends the process, for the engine to keep the input that led here, unless the promise was kept.
inline void promise(bool kept, std::string_view what) {
    if (!kept) {
        std::cerr << "broken promise: " << what << std::endl;
        std::abort();
    }
}

/// The error that left an operation.
struct Refusal {
    const std::type_info* type = nullptr;
    std::string text;

    friend bool operator==(const Refusal& a, const Refusal& b) {
        return *a.type == *b.type && a.text == b.text;
    }
};

/// Whether the core documents an error of this type with this text.
[[nodiscard]] bool isDocumented(const Refusal& refusal);

/// Runs an operation; returns the error that left it, which must be a documented one.
template <std::invocable Operation>
std::optional<Refusal> refusalOf(Operation&& operation) {
    try {
        std::invoke(std::forward<Operation>(operation));
    } catch (const std::exception& error) {
        Refusal refusal{.type = &typeid(error), .text = error.what()};
        promise(isDocumented(refusal), "an undocumented error: " + refusal.text);
        return refusal;
    }
    return std::nullopt;
}

} // namespace Velmora::Fuzz
