#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/model_time.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::Core::Kesp {

/// The neurons' wake-ups: one model time for each, end_of_time for none, and the earliest of them
/// all. Neurons are 0 to node_count - 1; no other may be named.
///
/// A tournament tree (Knuth 1973): each level has the earliest time of every group of neighbours on
/// the level below. A time that is moved changes the levels above only as far up as it is, or was,
/// the earliest. Groups of four rather than two: fewer levels of a large network lie outside the
/// caches.
class WakeTimes {
  public:
    /// For `node_count` neurons without a wake-up. Throws std::bad_alloc or std::length_error when
    /// there is no room for so many; nothing else throws.
    explicit WakeTimes(std::uint64_t node_count) {
        std::uint64_t groups = node_count;
        do {
            groups = groups / group_size + (groups % group_size != 0 ? 1 : 0);
            levels_.emplace_back(groups * group_size, end_of_time);
        } while (groups > 1);
    }

    /// The neuron's wake-up; follows its changes, as long as this object lives.
    [[nodiscard]] const ModelTime& of(NodeId node) const { return levels_.front()[node]; }

    /// Moves the neuron's wake-up to `time`; end_of_time: none.
    void set(NodeId node, ModelTime time) {
        std::size_t place = node;
        for (std::vector<ModelTime>& level : levels_) {
            if (level[place] == time) {
                return;
            }
            level[place] = time;
            place /= group_size;
            const ModelTime* const group = &level[place * group_size];
            time = *std::min_element(group, group + group_size);
        }
        earliest_ = time;
    }

    /// The earliest wake-up; end_of_time when there is none.
    [[nodiscard]] ModelTime earliest() const { return earliest_; }

    /// The first of the neurons with that wake-up. There must be a neuron.
    [[nodiscard]] NodeId first() const {
        std::size_t place = 0;
        for (std::size_t level = levels_.size(); level-- != 0;) {
            place *= group_size;
            while (levels_[level][place] != earliest_) {
                ++place;
            }
        }
        return place;
    }

  private:
    static constexpr std::size_t group_size = 4;

    /// The neurons' wake-ups, then the earliest of each group, up to a single group; filled up with
    /// end_of_time.
    std::vector<std::vector<ModelTime>> levels_;
    ModelTime earliest_ = end_of_time;
};

} // namespace Velmora::Core::Kesp
