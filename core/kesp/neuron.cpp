#include "core/kesp/neuron.hpp"

#include "core/kesp/errors.hpp"
#include "core/kesp/portable_math.hpp"

#include <cmath>

namespace Velmora::Core::Kesp {

double decayValue(double x, double dt, ModelTime tau, double flush_below) {
    if (x == 0.0 || dt == 0.0) {
        return x;
    }
    const double decayed = portableExp(-dt / static_cast<double>(tau)) * x;
    return flush_below > std::fabs(decayed) ? 0.0 : decayed;
}

void advanceNeuron(NeuronState& state, const NeuronParameters& parameters, ModelTime t) {
    if (parameters.tau_v <= 0 || parameters.tau_a <= 0) {
        throw InvalidNeuronParameters("KESP neuron time constants must be positive");
    }
    if (t < state.last_update) {
        throw NeuronCausalityViolation("KESP neuron advanced into the past");
    }
    const double dt = static_cast<double>(t) - static_cast<double>(state.last_update);
    if (!parameters.hold_potential) {
        state.potential = decayValue(state.potential, dt, parameters.tau_v, parameters.flush_below);
    }
    state.adaptation = decayValue(state.adaptation, dt, parameters.tau_a, parameters.flush_below);
    state.last_update = t;
}

void applyNeuronEvent(NeuronState& state, const NeuronParameters& parameters, const Event& event) {
    constexpr auto reserved_kind = static_cast<EventKind>(3);
    advanceNeuron(state, parameters, event.time);
    if (event.kind == EventKind::SynapticDelivery || event.kind == reserved_kind
        || event.kind == EventKind::Perturbation) {
        state.potential += event.value;
    } else if (event.kind == EventKind::RefractoryEnd) {
        state.refractory_event = none;
    }
}

bool isRefractory(const NeuronState& state, ModelTime t) {
    return t < state.refractory_until;
}

void fireNeuron(NeuronState& state, const NeuronParameters& parameters, ModelTime t, NodeId node,
                EventQueue& queue) {
    if (parameters.absolute_refractory && isRefractory(state, t)) {
        throw NeuronRefractoryViolation("KESP neuron fired inside its absolute refractory window");
    }
    advanceNeuron(state, parameters, t);
    state.potential = parameters.reset;
    state.adaptation += parameters.adaptation_step;
    state.refractory_until = addChecked(t, parameters.refractory);
    if (state.refractory_event != none) {
        queue.cancel(state.refractory_event);
    }
    state.refractory_event = queue.schedule({.time = state.refractory_until,
                                             .kind = EventKind::RefractoryEnd,
                                             .source = node,
                                             .target = node});
}

} // namespace Velmora::Core::Kesp
