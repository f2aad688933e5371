#pragma once

#include "core/kesp/workspace/window.hpp"

#include <cstdint>
#include <span>

namespace Velmora::Core::Kesp {

/// Counts the positions at which a rate moved by more than a relative tolerance between a baseline
/// and a perturbed trial. This is how availability is measured: content is available where
/// perturbing it changes a response.
///
/// Entries are matched by position, and only their rate_hz is read. With baseline rate b and
/// perturbed rate p a response changed when |p - b| / |b| > `tolerance`; from a silent baseline, b
/// = 0, any activity is a change. A rate that is not a number never counts. The order of the
/// arguments matters; the views are not kept.
///
/// Throws InvalidWorkspace "availability needs matching module sets" when the lengths differ, then
/// "availability tolerance must be finite and >= 0".
[[nodiscard]] std::uint64_t countChangedModules(std::span<const CoalitionActivity> baseline,
                                                std::span<const CoalitionActivity> perturbed,
                                                double tolerance);

} // namespace Velmora::Core::Kesp
