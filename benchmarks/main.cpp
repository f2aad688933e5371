#include "benchmarks/benchmark_groups.hpp"

#include <benchmark/benchmark.h>

int main(int argc, char** argv) {
    Velmora::Benchmarks::registerQueueBenchmarks();
    Velmora::Benchmarks::registerMathBenchmarks();
    Velmora::Benchmarks::registerNeuronBenchmarks();
    Velmora::Benchmarks::registerTrialBenchmarks();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
