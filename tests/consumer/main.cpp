// Crosses every kind of border between a program and the library: values, callbacks, implemented
// interfaces, exceptions.
#include "core/kesp/errors.hpp"
#include "core/kesp/workspace/report.hpp"
#include "core/kesp/workspace/standard_workspace.hpp"
#include "core/kesp/workspace/trial.hpp"

#include <cstdint>
#include <iostream>

using namespace Velmora::Core;
using namespace Velmora::Core::Kesp;

namespace {

struct CountingSink final : IEventSink {
    std::uint64_t count = 0;
    std::uint64_t schedule(const Event& /*event*/) override { return count++; }
};

} // namespace

int main() {
    const ModelTime duration = fromMilliseconds(250);
    const WorkspaceTrialConfig config{.recurrent_weight = 1.2,
                                      .lateral_weight = 0.6,
                                      .stimulus_hz = 40.0,
                                      .adaptation_step = 0.06};
    const auto trace = runWorkspaceTrial(1, config, duration);
    std::cout << workspaceReport(analyzeWindow(trace, standardCoalitions(), 0, duration, 1.0));

    Simulation simulation = prepareWorkspaceTrial(Runtime::RandomContext(1), config, duration);
    std::uint64_t spikes = 0;
    simulation.onSpike([&](NodeId, ModelTime) { ++spikes; });
    simulation.drain();
    std::cout << "callback: " << (spikes == trace.size()) << '\n';

    CountingSink sink;
    Network network(2, {makeSynapse(0, 1, 1.0, 1, SynapseType::Excitatory)}, {});
    network.deliverSpike(0, 0, sink);
    std::cout << "interface: " << sink.count << '\n';

    try {
        network.setWeight(0, -1.0F);
    } catch (const InvalidSynapse& error) {
        std::cout << "exception: " << error.what() << '\n';
    }
}
