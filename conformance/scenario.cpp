#include "conformance/scenario.hpp"

#include "core/kesp/workspace/standard_workspace.hpp"

namespace Velmora::Conformance {

using namespace Core::Kesp;

WorkspaceTrialConfig standardTrialConfig() {
    return {
        .recurrent_weight = 1.2,
        .lateral_weight = 0.6,
        .stimulus_hz = 40.0,
        .bias = 0.0,
        .adaptation_step = 0.06,
        .broadcast_enabled = true,
        .feedback_enabled = true,
    };
}

WorkspaceWindow measureTrial(std::uint64_t seed, const WorkspaceTrialConfig& config,
                             ModelTime duration) {
    const auto trace = runWorkspaceTrial(seed, config, duration);
    return analyzeWindow(trace, standardCoalitions(), 0, duration, ignition_threshold);
}

} // namespace Velmora::Conformance
