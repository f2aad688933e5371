#include "core/kesp/errors.hpp"
#include "core/kesp/neuron.hpp"
#include "core/kesp/portable_math.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>

namespace Velmora::Tests {

using namespace Core::Kesp;

constexpr ModelTime ms = nanoseconds_per_millisecond;
constexpr double e_to_minus_1 = 0.36787944117144233;

TEST(Neuron, DecaysAndTakesEventsByKind) {
    EXPECT_EQ(decayValue(-1.0, 30e6, 30 * ms, e_to_minus_1), -e_to_minus_1);
    EXPECT_EQ(decayValue(-1.0, 30e6, 30 * ms, std::nextafter(e_to_minus_1, 1.0)), 0.0);
    EXPECT_EQ(decayValue(1e-16, 0.0, 30 * ms, 1e-15), 1e-16);
    EXPECT_EQ(NeuronParameters{}.flush_below, 1e-15);
    for (const int kind : {0, 1, 2, 3, 4, 5}) {
        NeuronState n{1.0, 2.0, 5 * ms, 0, 0.0, 0, 8};
        const Event event{.time = 35 * ms, .kind = static_cast<EventKind>(kind), .value = -0.5};
        applyNeuronEvent(n, {.tau_a = 60 * ms, .hold_potential = kind == 5}, event);
        const double change = kind == 0 || kind == 3 || kind == 4 ? -0.5 : 0.0;
        EXPECT_EQ(n.potential, (kind == 5 ? 1.0 : e_to_minus_1) + change);
        EXPECT_EQ(std::tuple(n.adaptation, n.last_update, n.refractory_event),
                  std::tuple(2.0 * portableExp(-0.5), 35 * ms, kind == 2 ? none : 8));
    }
    // Times become doubles before they are subtracted: from 2^53 + 1 to 2^53 + 2 is 2 ns.
    NeuronState late{.potential = 1.0, .last_update = 9'007'199'254'740'993};
    advanceNeuron(late, {}, late.last_update + 1);
    EXPECT_EQ(late.potential, portableExp(-2.0 / 30e6));
}

TEST(Neuron, FiresAndOpensItsRefractoryWindow) {
    EventQueue queue;
    NeuronState n{.potential = 3.0, .adaptation = 1.0, .last_update = 10 * ms};
    const auto fire = [&](ModelTime t, ModelTime refractory = 3 * ms, bool absolute = true) {
        fireNeuron(n, {30 * ms, 1'000 * ms, refractory, 0.25, -0.5, 0.0, absolute}, t, 6, queue);
        return std::tuple(n.potential, n.adaptation, n.last_update, n.refractory_until);
    };
    EXPECT_EQ(fire(10 * ms), std::tuple(-0.5, 1.25, 10 * ms, 13 * ms));
    expectError<NeuronRefractoryViolation>(
        [&] { fire(13 * ms - 1); }, "KESP neuron fired inside its absolute refractory window");
    expectError<NeuronCausalityViolation>([&] { fire(9 * ms, 0, false); },
                                          "KESP neuron advanced into the past");
    for (const NeuronParameters& bad : {NeuronParameters{0, 1}, {1, 0}}) {
        expectError<InvalidNeuronParameters>([&] { advanceNeuron(n, bad, 0); },
                                             "KESP neuron time constants must be positive");
    }
    EXPECT_EQ(fire(10 * ms, 0, false), std::tuple(-0.5, 1.5, 10 * ms, 10 * ms));
    fire(10 * ms);
    EXPECT_EQ(queue.size(), 1U); // each spike withdrew the end of the window before
    const Event end = queue.popNext();
    EXPECT_EQ(std::tuple(end.time, end.kind, end.source, end.target, end.edge, end.value, end.tag),
              std::tuple(13 * ms, EventKind::RefractoryEnd, 6, 6, 0, 0.0, 0));
    EXPECT_EQ(end.sequence, n.refractory_event);
    n.refractory_event = queue.schedule({.time = 15 * ms}); // stays, as does the old window
    expectError<TimeOverflow>([&] { fire(end_of_time - 1); }, "KESP model time overflow");
    EXPECT_EQ(std::tuple(n.adaptation, n.last_update, n.refractory_until, queue.size()),
              std::tuple(0.25, end_of_time - 1, 13 * ms, 1));
}

} // namespace Velmora::Tests
