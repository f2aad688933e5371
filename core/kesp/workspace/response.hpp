#pragma once

#include "core/kesp/exact_arithmetic.hpp"

#include <span>

namespace Velmora::Core::Kesp {

/// Whether a stimulus-response sweep jumps (true) or rises smoothly (false).
///
/// Response k belongs to level k; levels need not be sorted, and neighbours are paired in the order
/// given. With the slopes s_k = |(r_k - r_(k-1)) / (x_k - x_(k-1))|, the response is a threshold
/// when max s / mean s >= `steepness_cutoff`. A flat response is smooth, and so is one whose mean
/// slope is not a number. With n points the ratio never exceeds n - 1. The views are not kept.
///
/// Throws InvalidWorkspace, in this order: "response classification needs a sweep of >= 3 points"
/// when the lengths differ or are below 3; "steepness cutoff must be > 1" when the cutoff is not
/// finite or not above 1; "response sweep repeats a stimulus level" when two neighbouring levels
/// are equal.
[[nodiscard]] bool isThresholdResponse(std::span<const double> levels,
                                       std::span<const double> responses, double steepness_cutoff);

} // namespace Velmora::Core::Kesp
