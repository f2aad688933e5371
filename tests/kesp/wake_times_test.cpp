#include "core/kesp/wake_times.hpp"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(WakeTimes, KeepsTheEarliestOfAll) {
    EXPECT_EQ(WakeTimes(0).earliest(), end_of_time);
    for (const std::uint64_t nodes : {1U, 3U, 4U, 5U, 16U, 17U, 65U, 300U}) {
        std::mt19937_64 random(nodes);
        WakeTimes wake_times(nodes);
        std::vector<ModelTime> model(nodes, end_of_time);
        for (int i = 0; i < 3'000; ++i) {
            // Few different times, so that many are equal; and now and then, all are taken.
            const bool is_taking = i % 1'000 >= 600;
            const NodeId node = is_taking ? wake_times.first() : random() % nodes;
            const auto time = static_cast<ModelTime>(random() % 50) - 9;
            model[node] = is_taking || time > 30 ? end_of_time : time;
            wake_times.set(node, model[node]);
            const auto earliest = std::min_element(model.begin(), model.end());
            ASSERT_EQ(wake_times.of(node), model[node]);
            ASSERT_EQ(wake_times.earliest(), *earliest);
            ASSERT_EQ(wake_times.first(), earliest - model.begin());
        }
    }
}

} // namespace Velmora::Tests
