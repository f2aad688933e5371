#pragma once

#include "core/kesp/event.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Velmora::Core::Kesp {

/// The future of one run, in a strict total order: by time, and at equal times by scheduling order,
/// whatever the kind.
///
/// Sequence numbers are 0, 1, 2, ... in scheduling order and are never reused, so (time, sequence)
/// orders all events and the queue's inner layout never shows. An event scheduled at the current
/// time comes out after every event of that time which is already queued.
///
/// Withdrawal is lazy: a withdrawn event leaves its entry in the heap behind, and the heap is
/// rebuilt once it holds more than twice as many entries as there are live events. Memory and the
/// cost of stale entries are bounded by that.
///
/// A queue belongs to one run on one thread.
class EventQueue final : public IEventSink {
  public:
    /// An empty queue that numbers its events from `first_sequence` on.
    explicit EventQueue(std::uint64_t first_sequence = 0) : next_sequence_(first_sequence) {}

    /// Schedules a copy of `event` and returns its sequence number. An event at exactly now() is
    /// accepted.
    ///
    /// Throws CausalityViolation "KESP event scheduled before the current model time" when
    /// event.time < now(); TimeOverflow "KESP event sequence exhausted" when no sequence number is
    /// left. The queue is unchanged then.
    std::uint64_t schedule(const Event& event) override;

    /// Takes the earliest event out of the queue and moves now() to its time.
    ///
    /// Throws EmptyEventQueue "popNext on empty KESP event queue" when no live event remains.
    Event popNext();

    /// As popNext, but only if the earliest event lies before `end`; otherwise nothing, and the
    /// queue is unchanged.
    std::optional<Event> popBefore(ModelTime end);

    /// Withdraws a scheduled event; now() stays. Returns false, and changes nothing, when the
    /// sequence number was never issued, or its event has been taken or withdrawn already.
    bool cancel(std::uint64_t sequence);

    /// The number of live events.
    [[nodiscard]] std::size_t size() const { return live_.size(); }
    [[nodiscard]] bool empty() const { return live_.empty(); }

    /// The time of the event taken last; before_any_event until one has been taken. It never
    /// decreases.
    [[nodiscard]] ModelTime now() const { return now_; }

  private:
    struct Entry {
        ModelTime time;
        std::uint64_t sequence;
    };

    static bool later(const Entry& a, const Entry& b);
    void dropStaleTop();
    Event takeTop();
    void compact();

    std::unordered_map<std::uint64_t, Event> live_;
    std::vector<Entry> heap_;
    std::uint64_t next_sequence_;
    ModelTime now_ = before_any_event;
};

} // namespace Velmora::Core::Kesp
