#include "core/kesp/errors.hpp"
#include "core/kesp/simulation.hpp"
#include "tests/support/expect_error.hpp"
#include "tests/support/trace_digest.hpp"

#include <cmath>

namespace Velmora::Tests {

using namespace Core::Kesp;
using Core::Runtime::RandomContext;

constexpr ModelTime second = nanoseconds_per_second;
constexpr FiringParameters plain{.baseline_rate = 40.0};

/// Two neurons that excite and inhibit each other, and an oscillator that bears a neuron's number.
static SimulationSetup makeSetup() {
    const Synapse excites = makeSynapse(0, 1, 1.0, 1'000'000, SynapseType::Excitatory);
    const Synapse inhibits = makeSynapse(1, 0, 0.5, 2'000'000, SynapseType::Inhibitory);
    const OscillatorBank bank({{.id = 1}, {.id = 99}});
    return {Network(2, {excites, inhibits}, {}), {}, {plain, plain}, RandomContext(5), bank};
}

static Perturbation shiftAt(ModelTime time) {
    return {0, time, PerturbationType::PhaseShift, 1.0, {}, {}, {1, 99, 1}};
}

TEST(Simulation, ShowsNoPauseAndNoPhaseShiftInItsTrace) {
    Simulation straight(makeSetup(), second);
    straight.run();
    Simulation paused(makeSetup(), second);
    paused.perturb(shiftAt(second / 2));
    std::vector<TraceRecord> seen;
    paused.onSpike([&](NodeId node, ModelTime time) {
        seen.push_back({.node = node, .time = time});
        EXPECT_EQ(paused.trace().size(), std::min<std::size_t>(seen.size(), 9));
        paused.keepTrace(seen.size() < 9);
    });
    for (ModelTime pause = 0; pause < second + 7'777'777; pause += 7'777'777) {
        paused.runUntil(std::min(pause, second));
        EXPECT_EQ(paused.now(), std::min(pause, second));
    }
    EXPECT_EQ(traceDigest(seen), traceDigest(straight.trace()));
    EXPECT_EQ(paused.eventCount(), straight.eventCount() + 3);
    EXPECT_EQ(paused.oscillators().phaseShifts()[0], 2.0);
}

// Two resting neurons fire after a refractory period plus an exponential wait: their spikes in
// 400 s have mean 28,571 and standard deviation 151, and are 4.5 of it off with probability 7e-6.
TEST(Simulation, MovesItsHorizonForwardOnly) {
    constexpr const char* text = "KESP simulation cannot move its horizon back";
    SimulationSetup setup = makeSetup();
    setup.network = Network(2, {}, {});
    setup.modulation = [](ModelTime, auto&, auto&) { return 0.25 + 0.45e-12; }; // within rounding
    setup.modulation_bound = setup.firing[0].threshold = setup.firing[1].threshold = 0.25;
    Simulation simulation(std::move(setup), 200 * second);
    expectError<CausalityViolation>([&] { simulation.extend(200 * second - 1); }, text);
    simulation.extend(200 * second); // which runs first
    expectError<CausalityViolation>([&] { simulation.perturb(shiftAt(200 * second - 1)); },
                                    "perturbation is in the past");
    expectError<InvalidIntervention>([&] { simulation.perturb({.time = 0, .strength = NAN}); },
                                     "perturbation strength must be finite");
    simulation.extend(400 * second);
    simulation.perturb(shiftAt(simulation.now()));
    simulation.perturb(shiftAt(400 * second));
    simulation.drain();
    expectError<CausalityViolation>([&] { simulation.extend(400 * second); }, text);
    EXPECT_NEAR(static_cast<double>(simulation.trace().size()), 28'571, 4.5 * 151);
    EXPECT_EQ(simulation.oscillators().phaseShifts()[1], 2.0);
    simulation.perturb(shiftAt(500 * second));
    simulation.drain();
    simulation.run(); // to a horizon that lies behind
    EXPECT_EQ(simulation.now(), 500 * second);
    expectError<CausalityViolation>([&] { simulation.extend(500 * second); }, text);
    setup = makeSetup();
    setup.firing.clear();
    expectError<InvalidFiringParameters>([&] { Simulation(std::move(setup), 1); },
                                         "KESP simulation needs firing parameters for every node");
}

} // namespace Velmora::Tests
