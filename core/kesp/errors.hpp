#pragma once

#include <stdexcept>

/// The error types of the simulation core and the workspace model.
///
/// One class per kind of fault, each derived from the standard category a caller would catch
/// broadly, each thrown with a fixed text that what() returns to the letter. The types carry
/// nothing but that text. Input is validated before anything changes, so a failed operation leaves
/// its object as it was unless its own comment says otherwise.
namespace Velmora::Core::Kesp {

/// A model-time computation, or an event's sequence number, would leave its 64-bit range.
class TimeOverflow : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Something was to happen before the current model time.
class CausalityViolation : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The next event was requested from a queue that holds none.
class EmptyEventQueue : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A bad oscillator definition, a bad phase shift, or an unknown oscillator.
class InvalidOscillator : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// A bad synapse or network parameter.
class InvalidSynapse : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// Bad input to a competition, a window, a classification or an availability comparison.
class InvalidWorkspace : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// Bad neuron time constants.
class InvalidNeuronParameters : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// Bad parameters of hazard-based firing, or a bad modulation of the hazard.
class InvalidFiringParameters : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// A bad perturbation, or an event handed to the wrong one.
class InvalidIntervention : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// The identifier of a synapse or of a source node is out of range.
class SynapseRoutingViolation : public std::out_of_range {
  public:
    using std::out_of_range::out_of_range;
};

/// A neuron was moved backwards in model time: a defect of the simulation, not of its input.
class NeuronCausalityViolation : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

/// A neuron fired inside its absolute refractory period: a defect of the simulation, not of its
/// input.
class NeuronRefractoryViolation : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

/// A spike candidate reached the wrong neuron or was stale: a defect of the simulation, not of its
/// input.
class NeuronRoutingViolation : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

/// The hazard bound used for thinning was too low: a defect of the simulation, or of a modulation's
/// bound.
class HazardBoundViolation : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

} // namespace Velmora::Core::Kesp
