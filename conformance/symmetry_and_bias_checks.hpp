#pragma once

#include "core/kesp/workspace/trial.hpp"
#include "core/kesp/workspace/window.hpp"

#include <cstdint>
#include <span>

/// The steps of the symmetry and the bias checks: batches of trials, and the judgement of what they
/// gave.
namespace Velmora::Conformance {

/// The standard trial with the given bias, in units of potential and in favour of coalition 0, and
/// without adaptation.
[[nodiscard]] Core::Kesp::WorkspaceTrialConfig biasTrialConfig(double bias);

/// Whether one coalition dominates the window, by more than the lock-in dominance.
[[nodiscard]] bool isLockedIn(const Core::Kesp::WorkspaceWindow& window);

/// Runs `trials` trials of 600 ms with the seeds 1, 2, ..., trials and returns the selection
/// probability: the fraction of the locked-in trials that coalition 0 won, 0 when none locked in.
/// Sets `locked_in` to their number.
///
/// Errors of the trials pass through; `locked_in` holds the count so far then.
[[nodiscard]] double runBiasBatch(double bias, std::uint64_t trials, std::uint64_t& locked_in);

/// Demands of an unbiased batch that at least 80 trials locked in and that the selection
/// probability lies within four standard errors of a fair coin.
///
/// Throws as check does.
void checkSymmetryBreaking(double selection_probability, std::uint64_t locked_in);

/// Demands that the selection probabilities never fall along the bias levels, saturate at both
/// ends, are a coin flip at the middle level, and rise non-linearly and most steeply around the
/// middle.
///
/// `levels` ascend and are as many as `probabilities`: an odd number, at least 3. Throws as check
/// does.
void checkBiasResponse(std::span<const double> levels, std::span<const double> probabilities);

} // namespace Velmora::Conformance
