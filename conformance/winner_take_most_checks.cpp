#include "conformance/winner_take_most_checks.hpp"

#include "conformance/check.hpp"
#include "conformance/check_groups.hpp"
#include "conformance/scenario.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/workspace/report.hpp"
#include "core/kesp/workspace/standard_workspace.hpp"
#include "core/kesp/workspace/trial.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Velmora::Conformance {

using namespace Core::Kesp;

namespace {

constexpr std::uint64_t trial_seed = 11;
constexpr ModelTime window_step = 250 * nanoseconds_per_millisecond;
constexpr std::size_t expected_windows = 24;

bool everWon(std::span<const WorkspaceWindow> windows, std::uint64_t coalition) {
    return std::ranges::any_of(windows, [coalition](const WorkspaceWindow& window) {
        return window.dominant == coalition;
    });
}

} // namespace

void checkWinnerTakeMost(std::span<const WorkspaceWindow> windows) {
    check(windows.size() == expected_windows, "the window series has the wrong length");

    std::size_t clear_windows = 0;
    double residual_sum_hz = 0.0;
    for (const WorkspaceWindow& window : windows) {
        if (window.dominance > lock_in_dominance) {
            ++clear_windows;
        }
        residual_sum_hz += window.residual_rate_hz;
    }
    check(clear_windows >= 2 * windows.size() / 3,
          "no clear winner emerged from the recurrent topology");
    check(residual_sum_hz / static_cast<double>(windows.size()) > 0.5,
          "the suppressed coalition was silenced, which is absolute winner-take-all instead of "
          "winner-take-most");

    check(countReversals(windows) >= 3,
          "a constant ambivalent stimulus produced no perceptual reversals");
    check(everWon(windows, 0) && everWon(windows, 1), "only one coalition ever took over");
    check(!workspaceReport(windows.front()).empty(), "the workspace report is empty");
}

void runWinnerTakeMostChecks() {
    const ModelTime duration = fromMilliseconds(6000);
    const auto trace = runWorkspaceTrial(trial_seed, standardTrialConfig(), duration);
    checkWinnerTakeMost(
        analyzeWindows(trace, standardCoalitions(), 0, duration, window_step, ignition_threshold));
}

} // namespace Velmora::Conformance
