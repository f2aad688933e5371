// Competitions, their lowering, and the measurements over a trace.

#include "core/kesp/workspace/availability.hpp"
#include "core/kesp/workspace/lowering.hpp"
#include "core/kesp/workspace/report.hpp"
#include "core/kesp/workspace/response.hpp"
#include "core/kesp/workspace/window.hpp"
#include "fuzz/input.hpp"
#include "fuzz/promise.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Velmora::Fuzz {

using namespace Core::Kesp;

namespace {

constexpr std::uint64_t node_count = 12;

NodeId readNode(Input& input) {
    return input.below(32) != 0 ? input.below(node_count) : input.word();
}

std::vector<Coalition> readCoalitions(Input& input) {
    std::vector<Coalition> coalitions(input.below(5));
    for (Coalition& coalition : coalitions) {
        for (std::uint64_t k = input.below(5); k > 0; --k) {
            coalition.push_back(readNode(input));
        }
    }
    return coalitions;
}

CompetitionSpec readCompetition(Input& input) {
    const auto readDelay = [&input] {
        return input.below(8) != 0 ? nanoseconds_per_millisecond : input.time();
    };
    CompetitionSpec spec;
    spec.coalitions = readCoalitions(input);
    spec.recurrent_weight = input.numberNear(1.2);
    spec.lateral_weight = input.numberNear(0.6);
    spec.recurrent_delay = readDelay();
    spec.lateral_delay = readDelay();
    spec.broadcast_weight = input.numberNear(input.flag() ? 0.2 : 0.0);
    spec.feedback_weight = input.numberNear(input.flag() ? 0.2 : 0.0);
    spec.broadcast_delay = readDelay();
    spec.feedback_delay = readDelay();
    for (std::uint64_t k = input.below(4); k > 0; --k) {
        spec.modules.push_back(readNode(input));
    }
    return spec;
}

std::vector<TraceRecord> readTrace(Input& input) {
    std::vector<TraceRecord> trace(input.below(40));
    for (TraceRecord& record : trace) {
        record.node = readNode(input);
        record.time = input.time();
    }
    return trace;
}

void expectGroup(const Network& network, std::span<const EdgeId> edges, EdgeId& next,
                 SynapseType type, double weight, ModelTime delay) {
    for (const EdgeId edge : edges) {
        promise(edge == next++, "edges are numbered in the order of their groups");
        const Synapse& synapse = network.synapse(edge);
        promise(synapse.type == type && synapse.enabled && network.isPresent(edge)
                    && synapse.delay == delay && synapse.weight == static_cast<float>(weight),
                "an edge is as its group says");
    }
}

/// What was added before the network refused a group are the groups before it.
void expectWholeGroups(std::size_t added, CompetitionSpec spec) {
    spec.recurrent_delay = spec.lateral_delay = spec.broadcast_delay = spec.feedback_delay = 1;
    Network accommodating(none, {}, {});
    LoweredWorkspace lowered;
    if (refusalOf([&] { lowered = lowerCompetition(accommodating, spec); })) {
        return; // there is no node of that number anywhere
    }
    std::size_t whole = 0;
    bool is_whole = added == 0;
    for (const auto* group : {&lowered.recurrent, &lowered.lateral, &lowered.broadcast}) {
        whole += group->size();
        is_whole = is_whole || added == whole;
    }
    promise(is_whole, "a refused group adds nothing, those before it stay");
}

void lower(Input& input) {
    const CompetitionSpec spec = readCompetition(input);
    NetworkOptions options;
    if (input.below(4) == 0) {
        options.min_delay = 1 + static_cast<ModelTime>(input.byte()) * 10'000;
    }
    Network network(node_count, {makeSynapse(0, 1, 1.0, end_of_time, SynapseType::Excitatory)},
                    options);
    const auto invalid = refusalOf([&] { validateCompetition(spec); });
    LoweredWorkspace lowered;
    const auto refusal = refusalOf([&] { lowered = lowerCompetition(network, spec); });
    promise(network.synapse(0).delay == end_of_time, "what was there before stays");
    if (invalid) {
        promise(refusal == invalid, "lowering refuses what validation refuses");
        promise(network.synapseCount() == 1, "a refused competition leaves the network alone");
        return;
    }
    if (refusal) {
        promise(*refusal->type == typeid(InvalidSynapse), "only the network refuses now");
        expectWholeGroups(network.synapseCount() - 1, spec);
        return;
    }
    promise(network.synapseCount() == 1 + lowered.edgeCount(), "all edges are reported");
    EdgeId next = 1;
    expectGroup(network, lowered.recurrent, next, SynapseType::Excitatory, spec.recurrent_weight,
                spec.recurrent_delay);
    expectGroup(network, lowered.lateral, next, SynapseType::Inhibitory, spec.lateral_weight,
                spec.lateral_delay);
    expectGroup(network, lowered.broadcast, next, SynapseType::Excitatory, spec.broadcast_weight,
                spec.broadcast_delay);
    expectGroup(network, lowered.feedback, next, SynapseType::Excitatory, spec.feedback_weight,
                spec.feedback_delay);
}

void expectWindow(const WorkspaceWindow& window, std::span<const TraceRecord> trace,
                  std::span<const Coalition> coalitions, double threshold) {
    std::uint64_t inside = 0;
    for (const TraceRecord& record : trace) {
        if (record.time >= window.start && record.time < window.end
            && findCoalition(coalitions, record.node)) {
            ++inside;
        }
    }
    std::uint64_t counted = 0;
    for (const CoalitionActivity& entry : window.coalitions) {
        counted += entry.spikes;
        promise(!(entry.rate_hz < 0.0), "no rate is negative");
    }
    promise(window.coalitions.size() == coalitions.size(), "every coalition has an entry");
    promise(counted == inside, "every spike inside is counted once");
    promise(window.ignited == (window.g_t >= threshold), "ignition is a threshold");
    promise(window.dominance >= 0.0 && window.dominance <= 1.0, "dominance is a fraction");
    promise((window.dominance == 0.0) == (counted == 0), "who spikes dominates");
    if (window.dominant) {
        const std::uint64_t most = window.coalitions.at(*window.dominant).spikes;
        promise(std::ranges::count_if(window.coalitions,
                                      [most](const auto& entry) { return entry.spikes >= most; })
                    == 1,
                "the dominant coalition is alone at the top");
    }
    const std::string report = workspaceReport(window);
    promise(static_cast<std::size_t>(std::ranges::count(report, '\n')) == 7 + coalitions.size(),
            "a line a figure");
    promise(report.ends_with('\n'), "the last line ends");
}

/// The end of a series that has at most 64 windows: their number is nobody's promise.
ModelTime boundedEnd(ModelTime start, ModelTime end, ModelTime step) {
    if (end <= start || step < 1) {
        return end;
    }
    const auto length = static_cast<std::uint64_t>(end) - static_cast<std::uint64_t>(start);
    const auto unit = static_cast<std::uint64_t>(step);
    return length / unit < 64
               ? end
               : static_cast<ModelTime>(static_cast<std::uint64_t>(start) + 64 * unit);
}

void measure(Input& input) {
    const auto trace = readTrace(input);
    const auto coalitions = readCoalitions(input);
    const ModelTime start = input.time();
    const ModelTime end = input.time();
    const double threshold = input.number();
    std::optional<WorkspaceWindow> window;
    const auto refusal =
        refusalOf([&] { window = analyzeWindow(trace, coalitions, start, end, threshold); });
    promise(refusal.has_value() == (end <= start || coalitions.empty()),
            "a window is measured unless it is empty or nobody competes");
    if (window) {
        expectWindow(*window, trace, coalitions, threshold);
    }

    const ModelTime step = input.flag() ? input.time() : 1 + static_cast<ModelTime>(input.byte());
    const ModelTime last = boundedEnd(start, end, step);
    std::vector<WorkspaceWindow> windows;
    const auto series_refusal = refusalOf(
        [&] { windows = analyzeWindows(trace, coalitions, start, last, step, threshold); });
    if (series_refusal) {
        return;
    }
    promise(windows.empty() == (start >= last), "a series covers its interval");
    ModelTime reached = start;
    for (const WorkspaceWindow& part : windows) {
        promise(part.start == reached, "windows follow without gap or overlap");
        expectWindow(part, trace, coalitions, threshold);
        reached = part.end;
    }
    promise(windows.empty() || reached == last, "the last window ends with the interval");
    promise(windows.empty() || countReversals(windows) < windows.size(),
            "a reversal needs two windows");
}

void classify(Input& input) {
    std::vector<double> levels(input.below(8));
    std::vector<double> responses(input.below(8) != 0 ? levels.size() : input.below(8));
    std::ranges::generate(levels, [&input] { return input.number(); });
    std::ranges::generate(responses, [&input] { return input.number(); });
    const double cutoff = input.number();
    bool is_threshold = false;
    const auto refusal =
        refusalOf([&] { is_threshold = isThresholdResponse(levels, responses, cutoff); });
    promise(refusal || !is_threshold
                || cutoff <= static_cast<double>(levels.size() - 1) * (1.0 + 1e-12),
            "n points never exceed a ratio of n - 1");
}

void compareModules(Input& input) {
    std::vector<CoalitionActivity> baseline(input.below(6));
    std::vector<CoalitionActivity> perturbed(input.below(8) != 0 ? baseline.size()
                                                                 : input.below(6));
    for (CoalitionActivity& entry : baseline) {
        entry.rate_hz = input.number();
    }
    for (CoalitionActivity& entry : perturbed) {
        entry.rate_hz = input.flag() ? entry.rate_hz : input.number();
    }
    const double tolerance = input.number();
    std::uint64_t changed = 0;
    const auto refusal =
        refusalOf([&] { changed = countChangedModules(baseline, perturbed, tolerance); });
    promise(refusal || changed <= baseline.size(), "only modules change");
    if (!refusal) {
        promise(countChangedModules(baseline, baseline, tolerance) == 0,
                "nothing is unlike itself");
    }
}

} // namespace

} // namespace Velmora::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace Velmora::Fuzz;
    Input input(std::span(bytes, size));
    while (!input.isSpent()) {
        switch (input.below(4)) {
        case 0:
            lower(input);
            break;
        case 1:
            measure(input);
            break;
        case 2:
            classify(input);
            break;
        default:
            compareModules(input);
            break;
        }
    }
    return 0;
}
