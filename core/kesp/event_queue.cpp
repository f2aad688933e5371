#include "core/kesp/event_queue.hpp"

#include "core/kesp/errors.hpp"

#include <algorithm>

namespace Velmora::Core::Kesp {

void EventQueue::throwCausalityViolation() {
    throw CausalityViolation("KESP event scheduled before the current model time");
}

void EventQueue::throwSequenceExhausted() {
    throw TimeOverflow("KESP event sequence exhausted");
}

Event EventQueue::popNext() {
    if (!findEarliest(end_of_time, [](const Event&) {})) {
        throw EmptyEventQueue("popNext on empty KESP event queue");
    }
    return takeEarliest();
}

/// Restores scheduling order among the events of now(): one scheduled under a reserved number
/// stands behind some that were scheduled after its number was reserved.
void EventQueue::sortCurrent() {
    Bucket& current = buckets_[0];
    if (!std::ranges::is_sorted(current, {}, &Event::sequence)) {
        std::ranges::sort(current, {}, &Event::sequence);
    }
}

Event EventQueue::takeEarliest() {
    const Event event = buckets_[0][next_current_++];
    --stored_;
    live_.erase(event.sequence);
    // Where ever more is scheduled at now() itself, the bucket never runs empty.
    if (next_current_ >= sweep_slack && 2 * next_current_ >= buckets_[0].size()) {
        dropTaken();
    }
    return event;
}

/// Forgets the events of bucket 0 that have been taken.
void EventQueue::dropTaken() {
    Bucket& current = buckets_[0];
    current.erase(current.begin(), current.begin() + static_cast<std::ptrdiff_t>(next_current_));
    next_current_ = 0;
}

/// Drops the stale events of a bucket and returns the earliest and the latest time of the others.
EventQueue::TimeRange EventQueue::dropStale(Bucket& bucket) {
    TimeRange range{.earliest = end_of_time, .latest = before_any_event};
    auto kept = bucket.begin();
    for (const Event& event : bucket) {
        if (!live_.contains(event.sequence)) {
            continue;
        }
        range.earliest = std::min(range.earliest, event.time);
        range.latest = std::max(range.latest, event.time);
        if (&*kept != &event) {
            *kept = event;
        }
        ++kept;
    }
    stored_ -= static_cast<std::size_t>(bucket.end() - kept);
    bucket.erase(kept, bucket.end());
    return range;
}

void EventQueue::sweep() {
    dropTaken();
    for (Bucket& bucket : buckets_) {
        dropStale(bucket);
    }
}

} // namespace Velmora::Core::Kesp
