#include "core/kesp/workspace/standard_workspace.hpp"

namespace Velmora::Core::Kesp {

std::vector<Coalition> standardCoalitions() {
    return {{0, 1, 2, 3}, {4, 5, 6, 7}};
}

std::vector<Coalition> standardModules() {
    std::vector<Coalition> modules;
    modules.reserve(standard_module_nodes.size());
    for (const NodeId node : standard_module_nodes) {
        modules.push_back({node});
    }
    return modules;
}

CompetitionSpec standardCompetition(double recurrent_weight, double lateral_weight) {
    return {
        .coalitions = standardCoalitions(),
        .recurrent_weight = recurrent_weight,
        .lateral_weight = lateral_weight,
        .recurrent_delay = fromMilliseconds(1),
        .lateral_delay = fromMilliseconds(1),
        .broadcast_weight = 0.2,
        .feedback_weight = 0.15,
        .broadcast_delay = fromMilliseconds(2),
        .feedback_delay = fromMilliseconds(3),
        .modules = {standard_module_nodes.begin(), standard_module_nodes.end()},
    };
}

} // namespace Velmora::Core::Kesp
