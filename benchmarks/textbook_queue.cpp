#include "benchmarks/textbook_queue.hpp"

#include "core/kesp/errors.hpp"

#include <algorithm>

namespace Velmora::Benchmarks {

using namespace Core::Kesp;

std::uint64_t TextbookQueue::schedule(const Event& event) {
    if (event.time < now_) {
        throw CausalityViolation("KESP event scheduled before the current model time");
    }
    if (next_sequence_ == none) {
        throw TimeOverflow("KESP event sequence exhausted");
    }
    const std::uint64_t sequence = next_sequence_++;
    const auto [slot, inserted] = live_.emplace(sequence, event);
    slot->second.sequence = sequence;
    heap_.push_back({.time = event.time, .sequence = sequence});
    std::push_heap(heap_.begin(), heap_.end(), later);
    return sequence;
}

Event TextbookQueue::popNext() {
    dropStaleTop();
    if (heap_.empty()) {
        throw EmptyEventQueue("popNext on empty KESP event queue");
    }
    return takeTop();
}

std::optional<Event> TextbookQueue::popBefore(ModelTime end) {
    dropStaleTop();
    if (heap_.empty() || heap_.front().time >= end) {
        return std::nullopt;
    }
    return takeTop();
}

bool TextbookQueue::cancel(std::uint64_t sequence) {
    if (live_.erase(sequence) == 0) {
        return false;
    }
    compact();
    return true;
}

bool TextbookQueue::later(const Entry& a, const Entry& b) {
    return a.time != b.time ? a.time > b.time : a.sequence > b.sequence;
}

void TextbookQueue::dropStaleTop() {
    while (!heap_.empty() && !live_.contains(heap_.front().sequence)) {
        std::pop_heap(heap_.begin(), heap_.end(), later);
        heap_.pop_back();
    }
}

Event TextbookQueue::takeTop() {
    const auto slot = live_.find(heap_.front().sequence);
    const Event event = slot->second;
    std::pop_heap(heap_.begin(), heap_.end(), later);
    heap_.pop_back();
    live_.erase(slot);
    now_ = event.time;
    compact();
    return event;
}

void TextbookQueue::compact() {
    if (heap_.size() <= 2 * live_.size()) {
        return;
    }
    heap_.clear();
    heap_.reserve(live_.size());
    for (const auto& [sequence, event] : live_) {
        heap_.push_back({.time = event.time, .sequence = sequence});
    }
    std::make_heap(heap_.begin(), heap_.end(), later);
}

} // namespace Velmora::Benchmarks
