#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/sequence_set.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Velmora::Core::Kesp {

/// The future of one run, in a strict total order: by time, and at equal times by scheduling order,
/// whatever the kind.
///
/// Sequence numbers are 0, 1, 2, ... in scheduling order and are never reused, so (time, sequence)
/// orders all events and the queue's inner layout never shows. An event scheduled at the current
/// time comes out after every event of that time which is already queued.
///
/// Inside it is a monotone radix heap (Ahuja, Mehlhorn, Orlin and Tarjan 1990): since nothing is
/// ever scheduled before now(), an event can wait in the bucket numbered by the highest bit in
/// which its time differs from now(). When the lowest bucket's turn comes, now() becomes the
/// earliest time in it and its events move to lower buckets. Events of equal time always share a
/// bucket and every move keeps the order inside it: scheduling order, but for events scheduled
/// under a reserved number, which is put right when their time has come.
///
/// Withdrawal is lazy: it only takes the sequence number out of the set of live ones. The event
/// itself is dropped when its bucket's turn comes, or when stale events outnumber the live ones and
/// all buckets are swept. So memory is bounded by the greatest number of events that were live at
/// once, however many are scheduled and withdrawn.
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
    std::uint64_t schedule(const Event& event) override {
        if (event.time < now_) {
            throwCausalityViolation();
        }
        const std::uint64_t sequence = reserveSequence();
        store(event, sequence);
        return sequence;
    }

    /// Issues the next sequence number for an event whose time is not known yet. It takes its place
    /// in the order of scheduling now; scheduleReserved schedules it later, or nothing does. Throws
    /// TimeOverflow "KESP event sequence exhausted", the queue unchanged.
    [[nodiscard]] std::uint64_t reserveSequence() {
        if (next_sequence_ == none) {
            throwSequenceExhausted();
        }
        return next_sequence_++;
    }

    /// Schedules a copy of `event` under event.sequence, a number that reserveSequence issued and
    /// that has not been used yet. Throws CausalityViolation "KESP event scheduled before the
    /// current model time", the queue unchanged, unless event.time > now(): among the events of
    /// now() its turn may have passed.
    void scheduleReserved(const Event& event) {
        if (event.time <= now_) {
            throwCausalityViolation();
        }
        store(event, event.sequence);
    }

    /// Takes the earliest event out of the queue and moves now() to its time.
    ///
    /// Throws EmptyEventQueue "popNext on empty KESP event queue" when no live event remains.
    Event popNext();

    /// As popNext, but only if the earliest event lies before `end`; otherwise nothing, and the
    /// queue is unchanged.
    std::optional<Event> popBefore(ModelTime end) {
        return popBefore(end, [](const Event&) {});
    }

    /// The same; and calls `approach` with events whose turn is near, stale ones among them, for
    /// the caller to fetch what it will need then into the cache. Whether and how often an event is
    /// announced is not defined.
    template <std::invocable<const Event&> Approach>
    std::optional<Event> popBefore(ModelTime end, const Approach& approach) {
        if (end <= none_before_ || !findEarliest(end - 1, approach)) {
            return std::nullopt;
        }
        return takeEarliest();
    }

    /// Withdraws a scheduled event; now() stays. Returns false, and changes nothing, when the
    /// sequence number was never issued, or its event has been taken or withdrawn already.
    bool cancel(std::uint64_t sequence) {
        if (!live_.erase(sequence)) {
            return false;
        }
        if (stored_ > 2 * live_.size() + sweep_slack) {
            sweep();
        }
        return true;
    }

    /// The number of live events.
    [[nodiscard]] std::size_t size() const { return live_.size(); }
    /// Whether no live event is left.
    [[nodiscard]] bool empty() const { return live_.size() == 0; }

    /// The time of the event taken last; before_any_event until one has been taken. It never
    /// decreases.
    [[nodiscard]] ModelTime now() const { return now_; }

  private:
    using Bucket = std::vector<Event>;
    struct TimeRange {
        ModelTime earliest;
        ModelTime latest;
    };

    /// Stale or taken events that are not worth a sweep.
    static constexpr std::size_t sweep_slack = 64;
    /// The events of a bucket this small are near enough to be announced.
    static constexpr std::size_t near_bucket = 32;
    /// One for each bit in which two times can differ.
    static constexpr std::size_t differing_buckets = 64;

    /// 0 for now() itself, otherwise 1 + the highest bit in which the time differs from now().
    [[nodiscard]] std::size_t bucketOf(ModelTime time) const {
        return static_cast<std::size_t>(
            std::bit_width(static_cast<std::uint64_t>(time) ^ static_cast<std::uint64_t>(now_)));
    }

    /// The bit in occupied_ of a bucket above 0; nothing for bucket 0.
    [[nodiscard]] static std::uint64_t flagOf(std::size_t bucket) {
        return bucket == 0 ? 0 : std::uint64_t{1} << (bucket - 1);
    }

    [[noreturn]] static void throwCausalityViolation();
    [[noreturn]] static void throwSequenceExhausted();

    void store(const Event& event, std::uint64_t sequence) {
        const std::size_t bucket = bucketOf(event.time);
        buckets_[bucket].push_back(event);
        buckets_[bucket].back().sequence = sequence;
        occupied_ |= flagOf(bucket);
        none_before_ = std::min(none_before_, event.time);
        ++stored_;
        live_.insert(sequence);
    }

    template <typename Approach>
    bool findEarliest(ModelTime last, const Approach& approach);
    template <typename Approach>
    void distribute(Bucket& bucket, const Approach& approach);
    void sortCurrent();
    Event takeEarliest();
    void dropTaken();
    TimeRange dropStale(Bucket& bucket);
    void sweep();

    /// Events in scheduling order among those of equal time. Bucket 0 holds those at now() and is
    /// read from next_current_ on.
    std::array<Bucket, 1 + differing_buckets> buckets_;
    std::size_t next_current_ = 0;
    /// Bit b is set when bucket b + 1 holds events.
    std::uint64_t occupied_ = 0;
    /// Events in the buckets, stale ones included.
    std::size_t stored_ = 0;
    SequenceSet live_;
    std::uint64_t next_sequence_;
    ModelTime now_ = before_any_event;
    /// No live event lies before this time, so that many a look ahead need not search.
    ModelTime none_before_ = before_any_event;
};

/// Brings the earliest live event to the front of bucket 0 if its time is at most `last`. Returns
/// whether it did; when not, now() stays.
template <typename Approach>
bool EventQueue::findEarliest(ModelTime last, const Approach& approach) {
    Bucket& current = buckets_[0];
    for (; next_current_ < current.size(); ++next_current_, --stored_) {
        if (live_.contains(current[next_current_].sequence)) {
            return true;
        }
    }
    current.clear();
    next_current_ = 0;
    while (occupied_ != 0) {
        const auto lowest = static_cast<std::size_t>(std::countr_zero(occupied_)) + 1;
        Bucket& bucket = buckets_[lowest];
        const auto [earliest, latest] = dropStale(bucket);
        if (!bucket.empty() && earliest > last) {
            none_before_ = earliest;
            return false;
        }
        occupied_ &= ~flagOf(lowest);
        if (bucket.empty()) {
            continue;
        }
        now_ = earliest;
        none_before_ = earliest;
        if (earliest == latest) {
            bucket.swap(current);
        } else {
            distribute(bucket, approach);
        }
        sortCurrent();
        return true;
    }
    return false;
}

/// Moves the events of a bucket to those that are theirs since now() has changed.
template <typename Approach>
void EventQueue::distribute(Bucket& bucket, const Approach& approach) {
    const bool is_near = bucket.size() <= near_bucket;
    for (const Event& event : bucket) {
        if (is_near) {
            approach(event);
        }
        const std::size_t lower = bucketOf(event.time);
        buckets_[lower].push_back(event);
        occupied_ |= flagOf(lower);
    }
    bucket.clear();
}

} // namespace Velmora::Core::Kesp
