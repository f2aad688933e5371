#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/event_queue.hpp"
#include "core/kesp/neuron.hpp"
#include "core/runtime/random_context.hpp"

#include <cstdint>
#include <functional>
#include <string_view>

/// Stochastic firing by an exponential hazard, sampled exactly by thinning (Lewis and Shedler
/// 1979).
///
/// A neuron's spikes form a point process with the hazard
///
///     lambda(t) = base exp(min(sensitivity (V(t) - adaptation_coupling A(t) + m(t) - threshold),
///                              log(max_hazard / base)))
///
/// in Hz, with base = baseline_rate gain and an optional modulation m(t). For an interval up to a
/// horizon the core takes an upper bound B of the hazard, draws the waiting time of a Poisson
/// process of rate B and schedules a spike candidate there. When the candidate comes due it fires
/// with probability lambda / B; either way the next candidate is drawn.
///
/// Protocol, on which the validity of every bound rests:
/// 1. At the start of a run, scheduleNextCandidate for every neuron.
/// 2. After any event that changes a neuron's potential or adaptation, scheduleNextCandidate for
///    that neuron at the event's time: it withdraws the pending candidate and draws one from a
///    fresh bound.
/// 3. A SpikeCandidate taken from the queue goes to resolveCandidate of its target if its sequence
///    number is that neuron's candidate_event, and is dropped otherwise. A neuron that fired
///    delivers its spike at that time.
/// 4. A RefractoryEnd changes neither potential nor adaptation and needs no new candidate.
namespace Velmora::Core::Kesp {

/// The name of the random streams from which neurons draw, indexed by NeuronState::stream_index.
inline constexpr std::string_view spontaneous_stream = "spontaneous";

/// The highest max_hazard, in Hz: a mean candidate interval of 1,000 ns against a grid of 1 ns.
inline constexpr double greatest_max_hazard = 1'000'000.0;

/// The constants of one neuron's hazard.
struct FiringParameters {
    /// Hz, finite, >= 0. baseline_rate * gain may not exceed max_hazard.
    double baseline_rate = 0.5;
    /// Slope of the exponential per unit of potential; finite, >= 0.
    double sensitivity = 2.0;
    /// The potential at which the exponential factor is 1; finite.
    double threshold = 0.0;
    /// Weight of the adaptation against the potential; finite, >= 0.
    double adaptation_coupling = 1.0;
    /// Multiplier of the baseline rate; finite, >= 0.
    double gain = 1.0;
    /// Cap of the hazard in Hz; > 0, at most greatest_max_hazard.
    double max_hazard = greatest_max_hazard;
    /// A silent neuron never gets a candidate.
    bool silent = false;
};

/// m(t): added to the potential inside the hazard. Empty means 0. With it goes a modulation bound,
/// a number that m must not exceed over the interval being bounded.
using HazardModulation =
    std::function<double(ModelTime, const NeuronParameters&, const FiringParameters&)>;

/// What came of the search for a candidate.
enum class CandidateStatus : std::uint8_t {
    /// A candidate event was scheduled.
    Scheduled = 0,
    /// The neuron is silent.
    Silent = 1,
    /// The hazard bound over the interval is 0.
    ZeroHazard = 2,
    /// The interval is empty, or the candidate drawn falls at or after the horizon.
    BeyondHorizon = 3,
};

/// The result of a search for a candidate.
struct CandidateSchedule {
    /// Sequence number of the candidate event, or `none`.
    std::uint64_t sequence = none;
    /// Whether there is a candidate, or why not.
    CandidateStatus status = CandidateStatus::Silent;
    /// The candidate's time when Scheduled, the current time when Silent, the horizon otherwise.
    ModelTime time = 0;
    /// The bound B in Hz; 0 when Silent, when ZeroHazard and when the interval was empty.
    double bound = 0.0;
};

/// The result of a candidate that came due.
struct CandidateOutcome {
    /// Whether the candidate became a spike.
    bool fired = false;
    /// lambda at the candidate's time, in Hz.
    double rate = 0.0;
    /// The bound B that the candidate carried, in Hz.
    double bound = 0.0;
    /// The candidate that follows.
    CandidateSchedule next = {};
};

/// Throws InvalidFiringParameters: "invalid KESP firing parameters" for a number out of its range,
/// "KESP maximum hazard exceeds what the nanosecond time grid can sample without biasing the rate",
/// "KESP baseline exceeds maximum hazard".
void validateFiringParameters(const FiringParameters& firing);

/// Firing parameters, examined once, with what follows from them alone: for those who evaluate a
/// hazard again and again. Converts from FiringParameters, so every operation below takes those
/// too.
class PreparedFiring {
  public:
    /// Prepares the parameters, valid or not.
    // A set of firing parameters is its preparation, only slower.
    // NOLINTNEXTLINE(google-explicit-constructor)
    PreparedFiring(const FiringParameters& firing = {});

    /// The parameters as they were given.
    [[nodiscard]] const FiringParameters& parameters() const { return parameters_; }

    /// Throws as validateFiringParameters. Preparing does not: parameters that are never used are
    /// never refused.
    void requireValid() const {
        if (fault_ != nullptr) {
            throwInvalid();
        }
    }

    /// The hazard in Hz of a drive above threshold,
    /// exp(min(drive sensitivity, log(max_hazard / base))) base, or 0 when the baseline rate or the
    /// gain is 0.
    [[nodiscard]] double hazardOf(double drive) const;

    /// The exponent of hazardOf.
    [[nodiscard]] double exponentOf(double drive) const {
        const double exponent = drive * parameters_.sensitivity;
        return exponent < greatest_exponent_ ? exponent : greatest_exponent_;
    }

    /// base = baseline_rate gain, in Hz.
    [[nodiscard]] double base() const { return base_; }

    /// Whether a neuron with these parameters may have its candidates deferred: valid, not silent,
    /// not at a rate so low that a hazard could underflow to 0.
    [[nodiscard]] bool isDeferrable() const { return deferrable_; }

  private:
    [[noreturn]] void throwInvalid() const;

    FiringParameters parameters_;
    /// base = baseline_rate gain, in Hz.
    double base_;
    /// log(max_hazard / base): the cap acts inside the exponent.
    double greatest_exponent_;
    /// What is wrong with the parameters, or null.
    const char* fault_;
    bool deferrable_;
};

/// lambda(t) in Hz for the modulation value m; 0 inside an absolute refractory window.
///
/// Throws as validateFiringParameters; InvalidFiringParameters "non-finite KESP hazard modulation";
/// then NeuronCausalityViolation "KESP neuron advanced into the past" when t < last_update.
[[nodiscard]] double hazardRate(const NeuronState& state, const NeuronParameters& neuron,
                                const PreparedFiring& firing, ModelTime t, double m);

/// An upper bound, in Hz, of lambda over [from, to], given that no event intervenes and that m <=
/// modulation_bound.
///
/// The drive V - adaptation_coupling A, a difference of two decaying exponentials, is greatest at
/// an end of the interval or at its only stationary point; a margin covers the flushing of small
/// values. Only the part of the interval after the current absolute refractory window counts: 0
/// when nothing is left.
///
/// Throws as validateFiringParameters; NeuronCausalityViolation "KESP hazard interval runs
/// backwards" when to < from; InvalidFiringParameters "non-finite KESP modulation bound".
[[nodiscard]] double hazardBound(const NeuronState& state, const NeuronParameters& neuron,
                                 const PreparedFiring& firing, ModelTime from, ModelTime to,
                                 double modulation_bound);

/// The drive above threshold from which hazardBound takes the bound when the greatest drive in the
/// interval is `greatest_drive`: a margin that covers flushing, 2 (adaptation_coupling + 1)
/// flush_below, and the modulation added.
[[nodiscard]] inline double hazardBoundDrive(double greatest_drive, const NeuronParameters& neuron,
                                             const FiringParameters& firing,
                                             double modulation_bound) {
    const double coupling = firing.adaptation_coupling + 1.0;
    return ((coupling + coupling) * neuron.flush_below + greatest_drive) + modulation_bound
           - firing.threshold;
}

/// The earliest time from which a candidate may be drawn: `now`, or the end of the absolute
/// refractory window.
[[nodiscard]] ModelTime candidateStart(const NeuronState& state, const NeuronParameters& neuron,
                                       ModelTime now);

/// A waiting time, in seconds, of a Poisson process of rate `bound` (Hz): -log(u) / bound with the
/// stream's next uniform number u, where a u of 0 counts as the smallest normal double. Throws as
/// Runtime::nextU64.
double drawWait(double bound, Runtime::RandomStream stream);

/// The same, from the stream of the neuron with this stream index.
double drawWait(double bound, Runtime::RandomContext& random, std::uint64_t stream_index);

/// The waiting time that drawWait makes of the uniform number u.
[[nodiscard]] double waitOfDraw(double u, double bound);

/// Withdraws the neuron's pending candidate. Returns whether an event was withdrawn from the queue;
/// false, and nothing changes, when none is pending.
bool cancelCandidate(NeuronState& state, EventQueue& queue);

/// Withdraws the pending candidate of the neuron and searches for the next one in [now, horizon).
///
/// Draws one number from the stream, and none when the status is Silent, ZeroHazard or
/// BeyondHorizon with a bound of 0.
///
/// Throws as hazardBound and Runtime::nextU64, and TimeOverflow "KESP model time overflow" when the
/// candidate's time leaves the time range. The pending candidate is withdrawn all the same; when
/// the draw or what follows it throws, candidate_bound is left at the bound although no candidate
/// is pending.
CandidateSchedule scheduleNextCandidate(NeuronState& state, const NeuronParameters& neuron,
                                        const PreparedFiring& firing, NodeId node, ModelTime now,
                                        ModelTime horizon, double modulation_bound,
                                        EventQueue& queue, Runtime::RandomStream stream);

/// The same, with the stream looked up in the context.
CandidateSchedule scheduleNextCandidate(NeuronState& state, const NeuronParameters& neuron,
                                        const PreparedFiring& firing, NodeId node, ModelTime now,
                                        ModelTime horizon, double modulation_bound,
                                        EventQueue& queue, Runtime::RandomContext& random);

/// What is left of scheduleNextCandidate at the time state.last_update when its uniform number u
/// has been drawn before and a sequence number reserved for the candidate. The neuron must not have
/// a pending candidate, nor changed since the draw, and its hazard bound must not be 0. Throws as
/// EventQueue::scheduleReserved and scheduleNextCandidate.
CandidateSchedule scheduleDrawnCandidate(NeuronState& state, const NeuronParameters& neuron,
                                         const PreparedFiring& firing, NodeId node, double u,
                                         std::uint64_t reserved_sequence, ModelTime horizon,
                                         double modulation_bound, EventQueue& queue);

/// Accepts or rejects the neuron's pending candidate, which came due as `candidate`: it fires
/// (fireNeuron) when lambda / B exceeds the stream's next uniform number. The spike is not routed,
/// and no further candidate is drawn: the outcome's `next` is empty.
///
/// Throws NeuronRoutingViolation "stale or misrouted KESP spike candidate", nothing changed, when
/// the event is not this neuron's pending candidate. After that the pending candidate is forgotten,
/// also when it throws as hazardRate; HazardBoundViolation "KESP hazard upper bound underestimated
/// lambda" when lambda exceeds B by more than 1e-12 of it; or as advanceNeuron, Runtime::nextU64
/// and fireNeuron. candidate_bound stays what it was until the next draw.
CandidateOutcome judgeCandidate(NeuronState& state, const NeuronParameters& neuron,
                                const PreparedFiring& firing, NodeId node, const Event& candidate,
                                EventQueue& queue, Runtime::RandomStream stream,
                                const HazardModulation& modulation);

/// judgeCandidate, and then scheduleNextCandidate from the candidate's time on. Throws as they do.
CandidateOutcome resolveCandidate(NeuronState& state, const NeuronParameters& neuron,
                                  const PreparedFiring& firing, NodeId node, const Event& candidate,
                                  ModelTime horizon, double modulation_bound, EventQueue& queue,
                                  Runtime::RandomStream stream, const HazardModulation& modulation);

/// The same, with the stream looked up in the context.
CandidateOutcome resolveCandidate(NeuronState& state, const NeuronParameters& neuron,
                                  const PreparedFiring& firing, NodeId node, const Event& candidate,
                                  ModelTime horizon, double modulation_bound, EventQueue& queue,
                                  Runtime::RandomContext& random,
                                  const HazardModulation& modulation);

} // namespace Velmora::Core::Kesp
