#include "core/kesp/errors.hpp"
#include "core/kesp/event_queue.hpp"
#include "tests/support/expect_error.hpp"

#include <random>
#include <set>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(EventQueue, LosesNothingToAnError) {
    constexpr const char* past = "KESP event scheduled before the current model time";
    EventQueue queue(none - 3);
    EXPECT_EQ(queue.reserveSequence(), none - 3);
    queue.schedule({.time = 2});
    EXPECT_EQ(queue.schedule({.time = 1}), none - 1);
    expectError<TimeOverflow>([&] { queue.schedule({1}); }, "KESP event sequence exhausted");
    EXPECT_EQ(queue.popNext().sequence, none - 1);
    expectError<CausalityViolation>([&] { queue.schedule({.time = 0}); }, past);
    expectError<CausalityViolation>([&] { queue.scheduleReserved({1, none - 3}); }, past);
    EXPECT_EQ(queue.popNext().sequence, none - 2);
    expectError<EmptyEventQueue>([&] { queue.popNext(); }, "popNext on empty KESP event queue");
}

// A round draws times 0 to 2^(63 - 8 round) ns away; the queue grows and shrinks in turn.
TEST(EventQueue, AgreesWithASortedSet) {
    std::mt19937_64 bits(20'240'517);
    for (unsigned round = 0; round < 8; ++round) {
        EventQueue queue;
        std::set<std::pair<ModelTime, std::uint64_t>> model;
        std::vector<ModelTime> times; // by sequence number
        std::optional<Event> held;    // to be scheduled under a reserved number
        ModelTime now = before_any_event;
        for (int step = 0; step < 50'000; ++step) {
            const std::uint64_t dice = bits() % 16 + (step % 9'000 < 5'000 ? 0 : 4);
            const std::uint64_t n = times.size();
            const auto first = model.empty() ? std::pair(now, none) : *model.begin();
            if (dice < 10) {
                const auto origin = static_cast<std::uint64_t>(dice == 0 ? first.first : now);
                const std::uint64_t span = bits() >> (1 + 8 * round + bits() % (63 - 8 * round));
                times.push_back(static_cast<ModelTime>(origin + std::min(span, none / 2 - origin)));
                const Event event{times.back(), 9, {}, 1, 2, 3, 0.5, n + 4};
                if (dice == 4 && (!held || held->time <= now)) {
                    ASSERT_EQ(queue.reserveSequence(), n);
                    held.emplace(event).sequence = n;
                } else {
                    ASSERT_EQ(queue.schedule(event), n);
                    model.emplace(event.time, n);
                }
            } else if (held && held->time > now) {
                queue.scheduleReserved(*held);
                model.emplace(held->time, held->sequence);
                held.reset();
            } else if (dice < 15) {
                const ModelTime end = std::min(first.first, end_of_time - 1) + step % 2;
                const std::optional<Event> event = queue.popBefore(end);
                ASSERT_EQ(event.has_value(), !model.empty() && first.first < end);
                if (event) {
                    ASSERT_EQ(std::tuple(event->time, event->sequence, event->value, event->tag),
                              std::tuple(first.first, first.second, 0.5, first.second + 4));
                    now = event->time;
                    model.erase(first);
                }
            } else { // the first, one of the latest, or any, also a taken, withdrawn or unknown one
                const std::uint64_t some = n + 1 - bits() % (dice % 2 == 0 ? 8 : n + 2);
                const std::uint64_t sequence = dice == 17 ? first.second : some;
                const bool live = sequence < n && model.erase({times[sequence], sequence}) == 1;
                ASSERT_EQ(queue.cancel(sequence), live);
            }
            ASSERT_EQ(std::pair(queue.size(), queue.now()), std::pair(model.size(), now));
        }
    }
}

} // namespace Velmora::Tests
