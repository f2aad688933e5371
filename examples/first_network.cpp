// The smallest useful program: three neurons in a ring, one second of model time, every spike.
#include "core/kesp/simulation.hpp"

#include <iostream>
#include <vector>

using namespace Velmora::Core;
using namespace Velmora::Core::Kesp;

int main() {
    // 0 excites 1, 1 excites 2, 2 inhibits 0.
    const ModelTime delay = fromMilliseconds(2);
    const Network network(3, {makeSynapse(0, 1, 0.8, delay, SynapseType::Excitatory),
                              makeSynapse(1, 2, 0.8, delay, SynapseType::Excitatory),
                              makeSynapse(2, 0, 0.5, delay, SynapseType::Inhibitory)});

    Simulation simulation({.network = network,
                           .firing = std::vector<FiringParameters>(3, {.baseline_rate = 8.0}),
                           .random = Runtime::RandomContext(42)},
                          nanoseconds_per_second);
    simulation.run();

    for (const TraceRecord& spike : simulation.trace()) {
        std::cout << "neuron " << spike.node << " spikes at " << spike.time << " ns\n";
    }
}
