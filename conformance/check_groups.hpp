#pragma once

/// The six groups of checks. Each builds all its own state, so none depends on another having run,
/// and either returns or throws at the first property that does not hold; errors of the simulated
/// workspace pass through.
namespace Velmora::Conformance {

/// Lowering builds recurrent excitation, lateral inhibition, broadcast and feedback as four typed
/// groups of edges, reports all of them, and refuses competitions that cannot be winner-take-most.
/// No trial is run.
void runLoweringChecks();

/// Without bias a winner emerges in most trials, and neither coalition is preferred. 100 trials.
void runSymmetryChecks();

/// The probability of selecting coalition 0 rises with its bias, saturates at both ends, is a coin
/// flip in the middle and steepest there: recurrence amplifies a small bias. 350 trials.
void runBiasChecks();

/// Under a constant ambivalent stimulus most windows have a clear winner, the loser stays active,
/// and the winner changes spontaneously. One long trial.
void runWinnerTakeMostChecks();

/// The classification of responses tells a line from a step, and G(t) rises with the stimulus. 20
/// trials.
void runIgnitionChecks();

/// Broadcast and feedback can be cut one without the other, each with its own effect, and
/// perturbing a coalition reaches the modules. Five trials.
void runInterventionChecks();

} // namespace Velmora::Conformance
