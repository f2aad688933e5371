#include "core/kesp/sequence_set.hpp"

#include <algorithm>
#include <span>
#include <utility>

namespace Velmora::Core::Kesp {

/// Finds the place of a page, or gives it one.
std::size_t SequenceSet::placeForInsertion(std::uint64_t page) {
    std::size_t slot = slotOf(page);
    if (table_[slot].place != absent) {
        return table_[slot].place;
    }
    if (2 * (used_slots_ + 1) > table_.size()) {
        rebuild();
        slot = slotOf(page);
    }
    if (free_places_.empty()) {
        const std::size_t place = words_.size();
        words_.resize(place + words_per_page);
        free_places_.push_back(place);
    }
    table_[slot] = {.page = page, .place = free_places_.back()};
    free_places_.pop_back();
    ++used_slots_;
    return table_[slot].place;
}

/// Takes their places from the pages without members, and makes the table fit the others.
void SequenceSet::rebuild() {
    std::vector<Slot> inhabited;
    std::vector<std::size_t> free_places = free_places_;
    for (const Slot& slot : table_) {
        if (slot.place == absent) {
            continue;
        }
        const auto page = std::span(words_).subspan(slot.place, words_per_page);
        if (std::ranges::any_of(page, [](std::uint64_t word) { return word != 0; })) {
            inhabited.push_back(slot);
        } else {
            free_places.push_back(slot.place);
        }
    }
    // A quarter full at most, so that the next rebuild is far off.
    table_ = std::vector<Slot>(std::max(smallest_table, std::bit_ceil(4 * inhabited.size())));
    free_places_ = std::move(free_places);
    shift_ = 64 - std::countr_zero(table_.size());
    used_slots_ = inhabited.size();
    for (const Slot& slot : inhabited) {
        table_[slotOf(slot.page)] = slot;
    }
}

} // namespace Velmora::Core::Kesp
