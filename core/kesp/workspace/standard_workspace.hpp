#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/workspace/competition.hpp"

#include <array>
#include <cstdint>
#include <vector>

/// The one workspace that trials simulate: two coalitions of four neurons that compete, and three
/// module neurons downstream of both.
namespace Velmora::Core::Kesp {

/// Nodes 0 to 7 are the coalitions' members, 8 to 10 the modules.
inline constexpr std::uint64_t standard_node_count = 11;

/// The nodes downstream of both coalitions.
inline constexpr std::array<NodeId, 3> standard_module_nodes{8, 9, 10};

/// No synapse of the standard workspace is faster.
inline constexpr ModelTime standard_min_delay = 1 * nanoseconds_per_millisecond;

/// The two competitors: coalition 0 = nodes 0, 1, 2, 3 and coalition 1 = nodes 4, 5, 6, 7.
[[nodiscard]] std::vector<Coalition> standardCoalitions();

/// The modules as groups of one node each, {8}, {9} and {10}: analysed as coalitions, every module
/// gets its own rate.
[[nodiscard]] std::vector<Coalition> standardModules();

/// The competition between the standard coalitions over the standard modules, with the given
/// magnitudes inside and between the coalitions. Broadcast 0.2 at 2 ms, feedback 0.15 at 3 ms,
/// recurrent and lateral delays 1 ms.
///
/// Not validated here; lowering does that.
[[nodiscard]] CompetitionSpec standardCompetition(double recurrent_weight, double lateral_weight);

} // namespace Velmora::Core::Kesp
