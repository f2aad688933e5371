#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/trace.hpp"
#include "core/kesp/workspace/competition.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// Measurements of a spike trace over windows of model time. Every function is pure; the views it
/// takes need to live no longer than the call.
namespace Velmora::Core::Kesp {

/// What one coalition did in a window.
struct CoalitionActivity {
    /// The coalition's position in the list that was analysed.
    std::uint64_t coalition = 0;
    /// Spikes of its members inside the window.
    std::uint64_t spikes = 0;
    /// spikes / (members * seconds): spikes per member and second, in Hz. Not a number without
    /// members.
    double rate_hz = 0.0;
};

/// The workspace during [start, end).
struct WorkspaceWindow {
    /// First instant of the window.
    ModelTime start = 0;
    /// First instant after the window.
    ModelTime end = 0;
    /// One entry per coalition, in coalition order.
    std::vector<CoalitionActivity> coalitions = {};
    /// The ignition measure G(t): counted spikes / (members of all coalitions * seconds), in Hz.
    double g_t = 0.0;
    /// Whether G(t) reached the ignition threshold.
    bool ignited = false;
    /// The coalition with the most spikes; absent when several share that count or nothing was
    /// counted.
    std::optional<std::uint64_t> dominant;
    /// The highest spike count as a fraction of all counted spikes; 0 when nothing was counted.
    double dominance = 0.0;
    /// The highest rate among the coalitions other than the leading one, in Hz; 0 when nothing was
    /// counted. The leading coalition is the first with the highest spike count, whether or not
    /// others share it.
    double residual_rate_hz = 0.0;
};

/// The index of the first coalition that lists the node, or nothing when none does.
[[nodiscard]] std::optional<std::uint64_t> findCoalition(std::span<const Coalition> coalitions,
                                                         NodeId node);

/// Measures [start, end). Every record of the trace counts as one spike; those of nodes outside
/// every coalition count nowhere, and a node that several coalitions list counts for the first of
/// them.
///
/// `ignition_threshold` is in Hz.
/// Throws InvalidWorkspace "workspace window is empty" when end <= start, then "workspace window
/// needs coalitions" when there are none.
[[nodiscard]] WorkspaceWindow analyzeWindow(std::span<const TraceRecord> trace,
                                            std::span<const Coalition> coalitions, ModelTime start,
                                            ModelTime end, double ignition_threshold);

/// Measures consecutive windows of length `step` from `start` on, without gap or overlap, in time
/// order. The last one is cut at `end`. Gives no window when start >= end.
///
/// Throws InvalidWorkspace "workspace window step must be positive" when step < 1 ns, before
/// anything else; TimeOverflow "KESP model time overflow" when a window, cut or not, would reach
/// past the greatest model time at full length; and what analyzeWindow throws.
[[nodiscard]] std::vector<WorkspaceWindow>
analyzeWindows(std::span<const TraceRecord> trace, std::span<const Coalition> coalitions,
               ModelTime start, ModelTime end, ModelTime step, double ignition_threshold);

} // namespace Velmora::Core::Kesp
