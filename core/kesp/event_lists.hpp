#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/model_time.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>

namespace Velmora::Core::Kesp {

/// The memory of any number of lists of events. A list is a chain of chunks, and all lists take
/// their chunks from one stock: what one list gives up, the next one uses, while it is still in the
/// cache. So the memory follows the number of events in all lists together, however they are spread
/// over them. It is kept until the object goes.
class EventLists {
    struct Chunk;

  public:
    /// One list. It belongs to the EventLists that filled it, and is empty at first.
    class List {
      public:
        /// The number of events.
        [[nodiscard]] std::size_t size() const { return size_; }
        /// The time of its earliest event; end_of_time when it is empty.
        [[nodiscard]] ModelTime earliest() const { return earliest_; }

      private:
        friend EventLists;
        Chunk* first_ = nullptr;
        Chunk* last_ = nullptr;
        std::size_t size_ = 0;
        ModelTime earliest_ = end_of_time;
    };

    EventLists() = default;
    EventLists(const EventLists&) = delete;
    /// Takes the lists over that the other has filled. The other can then only be assigned to or
    /// destroyed.
    EventLists(EventLists&&) = default;
    EventLists& operator=(const EventLists&) = delete;
    /// As the constructor.
    EventLists& operator=(EventLists&&) = default;
    ~EventLists() = default;

    /// Appends a copy of the event and returns the copy, valid until the list is drained.
    Event& append(List& list, const Event& event) {
        const std::size_t place = list.size_ % events_per_chunk;
        if (place == 0) {
            extend(list);
        }
        ++list.size_;
        list.earliest_ = std::min(list.earliest_, event.time);
        return list.last_->events[place] = event;
    }

    /// Calls `visit` with each event in the order of appending, and gives their memory back. The
    /// list must not be used again; `visit` may append to others.
    template <typename Visit>
    void drain(List list, const Visit& visit) {
        for (std::size_t left = list.size_; left != 0;) {
            // As long as events are left, so are chunks, which the analyser cannot know.
            // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
            Chunk& chunk = *list.first_;
            const std::size_t count = std::min(left, events_per_chunk);
            const Chunk& next = chunk.next != nullptr ? *chunk.next : chunk;
            __builtin_prefetch(&next.next);
            for (std::size_t k = 0; k < count; ++k) {
                __builtin_prefetch(&next.events[k]);
                visit(chunk.events[k]);
            }
            left -= count;
            list.first_ = chunk.next;
            chunk.next = free_;
            free_ = &chunk;
        }
    }

  private:
    static constexpr std::size_t events_per_chunk = 16;
    struct Chunk {
        std::array<Event, events_per_chunk> events;
        Chunk* next = nullptr;
    };

    /// Gives the list one more chunk.
    void extend(List& list) {
        if (free_ == nullptr) {
            free_ = &chunks_.emplace_back();
        }
        Chunk* chunk = free_;
        free_ = chunk->next;
        (list.size_ == 0 ? list.first_ : list.last_->next) = chunk;
        list.last_ = chunk;
    }

    std::deque<Chunk> chunks_;
    /// The chunks that no list has, in a chain.
    Chunk* free_ = nullptr;
};

} // namespace Velmora::Core::Kesp
