#pragma once

#include "core/kesp/trace.hpp"

#include <cstdint>
#include <span>

namespace Velmora::Tests {

/// Folds nodes and times of all spikes, in order, into one number; `start` chains several traces.
inline std::uint64_t traceDigest(std::span<const Core::Kesp::TraceRecord> trace,
                                 std::uint64_t start = 0xcbf2'9ce4'8422'2325U) {
    std::uint64_t digest = start;
    for (const Core::Kesp::TraceRecord& spike : trace) {
        digest = (digest ^ spike.node) * 0x100'0000'01b3U;
        digest = (digest ^ static_cast<std::uint64_t>(spike.time)) * 0x100'0000'01b3U;
    }
    return digest;
}

} // namespace Velmora::Tests
