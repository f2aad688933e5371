#include "conformance/ignition_checks.hpp"

#include "conformance/check.hpp"
#include "conformance/check_groups.hpp"
#include "conformance/scenario.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/workspace/response.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::Conformance {

using namespace Core::Kesp;

namespace {

constexpr ModelTime trial_duration = 1'500 * nanoseconds_per_millisecond;
constexpr std::array stimulus_strengths{0.4, 0.7, 1.0, 1.4, 2.0};

void checkClassification() {
    constexpr std::array levels{0.0, 0.25, 0.5, 0.75, 1.0};
    constexpr std::array line = levels;
    constexpr std::array step{0.0, 0.01, 0.02, 0.98, 0.99};
    constexpr double steepness_cutoff = 3.0;

    check(!isThresholdResponse(levels, line, steepness_cutoff),
          "a straight line was classified as a threshold");
    check(isThresholdResponse(levels, step, steepness_cutoff), "a step was classified as smooth");

    const bool refused = refusedAsInvalid([&] {
        static_cast<void>(isThresholdResponse(std::span(levels).first(2), std::span(line).first(2),
                                              steepness_cutoff));
    });
    check(refused, "a two-point sweep was classified anyway");
}

} // namespace

double meanIgnition(double strength) {
    WorkspaceTrialConfig config = standardTrialConfig();
    config.stimulus_hz *= strength;
    double sum = 0.0;
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        sum += measureTrial(seed, config, trial_duration).g_t;
    }
    return sum * 0.25;
}

void checkRisingIgnition(std::span<const double> means) {
    for (std::size_t k = 1; k < means.size(); ++k) {
        check(means[k] > means[k - 1], "G(t) did not rise with the stimulus strength");
    }
}

void runIgnitionChecks() {
    checkClassification();

    std::vector<double> means;
    means.reserve(stimulus_strengths.size());
    for (const double strength : stimulus_strengths) {
        means.push_back(meanIgnition(strength));
    }
    checkRisingIgnition(means);
}

} // namespace Velmora::Conformance
