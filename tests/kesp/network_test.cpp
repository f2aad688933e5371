#include "core/kesp/errors.hpp"
#include "core/kesp/event_queue.hpp"
#include "core/kesp/network.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>
#include <random>

namespace Velmora::Tests {

using namespace Core::Kesp;

constexpr auto inhibitory = SynapseType::Inhibitory;
constexpr auto fails = [](const char* t, auto op) { expectError<InvalidSynapse>(op, t); };
constexpr const char* bad_weight = "synapse weight magnitude must be finite and >= 0";

TEST(Network, ValidatesSynapsesBeforeAnythingChanges) {
    const auto refuses = [](const char* text, const Synapse& bad, NetworkOptions options = {7}) {
        const Synapse good = makeSynapse(0, 1, -0.0, 7, inhibitory);
        const std::vector<Synapse> batch = {good, good, bad};
        Network network(2, {good}, options);
        fails(text, [&] { network.addSynapses(batch); });
        EXPECT_EQ(network.synapseCount() + network.outgoing(0).size(), 2U);
        fails(text, [&] { Network(2, batch, options); });
        fails("network min_delay must be positive", [&] { Network(2, batch, {0}); });
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
    const auto& [source, target, weight, delay, type, e0, e1, e2, enabled, e3, e4] = synapse;
    EXPECT_EQ(std::tuple(e0, e1, e2, e3, e4), std::tuple(0, 0, 0, ~0U, none));
    Network network(3, {synapse, makeSynapse(1, 2, 1.0, 2, inhibitory)}, {1});
    const auto refuses = [](auto operation) {
        expectError<SynapseRoutingViolation>(operation, "KESP synapse EdgeId is out of range");
    };
    refuses([&] { return network.synapse(2); });
    refuses([&] { return network.isPresent(2); });
    refuses([&] { network.setEnabled(2, true); });
    refuses([&] { network.setWeight(2, 1.0F); });
    fails(bad_weight, [&] { network.setWeight(2, std::nanf("")); });
    expectError<SynapseRoutingViolation>([&] { return network.outgoing(3); },
                                         "KESP source NodeId is out of range");
    expectError<std::length_error>([] { return Network(none, {}, {}).outgoing(0); },
                                   "KESP network has too many nodes for a routing index");
    Network::checkEdgeIdSpace(none - 2, 1);
    fails("KESP synapse EdgeId space exhausted", [] { Network::checkEdgeIdSpace(none - 1, 1); });
    EventQueue queue; // which keeps what was delivered before an overflow
    expectError<TimeOverflow>([&] { network.deliverSpike(1, end_of_time - 1, queue); },
                              "KESP model time overflow");
    EXPECT_EQ(queue.popNext().value, -0.3499999940395355);
}

TEST(Network, RoutesLikeAPlainEdgeList) {
    std::mt19937_64 random(99);
    std::vector<Synapse> list(300);
    for (Synapse& s : list) {
        s = makeSynapse(random() % 30, random() % 30, 1, 9, static_cast<SynapseType>(random() % 2));
        s.enabled = random() % 4 != 0;
    }
    Network network(30, {list.begin(), list.begin() + 100}, {});
    EXPECT_LT(network.outgoing(3).size(), 30U); // indexed before more are added
    EXPECT_EQ(network.addSynapses(std::span(list).subspan(100)), 100U);
    network.setWeight(7, list[7].weight = 0.7F);
    network.setEnabled(7, list[7].enabled = !list[7].enabled);
    for (NodeId source = 0; source < 30; ++source) {
        EventQueue queue;
        std::uint64_t count = network.deliverSpike(source, 1, queue);
        for (EdgeId edge = 0; edge < list.size(); ++edge) {
            const Synapse& s = list[edge];
            if (s.source == source && s.enabled) {
                const Event e = queue.popNext();
                const double value = s.type == inhibitory ? -s.weight : s.weight;
                EXPECT_EQ(std::tuple(e.time, e.source, e.target, e.edge, e.value, queue.size()),
                          std::tuple(10, source, s.target, edge, value, --count));
            }
        }
        EXPECT_EQ(count, 0U);
    }
}

} // namespace Velmora::Tests
