#include "core/kesp/errors.hpp"
#include "core/kesp/model_time.hpp"
#include "tests/support/expect_error.hpp"

namespace Velmora::Tests {

using namespace Core::Kesp;

static_assert(std::is_base_of_v<std::out_of_range, SynapseRoutingViolation>);

TEST(ModelTime, HoldsUpToTheEndsOfItsRange) {
    constexpr std::int64_t edge = 9'223'372'036'854;
    for (const std::int64_t d : {1, -1}) {
        const ModelTime end = d > 0 ? end_of_time : before_any_event;
        EXPECT_EQ(addChecked(end - d, d), end);
        EXPECT_EQ(fromMilliseconds(d * edge), d * edge * 1'000'000);
        expectError<TimeOverflow>([&] { return addChecked(end, d); }, "KESP model time overflow");
        expectError<TimeOverflow>([&] { return fromMilliseconds(d * (edge + 1)); },
                                  "KESP model time conversion overflow");
    }
}

} // namespace Velmora::Tests
