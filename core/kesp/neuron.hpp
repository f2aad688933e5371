#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/event_queue.hpp"
#include "core/kesp/model_time.hpp"

#include <cstdint>

/// The neuron: two state variables that decay exponentially between events and jump at events.
///
///     V(t) = V(t0) exp(-(t - t0) / tau_v)        potential, dimensionless
///     A(t) = A(t0) exp(-(t - t0) / tau_a)        adaptation, dimensionless
///
/// When it fires is decided by the hazard of firing.hpp; the operations here carry the firing out.
namespace Velmora::Core::Kesp {

/// The constants of a neuron, usually shared by many.
struct NeuronParameters {
    /// Decay time constant of the potential, > 0.
    ModelTime tau_v = 30 * nanoseconds_per_millisecond;
    /// Decay time constant of the adaptation, > 0.
    ModelTime tau_a = nanoseconds_per_second;
    /// Length of the refractory window that starts at a spike; not negative.
    ModelTime refractory = 3 * nanoseconds_per_millisecond;
    /// Added to the adaptation at each spike.
    double adaptation_step = 0.0;
    /// The potential right after a spike.
    double reset = 0.0;
    /// A decayed value whose magnitude is below this becomes exactly 0; not negative.
    double flush_below = 1e-15;
    /// Whether the neuron has no hazard, and cannot fire, before refractory_until.
    bool absolute_refractory = true;
    /// Whether the potential stays as it is between events; the adaptation decays regardless.
    bool hold_potential = false;
};

/// The state of one neuron. V(t) and A(t) always mean this state decayed from last_update to t.
struct alignas(64) NeuronState {
    /// V at last_update.
    double potential = 0.0;
    /// A at last_update.
    double adaptation = 0.0;
    /// The time to which V and A were last advanced. It never decreases.
    ModelTime last_update = 0;
    /// End, exclusive, of the latest refractory window.
    ModelTime refractory_until = 0;
    /// Hazard bound of the pending spike candidate, in Hz; 0 when there is none.
    double candidate_bound = 0.0;
    /// Index of the neuron's random stream.
    std::uint64_t stream_index = 0;
    /// Sequence number of the pending RefractoryEnd event, or `none`.
    std::uint64_t refractory_event = none;
    /// Sequence number of the pending SpikeCandidate event, or `none`.
    std::uint64_t candidate_event = none;
};

/// x exp(-dt / tau), with dt in ns: 0 when that is smaller in magnitude than flush_below. Nothing
/// happens to a zero, nor when no time passes.
[[nodiscard]] double decayValue(double x, double dt, ModelTime tau, double flush_below);

/// Advances V and A to t. Advancing to last_update changes nothing.
///
/// Throws InvalidNeuronParameters "KESP neuron time constants must be positive", then
/// NeuronCausalityViolation "KESP neuron advanced into the past" when t < last_update; the state is
/// unchanged then.
void advanceNeuron(NeuronState& state, const NeuronParameters& parameters, ModelTime t);

/// Advances the neuron to the event's time and applies the event: a delivery, a perturbation (and
/// the reserved kind 3) add the event's value to the potential, a refractory end forgets the
/// pending refractory event, others do nothing more. Throws as advanceNeuron, the state unchanged.
void applyNeuronEvent(NeuronState& state, const NeuronParameters& parameters, const Event& event);

/// Whether t lies before the end of the refractory window. Whether that window is absolute is
/// another question: NeuronParameters::absolute_refractory.
[[nodiscard]] bool isRefractory(const NeuronState& state, ModelTime t);

/// Fires the neuron at t: advances it, resets V, adds adaptation_step to A, opens the refractory
/// window [t, t + refractory) and schedules the one RefractoryEnd event that marks its end, in
/// place of a pending one. The spike is not routed: the caller delivers it.
///
/// Throws NeuronRefractoryViolation "KESP neuron fired inside its absolute refractory window", then
/// as advanceNeuron, the state unchanged; TimeOverflow "KESP model time overflow" when the window
/// would end beyond the time range: the neuron is then reset and adapted, its refractory window is
/// the old one; as IEventSink::schedule: then the window is the new one, without an event.
void fireNeuron(NeuronState& state, const NeuronParameters& parameters, ModelTime t, NodeId node,
                EventQueue& queue);

} // namespace Velmora::Core::Kesp
