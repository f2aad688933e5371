#include "core/kesp/errors.hpp"
#include "core/kesp/model_time.hpp"
#include "tests/support/expect_error.hpp"

namespace Velmora::Tests {

using namespace Core::Kesp;

template <typename Base, typename... Errors>
constexpr bool all_are = (std::is_base_of_v<Base, Errors> && ...);
static_assert(all_are<std::runtime_error, TimeOverflow, CausalityViolation, EmptyEventQueue>);
static_assert(all_are<std::invalid_argument, InvalidOscillator, InvalidSynapse, InvalidWorkspace,
                      InvalidNeuronParameters, InvalidFiringParameters, InvalidIntervention>);
static_assert(all_are<std::logic_error, NeuronCausalityViolation, NeuronRefractoryViolation,
                      NeuronRoutingViolation, HazardBoundViolation, SynapseRoutingViolation>);

TEST(ModelTime, HoldsUpToTheEndsOfItsRange) {
    constexpr std::int64_t edge = 9'223'372'036'854;
    for (const std::int64_t sign : {1, -1}) {
        EXPECT_EQ(fromMilliseconds(sign * edge), sign * edge * 1'000'000);
        EXPECT_EQ(addChecked(sign * (end_of_time - 1), sign), sign * end_of_time);
        expectError<TimeOverflow>([&] { return fromMilliseconds(sign * (edge + 1)); },
                                  "KESP model time conversion overflow");
        expectError<TimeOverflow>([&] { return addChecked(sign * end_of_time, 2 * sign); },
                                  "KESP model time overflow");
    }
    EXPECT_EQ(addChecked(before_any_event + 1, -1), before_any_event);
}

} // namespace Velmora::Tests
