#include "core/runtime/random_context.hpp"
#include "tests/support/expect_error.hpp"

#include <set>

namespace Velmora::Tests {

using namespace Core::Runtime;

static_assert(streamSeed(~0ULL, "\xff\x80", 1ULL << 63U) == 0x213e'6fa5'ba65'1504U);
static_assert(std::is_base_of_v<std::runtime_error, ReplayExhausted>);

TEST(RandomContext, DrawsTheKnownValuesHoweverMuchElseIsDrawn) {
    RandomContext crowded(1);
    const RandomStream handle = crowded.stream("spontaneous", 0);
    EXPECT_EQ(nextU64(handle), 0x213d'd231'8cb7'933dU);
    std::set<std::uint64_t> values;
    for (std::uint64_t index = 0; index < 2'000; ++index) {
        for (const std::string_view name : {"", "ab", "ba", "a", "aa"}) {
            values.insert(nextU64(crowded.stream(name, index)));
        }
    }
    EXPECT_EQ(values.size(), 5U * 2'000U);
    RandomContext moved(std::move(crowded));
    EXPECT_EQ(moved.stream("spontaneous", 0).record, handle.record);
    EXPECT_EQ(uniform(handle), 0.8855421754448827);
    moved.setMode("spontaneous", 0, StreamMode::Replay, {0x7ff, ~0ULL});
    EXPECT_EQ(uniform(handle), 0.0);
    EXPECT_EQ(moved.uniform("spontaneous", 0), 1.0 - 0x1p-53);
}

TEST(RandomContext, RecordsAndReplays) {
    RandomContext random(7);
    const RandomStream stream = random.stream("b", 2);
    random.setMode("b", 2, StreamMode::Replay, {4});
    random.record();
    const auto draw = [&](const char* s, std::uint64_t i) { return nextU64(random.stream(s, i)); };
    const std::vector<StreamLog> logs = {
        {"a", 9, {draw("a", 9)}}, {"b", 1, {draw("b", 1)}}, {"b", 2, {draw("b", 2), draw("b", 2)}}};
    EXPECT_EQ(random.recorded(), logs);
    RandomContext other(1234);
    const RandomStream unlogged = other.stream("c", 0);
    other.replay({{"b", 1, {1, 2, 3}}, logs[2], logs[1], logs[0]}); // of two, the later counts
    for (const StreamLog& log : logs) {
        for (const std::uint64_t value : log.values) {
            EXPECT_EQ(nextU64(other.stream(log.name, log.index)), value);
        }
    }
    for (const RandomStream& end : {other.stream("b", 1), other.stream("new", 0), unlogged}) {
        const std::string text = "RandomContext replay exhausted: " + std::string(end.name);
        expectError<ReplayExhausted>([&] { nextU64(end); }, text.c_str());
    }
    // A replay leaves the generator alone, and a new log replaces the old one.
    const std::uint64_t next = mix(stream.record->state + golden_increment);
    for (const std::uint64_t value : {5U, 6U}) {
        random.setMode("b", 2, StreamMode::Replay, {value, 7});
        EXPECT_EQ(nextU64(stream), value);
    }
    random.setMode("b", 2, StreamMode::Record, {99});
    EXPECT_EQ(nextU64(stream), next);
    EXPECT_EQ(stream.record->log, std::vector{next});
}

} // namespace Velmora::Tests
