#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/network.hpp"
#include "core/kesp/workspace/competition.hpp"

#include <cstdint>
#include <vector>

namespace Velmora::Core::Kesp {

/// The edges into which a competition was lowered, one group per role.
///
/// Each group lists its EdgeIds in the order of creation; they are consecutive numbers. The
/// identifiers mean something only for the network into which the competition was lowered.
struct LoweredWorkspace {
    /// Excitatory edges inside coalitions.
    std::vector<EdgeId> recurrent;
    /// Inhibitory edges between coalitions.
    std::vector<EdgeId> lateral;
    /// Excitatory edges from coalition members to modules.
    std::vector<EdgeId> broadcast;
    /// Excitatory edges from modules back to coalition members.
    std::vector<EdgeId> feedback;

    /// The number of edges in all four groups.
    [[nodiscard]] std::uint64_t edgeCount() const;
};

/// Adds the edges of a competition to a network and reports them. Nothing selects a winner:
/// competition arises from these edges alone.
///
/// - recurrent: every member to every other member of its coalition;
/// - lateral: every member to every member of every other coalition;
/// - broadcast and feedback: every member to every module and back, left out where the weight is 0
///   or member and module are the same node.
///
/// Coalitions, members and modules are walked in list order, the source's coalition slowest; in the
/// lateral group the target's coalition comes next, then the source member, then the target member.
/// The four groups enter the network in the order above, each as one batch.
///
/// Throws InvalidWorkspace for a competition that validateCompetition refuses, before the network
/// is touched. Errors of Network::addSynapses pass through: the refused batch adds nothing, the
/// batches before it stay in the network.
[[nodiscard]] LoweredWorkspace lowerCompetition(Network& network, const CompetitionSpec& spec);

/// Adds one group of synapses in a single batch and returns their EdgeIds in the same order. An
/// empty group does not reach the network.
///
/// Errors of Network::addSynapses pass through; the network is unchanged then.
[[nodiscard]] std::vector<EdgeId> addSynapseBatch(Network& network, std::vector<Synapse> synapses);

} // namespace Velmora::Core::Kesp
