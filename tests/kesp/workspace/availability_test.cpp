#include "core/kesp/errors.hpp"
#include "core/kesp/workspace/availability.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(Availability, CountsRatesThatMovedByMoreThanTheTolerance) {
    const auto count = [](double before, double after, double tolerance) {
        const std::vector<CoalitionActivity> baseline{{0, 1, before}, {1, 1, 0.0}, {2, 1, before}};
        const std::vector<CoalitionActivity> perturbed{{7, 7, after}, {1, 1, 0.0}, {2, 1, after}};
        return countChangedModules(baseline, perturbed, tolerance);
    };
    EXPECT_EQ(count(10.0, 10.5, 0.05), 0U); // the tolerance itself
    EXPECT_EQ(count(20.0, 10.0, 0.5), 0U);  // relative to the baseline
    EXPECT_EQ(count(-4.0, -2.9, 0.25), 2U);
    EXPECT_EQ(count(0.0, 0.001, 9.0), 2U); // from silence, any activity
    const double nan = std::nan("");
    EXPECT_EQ(count(nan, 1.0, 0.0) + count(1.0, nan, 0.0) + count(0.0, nan, 0.0), 0U);
    for (const double tolerance : {-0.01, HUGE_VAL, nan}) {
        expectError<InvalidWorkspace>([&] { count(1.0, 1.0, tolerance); },
                                      "availability tolerance must be finite and >= 0");
    }
    const auto mismatch = [] { static_cast<void>(countChangedModules({}, {{{}}}, -1.0)); };
    expectError<InvalidWorkspace>(mismatch, "availability needs matching module sets");
}

} // namespace Velmora::Tests
