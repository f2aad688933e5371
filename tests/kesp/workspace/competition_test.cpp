#include "core/kesp/errors.hpp"
#include "core/kesp/workspace/competition.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(Competition, IsRefusedAtTheFirstRuleThatFails) {
    const auto refuse = [](const char* error, const std::vector<CompetitionSpec>& specs) {
        for (const CompetitionSpec& spec : specs) {
            expectError<InvalidWorkspace>([&] { validateCompetition(spec); }, error);
        }
    };
    const std::vector<Coalition> even{{0, 1, 2, 3}, {4, 5, 6, 7}};
    // Coalitions, recurrent and lateral weight, their delays, broadcast and feedback weight, ...
    refuse("competition needs at least two participants", {{{{}}, -1, 1.0, 0, 0, 0, 0, 0, 0, {}}});
    refuse("a competing coalition has no members", {{{{0}, {}}, -1, 1.0, 0, 0, 0, 0, 0, 0, {}}});
    refuse("competition weights must be finite and >= 0",
           {{even, std::nan(""), 0.0, 0, 0, 0, 0, 0, 0, {}},
            {even, 1.0, HUGE_VAL, 0, 0, 0, 0, 0, 0, {}},
            {even, 1.0, 1.0, 0, 0, -HUGE_VAL, 0, 0, 0, {}},
            {even, 1.0, 1.0, 0, 0, 0, -0.1, 0, 0, {}}});
    refuse("competition needs both recurrent excitation and lateral inhibition",
           {{even, -0.0, 1.0, 0, 0, 0, 0, 0, 0, {}}, {even, 1.0, 0.0, 0, 0, 0, 0, 0, 0, {}}});
    refuse("lateral inhibition would exceed the recurrent drive of a coalition, which gives "
           "absolute winner-take-all instead of winner-take-most",
           {{{{0, 1}, {4, 5, 6}}, 1.0, 1.0001, 0, 0, 0, 0, 0, 0, {}}});
    validateCompetition({even, 1.0, 3.0, 0, 0, -0.0, 0, 0, 0, {}});
    validateCompetition({{{0, 1, 2, 3}, {4, 5}}, 1.0, 3.0, -1, -1, 0, 0, 0, 0, {}});
    validateCompetition({{{0}, {1, 2, 3}}, 1.0, 99.0, 0, 0, 0, 0, 0, 0, {}});
    const auto& [c, recurrent, lateral, d0, d1, broadcast, feedback, d2, d3, m] = CompetitionSpec{};
    EXPECT_EQ(std::tuple(recurrent, lateral, broadcast, feedback, d0, d1, d2, d3),
              std::tuple(0.0, 0.0, 0.0, 0.0, 0, 0, 0, 0));
}

} // namespace Velmora::Tests
