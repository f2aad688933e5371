#include "conformance/intervention_checks.hpp"

#include "conformance/check.hpp"
#include "conformance/check_groups.hpp"
#include "conformance/scenario.hpp"
#include "core/kesp/intervention.hpp"
#include "core/kesp/workspace/availability.hpp"
#include "core/kesp/workspace/standard_workspace.hpp"

#include <cstdint>
#include <utility>
#include <vector>

namespace Velmora::Conformance {

using namespace Core::Kesp;

namespace {

constexpr std::uint64_t trial_seed = 7;
constexpr ModelTime trial_duration = 3'000 * nanoseconds_per_millisecond;
constexpr ModelTime perturbation_time = 500 * nanoseconds_per_millisecond;
constexpr double tolerance = 0.05;

/// Cutting the workspace's connections must leave the coalitions more active than this, in Hz.
constexpr double surviving_g_t = 1.0;

WorkspaceTrialConfig broadcastCutConfig() {
    WorkspaceTrialConfig config = standardTrialConfig();
    config.broadcast_enabled = false;
    return config;
}

WorkspaceTrialConfig feedbackCutConfig() {
    WorkspaceTrialConfig config = standardTrialConfig();
    config.feedback_enabled = false;
    return config;
}

Perturbation coalitionPush() {
    return {
        .id = 1,
        .time = perturbation_time,
        .type = PerturbationType::Excite,
        .strength = 1.5,
        .nodes = standardCoalitions().front(),
        .synapses = {},
        .oscillators = {},
    };
}

/// The modules of the intact workspace from the moment of the perturbation to the end, with or
/// without it.
std::vector<CoalitionActivity> moduleResponses(const Perturbation* perturbation) {
    const auto trace =
        runWorkspaceTrial(trial_seed, standardTrialConfig(), trial_duration, perturbation);
    return analyzeWindow(trace, standardModules(), perturbation_time, trial_duration,
                         ignition_threshold)
        .coalitions;
}

} // namespace

ConditionMeasurement measureCondition(ModelTime duration, std::span<const Coalition> coalitions,
                                      std::span<const Coalition> modules,
                                      const WorkspaceTrialConfig& config) {
    const auto trace = runWorkspaceTrial(trial_seed, config, duration);
    WorkspaceWindow module_window = analyzeWindow(trace, modules, 0, duration, ignition_threshold);
    WorkspaceWindow coalition_window =
        analyzeWindow(trace, coalitions, 0, duration, ignition_threshold);
    return {
        .coalition_window = std::move(coalition_window),
        .module_window = std::move(module_window),
    };
}

void checkSeparability(const ConditionMeasurement& intact,
                       const ConditionMeasurement& broadcast_cut,
                       const ConditionMeasurement& feedback_cut) {
    check(broadcast_cut.coalition_window.g_t > surviving_g_t
              && feedback_cut.coalition_window.g_t > surviving_g_t,
          "ablating the workspace silenced the perceptual coalitions");
    check(countChangedModules(intact.module_window.coalitions,
                              broadcast_cut.module_window.coalitions, tolerance)
              >= 2,
          "cutting the broadcast left the downstream modules unaffected");
    check(countChangedModules(intact.coalition_window.coalitions,
                              feedback_cut.coalition_window.coalitions, tolerance)
              >= 1,
          "cutting the top-down feedback changed nothing in the coalitions");
}

void runInterventionChecks() {
    const auto coalitions = standardCoalitions();
    const auto modules = standardModules();
    const auto intact =
        measureCondition(trial_duration, coalitions, modules, standardTrialConfig());
    const auto broadcast_cut =
        measureCondition(trial_duration, coalitions, modules, broadcastCutConfig());
    const auto feedback_cut =
        measureCondition(trial_duration, coalitions, modules, feedbackCutConfig());
    checkSeparability(intact, broadcast_cut, feedback_cut);

    const Perturbation push = coalitionPush();
    const auto perturbed = moduleResponses(&push);
    const auto baseline = moduleResponses(nullptr);
    check(countChangedModules(baseline, perturbed, tolerance) >= 1,
          "perturbing a coalition changed no downstream module, so nothing is globally available");

    const bool refused = refusedAsInvalid([&] {
        static_cast<void>(
            countChangedModules(baseline, intact.coalition_window.coalitions, tolerance));
    });
    check(refused, "availability compared mismatched module sets");
}

} // namespace Velmora::Conformance
