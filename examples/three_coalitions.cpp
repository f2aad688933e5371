// Three coalitions of different sizes compete for a workspace with two modules.
//
// Every coalition excites itself and inhibits the others; no part of the program chooses a winner.
// Spike-driven adaptation wears the leading coalition out, so the lead can change from window to
// window.
#include "core/kesp/simulation.hpp"
#include "core/kesp/workspace/competition.hpp"
#include "core/kesp/workspace/lowering.hpp"
#include "core/kesp/workspace/report.hpp"
#include "core/kesp/workspace/window.hpp"

#include <cstdint>
#include <iostream>
#include <utility>
#include <vector>

using namespace Velmora::Core;
using namespace Velmora::Core::Kesp;

int main() {
    const CompetitionSpec competition{
        .coalitions = {{0, 1, 2}, {3, 4, 5, 6}, {7, 8, 9, 10, 11}},
        .recurrent_weight = 0.9,
        .lateral_weight = 0.5,
        .recurrent_delay = fromMilliseconds(1),
        .lateral_delay = fromMilliseconds(1),
        .broadcast_weight = 0.2,
        .feedback_weight = 0.1,
        .broadcast_delay = fromMilliseconds(2),
        .feedback_delay = fromMilliseconds(3),
        .modules = {12, 13},
    };
    constexpr std::uint64_t node_count = 14;

    Network network(node_count, {}, {});
    const LoweredWorkspace edges = lowerCompetition(network, competition);
    std::cout << edges.edgeCount() << " edges: " << edges.recurrent.size() << " recurrent, "
              << edges.lateral.size() << " lateral, " << edges.broadcast.size() << " broadcast, "
              << edges.feedback.size() << " feedback\n\n";

    // The modules are driven less than the competitors.
    std::vector<FiringParameters> firing(node_count, {.baseline_rate = 30.0});
    for (const NodeId module : competition.modules) {
        firing[module].baseline_rate = 5.0;
    }

    constexpr ModelTime duration = 4 * nanoseconds_per_second;
    Simulation simulation({.network = std::move(network),
                           .neuron = {.adaptation_step = 0.06},
                           .firing = std::move(firing),
                           .random = Runtime::RandomContext(11)},
                          duration);
    simulation.run();

    const auto windows = analyzeWindows(simulation.trace(), competition.coalitions, 0, duration,
                                        nanoseconds_per_second, 1.0);
    for (const WorkspaceWindow& window : windows) {
        std::cout << workspaceReport(window) << '\n';
    }
    std::cout << "the lead changed " << countReversals(windows) << " times\n";
}
