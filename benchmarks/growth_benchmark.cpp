#include "benchmarks/heap_meter.hpp"
#include "benchmarks/random_source.hpp"
#include "core/kesp/firing.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/network.hpp"
#include "core/kesp/simulation.hpp"
#include "core/runtime/random_context.hpp"

#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <utility>
#include <vector>

namespace Velmora::Benchmarks {

using namespace Core::Kesp;

namespace {

constexpr std::uint64_t synapses_per_neuron = 100;

/// Processor time of this process since `start`: on a shared machine it tells more than the time of
/// day.
double secondsSince(std::clock_t start) {
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

double perUnit(std::size_t bytes, std::uint64_t units) {
    return static_cast<double>(bytes) / static_cast<double>(units);
}

/// Four neurons in five excite with a weight of 0.05, the fifth inhibits with 0.25. Each has 100
/// synapses to random targets, with delays from 1 to 3 ms.
Network balancedNetwork(std::uint64_t neurons) {
    constexpr ModelTime shortest = 1 * nanoseconds_per_millisecond;
    constexpr ModelTime longest = 3 * nanoseconds_per_millisecond;
    const std::uint64_t excitatory = neurons / 5 * 4;
    RandomSource random;
    std::vector<Synapse> synapses;
    synapses.reserve(neurons * synapses_per_neuron);
    for (NodeId source = 0; source < neurons; ++source) {
        const bool excites = source < excitatory;
        for (std::uint64_t k = 0; k < synapses_per_neuron; ++k) {
            const NodeId target = random.below(neurons);
            const ModelTime delay = shortest + random.spanBelow(longest - shortest + 1);
            synapses.push_back(
                makeSynapse(source, target, excites ? 0.05 : 0.25, delay,
                            excites ? SynapseType::Excitatory : SynapseType::Inhibitory));
        }
    }
    return Network(neurons, std::move(synapses), {});
}

Simulation simulationOf(Network network, ModelTime horizon) {
    const std::uint64_t neurons = network.nodeCount();
    return Simulation(
        {.network = std::move(network),
         .neuron = {.adaptation_step = 0.06},
         .firing = std::vector<FiringParameters>(neurons, FiringParameters{.baseline_rate = 20.0}),
         .random = Core::Runtime::RandomContext(1)},
        horizon);
}

/// A balanced random network for one second of model time. Timed is the run alone, in processor
/// time, and one operation is an event; the other counters are
///
///     events             taken from the queue, in all
///     rate_hz            spikes of a neuron
///     set_up_s           seconds for the network, with its routing index, and the simulation
///     bytes_per_synapse  of the heap, for the network
///     bytes_per_neuron   of the heap, for the simulation before it runs, without the network
///     bytes_of_run       of the heap, what the run adds, for each neuron: the queue, mostly
///     heap_peak_mb       10^6 bytes of the heap, in all, at the peak
///
/// with the heap as counted in operator new. The random streams' logs stay empty, and no trace is
/// kept.
void growth(benchmark::State& state) {
    const auto neurons = static_cast<std::uint64_t>(state.range(0));
    for (auto _ : state) {
        restartHeapPeak();
        const std::size_t before = heapBytes();
        const std::clock_t start = std::clock();
        Network network = balancedNetwork(neurons);
        static_cast<void>(network.outgoing(0)); // builds the routing index
        const std::size_t with_network = heapBytes();
        Simulation simulation = simulationOf(std::move(network), nanoseconds_per_second);
        const double set_up = secondsSince(start);
        const std::size_t with_simulation = heapBytes();

        std::uint64_t spikes = 0;
        simulation.keepTrace(false);
        simulation.onSpike([&spikes](NodeId, ModelTime) { ++spikes; });
        const std::clock_t run_start = std::clock();
        simulation.run();
        const double run = secondsSince(run_start);

        state.SetIterationTime(run);
        const auto events = static_cast<double>(simulation.eventCount());
        state.counters["each"] = run / events;
        state.counters["events"] = events;
        state.counters["rate_hz"] = static_cast<double>(spikes) / static_cast<double>(neurons);
        state.counters["set_up_s"] = set_up;
        state.counters["bytes_per_synapse"] =
            perUnit(with_network - before, neurons * synapses_per_neuron);
        state.counters["bytes_per_neuron"] = perUnit(with_simulation - with_network, neurons);
        state.counters["bytes_of_run"] = perUnit(heapBytes() - with_simulation, neurons);
        state.counters["heap_peak_mb"] = static_cast<double>(heapPeak() - before) / 1e6;
    }
}

} // namespace

} // namespace Velmora::Benchmarks

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark("growth/balanced", Velmora::Benchmarks::growth)
        ->Arg(1'000)
        ->Arg(10'000)
        ->Arg(100'000)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kSecond);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
