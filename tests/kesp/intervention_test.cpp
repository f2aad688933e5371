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
    PerturbationOutcome apply(const Event& event, const Perturbation& perturbation) {
        return applyPerturbationEvent(event, perturbation, neurons, {.adaptation_step = 0.5},
                                      network, oscillators, queue);
    }
    EventQueue queue;
    std::uint64_t candidate = queue.schedule({.time = 900 * ms});
    std::vector<NeuronState> neurons{3, {.potential = 1.0, .candidate_event = candidate}};
    Network network{3, {2, makeSynapse(0, 1, 0.5, 1, SynapseType::Inhibitory)}, {}};
    OscillatorBank oscillators{{{.id = 1}, {.id = 70}}};
};

TEST(Intervention, ActsOnTheTargetOfAnEventAlone) {
    const auto act = [](PerturbationType type, double strength, std::uint64_t target, EdgeId edge) {
        InterventionBench bench;
        const Perturbation perturbation{8, 30 * ms, type, strength, {2, 1}, {0, 1}, {1, 70}};
        const auto sequences = schedulePerturbation(perturbation, bench.queue);
        EXPECT_EQ(sequences, (std::vector<std::uint64_t>{1, 2}));
        bench.queue.popNext();
        const Event e = bench.queue.popNext();
        EXPECT_EQ(std::tuple(e.time, e.kind, e.source, e.target, e.edge, e.value, e.tag),
                  std::tuple(30 * ms, perturbed, target, target, edge, strength, 8));
        EXPECT_EQ(bench.apply(e, perturbation).applied, 1U);
        const NeuronState& n = bench.neurons[1];
        return std::tuple(n.potential, n.refractory_until, n.candidate_event, bench.queue.size(),
                          bench.network.synapse(1).weight, bench.oscillators.phaseShifts()[1]);
    };
    const auto pushed = std::tuple(0.36787944117144233 - 0.25, 0, none, 0, 0.5, 0);
    EXPECT_EQ(act(Excite, -0.25, 1, 0), pushed);
    EXPECT_EQ(act(Inhibit, 0.25, 1, 0), pushed);
    EXPECT_EQ(act(ForceSpike, 0.25, 1, 0), std::tuple(0, 33 * ms, none, 1, 0.5, 0));
    EXPECT_EQ(act(PhaseShift, -1, 70, 0), std::tuple(1, 0, 0, 1, 0.5, 5.283185307179586));
    EXPECT_EQ(act(SynapseWeight, 0.25, 0, 1), std::tuple(1, 0, 0, 1, 0.75, 0));
    EXPECT_EQ(act(SynapseWeight, -0.75, 0, 1), std::tuple(1, 0, 0, 1, 0, 0));
}

TEST(Intervention, SuppressesForcedSpikesInTheRefractoryWindow) {
    InterventionBench bench;
    bench.neurons[1].refractory_until = 12;
    for (const ModelTime t : {11, 12}) {
        const Event event{.time = t, .kind = perturbed, .target = 1};
        const auto outcome = bench.apply(event, {.time = t, .type = ForceSpike});
        EXPECT_EQ(std::tuple(outcome.applied, outcome.suppressed), std::tuple(t - 11, 12 - t));
        EXPECT_EQ(bench.neurons[1].candidate_event, t == 11 ? 0 : none);
    }
}

TEST(Intervention, RefusesBeforeAnythingChanges) {
    InterventionBench bench;
    bench.queue.schedule({.time = 9});
    bench.queue.popNext();
    const auto refuses = [&](const char* text, const Perturbation& bad) {
        expectError<InvalidIntervention>([&] { schedulePerturbation(bad, bench.queue); }, text);
    };
    constexpr const char* idle = "perturbation names no target";
    refuses(idle, {.time = 9, .type = ForceSpike, .synapses = {0}, .oscillators = {1}});
    refuses(idle, {.time = 9, .type = PhaseShift, .nodes = {1}, .synapses = {0}});
    refuses(idle, {.time = 9, .type = SynapseWeight, .nodes = {1}, .oscillators = {1}});
    refuses("perturbation strength must be finite", {.strength = std::nan("")});
    refuses("perturbation strength must be finite", {.type = Inhibit, .strength = -HUGE_VAL});
    refuses("inhibition strength is a magnitude; the type carries the sign",
            {.type = Inhibit, .strength = -0.2});
    const Perturbation early{.time = 8, .type = Inhibit, .strength = -0.0};
    expectError<CausalityViolation>([&] { schedulePerturbation(early, bench.queue); },
                                    "perturbation is in the past");
    const auto apply = [&](PerturbationType type, ModelTime time = 0, std::uint64_t tag = 3,
                           EventKind kind = perturbed) {
        const Event event{.time = time, .kind = kind, .target = 3, .edge = 2, .tag = tag};
        return [&bench, event, type] { bench.apply(event, {.id = 3, .type = type}); };
    };
    for (const auto& foreign : {apply(Excite, 1), apply(Excite, 0, 4), apply(Excite, 0, 3, {})}) {
        expectError<InvalidIntervention>(foreign, "event does not belong to this perturbation");
    }
    for (const auto type : {Excite, Inhibit, ForceSpike}) {
        expectError<std::out_of_range>(apply(type), "perturbation target is outside the network");
    }
    expectError<InvalidOscillator>(apply(PhaseShift), "unknown KESP oscillator id");
    expectError<SynapseRoutingViolation>(apply(SynapseWeight),
                                         "KESP synapse EdgeId is out of range");
    EXPECT_EQ(bench.queue.size(), 1U);
}

} // namespace Velmora::Tests
