// A trial is recorded and replayed, then run once more with a perturbation, up to the first spike
// at which the two traces part.
//
// The program fails when the replay is not the recorded trial to the nanosecond, or when the traces
// part before the perturbation.
#include "core/kesp/workspace/trial.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <span>
#include <utility>
#include <vector>

using namespace Velmora::Core;
using namespace Velmora::Core::Kesp;

namespace {

constexpr WorkspaceTrialConfig config{
    .recurrent_weight = 1.2,
    .lateral_weight = 0.6,
    .stimulus_hz = 40.0,
    .adaptation_step = 0.06,
};
constexpr ModelTime duration = 2 * nanoseconds_per_second;

bool isSameSpike(const TraceRecord& a, const TraceRecord& b) {
    return a.node == b.node && a.time == b.time;
}

} // namespace

int main() {
    constexpr std::uint64_t seed = 7;

    // Record: every random number that the trial draws is logged.
    Runtime::RandomContext recorder(seed);
    recorder.record();
    Simulation trial = prepareWorkspaceTrial(std::move(recorder), config, duration);
    trial.drain();
    const std::vector<TraceRecord> original = trial.takeTrace();
    const std::vector<Runtime::StreamLog> logs = trial.random().recorded();

    // Replay: the numbers come from the logs alone, so the seed does not matter.
    Runtime::RandomContext player(seed + 1);
    player.replay(logs);
    Simulation again = prepareWorkspaceTrial(std::move(player), config, duration);
    again.drain();
    const bool is_exact = std::ranges::equal(original, again.trace(), isSameSpike);
    std::cout << original.size() << " spikes recorded, the replay is "
              << (is_exact ? "the same" : "different") << '\n';

    // Perturb: one neuron is excited half way. From then on the trial may need more random numbers
    // than were recorded, so it draws from the seed. Until then they are the same.
    const Perturbation perturbation{.time = duration / 2, .strength = 1.0, .nodes = {0}};
    const std::vector<TraceRecord> perturbed =
        runWorkspaceTrial(seed, config, duration, &perturbation);

    const auto [before, after] = std::ranges::mismatch(original, perturbed, isSameSpike);
    if (before == original.end() || after == perturbed.end()) {
        std::cout << "the perturbation left no mark\n";
        return EXIT_FAILURE;
    }
    std::cout << "neuron 0 excited at " << perturbation.time << " ns\n"
              << before - original.begin() << " spikes are the same, then\n"
              << "  unperturbed: neuron " << before->node << " at " << before->time << " ns\n"
              << "  perturbed:   neuron " << after->node << " at " << after->time << " ns\n";
    const bool part_in_time = std::min(before->time, after->time) >= perturbation.time;
    return is_exact && part_in_time ? EXIT_SUCCESS : EXIT_FAILURE;
}
