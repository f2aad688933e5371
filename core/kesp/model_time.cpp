#include "core/kesp/model_time.hpp"

#include "core/kesp/errors.hpp"

namespace Velmora::Core::Kesp {

ModelTime fromMilliseconds(std::int64_t ms) {
    constexpr std::int64_t greatest_ms = end_of_time / nanoseconds_per_millisecond;
    // One unsigned comparison covers both ends of [-greatest_ms, greatest_ms].
    const std::uint64_t offset =
        static_cast<std::uint64_t>(ms) + static_cast<std::uint64_t>(greatest_ms);
    if (offset > 2 * static_cast<std::uint64_t>(greatest_ms)) {
        throw TimeOverflow("KESP model time conversion overflow");
    }
    return ms * nanoseconds_per_millisecond;
}

void throwTimeOverflow() {
    throw TimeOverflow("KESP model time overflow");
}

} // namespace Velmora::Core::Kesp
