#include "core/kesp/errors.hpp"
#include "core/kesp/workspace/response.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(ResponseClassification, ComparesTheSteepestSlopeWithTheMean) {
    using Values = std::vector<double>;
    const auto jumps = [](const Values& levels, const Values& responses, double cutoff) {
        return isThresholdResponse(levels, responses, cutoff);
    };
    const Values rising{0.0, 0.25, 0.5, 0.75, 1.0};
    EXPECT_FALSE(jumps(rising, {0.0, 0.01, 0.02, 0.98, 0.99}, 3.879)); // 3.84 / 0.99
    EXPECT_TRUE(jumps({2.0, 1.0, 0.0}, {0.0, 2.0, 2.0}, 2.0));         // the cutoff itself
    EXPECT_FALSE(jumps({0.0, 1.0, 4.0}, {0.0, 1.0, 4.0}, 1.01));
    EXPECT_FALSE(jumps(rising, {7.0, 7.0, 7.0, 7.0, 7.0}, 1.5));
    EXPECT_FALSE(jumps(rising, {0.0, std::nan(""), 0.0, 0.0, 9.0}, 1.5));

    const auto refuse = [&](const char* error, const Values& levels, std::size_t n, double cutoff) {
        expectError<InvalidWorkspace>([&] { jumps(levels, Values(n), cutoff); }, error);
    };
    refuse("response classification needs a sweep of >= 3 points", {0.0, 1.0}, 2, std::nan(""));
    refuse("response classification needs a sweep of >= 3 points", rising, 4, 3.0);
    refuse("steepness cutoff must be > 1", {0.0, 1.0, 1.0}, 3, 1.0);
    refuse("steepness cutoff must be > 1", {0.0, 1.0, 1.0}, 3, HUGE_VAL);
    refuse("response sweep repeats a stimulus level", {0.0, 1.0, 2.0, 2.0}, 4, 1.5);
}

} // namespace Velmora::Tests
