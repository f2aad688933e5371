#include "core/kesp/errors.hpp"
#include "core/kesp/event_queue.hpp"
#include "tests/support/allocated_bytes.hpp"
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

TEST(EventQueue, NeedsNoMemoryForWhatIsGone) {
    EventQueue queue;
    const std::size_t bytes_before = allocatedBytes();
    queue.schedule({.time = 0});
    for (int k = 0; k < 1'000'000; ++k) {
        queue.schedule({.time = 0});
        queue.popNext();
    }
    std::mt19937 random(1);
    for (ModelTime k = 0; k < 1'000'000; ++k) {
        const std::uint64_t sequence = queue.schedule({.time = 1'000'000 - k});
        if (random() % 20'000 != 0) {
            queue.cancel(sequence);
        }
    }
    EXPECT_LT(allocatedBytes() - bytes_before, 2'000'000) << "all events would take 64,000,000";
    ModelTime latest = -1;
    for (std::size_t left = queue.size(); left > 0; --left) {
        const ModelTime time = queue.popNext().time;
        EXPECT_LT(latest, time);
        latest = time;
    }
}

// Where few of many are left, where the queue has looked ahead, and where ever more comes at once.
TEST(EventQueue, KeepsTheOrderOfACrowd) {
    EventQueue queue;
    std::set<std::pair<ModelTime, std::uint64_t>> model;
    const auto schedule = [&](ModelTime time) {
        model.emplace(time, queue.schedule({.time = time}));
    };
    const auto take = [&](std::size_t count) {
        for (; count > 0; --count) {
            const Event event = queue.popNext();
            ASSERT_EQ(std::pair(event.time, event.sequence), *model.begin());
            model.erase(model.begin());
        }
    };
    const auto withdrawFirst = [&] {
        ASSERT_TRUE(queue.cancel(model.begin()->second));
        model.erase(model.begin());
    };
    schedule(0);
    EXPECT_FALSE(queue.cancel(5 * 4'096 + 63 * 64)) << "the last word of a page unknown";
    schedule(-1);
    take(2);
    for (std::uint64_t k = 0; k < 50; ++k) {
        schedule(3'000'000);
        withdrawFirst();
    }
    ASSERT_FALSE(queue.popBefore(end_of_time));
    schedule(3'000'001);
    schedule(2'000'000);
    take(2);
    for (ModelTime k = 0; k < 100; ++k) {
        schedule(4'000'000);
    }
    ASSERT_FALSE(queue.popBefore(4'000'000));
    for (std::uint64_t k = 0; k < 80; ++k) {
        withdrawFirst();
    }
    ASSERT_FALSE(queue.popBefore(4'000'000));
    for (ModelTime k = 0; k < 1'000; ++k) {
        schedule(3'000'001 + k * 777 % 1'000 * 999);
    }
    take(1'015);
    for (ModelTime k = 0; k < 500; ++k) {
        schedule(queue.now() + k % 5 / 4);
    }
    take(model.size());
    EXPECT_TRUE(queue.empty());
}

} // namespace Velmora::Tests
