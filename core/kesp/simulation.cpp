#include "core/kesp/simulation.hpp"

#include "core/kesp/errors.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>
#include <optional>
#include <utility>

namespace Velmora::Core::Kesp {

namespace {

bool haveSameBits(const FiringParameters& a, const FiringParameters& b) {
    const auto bitsOf = [](const FiringParameters& firing) {
        return std::bit_cast<std::array<std::uint64_t, 6>>(
            std::array{firing.baseline_rate, firing.sensitivity, firing.threshold,
                       firing.adaptation_coupling, firing.gain, firing.max_hazard});
    };
    return bitsOf(a) == bitsOf(b) && a.silent == b.silent;
}

} // namespace

Simulation::Simulation(SimulationSetup setup, ModelTime horizon)
    : setup_(std::move(setup)),
      horizon_(horizon),
      wake_times_(setup_.firing.size()) { // a network may claim any number of nodes
    const std::uint64_t node_count = setup_.network.nodeCount();
    if (setup_.firing.size() != node_count) {
        throw InvalidFiringParameters("KESP simulation needs firing parameters for every node");
    }
    neurons_.resize(node_count);
    companions_.resize(node_count);
    for (NodeId node = 0; node < node_count; ++node) {
        neurons_[node].stream_index = node;
        streams_.push_back(setup_.random.stream(spontaneous_stream, node).record);
    }
    prepareFiring();
    drawAllCandidates(0);
}

void Simulation::perturb(Perturbation perturbation) {
    validatePerturbation(perturbation);
    if (perturbation.time < now_) {
        throw CausalityViolation("perturbation is in the past");
    }
    if (perturbations_.size()
        == perturbations_.capacity()) { // so that nothing fails once it is scheduled
        perturbations_.reserve(2 * perturbations_.size() + 1);
    }
    const std::vector<std::uint64_t> events = schedulePerturbation(perturbation, queue_);
    perturbations_.push_back(
        {.first_event = events.front(), .perturbation = std::move(perturbation)});
}

void Simulation::runUntil(ModelTime until) {
    for (;;) {
        // Wake-ups come first among equal times; what they work out always lies later.
        const ModelTime wake_time = wake_times_.earliest();
        const std::optional<Event> event =
            queue_.popBefore(std::min(until, wake_time),
                             [this](const Event& approaching) { fetchAhead(approaching); });
        if (event) {
            dispatch(*event);
        } else if (wake_time < until) {
            candidatesOf(wake_times_.first()).wake(wake_time);
        } else {
            break;
        }
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
    if (horizon < horizon_ || now_ > horizon_ || queue_.now() >= horizon_) {
        throw CausalityViolation("KESP simulation cannot move its horizon back");
    }
    run();
    const ModelTime reached = std::exchange(horizon_, horizon);
    drawAllCandidates(std::max<ModelTime>(reached, 0));
}

/// Prepares each set of firing parameters once, as far as neighbours share them.
void Simulation::prepareFiring() {
    for (NodeId node = 0; node < setup_.firing.size(); ++node) {
        const FiringParameters& parameters = setup_.firing[node];
        if (node == 0 || !haveSameBits(parameters, setup_.firing[node - 1])) {
            firing_.emplace_back(parameters);
        }
        companions_[node].firing = firing_.size() - 1;
    }
}

/// Asks for the memory of the neuron on which an event will act soon: in a large network it is not
/// in the cache. Among 10^5 neurons that halves the time.
void Simulation::fetchAhead(const Event& event) const {
    if (event.target < neurons_.size()) {
        __builtin_prefetch(&neurons_[event.target], 1);
        __builtin_prefetch(&companions_[event.target], 1);
        __builtin_prefetch(streams_[event.target], 1);
        __builtin_prefetch(&wake_times_.of(event.target), 1);
    }
    // GCC takes a function that does nothing but prefetch for one without effect and leaves out the
    // calls; a statement that must stay keeps them.
    asm volatile("");
}

CandidateScheduler Simulation::candidatesOf(NodeId node) {
    return CandidateScheduler({.state = neurons_[node],
                               .deferred = companions_[node].deferred,
                               .neuron = setup_.neuron,
                               .firing = firingOf(node),
                               .node = node,
                               .horizon = horizon_,
                               .modulation_bound = setup_.modulation_bound,
                               .queue = queue_,
                               .wake_times = wake_times_,
                               .stream = streamOf(node)});
}

void Simulation::drawAllCandidates(ModelTime now) {
    for (NodeId node = 0; node < neurons_.size(); ++node) {
        candidatesOf(node).draw(now);
    }
}

void Simulation::dispatch(const Event& event) {
    ++event_count_;
    switch (event.kind) {
    case EventKind::SynapticDelivery:
        applyNeuronEvent(neurons_[event.target], setup_.neuron, event);
        candidatesOf(event.target).draw(event.time);
        break;
    case EventKind::SpikeCandidate:
        resolve(event);
        break;
    case EventKind::RefractoryEnd:
        candidatesOf(event.target).settle();
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
    const CandidateOutcome outcome =
        judgeCandidate(neurons_[node], setup_.neuron, firingOf(node), node, candidate, queue_,
                       streamOf(node), setup_.modulation);
    candidatesOf(node).draw(candidate.time);
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
        candidatesOf(event.target).draw(event.time);
    }
}

} // namespace Velmora::Core::Kesp
