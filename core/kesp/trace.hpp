#pragma once

#include "core/kesp/event.hpp"

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace Velmora::Core::Kesp {

/// One spike of a run. A trace is a sequence of them in the order in which the spikes happened.
struct TraceRecord {
    /// The neuron that spiked.
    NodeId node = 0;
    /// 0: a spike. The core records nothing else.
    std::uint32_t kind = 0;
    /// When it spiked.
    ModelTime time = 0;
    /// Room for what a user wants to keep with a record; the core leaves it empty.
    std::vector<std::pair<std::uint64_t, std::uint64_t>> attachments = {};
    /// Room for a quantity; the core leaves it empty.
    std::optional<double> value = {};
};

} // namespace Velmora::Core::Kesp
