#pragma once

#include "core/kesp/workspace/window.hpp"

#include <cstdint>
#include <span>
#include <string>

namespace Velmora::Core::Kesp {

/// One window as text, a labelled figure per line and a line per coalition, ending in a line feed:
///
///     ### Workspace
///     window:            [0, 250000000)
///     G(t):              26
///     ignited:           yes
///     dominant:          1
///     dominance:         0.8462
///     residual rate:     8 Hz
///     coalition 0:       8 Hz (8 spikes)
///     coalition 1:       44 Hz (44 spikes)
///
/// Times are in nanoseconds, rates in Hz. Doubles have 4 significant digits in general notation,
/// integers are written in full. The text does not depend on the global locale.
[[nodiscard]] std::string workspaceReport(const WorkspaceWindow& window);

/// How often the dominant coalition changed along a series of windows in time order. Windows
/// without one are passed over: they neither count nor interrupt a coalition's reign. The view is
/// not kept.
[[nodiscard]] std::uint64_t countReversals(std::span<const WorkspaceWindow> windows);

} // namespace Velmora::Core::Kesp
