#pragma once

#include "core/kesp/workspace/window.hpp"

#include <span>

namespace Velmora::Conformance {

/// Demands of the windows of one trial, in time order, that there are 24; that two thirds of them
/// have a clear winner; that the losers keep firing at more than 0.5 Hz on average; that the winner
/// changes at least three times and each of the coalitions 0 and 1 wins at some time; and that a
/// window can be reported.
///
/// Throws as check does.
void checkWinnerTakeMost(std::span<const Core::Kesp::WorkspaceWindow> windows);

} // namespace Velmora::Conformance
