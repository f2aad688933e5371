#include "core/kesp/errors.hpp"
#include "core/kesp/workspace/lowering.hpp"
#include "tests/support/expect_error.hpp"

namespace Velmora::Tests {

using namespace Core::Kesp;

/// Three coalitions of unequal size; node 1 is a member and a module.
constexpr auto uneven = [] {
    return CompetitionSpec{{{2, 0, 5}, {1, 3}, {4}}, 0.5, 0.75, 9, 8, 0.125, 0.25, 7, 6, {6, 1}};
};

TEST(Lowering, BuildsFourGroupsOfEdgesInListOrder) {
    Network network(7, {makeSynapse(0, 0, 1.0, 50, SynapseType::Inhibitory)}, {.min_delay = 6});
    LoweredWorkspace lowered = lowerCompetition(network, uneven());
    EdgeId next = 1;
    const auto edges = [&](const std::vector<EdgeId>& group, float weight, ModelTime delay) {
        std::string text; // an edge from node 2 to node 0 reads "20 "
        for (const EdgeId edge : group) {
            const Synapse& s = network.synapse(edge);
            text += std::to_string(s.source) + std::to_string(s.target) + ' ';
            EXPECT_EQ(std::tuple(edge, s.weight, s.delay), std::tuple(next++, weight, delay));
            EXPECT_EQ(s.type == SynapseType::Inhibitory, &group == &lowered.lateral);
        }
        return text;
    };
    EXPECT_EQ(edges(lowered.recurrent, 0.5F, 9), "20 25 02 05 52 50 13 31 ");
    EXPECT_EQ(edges(lowered.lateral, 0.75F, 8),
              "21 23 01 03 51 53 24 04 54 12 10 15 32 30 35 14 34 42 40 45 41 43 ");
    EXPECT_EQ(edges(lowered.broadcast, 0.125F, 7), "26 21 06 01 56 51 16 36 31 46 41 ");
    EXPECT_EQ(edges(lowered.feedback, 0.25F, 6), "62 12 60 10 65 15 61 63 13 64 14 ");
    EXPECT_EQ(network.synapseCount(), lowered.edgeCount() + 1);

    lowered = lowerCompetition(network, {{{1}, {1}}, 0.5, 0.75, 9, 8, 0.0, 0.25, 0, 6, {6, 1}});
    EXPECT_EQ(edges(lowered.recurrent, 0.5F, 9) + edges(lowered.lateral, 0.75F, 8), "11 11 ");
    EXPECT_EQ(edges(lowered.broadcast, 0.0F, 0) + edges(lowered.feedback, 0.25F, 6), "61 61 ");
    lowered = lowerCompetition(network, {{{1}, {2}}, 0.5, 0.75, 9, 8, 0.125, 0.0, 7, 0, {6, 1}});
    EXPECT_EQ(lowered.edgeCount(), 2U + 3U);
}

TEST(Lowering, KeepsTheBatchesBeforeTheOneRefused) {
    for (const auto& [min_delay, kept] : {std::pair(10, 0U), {9, 8U}, {8, 30U}, {7, 41U}}) {
        Network network(7, {}, {.min_delay = min_delay});
        const auto lower = [&] { static_cast<void>(lowerCompetition(network, uneven())); };
        expectError<InvalidSynapse>(lower, "synapse delay must be >= network min_delay and > 0");
        EXPECT_EQ(network.synapseCount(), kept);
    }
}

} // namespace Velmora::Tests
