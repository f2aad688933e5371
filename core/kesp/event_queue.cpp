#include "core/kesp/event_queue.hpp"

#include "core/kesp/errors.hpp"

#include <algorithm>
#include <utility>

namespace Velmora::Core::Kesp {

namespace {

bool comesBefore(const Event& a, const Event& b) {
    return a.time != b.time ? a.time < b.time : a.sequence < b.sequence;
}

/// Moves `event`, which comes before *(place - 1), from `place` to where it belongs among [first,
/// place), which is sorted.
void moveForward(std::vector<Event>::iterator first, std::vector<Event>::iterator place,
                 const Event& event) {
    do {
        *place = *(place - 1);
        --place;
    } while (place != first && comesBefore(event, *(place - 1)));
    *place = event;
}

} // namespace

void EventQueue::throwCausalityViolation() {
    throw CausalityViolation("KESP event scheduled before the current model time");
}

void EventQueue::throwSequenceExhausted() {
    throw TimeOverflow("KESP event sequence exhausted");
}

Event EventQueue::popNext() {
    if (!fillFront([](const Event&) {})) {
        throw EmptyEventQueue("popNext on empty KESP event queue");
    }
    return takeFirst();
}

void EventQueue::store(const Event& event, std::uint64_t sequence) {
    if (event.time > front_end_) {
        append(event).sequence = sequence;
    } else {
        insertInFront(event, sequence);
    }
    ++stored_;
    live_.insert(sequence);
}

void EventQueue::insertInFront(Event event, std::uint64_t sequence) {
    event.sequence = sequence;
    front_.push_back(event);
    const auto first = front_.begin() + static_cast<std::ptrdiff_t>(next_in_front_);
    const auto last = front_.end() - 1;
    if (last != first && comesBefore(event, *(last - 1))) {
        moveForward(first, last, event);
    }
    if (last - first >= longest_front) {
        shortenFront();
    }
}

/// Sorts the whole front, from which nothing has been taken.
void EventQueue::sortFront() {
    if (front_.size() > longest_sorted) {
        std::ranges::sort(front_, comesBefore);
        return;
    }
    for (std::size_t k = 1; k < front_.size(); ++k) {
        if (comesBefore(front_[k], front_[k - 1])) {
            moveForward(front_.begin(), front_.begin() + static_cast<std::ptrdiff_t>(k),
                        Event(front_[k]));
        }
    }
}

/// Moves the later half of the front to the lists, lest putting events into their places there take
/// ever longer. Events of the front's earliest time stay: another of that time goes behind them.
void EventQueue::shortenFront() {
    const auto first = front_.begin() + static_cast<std::ptrdiff_t>(next_in_front_);
    const ModelTime middle = (first + longest_front / 2)->time;
    front_end_ = middle > first->time ? middle - 1 : middle;
    if (ticksOf(front_end_) < pivot_) { // many events have come to a gap before the pivot
        rebuildLists(ticksOf(front_end_));
    }
    const auto later = std::ranges::upper_bound(first, front_.end(), front_end_, {}, &Event::time);
    std::for_each(later, front_.end(), [this](const Event& event) { append(event); });
    front_.erase(later, front_.end());
}

void EventQueue::dropTaken() {
    front_.erase(front_.begin(), front_.begin() + static_cast<std::ptrdiff_t>(next_in_front_));
    next_in_front_ = 0;
}

EventLists::List EventQueue::takeList(ListNumber number) {
    std::uint32_t& occupied = occupied_digits_[number.position];
    occupied &= ~(1U << number.digit);
    if (occupied == 0) {
        occupied_positions_ &= ~(1U << number.position);
    }
    return std::exchange(lists_[number.position][number.digit], {});
}

/// Moves all events in the lists to where a new pivot puts them, and drops the stale ones.
void EventQueue::rebuildLists(Ticks pivot) {
    pivot_ = pivot;
    occupied_digits_ = {};
    occupied_positions_ = 0;
    for (const auto& position : std::exchange(lists_, {})) {
        for (const EventLists::List& list : position) {
            drainLive(list, [this](const Event& event) { append(event); });
        }
    }
}

/// Drops all stale events.
void EventQueue::sweep() {
    dropTaken();
    stored_ -= std::erase_if(
        front_, [this](const Event& event) { return !live_.contains(event.sequence); });
    rebuildLists(pivot_);
}

} // namespace Velmora::Core::Kesp
