#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/model_time.hpp"

#include <vector>

namespace Velmora::Core::Kesp {

/// A group of neurons that acts as one competitor, or as one unit of measurement. The member order
/// fixes the order in which lowering creates edges.
using Coalition = std::vector<NodeId>;

/// Which coalitions compete for the workspace, how strongly each excites itself and inhibits the
/// others, and which module nodes receive their broadcast and feed back to them.
///
/// A plain value without network or simulation state. All four weights are magnitudes: lowering
/// chooses the sign of an edge by its type. Node identifiers and delays are judged by the network
/// into which the competition is lowered.
struct CompetitionSpec {
    /// The competitors. A coalition's position in this list is its coalition index in every
    /// measurement.
    std::vector<Coalition> coalitions = {};
    /// Weight of every excitatory edge inside a coalition.
    double recurrent_weight = 0.0;
    /// Weight of every inhibitory edge between two coalitions.
    double lateral_weight = 0.0;
    /// Delay of every excitatory edge inside a coalition.
    ModelTime recurrent_delay = 0;
    /// Delay of every inhibitory edge between two coalitions.
    ModelTime lateral_delay = 0;
    /// Weight of every edge from a coalition member to a module; 0 builds none.
    double broadcast_weight = 0.0;
    /// Weight of every edge from a module back to a coalition member; 0 builds none.
    double feedback_weight = 0.0;
    /// Delay of every edge from a coalition member to a module.
    ModelTime broadcast_delay = 0;
    /// Delay of every edge from a module back to a coalition member.
    ModelTime feedback_delay = 0;
    /// The downstream module nodes. May be empty.
    std::vector<NodeId> modules = {};
};

/// Refuses a competition that cannot give winner-take-most behaviour, in which one coalition leads
/// while the others stay active.
///
/// Throws InvalidWorkspace at the first rule that fails, in this order:
/// - fewer than two coalitions: "competition needs at least two participants";
/// - a coalition without members: "a competing coalition has no members";
/// - a weight that is not finite or below 0: "competition weights must be finite and >= 0";
/// - recurrent_weight or lateral_weight not above 0: "competition needs both recurrent excitation
///   and lateral inhibition";
/// - with n >= 2 members in the first coalition, lateral_weight > (n - 1) * recurrent_weight, the
///   drive that a member receives from its partners: "lateral inhibition would exceed the recurrent
///   drive of a coalition, which gives absolute winner-take-all instead of winner-take-most".
void validateCompetition(const CompetitionSpec& spec);

} // namespace Velmora::Core::Kesp
