#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/event_queue.hpp"
#include "core/kesp/network.hpp"
#include "core/kesp/neuron.hpp"
#include "core/kesp/oscillator.hpp"

#include <cstdint>
#include <span>
#include <vector>

namespace Velmora::Core::Kesp {

/// What a perturbation does to each of its targets. Nothing undoes it for the rest of the run.
enum class PerturbationType : std::uint8_t {
    /// Adds `strength` to the potential of each of `nodes`.
    Excite = 0,
    /// Subtracts `strength`, a magnitude, from the potential of each of `nodes`.
    Inhibit = 1,
    /// Adds `strength` radians to the phase shift of each of `oscillators`.
    PhaseShift = 2,
    /// Adds `strength` to the weight magnitude of each of `synapses`, floored at 0.
    SynapseWeight = 3,
    /// Makes each of `nodes` fire. The spike is carried out on the neuron only: neither recorded
    /// nor delivered.
    ForceSpike = 4,
};

/// A timed change made to a running network from outside. Only the target list that belongs to the
/// type is read.
struct Perturbation {
    /// Copied into the tag of each of its events.
    std::uint64_t id = 0;
    /// When it acts; not before the queue's current time.
    ModelTime time = 0;
    /// Decides which of the target lists is read.
    PerturbationType type = PerturbationType::Excite;
    /// Finite; >= 0 for Inhibit.
    double strength = 0.0;
    /// Targets of Excite, Inhibit and ForceSpike.
    std::vector<NodeId> nodes = {};
    /// Targets of SynapseWeight.
    std::vector<EdgeId> synapses = {};
    /// Targets of PhaseShift, by their ids.
    std::vector<std::uint32_t> oscillators = {};
};

/// What one perturbation event did.
struct PerturbationOutcome {
    /// Targets changed.
    std::uint64_t applied = 0;
    /// Forced spikes that fell inside an absolute refractory window and were left out.
    std::uint64_t suppressed = 0;
};

/// Throws InvalidIntervention "perturbation strength must be finite", then "inhibition strength is
/// a magnitude; the type carries the sign" when the strength of an Inhibit is below 0.
void validatePerturbation(const Perturbation& perturbation);

/// Schedules one Perturbation event per target, in list order, and returns their sequence numbers.
///
/// Targets are not checked here. Throws, before anything is scheduled, InvalidIntervention
/// "perturbation strength must be finite", "inhibition strength is a magnitude; the type carries
/// the sign"; CausalityViolation "perturbation is in the past"; InvalidIntervention "perturbation
/// names no target". Throws as EventQueue::schedule, what was scheduled before that staying
/// scheduled.
std::vector<std::uint64_t> schedulePerturbation(const Perturbation& perturbation,
                                                EventQueue& queue);

/// Applies one perturbation event to the one target that it names. `neurons` is indexed by NodeId.
/// The pending candidate of a changed neuron is withdrawn; the caller draws the next one. A changed
/// weight takes effect at the synapse's next delivery.
///
/// Throws, before its target changes: InvalidIntervention "event does not belong to this
/// perturbation"; std::out_of_range "perturbation target is outside the network";
/// InvalidIntervention "perturbed synapse was pruned"; as OscillatorBank::shiftPhase,
/// Network::isPresent and Network::setWeight. Throws as advanceNeuron; and as fireNeuron, with what
/// that leaves behind.
PerturbationOutcome applyPerturbationEvent(const Event& event, const Perturbation& perturbation,
                                           std::span<NeuronState> neurons,
                                           const NeuronParameters& parameters, Network& network,
                                           OscillatorBank& oscillators, EventQueue& queue);

} // namespace Velmora::Core::Kesp
