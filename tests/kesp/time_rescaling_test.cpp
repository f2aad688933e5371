#include "core/kesp/simulation.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

// Whether spikes are an exact sample of the hazard. By the time-rescaling theorem (Brown, Barbieri,
// Ventura, Kass and Frank 2002) the hazard's integral between successive spikes of a neuron is then
// exponential with mean 1, and independent of every other such integral, of any neuron. Neuron and
// hazard are written down a second time here, and integrated by quadrature.
namespace Velmora::Tests {

using namespace Core::Kesp;
using Core::Runtime::RandomContext;

constexpr ModelTime ms = nanoseconds_per_millisecond;
constexpr std::uint64_t neuron_count = 4;
constexpr std::size_t spikes_needed = neuron_count * 12'500;

static double inMs(ModelTime t) {
    return static_cast<double>(t) / 1e6;
}

/// What governs the neurons of a run, and what is added to their potentials at 7, 27, 47, ... ms.
struct Regime {
    const char* name;
    NeuronParameters neuron;
    FiringParameters firing;
    double kick = 0.0;
    double modulation = 0.0;

    /// m(t), with t in ms; at most half of `modulation`.
    [[nodiscard]] double m(double t) const { return modulation * (std::sin(t / 8.0) - 0.5); }
};

/// Runs until there are 10 % more spikes than needed, moving the horizon on by 20 ms at a time.
static Simulation run(const Regime& regime, std::uint64_t seed) {
    SimulationSetup setup{Network(neuron_count, {}, {}), regime.neuron,
                          std::vector(neuron_count, regime.firing), RandomContext(seed)};
    setup.modulation = [regime](ModelTime t, auto&, auto&) { return regime.m(inMs(t)); };
    setup.modulation_bound = 0.5 * regime.modulation;
    Simulation simulation(std::move(setup), 0);
    const std::size_t enough = spikes_needed * 11 / 10;
    for (ModelTime t = 0; simulation.trace().size() < enough && t < 1'000'000 * ms; t += 20 * ms) {
        simulation.perturb({.time = t + 7 * ms, .strength = regime.kick, .nodes = {0, 1, 2, 3}});
        simulation.extend(t + 20 * ms);
    }
    simulation.drain();
    return simulation;
}

/// A neuron as it should be, with times in ms.
struct ReferenceNeuron {
    double v = 0.0;
    double a = 0.0;
    double last = 0.0;
    double window_end = 0.0;
    double next_kick = 7.0;
    double integral = 0.0;
    std::size_t spikes = 0;

    /// Moves on to `to` and adds to the integral, by the midpoint rule.
    void advance(double to, const Regime& regime) {
        const auto& [p, f] = std::tie(regime.neuron, regime.firing);
        const double rate_v = p.hold_potential ? 0.0 : 1.0 / inMs(p.tau_v);
        const double rate_a = 1.0 / inMs(p.tau_a);
        const double from = p.absolute_refractory ? std::clamp(window_end, last, to) : last;
        const int steps = 1 + static_cast<int>((to - from) / 0.1);
        for (int i = 0; i < steps; ++i) {
            const double t = from + (to - from) * (i + 0.5) / steps;
            const double inhibition = f.adaptation_coupling * a * std::exp((last - t) * rate_a);
            const double drive = v * std::exp((last - t) * rate_v) - inhibition + regime.m(t);
            const double hazard =
                f.baseline_rate * f.gain * std::exp(f.sensitivity * (drive - f.threshold));
            integral += std::min(hazard, f.max_hazard) / 1e3 * (to - from) / steps;
        }
        v *= std::exp((last - to) * rate_v);
        a *= std::exp((last - to) * rate_a);
        last = to;
    }
    /// Fires at t. Returns the hazard's integral since the last spike.
    double fire(double t, const Regime& regime) {
        while (next_kick < t) {
            advance(next_kick, regime);
            v += regime.kick;
            next_kick += 20.0;
        }
        advance(t, regime);
        EXPECT_TRUE(t > window_end - 0.5e-6 || !regime.neuron.absolute_refractory);
        v = regime.neuron.reset;
        a += regime.neuron.adaptation_step;
        window_end = t + inMs(regime.neuron.refractory);
        return std::exchange(integral, 0.0);
    }
};

/// Expects independent uniform numbers, yielded by several sequences in turn. Each of the five
/// expectations fails for such numbers with probability 1e-6.
static void expectIndependentUniform(std::vector<double> x, std::size_t sequences) {
    const auto n = static_cast<double>(x.size());
    for (const std::size_t lag : {std::size_t{1}, sequences - 1, sequences, sequences + 1}) {
        double sum = 0.0; // of products of mean 0 and variance 1
        for (std::size_t i = lag; i < x.size(); ++i) {
            sum += 12.0 * (x[i] - 0.5) * (x[i - lag] - 0.5);
        }
        EXPECT_LT(std::fabs(sum) / std::sqrt(n), 4.892) << "lag " << lag;
    }
    std::ranges::sort(x);
    double distance = 0.0; // of Kolmogorov and Smirnov
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double below = static_cast<double>(i) / n;
        distance = std::max({distance, x[i] - below, below + 1.0 / n - x[i]});
    }
    EXPECT_LT(distance * std::sqrt(n), 2.693); // sqrt(-log(1e-6 / 2) / 2)
}

const std::array<Regime, 6> regimes = {{
    {"at rest, just after the window", {.refractory = ms}, {50'000.0}},
    {"a drive that rises, then falls", {10 * ms, 2 * ms, ms, 2.0, 2.0}, {40.0}},
    {"the same below rest", {2 * ms, 10 * ms, ms, -0.2, -2.0}, {200.0, 2.0, 0.1, 1.0, 1.0, 400.0}},
    {"held, within the window", {ms, 20 * ms, 5 * ms, 0.25, 0.5, 0.0, false, true}, {400.0}},
    {"excited, up to the cap", {10 * ms, 60 * ms, ms, 0.1}, {50.0, 2.0, 0.0, 1.0, 2.0, 500.0}, 1.5},
    {"inhibited, modulated", {20 * ms, 50 * ms, ms, 0.25}, {300.0}, -1.0, 1.0},
}};

TEST(TimeRescaling, MakesEverySpikeTrainAPoissonProcess) {
    for (const Regime& regime : regimes) {
        SCOPED_TRACE(regime.name);
        std::array<ReferenceNeuron, neuron_count> neurons;
        std::vector<double> uniforms(2 * spikes_needed, 2.0); // too great, where none comes
        const Simulation simulation = run(regime, 1);
        for (const TraceRecord& spike : simulation.trace()) {
            ReferenceNeuron& neuron = neurons.at(spike.node);
            const std::size_t i = neuron.spikes++ * neuron_count + spike.node;
            uniforms.at(i) = std::exp(-neuron.fire(inMs(spike.time), regime));
        }
        uniforms.resize(spikes_needed); // as many of each neuron, however long they are
        expectIndependentUniform(uniforms, neuron_count);
    }
}

// At rest the bound is the hazard but for rounding: every candidate fires.
TEST(TimeRescaling, FindsOneCandidateASpikeAtRestEachFromItsNeuronsStream) {
    const Simulation simulation = run(regimes.front(), 2);
    const std::span trace = simulation.trace();
    const double first_draw = RandomContext(2).uniform("spontaneous", 3);
    const auto first_spike = std::ranges::find(trace, NodeId{3}, &TraceRecord::node);
    ASSERT_NE(first_spike, trace.end());
    EXPECT_NEAR(inMs(first_spike->time), -std::log(first_draw) / 50.0, 1e-6);
    const auto kicks = static_cast<std::uint64_t>(simulation.horizon() / (20 * ms)) * neuron_count;
    EXPECT_EQ(simulation.eventCount(), 2 * trace.size() + kicks) << "candidates, ends of windows";
}

TEST(TimeRescaling, RestsOnIndependentStreams) {
    RandomContext random(3);
    std::vector<double> uniforms(400'000);
    for (std::uint64_t i = 0; i < uniforms.size(); ++i) {
        uniforms[i] = random.uniform("spontaneous", i % 16);
    }
    expectIndependentUniform(uniforms, 16);
}

} // namespace Velmora::Tests
