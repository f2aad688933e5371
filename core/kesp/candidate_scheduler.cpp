#include "core/kesp/candidate_scheduler.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

namespace Velmora::Core::Kesp {

namespace {

/// Covers every rounding between a quantity and its bound in this file.
constexpr double slack = 1e-6;
constexpr double two_to_52 = 4503599627370496.0;

/// A candidate drawn for an earlier horizon never leaves the time range: its wait is below 9e18 ns.
constexpr ModelTime greatest_horizon = 200'000'000 * nanoseconds_per_second;

/// At least e^x, by at most 6.2 %, for |x| <= 700: 2^i (1 + f) >= 2^(i + f) for 0 <= f < 1, and the
/// bits of the former, as an integer, are linear in i + f.
double expCeiling(double x) {
    const double binary_exponent = x * 1.4426950408889634;
    const auto bits = static_cast<std::int64_t>((binary_exponent + 1023.0) * two_to_52);
    return std::bit_cast<double>(bits) * (1.0 + slack);
}

/// At most -log(u), for a normal u < 1: the tangent 1 - u; or, where u is small, what the same
/// linear reading of the bits leaves when it is raised by the most that log2(1 + f) exceeds f.
double negativeLogFloor(double u) {
    constexpr double ln2 = 0.6931471805599453;
    constexpr double greatest_excess = 0.08607134;
    const auto bits = static_cast<double>(std::bit_cast<std::int64_t>(u));
    const double log2_ceiling = bits / two_to_52 - 1023.0 + greatest_excess;
    return std::max(1.0 - u, -log2_ceiling * ln2) * (1.0 - slack);
}

} // namespace

std::optional<double> deferrableRate(const NeuronState& state, const NeuronParameters& neuron,
                                     const PreparedFiring& firing, ModelTime now,
                                     double modulation_bound) {
    const FiringParameters& parameters = firing.parameters();
    if (!firing.isDeferrable() || state.last_update != now || !(state.adaptation >= 0.0)
        || !(neuron.flush_below >= 0.0) || !std::isfinite(modulation_bound)) {
        return std::nullopt;
    }
    // V and A only shrink, and the adaptation only inhibits, so no drive from now on lies outside
    // these two.
    const double least_drive =
        std::min(state.potential, 0.0) - parameters.adaptation_coupling * state.adaptation;
    const double greatest_drive = std::max(state.potential, 0.0);
    const bool bound_stays_normal =
        hazardBoundDrive(least_drive, neuron, parameters, modulation_bound) * parameters.sensitivity
        > -600.0;
    if (!bound_stays_normal || !(greatest_drive <= std::numeric_limits<double>::max())) {
        return std::nullopt;
    }
    const double exponent =
        firing.exponentOf(hazardBoundDrive(greatest_drive, neuron, parameters, modulation_bound));
    return expCeiling(exponent) * firing.base();
}

double leastUnitWait(double u) {
    return negativeLogFloor(std::max(u, std::numeric_limits<double>::min()))
           * (1e9 * (1.0 - slack));
}

void CandidateScheduler::draw(ModelTime now) {
    cancelCandidate(context_.state, context_.queue);
    context_.state.candidate_bound = 0.0;
    context_.deferred.sequence = none;
    if (!defer(now)) {
        scheduleNextCandidate(context_.state, context_.neuron, context_.firing, context_.node, now,
                              context_.horizon, context_.modulation_bound, context_.queue,
                              context_.stream);
    }
}

/// Draws the next candidate without working it out, if that can be done. Returns whether it could.
bool CandidateScheduler::defer(ModelTime now) {
    const std::optional<double> rate = deferrableRate(
        context_.state, context_.neuron, context_.firing, now, context_.modulation_bound);
    if (!rate || now < 0 || context_.horizon > greatest_horizon) {
        return false;
    }
    const ModelTime start = candidateStart(context_.state, context_.neuron, now);
    if (start >= context_.horizon) {
        return true;
    }
    DeferredCandidate& deferred = context_.deferred;
    deferred.u = Runtime::uniform(context_.stream);
    // Mostly the candidate falls after the neuron is woken anyway, which shows without a division.
    // The difference is one of integers: doubles near late times are further apart than what is
    // added.
    const ModelTime wake_time = context_.wake_times.of(context_.node);
    const double until_wake = static_cast<double>(wake_time - start) + 2.0;
    if (leastUnitWait(deferred.u) >= until_wake * *rate) {
        deferred.sequence = context_.queue.reserveSequence();
        return true;
    }
    const ModelTime not_before = notBefore(start, *rate);
    if (not_before >= context_.horizon) {
        return true;
    }
    deferred.sequence = context_.queue.reserveSequence();
    if (not_before <= now) {
        settle();
    } else {
        context_.wake_times.set(context_.node, not_before);
    }
    return true;
}

/// A time after which the candidate deferred falls, `rate` being what deferrableRate says; at most
/// the horizon.
ModelTime CandidateScheduler::notBefore(ModelTime start, double rate) const {
    const double least = leastUnitWait(context_.deferred.u) / rate;
    if (least >= static_cast<double>(context_.horizon - start)) {
        return context_.horizon;
    }
    // The candidate lies at least least - 0.5 after start.
    return start + static_cast<ModelTime>(least) - 1;
}

void CandidateScheduler::settle() {
    if (context_.deferred.sequence == none) {
        return;
    }
    const std::uint64_t sequence = std::exchange(context_.deferred.sequence, none);
    scheduleDrawnCandidate(context_.state, context_.neuron, context_.firing, context_.node,
                           context_.deferred.u, sequence, context_.horizon,
                           context_.modulation_bound, context_.queue);
}

void CandidateScheduler::wake(ModelTime now) {
    DeferredCandidate& deferred = context_.deferred;
    if (deferred.sequence == none) {
        context_.wake_times.set(context_.node, end_of_time);
        return;
    }
    const ModelTime drawn_at = context_.state.last_update;
    const std::optional<double> rate = deferrableRate(
        context_.state, context_.neuron, context_.firing, drawn_at, context_.modulation_bound);
    const ModelTime not_before =
        notBefore(candidateStart(context_.state, context_.neuron, drawn_at), rate.value());
    if (not_before > now && not_before < context_.horizon) {
        context_.wake_times.set(context_.node, not_before);
        return;
    }
    context_.wake_times.set(context_.node, end_of_time);
    if (not_before >= context_.horizon) {
        deferred.sequence = none;
    } else {
        settle();
    }
}

} // namespace Velmora::Core::Kesp
