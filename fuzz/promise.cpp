#include "fuzz/promise.hpp"

#include <algorithm>
#include <array>

namespace Velmora::Fuzz {

using namespace Core::Kesp;

namespace {

struct DocumentedError {
    const std::type_info* type;
    std::string_view text;
};

const std::array documented_errors{
    DocumentedError{&typeid(TimeOverflow), "KESP event sequence exhausted"},
    DocumentedError{&typeid(TimeOverflow), "KESP model time overflow"},
    DocumentedError{&typeid(CausalityViolation),
                    "KESP event scheduled before the current model time"},
    DocumentedError{&typeid(CausalityViolation), "KESP simulation cannot move its horizon back"},
    DocumentedError{&typeid(CausalityViolation), "perturbation is in the past"},
    DocumentedError{&typeid(EmptyEventQueue), "popNext on empty KESP event queue"},
    DocumentedError{&typeid(InvalidOscillator), "invalid KESP oscillator parameters"},
    DocumentedError{&typeid(InvalidOscillator), "duplicate KESP oscillator id"},
    DocumentedError{&typeid(InvalidOscillator), "unknown KESP oscillator id"},
    DocumentedError{&typeid(InvalidSynapse), "network min_delay must be positive"},
    DocumentedError{&typeid(InvalidSynapse), "synapse endpoint is outside the network"},
    DocumentedError{&typeid(InvalidSynapse), "synapse weight magnitude must be finite and >= 0"},
    DocumentedError{&typeid(InvalidSynapse), "synapse delay must be >= network min_delay and > 0"},
    DocumentedError{&typeid(InvalidWorkspace), "competition needs at least two participants"},
    DocumentedError{&typeid(InvalidWorkspace), "a competing coalition has no members"},
    DocumentedError{&typeid(InvalidWorkspace), "competition weights must be finite and >= 0"},
    DocumentedError{&typeid(InvalidWorkspace),
                    "competition needs both recurrent excitation and lateral inhibition"},
    DocumentedError{&typeid(InvalidWorkspace),
                    "lateral inhibition would exceed the recurrent drive of a coalition, which "
                    "gives absolute winner-take-all instead of winner-take-most"},
    DocumentedError{&typeid(InvalidWorkspace), "workspace window is empty"},
    DocumentedError{&typeid(InvalidWorkspace), "workspace window needs coalitions"},
    DocumentedError{&typeid(InvalidWorkspace), "workspace window step must be positive"},
    DocumentedError{&typeid(InvalidWorkspace),
                    "response classification needs a sweep of >= 3 points"},
    DocumentedError{&typeid(InvalidWorkspace), "steepness cutoff must be > 1"},
    DocumentedError{&typeid(InvalidWorkspace), "response sweep repeats a stimulus level"},
    DocumentedError{&typeid(InvalidWorkspace), "availability needs matching module sets"},
    DocumentedError{&typeid(InvalidWorkspace), "availability tolerance must be finite and >= 0"},
    DocumentedError{&typeid(InvalidNeuronParameters),
                    "KESP neuron time constants must be positive"},
    DocumentedError{&typeid(InvalidFiringParameters), "invalid KESP firing parameters"},
    DocumentedError{&typeid(InvalidFiringParameters),
                    "KESP maximum hazard exceeds what the nanosecond time grid can sample without "
                    "biasing the rate"},
    DocumentedError{&typeid(InvalidFiringParameters), "KESP baseline exceeds maximum hazard"},
    DocumentedError{&typeid(InvalidFiringParameters), "non-finite KESP hazard modulation"},
    DocumentedError{&typeid(InvalidFiringParameters), "non-finite KESP modulation bound"},
    DocumentedError{&typeid(InvalidFiringParameters),
                    "KESP simulation needs firing parameters for every node"},
    DocumentedError{&typeid(InvalidIntervention), "perturbation strength must be finite"},
    DocumentedError{&typeid(InvalidIntervention),
                    "inhibition strength is a magnitude; the type carries the sign"},
    DocumentedError{&typeid(InvalidIntervention), "perturbation names no target"},
    DocumentedError{&typeid(std::out_of_range), "perturbation target is outside the network"},
    DocumentedError{&typeid(SynapseRoutingViolation), "KESP synapse EdgeId is out of range"},
    DocumentedError{&typeid(NeuronCausalityViolation), "KESP neuron advanced into the past"},
    DocumentedError{&typeid(HazardBoundViolation), "KESP hazard upper bound underestimated lambda"},
};

} // namespace

bool isDocumented(const Refusal& refusal) {
    return std::ranges::any_of(documented_errors, [&refusal](const DocumentedError& documented) {
        return *documented.type == *refusal.type && documented.text == refusal.text;
    });
}

} // namespace Velmora::Fuzz
