#include "core/kesp/simulation.hpp"

#include "core/kesp/errors.hpp"

#include <algorithm>
#include <optional>

namespace Velmora::Core::Kesp {

Simulation::Simulation(SimulationSetup setup, ModelTime horizon)
    : setup_(std::move(setup)),
      horizon_(horizon) {
    const std::uint64_t node_count = setup_.network.nodeCount();
    if (setup_.firing.size() != node_count) {
        throw InvalidFiringParameters("KESP simulation needs firing parameters for every node");
    }
    neurons_.resize(node_count);
    streams_.reserve(node_count);
    for (NodeId node = 0; node < node_count; ++node) {
        neurons_[node].stream_index = node;
        streams_.push_back(setup_.random.stream(spontaneous_stream, node));
    }
    drawAllCandidates(0);
}

void Simulation::perturb(Perturbation perturbation) {
    if (perturbation.time < now_) {
        throw CausalityViolation("perturbation is in the past");
    }
    perturbations_.reserve(perturbations_.size() + 1);
    const std::vector<std::uint64_t> events = schedulePerturbation(perturbation, queue_);
    perturbations_.push_back({.first_event = events.front(),
                              .end_event = events.back() + 1,
                              .perturbation = std::move(perturbation)});
}

void Simulation::runUntil(ModelTime until) {
    while (const std::optional<Event> event = queue_.popBefore(until)) {
        dispatch(*event);
    }
    now_ = std::max(now_, until);
}

void Simulation::drain() {
    run();
    while (!queue_.empty()) {
        dispatch(queue_.popNext());
    }
    now_ = std::max(now_, queue_.now());
}

void Simulation::extend(ModelTime horizon) {
    if (horizon < horizon_ || queue_.now() >= horizon_) {
        throw CausalityViolation("KESP simulation cannot move its horizon back");
    }
    run();
    const ModelTime reached = std::exchange(horizon_, horizon);
    drawAllCandidates(reached);
}

void Simulation::drawCandidate(NodeId node, ModelTime now) {
    scheduleNextCandidate(neurons_[node], setup_.neuron, setup_.firing[node], node, now, horizon_,
                          setup_.modulation_bound, queue_, streams_[node]);
}

void Simulation::drawAllCandidates(ModelTime now) {
    for (NodeId node = 0; node < neurons_.size(); ++node) {
        drawCandidate(node, now);
    }
}

void Simulation::dispatch(const Event& event) {
    ++event_count_;
    switch (event.kind) {
    case EventKind::SynapticDelivery:
        applyNeuronEvent(neurons_[event.target], setup_.neuron, event);
        drawCandidate(event.target, event.time);
        break;
    case EventKind::SpikeCandidate:
        resolve(event);
        break;
    case EventKind::RefractoryEnd:
        applyNeuronEvent(neurons_[event.target], setup_.neuron, event);
        break;
    case EventKind::Perturbation:
        applyPerturbation(event);
        break;
    }
}

void Simulation::resolve(const Event& candidate) {
    const NodeId node = candidate.target;
    if (candidate.sequence != neurons_[node].candidate_event) {
        return; // superseded
    }
    const CandidateOutcome outcome = resolveCandidate(
        neurons_[node], setup_.neuron, setup_.firing[node], node, candidate, horizon_,
        setup_.modulation_bound, queue_, streams_[node], setup_.modulation);
    if (!outcome.fired) {
        return;
    }
    if (keep_trace_) {
        trace_.push_back({.node = node, .time = candidate.time});
    }
    if (on_spike_) {
        on_spike_(node, candidate.time);
    }
    setup_.network.deliverSpike(node, candidate.time, queue_);
}

void Simulation::applyPerturbation(const Event& event) {
    const auto after =
        std::upper_bound(perturbations_.begin(), perturbations_.end(), event.sequence,
                         [](std::uint64_t sequence, const ScheduledPerturbation& scheduled) {
                             return sequence < scheduled.first_event;
                         });
    const Perturbation& perturbation = std::prev(after)->perturbation;
    applyPerturbationEvent(event, perturbation, neurons_, setup_.neuron, setup_.network,
                           setup_.oscillators, queue_);
    // The target of a phase shift is an oscillator: no neuron changed, and none may bear its
    // number. A synapse's event names node 0, whose candidate is drawn anew like that of a
    // perturbed neuron.
    if (perturbation.type != PerturbationType::PhaseShift) {
        drawCandidate(event.target, event.time);
    }
}

} // namespace Velmora::Core::Kesp
