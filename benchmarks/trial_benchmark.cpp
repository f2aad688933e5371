#include "benchmarks/benchmark_groups.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/simulation.hpp"
#include "core/kesp/workspace/trial.hpp"
#include "core/runtime/random_context.hpp"

#include <benchmark/benchmark.h>
#include <cstdint>

namespace Velmora::Benchmarks {

using namespace Core::Kesp;

namespace {

constexpr WorkspaceTrialConfig standard_config{
    .recurrent_weight = 1.2, .lateral_weight = 0.6, .stimulus_hz = 40.0, .adaptation_step = 0.06};

/// Trials of the intact standard workspace, set-up included, over as many milliseconds as the
/// argument says and a cycle of seeds. One operation: an event.
void trial(benchmark::State& state) {
    constexpr std::uint64_t seeds = 32;
    const ModelTime duration = fromMilliseconds(state.range(0));
    std::uint64_t trials = 0;
    std::uint64_t events = 0;
    for (auto _ : state) {
        Simulation simulation = prepareWorkspaceTrial(
            Core::Runtime::RandomContext(1 + trials % seeds), standard_config, duration);
        simulation.drain();
        benchmark::DoNotOptimize(simulation.trace().data());
        events += simulation.eventCount();
        ++trials;
    }
    state.counters["each"] = timeOfEach(static_cast<std::int64_t>(events));
    state.counters["events"] =
        benchmark::Counter(static_cast<double>(events), benchmark::Counter::kAvgIterations);
}

} // namespace

void registerTrialBenchmarks() {
    benchmark::RegisterBenchmark("trial/standard", trial)
        ->Arg(600)
        ->Arg(6'000)
        ->Unit(benchmark::kMillisecond);
}

} // namespace Velmora::Benchmarks
