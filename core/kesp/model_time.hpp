#pragma once

#include "core/kesp/exact_arithmetic.hpp"

#include <cstdint>
#include <limits>

namespace Velmora::Core::Kesp {

/// A point or a span of model time: an exact, signed count of nanoseconds. A run starts at 0;
/// negative times are representable. Two times are equal only when their nanosecond counts are.
/// Intervals are half-open, [start, end), wherever two times bound one.
using ModelTime = std::int64_t;

/// Before any event: the current time of a queue from which nothing has been taken yet.
inline constexpr ModelTime before_any_event = std::numeric_limits<ModelTime>::min();

/// The greatest representable time.
inline constexpr ModelTime end_of_time = std::numeric_limits<ModelTime>::max();

/// One millisecond of model time.
inline constexpr ModelTime nanoseconds_per_millisecond = 1'000'000;
/// One second of model time.
inline constexpr ModelTime nanoseconds_per_second = 1'000'000'000;

/// The model time of `ms` whole milliseconds.
///
/// Valid for |ms| <= 9,223,372,036,854, the greatest count whose nanoseconds fit in 64 signed bits.
/// Throws TimeOverflow "KESP model time conversion overflow" outside that range.
[[nodiscard]] ModelTime fromMilliseconds(std::int64_t ms);

/// Throws TimeOverflow "KESP model time overflow".
[[noreturn]] void throwTimeOverflow();

/// t + d, where d is a signed number of nanoseconds.
///
/// Throws TimeOverflow "KESP model time overflow" when the sum leaves the 64-bit range; it is
/// tested before the addition, so no wrapped value is ever formed.
[[nodiscard]] constexpr ModelTime addChecked(ModelTime t, std::int64_t d) {
    if ((d > 0 && t > end_of_time - d) || (d < 0 && t < before_any_event - d)) {
        throwTimeOverflow();
    }
    return t + d;
}

/// The length of [from, to) in seconds, for from <= to, however far apart.
[[nodiscard]] constexpr double secondsBetween(ModelTime from, ModelTime to) {
    return static_cast<double>(static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from))
           / 1e9;
}

} // namespace Velmora::Core::Kesp
