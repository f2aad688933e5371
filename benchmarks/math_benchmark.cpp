#include "benchmarks/benchmark_groups.hpp"
#include "benchmarks/random_source.hpp"
#include "core/kesp/portable_math.hpp"

#include <array>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <string>

namespace Velmora::Benchmarks {

namespace {

struct Range {
    double low;
    double high;
};

/// One operation: one evaluation at a random argument, independent of the others.
template <typename Function>
void evaluate(benchmark::State& state, Range range, const Function& function) {
    std::array<double, 1024> arguments{};
    RandomSource random;
    for (double& argument : arguments) {
        argument = random.between(range.low, range.high);
    }
    for (auto _ : state) {
        for (const double argument : arguments) {
            double value = function(argument);
            benchmark::DoNotOptimize(value);
        }
    }
    state.counters["each"] =
        timeOfEach(state.iterations() * static_cast<std::int64_t>(arguments.size()));
}

template <typename Ours, typename Theirs>
void registerPair(const std::string& what, Range range, Ours ours, Theirs theirs) {
    benchmark::RegisterBenchmark(("math/" + what + "/std").c_str(),
                                 [=](benchmark::State& state) { evaluate(state, range, theirs); });
    benchmark::RegisterBenchmark(("math/" + what + "/core").c_str(),
                                 [=](benchmark::State& state) { evaluate(state, range, ours); });
}

} // namespace

void registerMathBenchmarks() {
    const auto core_exp = [](double x) { return Core::Kesp::portableExp(x); };
    const auto core_log = [](double x) { return Core::Kesp::portableLog(x); };
    const auto std_exp = [](double x) { return std::exp(x); };
    const auto std_log = [](double x) { return std::log(x); };
    // A decay over up to three time constants; a hazard from far below its baseline to its cap; the
    // logarithm of a uniform number.
    registerPair("exp_of_decay", {.low = -3.0, .high = 0.0}, core_exp, std_exp);
    registerPair("exp_of_hazard", {.low = -4.0, .high = 10.0}, core_exp, std_exp);
    registerPair("log_of_uniform", {.low = 0.0, .high = 1.0}, core_log, std_log);
}

} // namespace Velmora::Benchmarks
