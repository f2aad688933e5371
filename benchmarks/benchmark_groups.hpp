#pragma once

#include <benchmark/benchmark.h>
#include <cstdint>

/// What is timed. Names read group/what/who/size; where two answer the same question, they differ
/// in `who` alone.
///
/// Every benchmark reports the counter `each`: seconds for one operation, said at its function.
namespace Velmora::Benchmarks {

/// The event queue on two mixes of operations, beside the textbook queue.
void registerQueueBenchmarks();
/// The exponential and the logarithm, beside those of the standard library.
void registerMathBenchmarks();
/// One neuron and a queue.
void registerNeuronBenchmarks();
/// Whole trials of the standard workspace.
void registerTrialBenchmarks();

/// The counter `each`, for a benchmark that did `operations` operations in all its iterations.
[[nodiscard]] inline benchmark::Counter timeOfEach(std::int64_t operations) {
    return {static_cast<double>(operations),
            benchmark::Counter::kIsRate | benchmark::Counter::kInvert};
}

} // namespace Velmora::Benchmarks
