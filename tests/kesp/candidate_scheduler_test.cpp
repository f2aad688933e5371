#include "core/kesp/candidate_scheduler.hpp"
#include "core/kesp/simulation.hpp"
#include "fuzz/plain_loop.hpp"
#include "tests/support/trace_digest.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace Velmora::Tests {

using namespace Core::Kesp;

class Draws {
  public:
    explicit Draws(std::uint64_t seed) : engine_(seed) {}
    std::uint64_t below(std::uint64_t end) { return engine_() % end; }
    bool oneIn(std::uint64_t n) { return below(n) == 0; }
    double uniform() { return static_cast<double>(engine_() >> 11U) * 0x1p-53; }
    double between(double low, double high) { return low + (high - low) * uniform(); }
    /// Of any magnitude.
    double magnitude() { return std::exp(between(-700.0, 700.0)); }

  private:
    std::mt19937_64 engine_;
};

// The plain formulas beside the bounds that stand in for them.
TEST(CandidateScheduler, BoundsThePlainFormulas) {
    Draws draws(1);
    int deferrable = 0;
    for (int i = 0; i < 200'000; ++i) {
        const auto now = static_cast<ModelTime>(draws.below(nanoseconds_per_second));
        NeuronState state{.potential = draws.between(-30.0, 30.0),
                          .adaptation = draws.oneIn(3) ? 0.0 : draws.between(0.0, 5.0),
                          .last_update = now};
        state.refractory_until = now + static_cast<ModelTime>(draws.below(3)) - 1;
        NeuronParameters neuron{.tau_v = 1 + static_cast<ModelTime>(draws.below(100'000'000)),
                                .tau_a = 1 + static_cast<ModelTime>(draws.below(100'000'000)),
                                .hold_potential = draws.oneIn(4)};
        FiringParameters firing{.baseline_rate = draws.between(0.0, 1e6),
                                .sensitivity = draws.between(0.0, 10.0),
                                .threshold = draws.between(-20.0, 20.0),
                                .adaptation_coupling = draws.between(0.0, 3.0)};
        if (draws.oneIn(5)) {
            (draws.oneIn(2) ? state.potential : state.adaptation) = draws.magnitude();
            firing.baseline_rate = std::min(draws.magnitude(), 1e6);
        }
        const double modulation_bound = draws.between(-2.0, 2.0);
        const auto rate = deferrableRate(state, neuron, firing, now, modulation_bound);
        if (!rate) {
            continue;
        }
        ++deferrable;
        const ModelTime to = now + 2 + static_cast<ModelTime>(draws.below(1'000'000'000));
        const double bound = hazardBound(state, neuron, firing, now, to, modulation_bound);
        const double u = draws.oneIn(4) ? 1.0 - draws.uniform() * 0x1p-30 : draws.uniform();
        for (const double uniform : {u, 0.0, 0x1p-53, 0.5, 1.0 - 0x1p-53}) {
            ASSERT_LE(leastUnitWait(uniform) / *rate, waitOfDraw(uniform, bound) * 1e9);
        }
        ASSERT_GT(bound, 0.0);
        ASSERT_LE(bound, *rate);
        if (firing.adaptation_coupling * state.adaptation == 0.0 && state.potential >= 0.0) {
            ASSERT_LE(*rate, bound * 1.0621) << "then the bounds are close";
            ASSERT_GE(leastUnitWait(u) / *rate, waitOfDraw(u, bound) * 1e9 / 1.0621 * 0.87);
        }
    }
    EXPECT_GT(deferrable, 100'000);
}

TEST(CandidateScheduler, LeavesToThePlainRoadWhatMayThrowOrEndWithoutADraw) {
    constexpr double inf = INFINITY;
    const NeuronState rest;
    const FiringParameters plain{.baseline_rate = 40.0};
    const auto deferrable = [](const NeuronState& state, const FiringParameters& firing,
                               double modulation_bound = 0.0, double flush_below = 1e-15) {
        return deferrableRate(state, {.flush_below = flush_below}, firing, 0, modulation_bound)
            .has_value();
    };
    EXPECT_TRUE(deferrable(rest, plain));
    for (const double bad : {double{NAN}, inf, -inf}) {
        EXPECT_FALSE(deferrable({.potential = bad}, plain));
        EXPECT_FALSE(deferrable({.adaptation = bad}, plain));
        EXPECT_FALSE(deferrable(rest, plain, bad));
    }
    EXPECT_FALSE(deferrable(rest, plain, 0.0, -1e-15));
    EXPECT_FALSE(deferrable({.adaptation = -0.1}, plain));
    EXPECT_FALSE(deferrable({.potential = -400.0}, plain)) << "its hazard may underflow";
    EXPECT_FALSE(deferrable({.last_update = -1}, plain));
    EXPECT_FALSE(
        deferrable({.potential = -10'000.0}, {.sensitivity = 0.059, .threshold = 1e20}, 1e20))
        << "large offsets round the drive away";
    EXPECT_FALSE(deferrable(rest, {.baseline_rate = 0.0}));
    EXPECT_FALSE(deferrable(rest, {.gain = -1.0}));
    EXPECT_FALSE(deferrable(rest, {.silent = true}));
}

// Whole runs beside a loop that works every candidate out at once.
TEST(CandidateScheduler, NeverShowsInARun) {
    std::size_t spikes = 0;
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        Draws draws(seed);
        // Some lie in silence until late, when doubles are further apart than 1 ns, and then fire
        // as fast as they may.
        const bool is_late = seed % 8 == 0;
        const ModelTime start = is_late ? 190'000'000 * nanoseconds_per_second : 0;
        const ModelTime horizon = start + (is_late ? 1 : 200) * nanoseconds_per_millisecond;
        const std::uint64_t nodes = 2 + draws.below(8);
        std::vector<Synapse> synapses;
        for (std::uint64_t i = 0; i < nodes * 4; ++i) {
            synapses.push_back(
                makeSynapse(draws.below(nodes), draws.below(nodes), draws.between(0.0, 2.0),
                            1 + static_cast<ModelTime>(draws.below(draws.oneIn(2) ? 4 : 5'000'000)),
                            draws.oneIn(2) ? SynapseType::Inhibitory : SynapseType::Excitatory));
        }
        NeuronParameters neuron{.tau_v = 1 + static_cast<ModelTime>(draws.below(50'000'000)),
                                .tau_a = 1 + static_cast<ModelTime>(draws.below(50'000'000)),
                                .refractory = static_cast<ModelTime>(draws.below(4'000'000)),
                                .adaptation_step = draws.between(-0.1, 0.4),
                                .reset = draws.between(-1.0, 1.0),
                                .absolute_refractory = !draws.oneIn(3),
                                .hold_potential = draws.oneIn(4)};
        std::vector<FiringParameters> firing(
            nodes, {.baseline_rate = draws.between(1.0, 300.0), .max_hazard = 1000.0});
        firing.front() = {
            .baseline_rate = 1e5, .threshold = draws.between(2.0, 6.0), .max_hazard = 1e5};
        if (is_late) {
            neuron.reset = 50.0;
            neuron.hold_potential = true;
            firing.assign(nodes, {.baseline_rate = 1e-15});
        }
        const auto setup = [&]() -> SimulationSetup {
            return {Network(nodes, synapses, {}), neuron, firing,
                    Core::Runtime::RandomContext(seed)};
        };
        Simulation simulation(setup(), horizon);
        Fuzz::PlainLoop plain(setup(), horizon);
        const Perturbation wake{.time = start, .strength = is_late ? 50.0 : 0.0, .nodes = {0, 1}};
        simulation.perturb(wake);
        plain.perturb(wake);
        for (ModelTime pause = start; draws.below(8) != 0;
             pause += static_cast<ModelTime>(draws.below(20'000'000))) {
            simulation.runUntil(pause);
            plain.runUntil(pause);
            ASSERT_EQ(simulation.eventCount(), plain.eventCount()) << "seed " << seed;
            const Perturbation kick{
                .time = pause, .strength = draws.between(-1.0, 1.0), .nodes = {draws.below(nodes)}};
            simulation.perturb(kick);
            plain.perturb(kick);
        }
        simulation.drain();
        plain.drain();
        ASSERT_EQ(traceDigest(simulation.trace()), traceDigest(plain.trace())) << "seed " << seed;
        ASSERT_EQ(simulation.eventCount(), plain.eventCount());
        for (const NeuronState& state : simulation.neurons()) {
            ASSERT_EQ(state.candidate_bound, 0.0);
            ASSERT_EQ(state.candidate_event, none);
        }
        spikes += plain.trace().size();
    }
    EXPECT_GT(spikes, 4'000);
}

} // namespace Velmora::Tests
