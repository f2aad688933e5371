#include "benchmarks/heap_meter.hpp"
#include "core/kesp/event_queue.hpp"

#include <gtest/gtest.h>
#include <random>

namespace Velmora::Tests {

using namespace Core::Kesp;

// However many events have been taken or withdrawn, and however far apart their numbers are.
TEST(Memory, OfAQueueFollowsItsLiveEvents) {
    const std::size_t bytes_before = Benchmarks::heapBytes();
    EventQueue queue;
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
        for (int unused = 0; unused < 15; ++unused) {
            static_cast<void>(queue.reserveSequence());
        }
    }
    EXPECT_LT(Benchmarks::heapPeak() - bytes_before, 500'000)
        << "bytes; all events would take 64 million, the set of all numbers 2 million";
}

} // namespace Velmora::Tests
