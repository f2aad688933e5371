#pragma once

#include "core/kesp/model_time.hpp"
#include "core/kesp/workspace/competition.hpp"
#include "core/kesp/workspace/trial.hpp"
#include "core/kesp/workspace/window.hpp"

#include <span>

/// The steps of the intervention checks: the measurement of a condition, and the judgement of what
/// changed.
namespace Velmora::Conformance {

/// One trial under one condition, measured from its start to its end.
struct ConditionMeasurement {
    Core::Kesp::WorkspaceWindow coalition_window;
    /// The module groups analysed as coalitions.
    Core::Kesp::WorkspaceWindow module_window;
};

/// Runs the group's seed for `duration` without perturbation and measures both sets of groups.
///
/// Errors of the trial and of the analyses pass through.
[[nodiscard]] ConditionMeasurement
measureCondition(Core::Kesp::ModelTime duration, std::span<const Core::Kesp::Coalition> coalitions,
                 std::span<const Core::Kesp::Coalition> modules,
                 const Core::Kesp::WorkspaceTrialConfig& config);

/// Demands that the coalitions survive both cuts, that cutting the broadcast changes at least two
/// modules, and that cutting the feedback changes at least one coalition.
///
/// Throws as check does, and as countChangedModules does when the conditions were measured on
/// different groups.
void checkSeparability(const ConditionMeasurement& intact,
                       const ConditionMeasurement& broadcast_cut,
                       const ConditionMeasurement& feedback_cut);

} // namespace Velmora::Conformance
