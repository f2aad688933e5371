#include "conformance/check.hpp"
#include "conformance/ignition_checks.hpp"
#include "conformance/intervention_checks.hpp"
#include "conformance/run_conformance.hpp"
#include "conformance/scenario.hpp"
#include "conformance/symmetry_and_bias_checks.hpp"
#include "conformance/winner_take_most_checks.hpp"
#include "core/kesp/workspace/report.hpp"
#include "core/kesp/workspace/standard_workspace.hpp"
#include "tests/support/trace_digest.hpp"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace Velmora::Tests {

using namespace Conformance;
using namespace Core::Kesp;

constexpr ModelTime ms = nanoseconds_per_millisecond;

TEST(Program, IgnoresItsArgumentsAndWritesOneLine) {
    const std::string path = VELMORA_CONFORMANCE_PROGRAM;
    const std::string run = "'" + path + "' --help >'" + path + ".out' 2>'" + path + ".err'";
    EXPECT_EQ(std::system(run.c_str()), 0); // NOLINT(cert-env33-c): it is fixed
    const auto out = (std::ostringstream() << std::ifstream(path + ".out").rdbuf()).str();
    EXPECT_EQ(out, "workspace selector=NONE lowering=INHIBITORY-TOPOLOGY symmetry=BREAKS-UNBIASED "
                   "bias=AMPLIFIED winner=TAKE-MOST reversals=SPONTANEOUS ignition=MEASURED "
                   "broadcast/feedback=SEPARABLE availability=BY-PERTURBATION\n");
    EXPECT_EQ(std::ifstream(path + ".err").get(), EOF);
}

TEST(Program, EndsAtTheFirstFailure) {
    const CheckGroup fail = [] { check(false, "first"); };
    const CheckGroup overflow = [] { static_cast<void>(fromMilliseconds(end_of_time)); };
    const CheckGroup never = [] { ADD_FAILURE() << "a group ran after a failure"; };
    const auto run = [](const std::vector<CheckGroup>& groups) {
        std::ostringstream out;
        std::ostringstream err;
        const int status = runConformance(groups, out, err);
        return std::tuple(status, out.str(), err.str());
    };
    EXPECT_EQ(run({fail, overflow, never}), std::tuple(1, "", "workspace: first\n"));
    EXPECT_EQ(run({overflow, never}), std::tuple(1, "", "KESP model time conversion overflow\n"));
    EXPECT_THROW(run({[] { throw 3; }, never}), int);
}

/// The message of the check that a judgement fails, without its prefix; empty when all hold.
std::string failure(auto judge, const auto&... measured) {
    try {
        judge(measured...);
    } catch (const std::runtime_error& error) {
        return std::string(error.what()).substr(11);
    }
    return "";
}

TEST(CheckGroups, RunTheKnownTrialsAndMeasureTheKnownFigures) {
    std::uint64_t events = 0;
    std::uint64_t digest = traceDigest({});
    const auto run = [&](std::uint64_t seed, const WorkspaceTrialConfig& setup, ModelTime duration,
                         ModelTime step, const Perturbation* perturbation = nullptr) {
        Core::Runtime::RandomContext random(seed);
        auto trial = prepareWorkspaceTrial(std::move(random), setup, duration, perturbation);
        trial.drain();
        events += trial.eventCount();
        digest = traceDigest(trial.trace(), digest);
        return analyzeWindows(trial.trace(), standardCoalitions(), 0, duration, step, 1.0);
    };
    std::vector<int> won;
    for (const double bias : {0.0, -2.0, -0.8, -0.25, 0.0, 0.25, 0.8, 2.0}) {
        won.push_back(0);
        for (std::uint64_t seed = 1; seed <= (won.size() == 1 ? 100U : 50U); ++seed) {
            const auto window = run(seed, biasTrialConfig(bias), 600 * ms, 600 * ms).front();
            EXPECT_TRUE(isLockedIn(window));
            won.back() += window.dominant == 0U ? 1 : 0;
        }
    }
    EXPECT_EQ(won, (std::vector{53, 0, 8, 24, 29, 39, 48, 50}));
    std::uint64_t locked_in = 7;
    EXPECT_EQ(runBiasBatch(0.25, 50, locked_in) + runBiasBatch(0.25, 0, locked_in), 0.78 + 0.0);

    WorkspaceTrialConfig setup = standardTrialConfig();
    EXPECT_EQ(countReversals(run(11, setup, 6000 * ms, 250 * ms)), 10U);
    for (const double strength : {0.4, 0.7, 1.0, 1.4, 2.0}) {
        setup.stimulus_hz = 40.0 * strength;
        for (std::uint64_t seed = 1; seed <= 4; ++seed) {
            run(seed, setup, 1500 * ms, 1500 * ms);
        }
    }
    EXPECT_NEAR(meanIgnition(0.4), 35.5625, 5e-5);

    std::vector<ConditionMeasurement> cuts;
    for (const double g_t : {35.9167, 36.625, 37.375}) {
        setup = standardTrialConfig();
        setup.broadcast_enabled = cuts.size() != 1;
        setup.feedback_enabled = cuts.size() != 2;
        run(7, setup, 3000 * ms, 3000 * ms);
        cuts.push_back(measureCondition(3000 * ms, standardCoalitions(), standardModules(), setup));
        EXPECT_NEAR(cuts.back().coalition_window.g_t, g_t, 5e-5);
    }
    const Perturbation push{.id = 1, .time = 500 * ms, .strength = 1.5, .nodes = {0, 1, 2, 3}};
    run(7, standardTrialConfig(), 3000 * ms, 3000 * ms, &push);
    run(7, standardTrialConfig(), 3000 * ms, 3000 * ms);
    EXPECT_EQ(std::tuple(events, digest), std::tuple(5'549'743U, 0xc7e4'c063'1d8f'cf6dU));

    const auto cut = [&](std::size_t a, std::size_t b, std::size_t c) {
        return failure(checkSeparability, cuts[a], cuts[b], cuts[c]);
    };
    cuts[1].module_window.coalitions[0] = cuts[0].module_window.coalitions[0];
    EXPECT_EQ(cut(0, 1, 0), "cutting the top-down feedback changed nothing in the coalitions");
    cuts[1].module_window.coalitions[1] = cuts[0].module_window.coalitions[1];
    EXPECT_EQ(cut(0, 1, 2), "cutting the broadcast left the downstream modules unaffected");
    cuts[0].coalition_window.g_t = 1.0;
    EXPECT_EQ(cut(0, 0, 2), "ablating the workspace silenced the perceptual coalitions");
    EXPECT_EQ(cut(0, 1, 0), "ablating the workspace silenced the perceptual coalitions");
}

TEST(CheckGroups, JudgeAtTheirThresholds) {
    EXPECT_EQ(failure(checkSymmetryBreaking, 0.7, 80U), "");
    EXPECT_EQ(failure(checkSymmetryBreaking, 0.5, 79U),
              "symmetry did not break - the network rarely locked in on a winner");
    EXPECT_EQ(failure(checkSymmetryBreaking, 0.625, 256U),
              "the symmetric competition preferred one coalition");
    const auto bias = [&](const std::vector<double>& probabilities) {
        return failure(checkBiasResponse, std::vector{0.0, 1.0, 2.0, 3.0, 4.0}, probabilities);
    };
    EXPECT_EQ(bias({0, 0.6, 0.5, 0.9, 1}), "the selection probability is not monotone in the bias");
    EXPECT_EQ(bias({0.1, 0.1, 0.5, 0.9, 1}), "a large bias did not saturate the outcome");
    EXPECT_EQ(bias({0, 0.1, 0.5, 0.9, 0.9}), "a large bias did not saturate the outcome");
    EXPECT_EQ(bias({0, 0, 0.79, 1, 1}), "the unbiased midpoint is not a coin flip");
    EXPECT_EQ(bias({0, 0.126, 0.5, 0.874, 1}),
              "the bias response is linear, so recurrence amplifies nothing");
    const char* const shallow = "the small-bias slope is not steeper than the overall slope";
    EXPECT_EQ(bias({0, 0.125, 0.5, 0.875, 1}), shallow);
    EXPECT_EQ(bias({0, 0, 0.5, 1, 1}), shallow);
    EXPECT_EQ(failure(checkRisingIgnition, std::vector{1.0, 2.0, 2.0}),
              "G(t) did not rise with the stimulus strength");

    std::vector series(23, WorkspaceWindow{0, 0, {}, 0.0, false, 0, 0.7, 0.5});
    EXPECT_FALSE(isLockedIn(series[0]) || isLockedIn({0, 0, {}, 0.0, false, {}, 0.9}));
    const auto most = [&] { return failure(checkWinnerTakeMost, series); };
    EXPECT_EQ(most(), "the window series has the wrong length");
    series.push_back(series.front());
    for (std::size_t k = 0; k < 16; ++k) {
        EXPECT_EQ(most(), "no clear winner emerged from the recurrent topology");
        series[k].dominance = 0.71;
    }
    EXPECT_EQ(most(), "the suppressed coalition was silenced, which is absolute winner-take-all "
                      "instead of winner-take-most");
    series[0].residual_rate_hz = 0.6;
    series[4].dominant = 2;
    EXPECT_EQ(most(), "a constant ambivalent stimulus produced no perceptual reversals");
    series[23].dominant = 2;
    EXPECT_EQ(most(), "only one coalition ever took over");
}

} // namespace Velmora::Tests
