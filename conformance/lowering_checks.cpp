#include "conformance/check.hpp"
#include "conformance/check_groups.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/network.hpp"
#include "core/kesp/workspace/competition.hpp"
#include "core/kesp/workspace/lowering.hpp"
#include "core/kesp/workspace/standard_workspace.hpp"

namespace Velmora::Conformance {

using namespace Core::Kesp;

namespace {

Network emptyNetwork() {
    return Network(standard_node_count, {}, {.min_delay = standard_min_delay});
}

/// The standard coalitions with one module.
CompetitionSpec referenceCompetition() {
    return {
        .coalitions = standardCoalitions(),
        .recurrent_weight = 0.15,
        .lateral_weight = 0.35,
        .recurrent_delay = fromMilliseconds(1),
        .lateral_delay = fromMilliseconds(1),
        .broadcast_weight = 0.2,
        .feedback_weight = 0.15,
        .broadcast_delay = fromMilliseconds(2),
        .feedback_delay = fromMilliseconds(3),
        .modules = {8},
    };
}

/// One lateral edge outweighs the drive 3 * 0.1 of a member's partners.
CompetitionSpec overInhibitedCompetition() {
    CompetitionSpec spec = referenceCompetition();
    spec.recurrent_weight = 0.1;
    spec.lateral_weight = 5.0;
    return spec;
}

CompetitionSpec lonelyCompetition() {
    CompetitionSpec spec = referenceCompetition();
    spec.coalitions = {{0}};
    spec.modules = {};
    return spec;
}

bool isRefused(const CompetitionSpec& spec) {
    return refusedAsInvalid([&spec] {
        Network network = emptyNetwork();
        static_cast<void>(lowerCompetition(network, spec));
    });
}

void checkReferenceCompetition() {
    Network network = emptyNetwork();
    const LoweredWorkspace lowered = lowerCompetition(network, referenceCompetition());

    check(lowered.recurrent.size() == 24,
          "recurrent excitation was not built inside every coalition");
    check(lowered.lateral.size() == 32, "lateral inhibition was not built between every pair");
    check(lowered.broadcast.size() == 8 && lowered.feedback.size() == 8,
          "broadcast and feedback are not separate edge groups");
    for (const EdgeId edge : lowered.lateral) {
        check(network.synapse(edge).type == SynapseType::Inhibitory,
              "lateral competition is not typed as inhibition");
    }
    for (const EdgeId edge : lowered.recurrent) {
        check(network.synapse(edge).type == SynapseType::Excitatory,
              "recurrent feedback is not excitatory");
    }
    check(network.synapseCount() == lowered.edgeCount(), "lowering built edges it did not report");
}

} // namespace

void runLoweringChecks() {
    checkReferenceCompetition();
    check(isRefused(overInhibitedCompetition()),
          "inhibition strong enough for absolute winner-take-all was accepted");
    check(isRefused(lonelyCompetition()), "a competition with one participant was accepted");
}

} // namespace Velmora::Conformance
