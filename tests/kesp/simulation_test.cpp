#include "core/kesp/errors.hpp"
#include "core/kesp/simulation.hpp"
#include "tests/support/expect_error.hpp"
#include "tests/support/trace_digest.hpp"

#include <cmath>

namespace Velmora::Tests {

using namespace Core::Kesp;

constexpr ModelTime second = nanoseconds_per_second;
constexpr FiringParameters plain{.baseline_rate = 40.0};

/// Two neurons that excite and inhibit each other, and an oscillator that bears a neuron's number.
static SimulationSetup makeSetup() {
    const Synapse excites = makeSynapse(0, 1, 1.0, 1'000'000, SynapseType::Excitatory);
    const Synapse inhibits = makeSynapse(1, 0, 0.5, 2'000'000, SynapseType::Inhibitory);
    const std::vector<OscillatorSpec> oscillators = {{.id = 1}, {.id = 99}};
    return {Network(2, {excites, inhibits}, {}),
            {},
            {plain, plain},
            Core::Runtime::RandomContext(5),
            OscillatorBank(oscillators)};
}

static Perturbation shiftAt(ModelTime time) {
    return {0, time, PerturbationType::PhaseShift, 1.0, {}, {}, {1, 99, 1}};
}

TEST(Simulation, FollowsTheProtocolHoweverOftenItIsPaused) {
    SimulationSetup s = makeSetup();
    EventQueue queue;
    std::vector<NeuronState> neurons(2);
    neurons[1].stream_index = 1;
    const auto draw = [&](NodeId n, ModelTime now) {
        scheduleNextCandidate(neurons[n], {}, plain, n, now, second, 0.0, queue, s.random);
    };
    draw(0, 0);
    draw(1, 0);
    std::vector<TraceRecord> trace;
    while (!queue.empty()) {
        const Event e = queue.popNext();
        NeuronState& state = neurons[e.target];
        if (e.kind != EventKind::SpikeCandidate) {
            applyNeuronEvent(state, {}, e);
            e.kind == EventKind::SynapticDelivery ? draw(e.target, e.time) : void();
        } else if (resolveCandidate(state, {}, plain, e.target, e, second, 0.0, queue, s.random, {})
                       .fired) {
            trace.push_back({.node = e.target, .time = e.time});
            s.network.deliverSpike(e.target, e.time, queue);
        }
    }
    Simulation simulation(makeSetup(), second);
    for (ModelTime pause = 0; pause < second; pause += 7'777'777) {
        simulation.runUntil(pause);
        EXPECT_EQ(simulation.now(), pause);
    }
    simulation.drain();
    EXPECT_EQ(traceDigest(simulation.takeTrace()), traceDigest(trace));
    EXPECT_EQ(simulation.trace().size(), 0);
}

TEST(Simulation, ReportsSpikesAndShiftsPhasesWithoutTouchingANeuron) {
    Simulation plain_run(makeSetup(), second);
    plain_run.run();
    Simulation watched(makeSetup(), second);
    watched.perturb(shiftAt(second / 2));
    std::vector<TraceRecord> seen;
    watched.onSpike([&](NodeId node, ModelTime time) {
        seen.push_back({.node = node, .time = time});
        EXPECT_EQ(watched.trace().size(), std::min<std::size_t>(seen.size(), 9));
        watched.keepTrace(seen.size() < 9);
    });
    watched.run();
    EXPECT_EQ(traceDigest(seen), traceDigest(plain_run.trace()));
    EXPECT_EQ(watched.eventCount(), plain_run.eventCount() + 3);
    EXPECT_EQ(watched.oscillators().phaseShifts()[0], 2.0);
}

TEST(Simulation, MovesItsHorizonForwardOnly) {
    constexpr const char* text = "KESP simulation cannot move its horizon back";
    Simulation simulation(makeSetup(), second);
    expectError<CausalityViolation>([&] { simulation.extend(second - 1); }, text);
    simulation.perturb(shiftAt(2 * second));
    simulation.run();
    expectError<CausalityViolation>([&] { simulation.perturb(shiftAt(second - 1)); },
                                    "perturbation is in the past");
    const std::size_t spikes = simulation.trace().size();
    simulation.extend(2 * second);
    simulation.run();
    ASSERT_GT(simulation.trace().size(), spikes + spikes / 2);
    EXPECT_GE(simulation.trace()[spikes].time, second);
    EXPECT_EQ(simulation.oscillators().phaseShifts()[1], 0.0);
    simulation.runUntil(2 * second + 1);
    EXPECT_EQ(simulation.oscillators().phaseShifts()[1], 1.0);
    expectError<CausalityViolation>([&] { simulation.extend(3 * second); }, text);
    SimulationSetup setup = makeSetup();
    setup.firing.pop_back();
    expectError<InvalidFiringParameters>([&] { Simulation(std::move(setup), 1); },
                                         "KESP simulation needs firing parameters for every node");
}

// Intervals are the refractory period plus an exponential wait. The mean of some 14,000 of them is
// off by 4.5 standard errors with probability 7e-6.
TEST(Simulation, RestingNeuronFiresAtItsRate) {
    SimulationSetup setup{Network(1, {}, {}), {}, {plain}, Core::Runtime::RandomContext(1)};
    setup.firing[0].threshold = 0.25;
    setup.modulation = [](ModelTime, auto&, auto&) { return 0.25; };
    setup.modulation_bound = 1.0;
    Simulation simulation(std::move(setup), 400 * second);
    simulation.run();
    const auto trace = simulation.trace();
    const auto count = static_cast<double>(trace.size() - 1);
    const double mean = secondsBetween(trace.front().time, trace.back().time) / count;
    EXPECT_NEAR(mean, 0.003 + 0.025, 4.5 * 0.025 / std::sqrt(count));
}

} // namespace Velmora::Tests
