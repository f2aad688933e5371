#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::Core::Kesp {

/// A set of sequence numbers, which enter it more or less in ascending order and leave it in any.
///
/// Membership is one bit. The bits of 4,096 neighbouring numbers form a page, so that numbers
/// issued together lie together in memory; an open-addressing table finds the page of a number.
/// Pages that have lost all members are given back when the table fills up, so memory is bounded by
/// the greatest number of members at any time, however many numbers have passed through.
class SequenceSet {
  public:
    /// `sequence` must not be a member, and not be the greatest 64-bit value.
    void insert(std::uint64_t sequence) {
        const std::uint64_t page = sequence / bits_per_page;
        if (page != newest_page_) {
            newest_place_ = placeForInsertion(page);
            newest_page_ = page;
        }
        wordOf(newest_place_, sequence) |= bitOf(sequence);
        ++size_;
    }

    /// Any number may be asked for, also one that never entered.
    [[nodiscard]] bool contains(std::uint64_t sequence) const {
        const std::size_t place = placeOf(sequence / bits_per_page);
        return (words_[place + wordIndexOf(sequence)] & bitOf(sequence)) != 0;
    }

    /// Returns whether the number was a member.
    bool erase(std::uint64_t sequence) {
        std::uint64_t& word = wordOf(placeOf(sequence / bits_per_page), sequence);
        const std::uint64_t bit = bitOf(sequence);
        if ((word & bit) == 0) {
            return false;
        }
        word ^= bit;
        --size_;
        return true;
    }

    /// The number of members.
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    static constexpr std::uint64_t bits_per_word = 64;
    static constexpr std::size_t words_per_page = 64;
    static constexpr std::uint64_t bits_per_page = bits_per_word * words_per_page;
    static constexpr std::size_t smallest_table = 8;
    /// The place of the page without members that stands for all pages that have none.
    static constexpr std::size_t absent = 0;

    struct Slot {
        std::uint64_t page = 0;
        /// Where in words_ the page begins; `absent` when the slot is free.
        std::size_t place = absent;
    };

    static std::uint64_t bitOf(std::uint64_t sequence) {
        return std::uint64_t{1} << (sequence % bits_per_word);
    }
    static std::size_t wordIndexOf(std::uint64_t sequence) {
        return static_cast<std::size_t>((sequence / bits_per_word) % words_per_page);
    }
    std::uint64_t& wordOf(std::size_t place, std::uint64_t sequence) {
        return words_[place + wordIndexOf(sequence)];
    }

    [[nodiscard]] std::size_t placeOf(std::uint64_t page) const {
        return page == newest_page_ ? newest_place_ : table_[slotOf(page)].place;
    }

    /// The slot of a page, or the free one where it would be. Fibonacci hashing spreads the pages.
    [[nodiscard]] std::size_t slotOf(std::uint64_t page) const {
        auto slot = static_cast<std::size_t>((page * 0x9e37'79b9'7f4a'7c15U) >> shift_);
        while (table_[slot].place != absent && table_[slot].page != page) {
            slot = (slot + 1) & (table_.size() - 1);
        }
        return slot;
    }

    std::size_t placeForInsertion(std::uint64_t page);
    void rebuild();

    /// The words of all pages, the absent one first.
    std::vector<std::uint64_t> words_ = std::vector<std::uint64_t>(words_per_page);
    /// Places that no page has at the moment.
    std::vector<std::size_t> free_places_;
    /// A power of two of slots, at most half of them used.
    std::vector<Slot> table_ = std::vector<Slot>(smallest_table);
    std::size_t used_slots_ = 0;
    /// 64 minus the binary logarithm of the table's size.
    int shift_ = 64 - std::countr_zero(smallest_table);
    /// The page that took the last number; at first, one that no number has.
    std::uint64_t newest_page_ = ~std::uint64_t{0};
    std::size_t newest_place_ = absent;
    std::size_t size_ = 0;
};

} // namespace Velmora::Core::Kesp
