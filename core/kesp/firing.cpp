#include "core/kesp/firing.hpp"

#include "core/kesp/errors.hpp"
#include "core/kesp/portable_math.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmora::Core::Kesp {

namespace {

/// The greater of two numbers, the second when they do not compare: what becomes of a NaN depends
/// on it.
double greater(double a, double b) {
    return a > b ? a : b;
}

/// V and A at one time.
struct DecayedState {
    double potential;
    double adaptation;
};

DecayedState decayedTo(ModelTime t, const NeuronState& state, const NeuronParameters& neuron) {
    const double dt = static_cast<double>(t) - static_cast<double>(state.last_update);
    return {.potential = neuron.hold_potential
                             ? state.potential
                             : decayValue(state.potential, dt, neuron.tau_v, neuron.flush_below),
            .adaptation = decayValue(state.adaptation, dt, neuron.tau_a, neuron.flush_below)};
}

/// D(t) = (V(t) - adaptation_coupling A(t)) + 0.0
double driveAt(ModelTime t, const NeuronState& state, const NeuronParameters& neuron,
               const FiringParameters& firing) {
    const DecayedState decayed = decayedTo(t, state, neuron);
    return (decayed.potential - firing.adaptation_coupling * decayed.adaptation) + 0.0;
}

/// The greater of `best` and the drive around its stationary point inside (start, to), if it has
/// one.
///
/// dD/dt = 0 where V_s / tau_v exp(-tau / tau_v) = W_s / tau_a exp(-tau / tau_a), tau after start.
/// The two grid points around that instant are looked at.
double withInteriorMaximum(double best, double v_s, double w_s, ModelTime start, ModelTime to,
                           const NeuronState& state, const NeuronParameters& neuron,
                           const FiringParameters& firing) {
    if (neuron.hold_potential || v_s == 0.0 || w_s == 0.0) {
        return best;
    }
    const double rate_v = 1.0 / static_cast<double>(neuron.tau_v);
    const double rate_a = 1.0 / static_cast<double>(neuron.tau_a);
    if (rate_v == rate_a) {
        return best;
    }
    const double quotient = (v_s * rate_v) / (w_s * rate_a);
    if (!(quotient > 0.0)) {
        return best;
    }
    const double after_start = portableLog(quotient) / (rate_v - rate_a);
    if (!std::isfinite(after_start) || !(after_start > 0.0)) {
        return best;
    }
    const double instant = static_cast<double>(start) + after_start;
    if (!(instant > static_cast<double>(start) && instant < static_cast<double>(to))) {
        return best;
    }
    const auto before = static_cast<ModelTime>(instant);
    best = greater(best, driveAt(before, state, neuron, firing));
    if (before < to) {
        best = greater(best, driveAt(before + 1, state, neuron, firing));
    }
    return best;
}

/// The greatest drive over [start, to].
double greatestDrive(const NeuronState& state, const NeuronParameters& neuron,
                     const FiringParameters& firing, ModelTime start, ModelTime to) {
    const DecayedState at_start = decayedTo(start, state, neuron);
    const double v_s = at_start.potential;
    const double w_s = firing.adaptation_coupling * at_start.adaptation;
    const double at_the_ends = greater((v_s - w_s) + 0.0, driveAt(to, state, neuron, firing));
    return withInteriorMaximum(at_the_ends, v_s, w_s, start, to, state, neuron, firing);
}

/// A waiting time in ns on the grid: rounded half away from zero, at least 1 ns.
std::int64_t waitOnGrid(double wait_ns) {
    const auto rounded = static_cast<std::int64_t>(wait_ns >= 0.0 ? wait_ns + 0.5 : wait_ns - 0.5);
    return std::max<std::int64_t>(rounded, 1);
}

/// Schedules the candidate that lies `wait` seconds after start, if it falls before the horizon;
/// its bound is in the state already.
template <typename Schedule>
CandidateSchedule placeCandidate(NeuronState& state, NodeId node, ModelTime start, double wait,
                                 ModelTime horizon, Schedule&& schedule) {
    constexpr double nanoseconds_in_a_second = 1'000'000'000.0;
    constexpr double greatest_wait_ns = 9e18; // somewhat below the greatest model time

    const double bound = state.candidate_bound;
    const CandidateSchedule beyond_horizon{
        .status = CandidateStatus::BeyondHorizon, .time = horizon, .bound = bound};
    const double wait_ns = wait * nanoseconds_in_a_second;
    if (!std::isfinite(wait_ns) || wait_ns >= greatest_wait_ns) {
        state.candidate_bound = 0.0;
        return beyond_horizon;
    }
    const ModelTime time = addChecked(start, waitOnGrid(wait_ns));
    if (time >= horizon) {
        state.candidate_bound = 0.0;
        return beyond_horizon;
    }
    state.candidate_event = schedule(Event{.time = time,
                                           .kind = EventKind::SpikeCandidate,
                                           .source = node,
                                           .target = node,
                                           .value = bound});
    return {.sequence = state.candidate_event,
            .status = CandidateStatus::Scheduled,
            .time = time,
            .bound = bound};
}

/// What is wrong with the parameters, or null.
const char* faultOf(const FiringParameters& firing) {
    const auto finite = [](double value) { return std::isfinite(value); };
    const auto magnitude = [](double value) { return std::isfinite(value) && !(value < 0.0); };
    if (!magnitude(firing.baseline_rate) || !magnitude(firing.sensitivity)
        || !finite(firing.threshold) || !magnitude(firing.adaptation_coupling)
        || !magnitude(firing.gain) || !finite(firing.max_hazard) || !(firing.max_hazard > 0.0)) {
        return "invalid KESP firing parameters";
    }
    if (firing.max_hazard > greatest_max_hazard) {
        return "KESP maximum hazard exceeds what the nanosecond time grid can sample without "
               "biasing the rate";
    }
    if (firing.baseline_rate * firing.gain > firing.max_hazard) {
        return "KESP baseline exceeds maximum hazard";
    }
    return nullptr;
}

/// lambda from a state decayed to the instant in question, outside an absolute refractory window.
double hazardOfState(const DecayedState& decayed, const PreparedFiring& firing, double m) {
    const FiringParameters& parameters = firing.parameters();
    const double drive =
        ((decayed.potential - parameters.adaptation_coupling * decayed.adaptation) + m)
        - parameters.threshold;
    return firing.hazardOf(drive);
}

} // namespace

PreparedFiring::PreparedFiring(const FiringParameters& firing)
    : parameters_(firing),
      base_(firing.baseline_rate * firing.gain),
      greatest_exponent_(portableLog(firing.max_hazard / base_)),
      fault_(faultOf(firing)),
      deferrable_(fault_ == nullptr && !firing.silent && base_ >= 1e-30) {}

void PreparedFiring::throwInvalid() const {
    throw InvalidFiringParameters(fault_);
}

double PreparedFiring::hazardOf(double drive) const {
    if (parameters_.baseline_rate == 0.0 || parameters_.gain == 0.0) {
        return 0.0;
    }
    return portableExp(exponentOf(drive)) * base_;
}

void validateFiringParameters(const FiringParameters& firing) {
    PreparedFiring(firing).requireValid();
}

double hazardRate(const NeuronState& state, const NeuronParameters& neuron,
                  const PreparedFiring& firing, ModelTime t, double m) {
    firing.requireValid();
    if (!std::isfinite(m)) {
        throw InvalidFiringParameters("non-finite KESP hazard modulation");
    }
    if (t < state.last_update) {
        throw NeuronCausalityViolation("KESP neuron advanced into the past");
    }
    if (neuron.absolute_refractory && isRefractory(state, t)) {
        return 0.0;
    }
    return hazardOfState(decayedTo(t, state, neuron), firing, m);
}

double hazardBound(const NeuronState& state, const NeuronParameters& neuron,
                   const PreparedFiring& firing, ModelTime from, ModelTime to,
                   double modulation_bound) {
    firing.requireValid();
    if (to < from) {
        throw NeuronCausalityViolation("KESP hazard interval runs backwards");
    }
    if (!std::isfinite(modulation_bound)) {
        throw InvalidFiringParameters("non-finite KESP modulation bound");
    }
    const ModelTime start = candidateStart(state, neuron, from);
    if (start > to) {
        return 0.0;
    }
    const FiringParameters& parameters = firing.parameters();
    const double best = greatestDrive(state, neuron, parameters, start, to);
    return firing.hazardOf(hazardBoundDrive(best, neuron, parameters, modulation_bound));
}

ModelTime candidateStart(const NeuronState& state, const NeuronParameters& neuron, ModelTime now) {
    return neuron.absolute_refractory ? std::max(state.refractory_until, now) : now;
}

double waitOfDraw(double u, double bound) {
    return -portableLog(u == 0.0 ? std::numeric_limits<double>::min() : u) / bound;
}

double drawWait(double bound, Runtime::RandomStream stream) {
    return waitOfDraw(Runtime::uniform(stream), bound);
}

double drawWait(double bound, Runtime::RandomContext& random, std::uint64_t stream_index) {
    return drawWait(bound, random.stream(spontaneous_stream, stream_index));
}

bool cancelCandidate(NeuronState& state, EventQueue& queue) {
    if (state.candidate_event == none) {
        return false;
    }
    const bool cancelled = queue.cancel(state.candidate_event);
    state.candidate_event = none;
    state.candidate_bound = 0.0;
    return cancelled;
}

CandidateSchedule scheduleNextCandidate(NeuronState& state, const NeuronParameters& neuron,
                                        const PreparedFiring& firing, NodeId node, ModelTime now,
                                        ModelTime horizon, double modulation_bound,
                                        EventQueue& queue, Runtime::RandomStream stream) {
    cancelCandidate(state, queue);
    state.candidate_bound = 0.0;
    if (firing.parameters().silent) {
        return {.status = CandidateStatus::Silent, .time = now};
    }
    const ModelTime start = candidateStart(state, neuron, now);
    if (start >= horizon) {
        return {.status = CandidateStatus::BeyondHorizon, .time = horizon};
    }
    const double bound = hazardBound(state, neuron, firing, start, horizon, modulation_bound);
    if (bound == 0.0) {
        return {.status = CandidateStatus::ZeroHazard, .time = horizon};
    }
    state.candidate_bound = bound;
    const double wait = drawWait(bound, stream);
    return placeCandidate(state, node, start, wait, horizon,
                          [&queue](const Event& event) { return queue.schedule(event); });
}

CandidateSchedule scheduleNextCandidate(NeuronState& state, const NeuronParameters& neuron,
                                        const PreparedFiring& firing, NodeId node, ModelTime now,
                                        ModelTime horizon, double modulation_bound,
                                        EventQueue& queue, Runtime::RandomContext& random) {
    return scheduleNextCandidate(state, neuron, firing, node, now, horizon, modulation_bound, queue,
                                 random.stream(spontaneous_stream, state.stream_index));
}

CandidateSchedule scheduleDrawnCandidate(NeuronState& state, const NeuronParameters& neuron,
                                         const PreparedFiring& firing, NodeId node, double u,
                                         std::uint64_t reserved_sequence, ModelTime horizon,
                                         double modulation_bound, EventQueue& queue) {
    const ModelTime start = candidateStart(state, neuron, state.last_update);
    state.candidate_bound = hazardBound(state, neuron, firing, start, horizon, modulation_bound);
    const double wait = waitOfDraw(u, state.candidate_bound);
    return placeCandidate(state, node, start, wait, horizon, [&](Event event) {
        event.sequence = reserved_sequence;
        queue.scheduleReserved(event);
        return reserved_sequence;
    });
}

CandidateOutcome judgeCandidate(NeuronState& state, const NeuronParameters& neuron,
                                const PreparedFiring& firing, NodeId node, const Event& candidate,
                                EventQueue& queue, Runtime::RandomStream stream,
                                const HazardModulation& modulation) {
    constexpr double bound_tolerance = 1.000000000001;

    if (candidate.kind != EventKind::SpikeCandidate || candidate.target != node
        || candidate.sequence != state.candidate_event) {
        throw NeuronRoutingViolation("stale or misrouted KESP spike candidate");
    }
    state.candidate_event = none;
    const double bound = candidate.value;
    const double m = modulation ? modulation(candidate.time, neuron, firing.parameters()) : 0.0;
    const double rate = hazardRate(state, neuron, firing, candidate.time, m);
    if (rate > bound * bound_tolerance) {
        throw HazardBoundViolation("KESP hazard upper bound underestimated lambda");
    }
    advanceNeuron(state, neuron, candidate.time);
    const double probability = bound != 0.0 ? rate / bound : 0.0;
    const bool fired = probability > Runtime::uniform(stream);
    if (fired) {
        fireNeuron(state, neuron, candidate.time, node, queue);
    }
    return {.fired = fired, .rate = rate, .bound = bound};
}

CandidateOutcome resolveCandidate(NeuronState& state, const NeuronParameters& neuron,
                                  const PreparedFiring& firing, NodeId node, const Event& candidate,
                                  ModelTime horizon, double modulation_bound, EventQueue& queue,
                                  Runtime::RandomStream stream,
                                  const HazardModulation& modulation) {
    CandidateOutcome outcome =
        judgeCandidate(state, neuron, firing, node, candidate, queue, stream, modulation);
    outcome.next = scheduleNextCandidate(state, neuron, firing, node, candidate.time, horizon,
                                         modulation_bound, queue, stream);
    return outcome;
}

CandidateOutcome resolveCandidate(NeuronState& state, const NeuronParameters& neuron,
                                  const PreparedFiring& firing, NodeId node, const Event& candidate,
                                  ModelTime horizon, double modulation_bound, EventQueue& queue,
                                  Runtime::RandomContext& random,
                                  const HazardModulation& modulation) {
    return resolveCandidate(state, neuron, firing, node, candidate, horizon, modulation_bound,
                            queue, random.stream(spontaneous_stream, state.stream_index),
                            modulation);
}

} // namespace Velmora::Core::Kesp
