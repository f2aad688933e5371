#include "core/kesp/errors.hpp"
#include "core/kesp/intervention.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>

namespace Velmora::Tests {

using namespace Core::Kesp;
using enum PerturbationType;

constexpr ModelTime ms = nanoseconds_per_millisecond;
constexpr auto perturbed = EventKind::Perturbation;

struct InterventionBench {
    PerturbationOutcome apply(const Event& e, const Perturbation& p) {
        return applyPerturbationEvent(e, p, neurons, {.hold_potential = true}, network, bank,
                                      queue);
    }
    EventQueue queue;
    std::uint64_t candidate = queue.schedule({.time = 900 * ms});
    std::vector<NeuronState> neurons{3, {1.0, 0.0, 0, 30 * ms, 9.0, 0, none, candidate}};
    Network network{3, {2, makeSynapse(0, 1, 0.5, 1, SynapseType::Inhibitory)}, {}};
    OscillatorBank bank{{{.id = 1}, {.id = 70}}};
};

TEST(Intervention, ActsOnTheTargetOfAnEventAlone) {
    const auto act = [](PerturbationType type, double strength, std::uint64_t target, EdgeId edge,
                        ModelTime time = 30 * ms) {
        InterventionBench b;
        const Perturbation perturbation{8, time, type, strength, {2, 1}, {0, 1}, {1, 70}};
        EXPECT_EQ(schedulePerturbation(perturbation, b.queue)[1], 2U);
        b.queue.popNext();
        const Event e = b.queue.popNext();
        EXPECT_EQ(std::tuple(e.time, e.kind, e.source, e.target, e.edge, e.value, e.tag),
                  std::tuple(time, perturbed, target, target, edge, strength, 8));
        const auto [applied, suppressed] = b.apply(e, perturbation);
        const NodeId pending = b.queue.empty() ? none : b.queue.popNext().target;
        const NeuronState& n = b.neurons[1];
        return std::tuple(applied, suppressed, n.potential, n.last_update, n.candidate_event,
                          pending, b.network.synapse(1).weight, b.bank.phaseShifts()[1]);
    };
    EXPECT_EQ(act(Excite, -0.25, 1, 0), std::tuple(1, 0, 0.75, 30 * ms, none, none, 0.5, 0));
    EXPECT_EQ(act(Inhibit, 0.25, 1, 0), std::tuple(1, 0, 0.75, 30 * ms, none, none, 0.5, 0));
    EXPECT_EQ(act(ForceSpike, 0, 1, 0), std::tuple(1, 0, 0, 30 * ms, none, 1, 0.5, 0));
    EXPECT_EQ(act(ForceSpike, 0, 1, 0, 9), std::tuple(0, 1, 1, 9, 0, 0, 0.5, 0));
    EXPECT_EQ(act(PhaseShift, -1, 70, 0), std::tuple(1, 0, 1, 0, 0, 0, 0.5, 5.283185307179586));
    EXPECT_EQ(act(SynapseWeight, 0x1p-11 - 0.5, 0, 1), std::tuple(1, 0, 1, 0, 0, 0, 0x1p-11, 0));
    EXPECT_EQ(act(SynapseWeight, -0.75, 0, 1), std::tuple(1, 0, 1, 0, 0, 0, 0, 0));
}

TEST(Intervention, RefusesBeforeAnythingChanges) {
    InterventionBench b;
    b.queue.schedule({.time = 9});
    b.queue.popNext();
    const auto refuses = [&](const char* text, const Perturbation& bad) {
        expectError<InvalidIntervention>([&] { schedulePerturbation(bad, b.queue); }, text);
    };
    constexpr const char* idle = "perturbation names no target";
    refuses(idle, {.time = 9, .type = ForceSpike, .synapses = {0}, .oscillators = {1}});
    refuses(idle, {.time = 9, .type = PhaseShift, .nodes = {1}, .synapses = {0}});
    refuses(idle, {.time = 9, .type = SynapseWeight, .nodes = {1}, .oscillators = {1}});
    refuses("perturbation strength must be finite", {.type = Inhibit, .strength = -HUGE_VAL});
    refuses("inhibition strength is a magnitude; the type carries the sign",
            {.type = Inhibit, .strength = -0.2});
    const Perturbation early{.time = 8, .type = Inhibit, .strength = -Perturbation{}.strength};
    expectError<CausalityViolation>([&] { schedulePerturbation(early, b.queue); },
                                    "perturbation is in the past");
    for (const Event& e : {Event{0, 0, {}}, {1, 0, perturbed}, {0, 0, perturbed, 0, 0, 0, 0, 1}}) {
        expectError<InvalidIntervention>([&] { b.apply(e, {}); },
                                         "event does not belong to this perturbation");
    }
    const auto as = [&](PerturbationType type) {
        return [&, type] { b.apply({0, 0, perturbed, 3, 3, 2}, {.type = type}); };
    };
    expectError<std::out_of_range>(as(Excite), "perturbation target is outside the network");
    expectError<std::out_of_range>(as(ForceSpike), "perturbation target is outside the network");
    expectError<InvalidOscillator>(as(PhaseShift), "unknown KESP oscillator id");
    expectError<SynapseRoutingViolation>(as(SynapseWeight), "KESP synapse EdgeId is out of range");
    EXPECT_EQ(b.queue.size(), 1U);
}

} // namespace Velmora::Tests
