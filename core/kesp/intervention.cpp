#include "core/kesp/intervention.hpp"

#include "core/kesp/errors.hpp"
#include "core/kesp/firing.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Velmora::Core::Kesp {

namespace {

NeuronState& targetNeuron(const Event& event, std::span<NeuronState> neurons) {
    if (event.target >= neurons.size()) {
        throw std::out_of_range("perturbation target is outside the network");
    }
    return neurons[event.target];
}

void changeWeight(Network& network, EdgeId edge, double strength) {
    if (!network.isPresent(edge)) {
        throw InvalidIntervention("perturbed synapse was pruned");
    }
    const double weight = static_cast<double>(network.synapse(edge).weight) + strength;
    network.setWeight(edge, static_cast<float>(weight > 0.0 ? weight : 0.0));
}

/// Returns whether the neuron fired; it does not inside an absolute refractory window.
bool forceSpike(NeuronState& neuron, const NeuronParameters& parameters, const Event& event,
                EventQueue& queue) {
    advanceNeuron(neuron, parameters, event.time);
    if (parameters.absolute_refractory && isRefractory(neuron, event.time)) {
        return false;
    }
    cancelCandidate(neuron, queue);
    fireNeuron(neuron, parameters, event.time, event.target, queue);
    return true;
}

} // namespace

void validatePerturbation(const Perturbation& perturbation) {
    if (!std::isfinite(perturbation.strength)) {
        throw InvalidIntervention("perturbation strength must be finite");
    }
    if (perturbation.type == PerturbationType::Inhibit && perturbation.strength < 0.0) {
        throw InvalidIntervention("inhibition strength is a magnitude; the type carries the sign");
    }
}

std::vector<std::uint64_t> schedulePerturbation(const Perturbation& perturbation,
                                                EventQueue& queue) {
    validatePerturbation(perturbation);
    if (perturbation.time < queue.now()) {
        throw CausalityViolation("perturbation is in the past");
    }

    std::vector<std::uint64_t> sequences;
    // Beforehand, so that no event is queued whose number gets lost.
    sequences.reserve(std::max({perturbation.nodes.size(), perturbation.synapses.size(),
                                perturbation.oscillators.size()}));
    const auto scheduleOne = [&](std::uint64_t target, EdgeId edge) {
        sequences.push_back(queue.schedule({.time = perturbation.time,
                                            .kind = EventKind::Perturbation,
                                            .source = target,
                                            .target = target,
                                            .edge = edge,
                                            .value = perturbation.strength,
                                            .tag = perturbation.id}));
    };
    switch (perturbation.type) {
    case PerturbationType::Excite:
    case PerturbationType::Inhibit:
    case PerturbationType::ForceSpike:
        for (const NodeId node : perturbation.nodes) {
            scheduleOne(node, 0);
        }
        break;
    case PerturbationType::PhaseShift:
        for (const std::uint32_t oscillator : perturbation.oscillators) {
            scheduleOne(oscillator, 0);
        }
        break;
    case PerturbationType::SynapseWeight:
        for (const EdgeId edge : perturbation.synapses) {
            scheduleOne(0, edge);
        }
        break;
    }
    if (sequences.empty()) {
        throw InvalidIntervention("perturbation names no target");
    }
    return sequences;
}

PerturbationOutcome applyPerturbationEvent(const Event& event, const Perturbation& perturbation,
                                           std::span<NeuronState> neurons,
                                           const NeuronParameters& parameters, Network& network,
                                           OscillatorBank& oscillators, EventQueue& queue) {
    if (event.kind != EventKind::Perturbation || event.time != perturbation.time
        || event.tag != perturbation.id) {
        throw InvalidIntervention("event does not belong to this perturbation");
    }
    constexpr PerturbationOutcome applied{.applied = 1};
    constexpr PerturbationOutcome suppressed{.suppressed = 1};
    switch (perturbation.type) {
    case PerturbationType::Excite:
    case PerturbationType::Inhibit: {
        NeuronState& neuron = targetNeuron(event, neurons);
        advanceNeuron(neuron, parameters, event.time);
        neuron.potential = perturbation.type == PerturbationType::Excite
                               ? perturbation.strength + neuron.potential
                               : neuron.potential - perturbation.strength;
        cancelCandidate(neuron, queue);
        return applied;
    }
    case PerturbationType::PhaseShift:
        oscillators.shiftPhase(static_cast<std::uint32_t>(event.target), perturbation.strength);
        return applied;
    case PerturbationType::SynapseWeight:
        changeWeight(network, event.edge, perturbation.strength);
        return applied;
    case PerturbationType::ForceSpike:
        return forceSpike(targetNeuron(event, neurons), parameters, event, queue) ? applied
                                                                                  : suppressed;
    }
    return {};
}

} // namespace Velmora::Core::Kesp
