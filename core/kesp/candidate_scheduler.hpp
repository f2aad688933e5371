#pragma once

#include "core/kesp/event_queue.hpp"
#include "core/kesp/firing.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/neuron.hpp"
#include "core/kesp/wake_times.hpp"
#include "core/runtime/random_context.hpp"

#include <cstdint>
#include <optional>

/// Spike candidates whose time is worked out only when it matters.
///
/// In a network most candidates are withdrawn: every delivery to a neuron replaces its candidate,
/// and deliveries are far more frequent than candidates that come due. So the draw is made at once,
/// which fixes the candidate for good, while its bound and its time (several exponentials and a
/// logarithm) wait. Until then a time is known, at the cost of a few products, before which the
/// candidate certainly does not fall; the neuron is woken then to work it out, if no other input
/// came before. The draws, their order and the candidates that come due are those of
/// scheduleNextCandidate, to the bit.
namespace Velmora::Core::Kesp {

/// One neuron's deferred candidate.
struct DeferredCandidate {
    /// The sequence number reserved for the candidate event; `none` when nothing is deferred.
    std::uint64_t sequence = none;
    /// The uniform number drawn.
    double u = 0.0;
};

/// A rate, in Hz, that the neuron's hazard bound from `now` on does not exceed, if its next
/// candidate can be deferred: if scheduleNextCandidate, once it has found the neuron neither silent
/// nor the interval empty, would neither throw nor end without a draw.
///
/// That needs a state advanced to `now` with an adaptation not below 0, a flush_below not below 0,
/// a finite modulation bound and moderate exponents; nothing is returned otherwise.
[[nodiscard]] std::optional<double> deferrableRate(const NeuronState& state,
                                                   const NeuronParameters& neuron,
                                                   const PreparedFiring& firing, ModelTime now,
                                                   double modulation_bound);

/// A lower bound of -log(u), in ns Hz, for u in [0, 1): whatever the rate, and for every hazard
/// bound that is at most the rate, leastUnitWait(u) / rate <= waitOfDraw(u, bound) * 1e9, roundings
/// included.
[[nodiscard]] double leastUnitWait(double u);

/// The candidates of one neuron, for the duration of one event or wake-up: everything is borrowed.
///
/// While a candidate is deferred, the neuron's candidate_event is `none`, its candidate_bound 0,
/// and the neuron has a wake-up before the candidate falls. The wake-up may stem from an earlier
/// draw, and may come when nothing is deferred.
class CandidateScheduler {
  public:
    /// Where the neuron lives and what governs it.
    struct Context {
        /// Changed by every operation.
        NeuronState& state;
        /// What the neuron has deferred; belongs to it like its state.
        DeferredCandidate& deferred;
        /// As the neuron is advanced with.
        const NeuronParameters& neuron;
        /// The neuron's hazard.
        const PreparedFiring& firing;
        /// Names the neuron in its events.
        NodeId node;
        /// No candidate lies at or after it.
        ModelTime horizon;
        /// An upper bound of the modulation up to the horizon.
        double modulation_bound;
        /// Takes candidates.
        EventQueue& queue;
        /// Holds the neuron's wake-up.
        WakeTimes& wake_times;
        /// The stream that the neuron draws from.
        Runtime::RandomStream stream;
    };

    /// Everything that the context names must outlive the scheduler.
    explicit CandidateScheduler(const Context& context) : context_(context) {}

    /// Withdraws the pending candidate, deferred or not, and draws the next one in [now, horizon).
    /// Throws as scheduleNextCandidate, but that the candidate_bound left behind may be 0.
    void draw(ModelTime now);

    /// Works the deferred candidate out, if there is one. To be called before the neuron is
    /// advanced without a draw to follow. Throws as scheduleDrawnCandidate.
    void settle();

    /// To be called when the neuron's wake-up comes due, with its time: after all events before
    /// that time and before all later ones. The order among those of that very time does not
    /// matter, for the candidate falls after it. Throws as settle.
    void wake(ModelTime now);

  private:
    bool defer(ModelTime now);
    [[nodiscard]] ModelTime notBefore(ModelTime start, double rate) const;

    Context context_;
};

} // namespace Velmora::Core::Kesp
