#include "core/kesp/errors.hpp"
#include "core/kesp/event_queue.hpp"
#include "tests/support/expect_error.hpp"

#include <random>
#include <set>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(EventQueue, LosesNothingToAnError) {
    EventQueue queue(none - 2);
    queue.schedule({.time = 2});
    EXPECT_EQ(queue.schedule({.time = 1}), none - 1);
    expectError<TimeOverflow>([&] { queue.schedule({.time = 1}); },
                              "KESP event sequence exhausted");
    EXPECT_EQ(queue.popNext().sequence, none - 1);
    expectError<CausalityViolation>([&] { queue.schedule({.time = 0}); },
                                    "KESP event scheduled before the current model time");
    EXPECT_EQ(queue.popNext().sequence, none - 2);
    expectError<EmptyEventQueue>([&] { queue.popNext(); }, "popNext on empty KESP event queue");
}

// Each round draws time spans of 0 to 2^(63 - round) ns with evenly spread logarithms.
TEST(EventQueue, AgreesWithASortedSet) {
    std::mt19937_64 random(20'240'517);
    for (unsigned round = 0; round < 62; ++round) {
        EventQueue queue;
        std::set<std::pair<ModelTime, std::uint64_t>> model;
        std::vector<ModelTime> times; // by sequence number
        ModelTime now = before_any_event;
        const auto expectFirst = [&](const Event& e) {
            const auto [time, n] = *model.begin();
            ASSERT_EQ(std::tuple(e.time, e.sequence, e.source, e.target, e.edge, e.value, e.tag),
                      std::tuple(time, n, n + 1, n + 2, n + 3, 0.5, n + 4));
            now = time;
            model.erase(model.begin());
        };
        for (int step = 0; step < 1'500; ++step) {
            const std::uint64_t dice = random() % 16;
            const std::uint64_t n = times.size();
            const auto first = model.empty() ? std::pair(now, none) : *model.begin();
            if (dice < 8) {
                const auto origin = static_cast<std::uint64_t>(dice == 0 ? first.first : now);
                const std::uint64_t span = random() >> (1 + round + random() % (63 - round));
                const std::uint64_t room = none / 2 - origin;
                times.push_back(static_cast<ModelTime>(origin + std::min(span, room)));
                model.emplace(times.back(), n);
                const Event event{times.back(), 9, {}, n + 1, n + 2, n + 3, 0.5, n + 4};
                ASSERT_EQ(queue.schedule(event), n);
            } else if (dice < 10 && !model.empty()) {
                expectFirst(queue.popNext());
            } else if (dice < 12) {
                const ModelTime end = first.first + (random() % 2 && first.first < end_of_time);
                const std::optional<Event> event = queue.popBefore(end);
                ASSERT_EQ(event.has_value(), !model.empty() && first.first < end);
                event ? expectFirst(*event) : void();
            } else { // the first, one of the latest, or any, also a taken, withdrawn or unknown one
                const std::uint64_t some = n + 1 - random() % (dice == 13 ? 8 : n + 2);
                const std::uint64_t sequence = dice == 12 ? first.second : some;
                const bool live = sequence < n && model.erase({times[sequence], sequence}) == 1;
                ASSERT_EQ(queue.cancel(sequence), live);
            }
            ASSERT_EQ(std::pair(queue.size(), queue.now()), std::pair(model.size(), now));
        }
    }
}

} // namespace Velmora::Tests
