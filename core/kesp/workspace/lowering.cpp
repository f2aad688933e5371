#include "core/kesp/workspace/lowering.hpp"

#include <numeric>
#include <utility>

namespace Velmora::Core::Kesp {

namespace {

/// The records of the four groups before any of them enters the network.
struct SynapseGroups {
    std::vector<Synapse> recurrent;
    std::vector<Synapse> lateral;
    std::vector<Synapse> broadcast;
    std::vector<Synapse> feedback;
};

void appendRecurrent(const CompetitionSpec& spec, const Coalition& coalition,
                     std::vector<Synapse>& synapses) {
    for (const NodeId source : coalition) {
        for (const NodeId target : coalition) {
            if (target != source) {
                synapses.push_back(makeSynapse(source, target, spec.recurrent_weight,
                                               spec.recurrent_delay, SynapseType::Excitatory));
            }
        }
    }
}

void appendLateral(const CompetitionSpec& spec, const Coalition& coalition, const Coalition& rival,
                   std::vector<Synapse>& synapses) {
    for (const NodeId source : coalition) {
        for (const NodeId target : rival) {
            synapses.push_back(makeSynapse(source, target, spec.lateral_weight, spec.lateral_delay,
                                           SynapseType::Inhibitory));
        }
    }
}

void appendModuleLinks(const CompetitionSpec& spec, const Coalition& coalition,
                       SynapseGroups& groups) {
    for (const NodeId member : coalition) {
        for (const NodeId module : spec.modules) {
            if (module == member) {
                continue;
            }
            if (spec.broadcast_weight > 0.0) {
                groups.broadcast.push_back(makeSynapse(member, module, spec.broadcast_weight,
                                                       spec.broadcast_delay,
                                                       SynapseType::Excitatory));
            }
            if (spec.feedback_weight > 0.0) {
                groups.feedback.push_back(makeSynapse(module, member, spec.feedback_weight,
                                                      spec.feedback_delay,
                                                      SynapseType::Excitatory));
            }
        }
    }
}

SynapseGroups buildSynapses(const CompetitionSpec& spec) {
    SynapseGroups groups;
    for (const Coalition& coalition : spec.coalitions) {
        appendRecurrent(spec, coalition, groups.recurrent);
        // Coalitions are told apart by their place in the list: two with equal members still
        // compete.
        for (const Coalition& rival : spec.coalitions) {
            if (&rival != &coalition) {
                appendLateral(spec, coalition, rival, groups.lateral);
            }
        }
        appendModuleLinks(spec, coalition, groups);
    }
    return groups;
}

} // namespace

std::uint64_t LoweredWorkspace::edgeCount() const {
    return recurrent.size() + lateral.size() + broadcast.size() + feedback.size();
}

LoweredWorkspace lowerCompetition(Network& network, const CompetitionSpec& spec) {
    validateCompetition(spec);
    SynapseGroups groups = buildSynapses(spec);

    LoweredWorkspace lowered;
    lowered.recurrent = addSynapseBatch(network, std::move(groups.recurrent));
    lowered.lateral = addSynapseBatch(network, std::move(groups.lateral));
    lowered.broadcast = addSynapseBatch(network, std::move(groups.broadcast));
    lowered.feedback = addSynapseBatch(network, std::move(groups.feedback));
    return lowered;
}

std::vector<EdgeId> addSynapseBatch(Network& network, std::vector<Synapse> synapses) {
    std::vector<EdgeId> edges(synapses.size());
    if (!synapses.empty()) {
        std::iota(edges.begin(), edges.end(), network.addSynapses(synapses));
    }
    return edges;
}

} // namespace Velmora::Core::Kesp
