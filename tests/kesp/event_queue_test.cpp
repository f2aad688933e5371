#include "core/kesp/errors.hpp"
#include "core/kesp/event_queue.hpp"
#include "tests/support/expect_error.hpp"

#include <random>
#include <set>

namespace Velmora::Tests {

using namespace Core::Kesp;

/// A queue, and a sorted set with which it must agree.
struct CheckedQueue {
    void schedule(ModelTime time) {
        Event event = newEvent(time);
        model.emplace(time, event.sequence);
        const std::uint64_t sequence = std::exchange(event.sequence, 9);
        ASSERT_EQ(queue.schedule(event), sequence);
    }
    /// Takes the first event, if it lies before `end`.
    void take(ModelTime end = end_of_time) {
        const std::optional<Event> event = queue.popBefore(end);
        ASSERT_EQ(event.has_value(), !model.empty() && first().first < end);
        if (event) {
            ASSERT_EQ(std::tuple(event->time, event->sequence, event->value, event->tag),
                      std::tuple(first().first, first().second, 0.5, first().second + 4));
            now = event->time;
            model.erase(model.begin());
        }
    }
    void withdraw(std::uint64_t sequence) {
        const bool live = sequence < times.size() && model.erase({times[sequence], sequence}) == 1;
        ASSERT_EQ(queue.cancel(sequence), live);
    }
    [[nodiscard]] std::pair<ModelTime, std::uint64_t> first() const {
        return model.empty() ? std::pair(now, none) : *model.begin();
    }
    Event newEvent(ModelTime time) {
        times.push_back(time);
        return {time, times.size() - 1, {}, 1, 2, 3, 0.5, times.size() + 3};
    }
    EventQueue queue;
    std::set<std::pair<ModelTime, std::uint64_t>> model;
    std::vector<ModelTime> times; // by sequence number
    ModelTime now = before_any_event;
};

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

// A round draws times 0 to 2^(63 - 8 round) ns away; the queue grows and shrinks in turn. Now and
// then a crowd comes, or goes, at once.
TEST(EventQueue, AgreesWithASortedSet) {
    std::mt19937_64 bits(20'240'517);
    for (unsigned round = 0; round < 8; ++round) {
        CheckedQueue q;
        q.schedule(round % 2 == 0 ? before_any_event : -(ModelTime{1} << (60 - 8 * round)));
        q.take();
        std::optional<Event> held; // to be scheduled under a reserved number
        for (int step = 0; step < 50'000 && !HasFailure(); ++step) {
            const std::uint64_t dice = bits() % 16 + (step % 9'000 < 5'000 ? 0 : 4);
            const std::uint64_t crowd = bits() % 64 == 0 ? 200 : 1;
            const auto origin = static_cast<std::uint64_t>(dice == 0 ? q.first().first : q.now);
            const std::uint64_t span =
                std::min(bits() >> (1 + 8 * round + bits() % (63 - 8 * round)), none / 2 - origin);
            if (dice == 4 && (!held || held->time <= q.now)) {
                held = q.newEvent(static_cast<ModelTime>(origin + span));
                ASSERT_EQ(q.queue.reserveSequence(), held->sequence);
            } else if (dice < 10) {
                const std::uint64_t gap = crowd == 1 ? 0 : bits() % 3 * (span / 512);
                for (std::uint64_t k = 0; k < crowd; ++k) {
                    q.schedule(static_cast<ModelTime>(origin + span - k * 77 % 200 * gap));
                }
            } else if (held && held->time > q.now) {
                q.queue.scheduleReserved(*held);
                q.model.emplace(held->time, held->sequence);
                held.reset();
            } else if (dice < 15) {
                q.take(std::min(q.first().first, end_of_time - 1) + step % 2);
            } else { // the first, one of the latest, or any, also a taken, withdrawn or unknown one
                const std::uint64_t n = q.times.size();
                const std::uint64_t some = n + 1 - bits() % (dice % 2 == 0 ? 8 : n + 2);
                q.withdraw(dice == 17 ? q.first().second : some);
                for (std::uint64_t k = 1; k < crowd; ++k) {
                    q.withdraw(q.first().second);
                }
            }
            ASSERT_EQ(std::pair(q.queue.size(), q.queue.now()), std::pair(q.model.size(), q.now));
        }
    }
}

// Where the queue has looked ahead, and all that it saw is withdrawn.
TEST(EventQueue, KeepsWhatComesBeforeWhatIsGone) {
    CheckedQueue q;
    q.schedule(0);
    q.withdraw(5 * 4'096 + 63 * 64); // the last word of a page unknown
    for (int k = 0; k < 50; ++k) {
        q.schedule(3'000'000);
    }
    q.take();
    while (!q.model.empty()) {
        q.withdraw(q.first().second);
    }
    q.take();
    for (ModelTime k = 0; k < 100; ++k) {
        q.schedule(2'000'000 - k * 777);
    }
    while (!q.model.empty() && !HasFailure()) {
        q.take();
    }
}

} // namespace Velmora::Tests
