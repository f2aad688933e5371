#include "core/kesp/errors.hpp"
#include "core/kesp/event_queue.hpp"
#include "core/kesp/network.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>
#include <random>

namespace Velmora::Tests {

using namespace Core::Kesp;

constexpr auto inhibitory = SynapseType::Inhibitory;
constexpr const char* bad_weight = "synapse weight magnitude must be finite and >= 0";

TEST(Network, ValidatesSynapsesBeforeAnythingChanges) {
    const auto refuses = [](const char* text, const Synapse& bad, NetworkOptions options = {7}) {
        const Synapse good = makeSynapse(0, 1, -0.0, 7, inhibitory);
        const std::vector<Synapse> batch = {good, good, bad};
        Network network(2, {good}, options);
        expectError<InvalidSynapse>([&] { network.addSynapses(batch); }, text);
        EXPECT_EQ(network.synapseCount() + network.outgoing(0).size(), 2U);
        expectError<InvalidSynapse>([&] { Network(2, batch, options); }, text);
        expectError<InvalidSynapse>([&] { Network(2, batch, {0}); },
                                    "network min_delay must be positive");
    };
    constexpr const char* bad_endpoint = "synapse endpoint is outside the network";
    constexpr const char* bad_delay = "synapse delay must be >= network min_delay and > 0";
    refuses(bad_endpoint, makeSynapse(2, 0, -1.0, 0, inhibitory));
    refuses(bad_endpoint, makeSynapse(0, 2, 1.0, 7, inhibitory));
    refuses(bad_weight, makeSynapse(0, 1, -0.5, 0, inhibitory));
    refuses(bad_weight, makeSynapse(0, 1, HUGE_VAL, 7, inhibitory));
    refuses(bad_delay, makeSynapse(0, 1, 1.0, 6, inhibitory));
    refuses(bad_delay, makeSynapse(0, 1, 1.0, 0, inhibitory), {});
}

TEST(Network, GuardsItsIdentifiersAndTimes) {
    const Synapse synapse = makeSynapse(1, 0, 0.35, 1, inhibitory);
    Network network(3, {synapse, makeSynapse(1, 2, 1.0, 2, inhibitory)}, {1});
    const auto refuses = [](auto operation) {
        expectError<SynapseRoutingViolation>(operation, "KESP synapse EdgeId is out of range");
    };
    refuses([&] { return network.synapse(2); });
    refuses([&] { return network.isPresent(2); });
    refuses([&] { network.setEnabled(2, true); });
    refuses([&] { network.setWeight(2, 1.0F); });
    expectError<InvalidSynapse>([&] { network.setWeight(2, std::nanf("")); }, bad_weight);
    expectError<SynapseRoutingViolation>([&] { return network.outgoing(3); },
                                         "KESP source NodeId is out of range");
    Network::checkEdgeIdSpace(none - 2, 1);
    expectError<InvalidSynapse>([] { Network::checkEdgeIdSpace(none - 1, 1); },
                                "KESP synapse EdgeId space exhausted");
    EventQueue queue; // which keeps what was delivered before an overflow
    expectError<TimeOverflow>([&] { network.deliverSpike(1, end_of_time - 1, queue); },
                              "KESP model time overflow");
    EXPECT_EQ(queue.popNext().value, -0.3499999940395355);
}

TEST(Network, RoutesLikeAPlainEdgeList) {
    std::mt19937_64 random(99);
    std::vector<Synapse> list;
    Network network(30, {}, {});
    for (std::uint64_t batch = 0; batch < 200; ++batch) {
        std::vector<Synapse> added(random() % 4);
        for (Synapse& synapse : added) {
            const auto type = static_cast<SynapseType>(random() % 2);
            synapse = makeSynapse(random() % 10 * 3, random() % 30, 0.1, 9, type);
            synapse.enabled = random() % 4 != 0;
        }
        EXPECT_EQ(network.addSynapses(added), list.size());
        list.insert(list.end(), added.begin(), added.end());
        for (EdgeId edge = batch; edge < list.size(); edge += 7) {
            network.setWeight(edge, list[edge].weight *= 1.25F);
            network.setEnabled(edge, list[edge].enabled = !list[edge].enabled);
        }
        EventQueue queue;
        const NodeId source = random() % 30;
        const std::uint64_t count = network.deliverSpike(source, 1, queue);
        std::uint64_t n = 0;
        for (EdgeId edge = 0; edge < list.size(); ++edge) {
            const Synapse& s = list[edge];
            if (s.source == source && s.enabled) {
                const Event e = queue.popNext();
                const double value = s.type == inhibitory ? -s.weight : s.weight;
                EXPECT_EQ(std::tuple(e.time, e.sequence, e.source, e.target, e.edge, e.value),
                          std::tuple(10, n++, source, s.target, edge, value));
            }
        }
        EXPECT_EQ(std::tuple(n, queue.size()), std::tuple(count, 0));
    }
}

} // namespace Velmora::Tests
