#include "conformance/symmetry_and_bias_checks.hpp"

#include "conformance/check.hpp"
#include "conformance/check_groups.hpp"
#include "conformance/scenario.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/workspace/response.hpp"

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Velmora::Conformance {

using namespace Core::Kesp;

namespace {

constexpr ModelTime batch_trial_duration = 600 * nanoseconds_per_millisecond;

constexpr std::uint64_t symmetry_trials = 100;
constexpr std::uint64_t trials_per_level = 50;
constexpr std::array bias_levels{-2.0, -0.8, -0.25, 0.0, 0.25, 0.8, 2.0};

double slopeBetween(std::span<const double> levels, std::span<const double> responses,
                    std::size_t from, std::size_t to) {
    return (responses[to] - responses[from]) / (levels[to] - levels[from]);
}

} // namespace

WorkspaceTrialConfig biasTrialConfig(double bias) {
    WorkspaceTrialConfig config = standardTrialConfig();
    config.bias = bias;
    config.adaptation_step = 0.0;
    return config;
}

bool isLockedIn(const WorkspaceWindow& window) {
    return window.dominant.has_value() && window.dominance > lock_in_dominance;
}

double runBiasBatch(double bias, std::uint64_t trials, std::uint64_t& locked_in) {
    locked_in = 0;
    std::uint64_t wins = 0;
    for (std::uint64_t seed = 1; seed <= trials; ++seed) {
        const WorkspaceWindow window =
            measureTrial(seed, biasTrialConfig(bias), batch_trial_duration);
        if (!isLockedIn(window)) {
            continue;
        }
        ++locked_in;
        if (window.dominant == 0U) {
            ++wins;
        }
    }
    if (locked_in == 0) {
        return 0.0;
    }
    return static_cast<double>(wins) / static_cast<double>(locked_in);
}

void checkSymmetryBreaking(double selection_probability, std::uint64_t locked_in) {
    check(locked_in >= 80, "symmetry did not break - the network rarely locked in on a winner");
    const double standard_error = 0.5 / std::sqrt(static_cast<double>(locked_in));
    check(4.0 * standard_error > std::fabs(selection_probability - 0.5),
          "the symmetric competition preferred one coalition");
}

void checkBiasResponse(std::span<const double> levels, std::span<const double> probabilities) {
    for (std::size_t i = 1; i < probabilities.size(); ++i) {
        check(probabilities[i] >= probabilities[i - 1],
              "the selection probability is not monotone in the bias");
    }
    check(probabilities.front() < 0.1 && probabilities.back() > 0.9,
          "a large bias did not saturate the outcome");

    const std::size_t middle = probabilities.size() / 2;
    const double two_deviations = 2.0 / std::sqrt(static_cast<double>(trials_per_level));
    check(std::fabs(probabilities[middle] - 0.5) < two_deviations,
          "the unbiased midpoint is not a coin flip");

    check(isThresholdResponse(levels, probabilities, 1.5),
          "the bias response is linear, so recurrence amplifies nothing");

    const double small_bias_slope = slopeBetween(levels, probabilities, middle - 1, middle + 1);
    const double overall_slope = slopeBetween(levels, probabilities, 0, probabilities.size() - 1);
    check(small_bias_slope > 2.0 * overall_slope,
          "the small-bias slope is not steeper than the overall slope");
}

void runSymmetryChecks() {
    std::uint64_t locked_in = 0;
    const double selection_probability = runBiasBatch(0.0, symmetry_trials, locked_in);
    checkSymmetryBreaking(selection_probability, locked_in);
}

void runBiasChecks() {
    std::vector<double> probabilities;
    for (const double bias : bias_levels) {
        std::uint64_t locked_in = 0;
        probabilities.push_back(runBiasBatch(bias, trials_per_level, locked_in));
        check(locked_in >= 35, "a biased run rarely locked in");
    }
    checkBiasResponse(bias_levels, probabilities);
}

} // namespace Velmora::Conformance
