#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/model_time.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::Core::Kesp {

/// For each neuron a time at which to wake it, or end_of_time, and the earliest of them all.
///
/// A tournament tree (Knuth 1973): each level has the earliest time of every group of neighbours on
/// the level below. A time that is moved changes the levels above only as far up as it is, or was,
/// the earliest. Groups are wide, so that few levels of a large network do not fit into a cache.
class WakeTimes {
  public:
    /// No neuron is to be woken.
    explicit WakeTimes(std::uint64_t node_count) {
        std::uint64_t groups = node_count;
        do {
            groups = (groups + group_size - 1) / group_size;
            levels_.emplace_back(groups * group_size, end_of_time);
        } while (groups > 1);
    }

    /// When to wake the neuron.
    [[nodiscard]] const ModelTime& of(NodeId node) const { return levels_.front()[node]; }

    /// Changes when to wake the neuron.
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

    /// The earliest time.
    [[nodiscard]] ModelTime earliest() const { return earliest_; }

    /// The first of the neurons with that time. There must be a neuron.
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

    /// The neurons' times, then the earliest of each group, up to a single group; filled up with
    /// end_of_time.
    std::vector<std::vector<ModelTime>> levels_;
    ModelTime earliest_ = end_of_time;
};

} // namespace Velmora::Core::Kesp
