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
    NeuronParameters parameters{.adaptation_step = 0.25, .reset = -0.5};
    EventQueue queue;
    NeuronState n{.potential = 3.0, .adaptation = 1.0, .last_update = 10 * ms};
    const auto fire = [&](ModelTime t) { fireNeuron(n, parameters, t, 6, queue); };
    fire(10 * ms);
    expectError<NeuronRefractoryViolation>(
        [&] { fire(13 * ms - 1); }, "KESP neuron fired inside its absolute refractory window");
    expectError<NeuronCausalityViolation>([&] { advanceNeuron(n, {}, 10 * ms - 1); },
                                          "KESP neuron advanced into the past");
    for (const ModelTime tau : {0, 1}) {
        expectError<InvalidNeuronParameters>(
            [&] {
                advanceNeuron(n, {tau, 1 - tau}, 0);
            },
            "KESP neuron time constants must be positive");
    }
    EXPECT_EQ(std::tuple(n.potential, n.adaptation, n.last_update, n.refractory_until),
              std::tuple(-0.5, 1.25, 10 * ms, 13 * ms));
    parameters.refractory = 0;
    parameters.absolute_refractory = false;
    fire(12 * ms);
    parameters.absolute_refractory = true;
    fire(12 * ms);
    EXPECT_EQ(queue.size(), 1U); // each spike withdrew the end of the window before
    const Event end = queue.popNext();
    EXPECT_EQ(std::tuple(end.time, end.sequence, end.kind, end.source, end.target),
              std::tuple(12 * ms, n.refractory_event, EventKind::RefractoryEnd, 6, 6));
    // The window would end beyond the time range: reset and adapted, the old window stays.
    n.refractory_event = queue.schedule({.time = 15 * ms});
    parameters.refractory = 2;
    expectError<TimeOverflow>([&] { fire(end_of_time - 1); }, "KESP model time overflow");
    EXPECT_EQ(std::tuple(n.adaptation, n.last_update, n.refractory_until, queue.size()),
              std::tuple(0.25, end_of_time - 1, 12 * ms, 1));
}

} // namespace Velmora::Tests
