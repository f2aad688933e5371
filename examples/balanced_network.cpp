// A balanced random network: 10,000 neurons, of which four fifths excite and one fifth inhibits,
// with 100 outgoing synapses each.
//
//     balanced_network [milliseconds of model time]
//
// The rate and the number of events are the same on every machine; the time is not.
#include "core/kesp/simulation.hpp"

#include <chrono>
#include <cstdint>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

using namespace Velmora::Core;
using namespace Velmora::Core::Kesp;

namespace {

constexpr std::uint64_t node_count = 10'000;
constexpr std::uint64_t excitatory_count = node_count / 5 * 4;
constexpr std::uint64_t synapses_per_neuron = 100;

/// Targets are drawn evenly from all neurons, delays from [1 ms, 3 ms). Each neuron's synapses come
/// from a random stream of their own, which the neurons' spikes do not share.
std::vector<Synapse> drawSynapses(Runtime::RandomContext& random) {
    std::vector<Synapse> synapses;
    synapses.reserve(node_count * synapses_per_neuron);
    for (NodeId source = 0; source < node_count; ++source) {
        const bool excites = source < excitatory_count;
        const Runtime::RandomStream wiring = random.stream("wiring", source);
        for (std::uint64_t k = 0; k < synapses_per_neuron; ++k) {
            const auto target =
                static_cast<NodeId>(static_cast<double>(node_count) * Runtime::uniform(wiring));
            const auto delay = static_cast<ModelTime>(1e6 + 2e6 * Runtime::uniform(wiring));
            synapses.push_back(
                makeSynapse(source, target, excites ? 0.05 : 0.25, delay,
                            excites ? SynapseType::Excitatory : SynapseType::Inhibitory));
        }
    }
    return synapses;
}

} // namespace

int main(int argc, char** argv) {
    const ModelTime duration = fromMilliseconds(argc > 1 ? std::stoll(argv[1]) : 200);

    Runtime::RandomContext random(2024);
    Network network(node_count, drawSynapses(random), {});
    Simulation simulation(
        {.network = std::move(network),
         .neuron = {.adaptation_step = 0.06},
         .firing = std::vector<FiringParameters>(node_count, {.baseline_rate = 20.0}),
         .random = std::move(random)},
        duration);

    // Spikes are counted as they happen; nothing needs the trace.
    std::uint64_t excitatory_spikes = 0;
    std::uint64_t inhibitory_spikes = 0;
    simulation.keepTrace(false);
    simulation.onSpike([&](NodeId node, ModelTime) {
        ++(node < excitatory_count ? excitatory_spikes : inhibitory_spikes);
    });

    const auto start = std::chrono::steady_clock::now();
    simulation.run();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    const auto rateOf = [&](std::uint64_t spikes, std::uint64_t neurons) {
        return static_cast<double>(spikes)
               / (static_cast<double>(neurons) * secondsBetween(0, duration));
    };
    const auto events = static_cast<double>(simulation.eventCount());
    std::cout << "model time        " << secondsBetween(0, duration) << " s\n"
              << "excitatory rate   " << rateOf(excitatory_spikes, excitatory_count) << " Hz\n"
              << "inhibitory rate   " << rateOf(inhibitory_spikes, node_count - excitatory_count)
              << " Hz\n"
              << "events            " << simulation.eventCount() << '\n'
              << "time              " << elapsed.count() << " s, " << 1e9 * elapsed.count() / events
              << " ns an event\n";
}
