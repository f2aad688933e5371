#include "core/kesp/workspace/trial.hpp"

#include "core/kesp/workspace/competition.hpp"
#include "core/kesp/workspace/lowering.hpp"
#include "core/kesp/workspace/standard_workspace.hpp"

#include <span>
#include <utility>

namespace Velmora::Core::Kesp {

namespace {

/// Modules are driven less than the coalitions: by this share of the stimulus.
constexpr double module_stimulus_share = 0.2;

void disable(Network& network, std::span<const EdgeId> edges) {
    for (const EdgeId edge : edges) {
        network.setEnabled(edge, false);
    }
}

Network standardNetwork(const WorkspaceTrialConfig& config) {
    Network network(standard_node_count, {}, {.min_delay = standard_min_delay});
    const LoweredWorkspace lowered = lowerCompetition(
        network, standardCompetition(config.recurrent_weight, config.lateral_weight));
    if (!config.broadcast_enabled) {
        disable(network, lowered.broadcast);
    }
    if (!config.feedback_enabled) {
        disable(network, lowered.feedback);
    }
    return network;
}

std::vector<FiringParameters> standardFiring(const WorkspaceTrialConfig& config) {
    std::vector<FiringParameters> firing(standard_node_count,
                                         {.baseline_rate = config.stimulus_hz});
    const Coalition favoured = standardCoalitions().front();
    for (const NodeId node : favoured) {
        firing[node].threshold = -config.bias;
    }
    for (const NodeId node : standard_module_nodes) {
        firing[node].baseline_rate = module_stimulus_share * config.stimulus_hz;
    }
    return firing;
}

} // namespace

Simulation prepareWorkspaceTrial(Runtime::RandomContext random, const WorkspaceTrialConfig& config,
                                 ModelTime duration, const Perturbation* perturbation) {
    Simulation simulation({.network = standardNetwork(config),
                           .neuron = {.adaptation_step = config.adaptation_step},
                           .firing = standardFiring(config),
                           .random = std::move(random)},
                          duration);
    if (perturbation != nullptr) {
        simulation.perturb(*perturbation);
    }
    return simulation;
}

std::vector<TraceRecord> runWorkspaceTrial(std::uint64_t seed, const WorkspaceTrialConfig& config,
                                           ModelTime duration, const Perturbation* perturbation) {
    Simulation simulation =
        prepareWorkspaceTrial(Runtime::RandomContext(seed), config, duration, perturbation);
    simulation.drain();
    return simulation.takeTrace();
}

} // namespace Velmora::Core::Kesp
