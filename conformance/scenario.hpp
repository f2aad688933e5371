#pragma once

#include "core/kesp/model_time.hpp"
#include "core/kesp/workspace/trial.hpp"
#include "core/kesp/workspace/window.hpp"

#include <cstdint>

/// What the simulating groups of checks have in common. Each changes only what it is about.
namespace Velmora::Conformance {

/// The G(t), in Hz, from which every group takes the workspace as ignited.
inline constexpr double ignition_threshold = 1.0;

/// A coalition has locked in when its dominance exceeds this.
inline constexpr double lock_in_dominance = 0.7;

/// The intact, unbiased, adapting workspace: weights 1.2 and 0.6, stimulus 40 Hz, adaptation step
/// 0.06.
[[nodiscard]] Core::Kesp::WorkspaceTrialConfig standardTrialConfig();

/// Runs one unperturbed trial and measures the standard coalitions over all of it.
///
/// Errors of the trial and of the analysis pass through.
[[nodiscard]] Core::Kesp::WorkspaceWindow
measureTrial(std::uint64_t seed, const Core::Kesp::WorkspaceTrialConfig& config,
             Core::Kesp::ModelTime duration);

} // namespace Velmora::Conformance
