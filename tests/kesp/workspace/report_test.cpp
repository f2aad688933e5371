#include "core/kesp/workspace/report.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <locale>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(WorkspaceReport, IsTheSameTextUnderEveryGlobalLocale) {
    struct GroupedDigits : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
    };
    WorkspaceWindow w{-15, 2500, {{0, 8, 40}, {12, 9, 123'456}}, 9999.7, true, 1, 0.84616, 1.23e-5};
    const auto usual = std::locale::global({std::locale::classic(), new GroupedDigits});
    const std::string report = workspaceReport(w);
    std::locale::global(usual);
    EXPECT_EQ(report, "### Workspace\nwindow:            [-15, 2500)\nG(t):              1e+04\n"
                      "ignited:           yes\ndominant:          1\ndominance:         0.8462\n"
                      "residual rate:     1.23e-05 Hz\ncoalition 0:       40 Hz (8 spikes)\n"
                      "coalition 12:       1.235e+05 Hz (9 spikes)\n");
    EXPECT_EQ(workspaceReport({0, 0, {{0, 0, -NAN}}, -NAN, false, {}, NAN, -NAN}),
              "### Workspace\nwindow:            [0, 0)\nG(t):              nan\n"
              "ignited:           no\ndominant:          none\ndominance:         nan\n"
              "residual rate:     nan Hz\ncoalition 0:       nan Hz (0 spikes)\n");
}

TEST(Reversals, AreChangesOfTheDominantCoalitionAcrossGaps) {
    std::vector<WorkspaceWindow> windows(9);
    windows[2].dominant = windows[3].dominant = windows[5].dominant = 0;
    windows[4].dominant = windows[6].dominant = 1;
    windows[8].dominant = 2;
    EXPECT_EQ(countReversals(windows), 4U);
}

} // namespace Velmora::Tests
