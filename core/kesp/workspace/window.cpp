#include "core/kesp/workspace/window.hpp"

#include "core/kesp/errors.hpp"

#include <algorithm>
#include <cstddef>

namespace Velmora::Core::Kesp {

namespace {

/// Hz per member; 0 / 0, not a number, when there are no members and so no spikes.
double ratePerMember(std::uint64_t spikes, std::uint64_t members, double seconds) {
    return static_cast<double>(spikes) / (static_cast<double>(members) * seconds);
}

std::vector<CoalitionActivity> countSpikes(std::span<const TraceRecord> trace,
                                           std::span<const Coalition> coalitions, ModelTime start,
                                           ModelTime end) {
    std::vector<CoalitionActivity> activities(coalitions.size());
    for (std::size_t k = 0; k < activities.size(); ++k) {
        activities[k].coalition = k;
    }
    for (const TraceRecord& record : trace) {
        if (record.time < start || record.time >= end) {
            continue;
        }
        if (const auto coalition = findCoalition(coalitions, record.node)) {
            ++activities[*coalition].spikes;
        }
    }
    return activities;
}

/// Who leads, by how much, and what the others still do. At least one spike must have been counted.
void measureDominance(WorkspaceWindow& window, std::uint64_t counted) {
    const auto& entries = window.coalitions;
    const auto leader = std::ranges::max_element(entries, {}, &CoalitionActivity::spikes);
    window.dominance = static_cast<double>(leader->spikes) / static_cast<double>(counted);
    if (std::ranges::count(entries, leader->spikes, &CoalitionActivity::spikes) == 1) {
        window.dominant = leader->coalition;
    }
    for (const CoalitionActivity& entry : entries) {
        // The rate of a coalition without members is not a number and fails the comparison.
        if (entry.coalition != leader->coalition && entry.rate_hz > window.residual_rate_hz) {
            window.residual_rate_hz = entry.rate_hz;
        }
    }
}

} // namespace

std::optional<std::uint64_t> findCoalition(std::span<const Coalition> coalitions, NodeId node) {
    for (std::size_t k = 0; k < coalitions.size(); ++k) {
        if (std::ranges::find(coalitions[k], node) != coalitions[k].end()) {
            return k;
        }
    }
    return std::nullopt;
}

WorkspaceWindow analyzeWindow(std::span<const TraceRecord> trace,
                              std::span<const Coalition> coalitions, ModelTime start, ModelTime end,
                              double ignition_threshold) {
    if (end <= start) {
        throw InvalidWorkspace("workspace window is empty");
    }
    if (coalitions.empty()) {
        throw InvalidWorkspace("workspace window needs coalitions");
    }

    WorkspaceWindow window;
    window.start = start;
    window.end = end;
    window.coalitions = countSpikes(trace, coalitions, start, end);
    const double seconds = secondsBetween(start, end);
    std::uint64_t counted = 0;
    std::uint64_t members = 0;
    for (CoalitionActivity& entry : window.coalitions) {
        const std::uint64_t size = coalitions[entry.coalition].size();
        entry.rate_hz = ratePerMember(entry.spikes, size, seconds);
        counted += entry.spikes;
        members += size;
    }
    window.g_t = ratePerMember(counted, members, seconds);
    window.ignited = window.g_t >= ignition_threshold;
    if (counted != 0) {
        measureDominance(window, counted);
    }
    return window;
}

std::vector<WorkspaceWindow> analyzeWindows(std::span<const TraceRecord> trace,
                                            std::span<const Coalition> coalitions, ModelTime start,
                                            ModelTime end, ModelTime step,
                                            double ignition_threshold) {
    if (step < 1) {
        throw InvalidWorkspace("workspace window step must be positive");
    }
    std::vector<WorkspaceWindow> windows;
    for (ModelTime t = start; t < end;) {
        const ModelTime next = addChecked(t, step);
        windows.push_back(
            analyzeWindow(trace, coalitions, t, std::min(next, end), ignition_threshold));
        t = next;
    }
    return windows;
}

} // namespace Velmora::Core::Kesp
