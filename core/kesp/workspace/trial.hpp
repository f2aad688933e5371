#pragma once

#include "core/kesp/intervention.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/simulation.hpp"
#include "core/kesp/trace.hpp"
#include "core/runtime/random_context.hpp"

#include <cstdint>
#include <vector>

namespace Velmora::Core::Kesp {

/// What varies between trials of the standard workspace.
struct WorkspaceTrialConfig {
    /// Weight magnitude of the excitation inside a coalition; see CompetitionSpec for the range.
    double recurrent_weight = 0.0;
    /// Weight magnitude of the inhibition between coalitions.
    double lateral_weight = 0.0;
    /// Baseline rate of every coalition neuron in Hz. The module neurons get 0.2 of it.
    double stimulus_hz = 0.0;
    /// Subtracted from the threshold of the first coalition's neurons: a positive bias favours that
    /// coalition.
    double bias = 0.0;
    /// Added to a neuron's adaptation at each of its spikes.
    double adaptation_step = 0.0;
    /// Whether spikes of the coalitions reach the modules.
    bool broadcast_enabled = true;
    /// Whether spikes of the modules reach the coalitions.
    bool feedback_enabled = true;
};

/// A trial of the standard workspace (standard_workspace.hpp), set up and not yet run: two
/// coalitions of four neurons that compete through topology alone, and three downstream modules.
///
/// All randomness comes from `random`; give one that records to be able to replay the trial.
/// `duration` is the horizon. Throws InvalidWorkspace for weights that are no valid competition
/// (validateCompetition), InvalidFiringParameters for a stimulus or bias out of range, and as
/// Simulation::perturb.
[[nodiscard]] Simulation prepareWorkspaceTrial(Runtime::RandomContext random,
                                               const WorkspaceTrialConfig& config,
                                               ModelTime duration,
                                               const Perturbation* perturbation = nullptr);

/// Runs one trial, seeded with `seed`, until nothing is left to happen, and returns its spikes, all
/// at times in (0, duration). The same arguments give the same trace.
///
/// `perturbation` may be null. Throws as prepareWorkspaceTrial, and what the run raises:
/// TimeOverflow, or the errors of applyPerturbationEvent, among them InvalidOscillator for every
/// phase shift, since a trial has no oscillators. No partial trace is returned.
[[nodiscard]] std::vector<TraceRecord>
runWorkspaceTrial(std::uint64_t seed, const WorkspaceTrialConfig& config, ModelTime duration,
                  const Perturbation* perturbation = nullptr);

} // namespace Velmora::Core::Kesp
