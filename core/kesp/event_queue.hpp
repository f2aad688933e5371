#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/event_lists.hpp"
#include "core/kesp/sequence_set.hpp"

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
/// Inside it is a monotone radix heap (Ahuja, Mehlhorn, Orlin and Tarjan 1990) with a sorted front.
/// The next few events stand in front, sorted. All others wait in lists: each by the position of
/// the highest hexadecimal digit in which its time differs from a pivot, and by that digit. The
/// pivot is not later than any of them, so the lists are in the order of time, and what is within
/// one is not. When the front has been taken, the lowest list becomes the front if it is short;
/// otherwise its earliest time becomes the pivot, and its events move to lower lists. An event
/// scheduled before the front's end is put in its place there. A front that grows long gives its
/// later half back to the lists; should the pivot lie beyond it, they are all rebuilt.
///
/// Withdrawal is lazy: it only takes the sequence number out of the set of live ones. The event
/// itself is dropped when its list's turn comes, or when stale events outnumber the live ones and
/// all are swept out. So memory is bounded by the greatest number of events that were live at once,
/// however many are scheduled and withdrawn.
///
/// A queue belongs to one run on one thread. One that was moved from, or that found no memory
/// (std::bad_alloc), can only be assigned to or destroyed.
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

    /// As popNext, but only if the earliest event lies before `end`; otherwise nothing, and now()
    /// stays.
    std::optional<Event> popBefore(ModelTime end) {
        return popBefore(end, [](const Event&) {});
    }

    /// The same; and calls `approach` with events whose turn is near, though they may yet be
    /// withdrawn, for the caller to fetch what it will need then into the cache. Whether and how
    /// often an event is announced is not defined.
    template <std::invocable<const Event&> Approach>
    std::optional<Event> popBefore(ModelTime end, const Approach& approach) {
        if (!fillFront(approach, end) || front_[next_in_front_].time >= end) {
            return std::nullopt;
        }
        return takeFirst();
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
    [[noreturn]] static void throwCausalityViolation();
    [[noreturn]] static void throwSequenceExhausted();

    /// A time as an unsigned number: in the same order, with negative times first.
    using Ticks = std::uint64_t;
    /// Which list: the position of a digit, counted from the lowest, and its value.
    struct ListNumber {
        std::size_t position;
        std::size_t digit;
    };
    static constexpr std::size_t bits_per_digit = 4;
    static constexpr std::size_t digit_values = 16;
    static constexpr std::size_t digit_count = 16;

    /// Stale or taken events that are not worth a sweep.
    static constexpr std::size_t sweep_slack = 64;
    /// A list this short is sorted rather than spread over others.
    static constexpr std::size_t longest_sorted = 32;
    /// The events of a list up to this long are announced as soon as it is spread: the lists it
    /// is spread over may be so short that they would be announced too late.
    static constexpr std::size_t longest_announced = 128;
    /// When as many events stand in front, the later half is moved back to the lists.
    static constexpr std::ptrdiff_t longest_front = 64;

    static constexpr Ticks ticksOf(ModelTime time) {
        return static_cast<Ticks>(time) ^ (Ticks{1} << 63U);
    }

    /// The list of a time that is not before the pivot. All times equal to the pivot in all but
    /// their lowest digit are at position 0.
    [[nodiscard]] ListNumber listOf(ModelTime time) const {
        const Ticks ticks = ticksOf(time);
        const auto highest_bit =
            static_cast<std::size_t>(std::bit_width((ticks ^ pivot_) | 1U)) - 1;
        const std::size_t position = highest_bit / bits_per_digit;
        const Ticks digit = (ticks >> (position * bits_per_digit)) % digit_values;
        return {.position = position, .digit = static_cast<std::size_t>(digit)};
    }

    Event& append(const Event& event) {
        const auto [position, digit] = listOf(event.time);
        Event& appended = memory_.append(lists_[position][digit], event);
        occupied_digits_[position] |= 1U << digit;
        occupied_positions_ |= 1U << position;
        return appended;
    }

    template <std::invocable<const Event&> Visit>
    void drainLive(const EventLists::List& list, const Visit& visit);
    template <std::invocable<const Event&> Approach>
    bool fillFront(const Approach& approach, std::optional<ModelTime> end = {});
    EventLists::List takeList(ListNumber number);

    void store(const Event& event, std::uint64_t sequence);
    void insertInFront(Event event, std::uint64_t sequence);
    void sortFront();
    void shortenFront();
    Event takeFirst();
    void dropTaken();
    void rebuildLists(Ticks pivot);
    void sweep();

    /// The earliest events from next_in_front_ on, in order; those before it have been taken.
    std::vector<Event> front_;
    std::size_t next_in_front_ = 0;
    /// All events up to this time stand in front.
    ModelTime front_end_ = before_any_event;

    /// The other events, by position and digit. Those of a list are in no order.
    std::array<std::array<EventLists::List, digit_values>, digit_count> lists_;
    /// By position: which lists hold events, one bit a digit.
    std::array<std::uint32_t, digit_count> occupied_digits_{};
    /// The positions with such lists, one bit each.
    std::uint32_t occupied_positions_ = 0;
    /// No event in a list is earlier. It may lie beyond now_, but not beyond the time after
    /// front_end_, so that whatever is scheduled before it belongs in front.
    Ticks pivot_ = ticksOf(before_any_event);
    EventLists memory_;

    /// Events in front and in the lists, stale ones included.
    std::size_t stored_ = 0;
    SequenceSet live_;
    std::uint64_t next_sequence_;
    ModelTime now_ = before_any_event;
};

/// Drains a list, dropping the stale events.
template <std::invocable<const Event&> Visit>
void EventQueue::drainLive(const EventLists::List& list, const Visit& visit) {
    memory_.drain(list, [&](const Event& event) {
        if (live_.contains(event.sequence)) {
            visit(event);
        } else {
            --stored_;
        }
    });
}

/// Sees to it that the first event in front is the earliest live one. Returns whether there is one;
/// not necessarily when it does not lie before `end`.
template <std::invocable<const Event&> Approach>
bool EventQueue::fillFront(const Approach& approach, std::optional<ModelTime> end) {
    for (;;) {
        for (; next_in_front_ < front_.size(); ++next_in_front_, --stored_) {
            if (live_.contains(front_[next_in_front_].sequence)) {
                return true;
            }
        }
        front_.clear();
        next_in_front_ = 0;
        if (occupied_positions_ == 0) {
            return false;
        }
        const auto position = static_cast<std::size_t>(std::countr_zero(occupied_positions_));
        const auto digit = static_cast<std::size_t>(std::countr_zero(occupied_digits_[position]));
        if (end && lists_[position][digit].earliest() >= *end) {
            return false; // the pivot stays behind what may still come before
        }
        const EventLists::List list = takeList({.position = position, .digit = digit});
        if (position == 0 || list.size() <= longest_sorted) {
            const std::uint64_t lower_digits =
                (std::uint64_t{1} << (position * bits_per_digit)) - 1;
            front_end_ = list.earliest() | static_cast<ModelTime>(lower_digits);
            drainLive(list, [&](const Event& event) {
                approach(event);
                front_.push_back(event);
            });
            sortFront();
        } else {
            pivot_ = ticksOf(list.earliest());
            front_end_ = list.earliest() - 1; // which holds even if all turn out to be stale
            const bool is_near = list.size() <= longest_announced;
            drainLive(list, [&](const Event& event) {
                if (is_near) {
                    approach(event);
                }
                append(event);
            });
        }
    }
}

/// Takes the first event in front.
inline Event EventQueue::takeFirst() {
    const Event event = front_[next_in_front_++];
    now_ = event.time;
    --stored_;
    live_.erase(event.sequence);
    // A front into which events keep coming never runs empty, which is where it is cleared.
    if (next_in_front_ >= sweep_slack && 2 * next_in_front_ >= front_.size()) {
        dropTaken();
    }
    return event;
}

} // namespace Velmora::Core::Kesp
