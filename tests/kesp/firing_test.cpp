#include "core/kesp/errors.hpp"
#include "core/kesp/firing.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>
#include <random>

namespace Velmora::Tests {

using namespace Core::Kesp;
using enum CandidateStatus;

constexpr ModelTime ms = nanoseconds_per_millisecond;
constexpr ModelTime half_wait = 17'328'680; // -log(0.5) / 40 Hz on the grid
constexpr std::uint64_t half = 1ULL << 63U; // the draw of 0.5
constexpr const char* invalid = "invalid KESP firing parameters";
constexpr FiringParameters plain{.baseline_rate = 40.0};

/// Node 6 at rest with a pending candidate, about to make the given draws.
struct FiringBench {
    explicit FiringBench(const std::vector<std::uint64_t>& draws) {
        random.setMode("spontaneous", 2, Core::Runtime::StreamMode::Replay, draws);
        state.candidate_event = queue.schedule({.time = end_of_time});
    }
    CandidateSchedule schedule(ModelTime now, ModelTime horizon) {
        return scheduleNextCandidate(state, {}, firing, 6, now, horizon, 0.0, queue, random);
    }
    CandidateOutcome resolve(const Event& event, const HazardModulation& m = {}) {
        return resolveCandidate(state, {}, plain, 6, event, 99 * ms, 0.0, queue, random, m);
    }
    FiringParameters firing = plain;
    NeuronState state{.candidate_bound = 1.0, .stream_index = 2};
    EventQueue queue;
    Core::Runtime::RandomContext random{1};
};

TEST(Firing, HazardHasTheKnownValues) {
    const auto rate = [](const NeuronState& s, const FiringParameters& f = plain, double m = 0.0) {
        return hazardRate(s, {}, f, 7, m);
    };
    EXPECT_EQ(rate({9.0, 0.0, 7, 8}, plain), 0.0);
    EXPECT_EQ(rate({std::nan(""), 0.0, 7, 7}, plain), 1e6);
    EXPECT_EQ(rate({1e9, 0.0, 7}, {.baseline_rate = 0.0}), 0.0);
    EXPECT_EQ(rate({3.0, 1.0, 7}, {10.0, 2.0, 2.0, 2.0, 4.0}, 2.0), 295.56224395722603);
    EXPECT_EQ(rate({1.0, 0.0, 7 - 30 * ms}, plain), rate({0.36787944117144233, 0.0, 7}, plain));
    const NeuronState old{.last_update = 8};
    expectError<NeuronCausalityViolation>([&] { rate(old); }, "KESP neuron advanced into the past");
    const auto refuses = [&](const char* text, const FiringParameters& firing) {
        expectError<InvalidFiringParameters>([&] { rate(old, firing, HUGE_VAL); }, text);
        expectError<InvalidFiringParameters>([&] { validateFiringParameters(firing); }, text);
    };
    for (const double x : {HUGE_VAL, std::nan(""), -1.0}) {
        for (const std::size_t field : {0U, 1U, 2U, 3U, 4U, 5U}) {
            std::array<double, 6> v = {1.0, 1.0, 1.0, 1.0, 1.0, 1.0};
            v.at(field) = field == 2 ? x * HUGE_VAL : field == 5 && x < 0.0 ? 0.0 : x;
            refuses(invalid, {v[0], v[1], v[2], v[3], v[4], v[5]});
        }
    }
    refuses("KESP maximum hazard exceeds what the nanosecond time grid can sample without biasing "
            "the rate",
            {.baseline_rate = 2e6, .max_hazard = 1000000.0000000001});
    refuses("KESP baseline exceeds maximum hazard", {.gain = 3.0, .max_hazard = 1.0});
    expectError<InvalidFiringParameters>(
        [&] { rate(old, {.baseline_rate = 2e6, .gain = 0.5}, HUGE_VAL); },
        "non-finite KESP hazard modulation");
}

// Time constants of some ns let every instant be looked at for the greatest hazard, margin added.
TEST(Firing, BoundIsTheGreatestHazardOnTheGrid) {
    std::mt19937_64 random(3);
    const auto real = [&] { return static_cast<double>(random() % 6'001) / 1e3 - 3.0; };
    const auto ns = [&](std::uint64_t limit) { return static_cast<ModelTime>(random() % limit); };
    for (int i = 0; i < 2'000; ++i) {
        const NeuronParameters p{1 + ns(60), 1 + ns(60), 0, 0, 0, 1e-15, i % 3 != 0, i % 16 == 5};
        const NeuronState state{real(), real(), 0, ns(40)};
        const FiringParameters firing{40.0, 2.0, real(), std::fabs(real())};
        const double m = (firing.adaptation_coupling + 1.0) * 2e-15 + 0.25;
        const ModelTime from = ns(20);
        const ModelTime to = from + ns(100);
        double greatest = 0.0;
        for (ModelTime t = from; t <= to; ++t) {
            greatest = std::max(greatest, hazardRate(state, p, firing, t, m));
        }
        EXPECT_NEAR(hazardBound(state, p, firing, from, to, 0.25), greatest, 5e-15 * greatest);
    }
    EXPECT_EQ(hazardBound({}, {}, plain, 0, 1, 0.0), 40.00000000000032);
    EXPECT_EQ(hazardRate({}, {}, {}, 0, 0.0), 0.5);
    expectError<NeuronCausalityViolation>([] { return hazardBound({}, {}, {}, 8, 7, HUGE_VAL); },
                                          "KESP hazard interval runs backwards");
    expectError<InvalidFiringParameters>([] { return hazardBound({}, {}, {}, 8, 8, HUGE_VAL); },
                                         "non-finite KESP modulation bound");
}

TEST(Firing, SchedulesCandidates) {
    const auto search = [](std::uint64_t draw, ModelTime horizon, ModelTime refractory_until = 0,
                           const FiringParameters& firing = plain) {
        FiringBench b({draw});
        b.firing = firing;
        b.state.refractory_until = refractory_until;
        const auto [sequence, status, time, bound] = b.schedule(5, horizon);
        const auto draws = b.random.stream("spontaneous", 2).record->cursor;
        EXPECT_EQ(bound, draws == 0 ? 0.0 : hazardBound({}, {}, firing, 5, horizon, 0.0));
        EXPECT_EQ(b.state.candidate_bound, status == Scheduled ? bound : 0.0);
        EXPECT_EQ(std::pair(b.state.candidate_event, b.queue.size()),
                  status == Scheduled ? std::pair(sequence, 1UL) : std::pair(none, 0UL));
        return std::tuple(status, time, draws);
    };
    EXPECT_EQ(search(half, 6 + half_wait), std::tuple(Scheduled, 5 + half_wait, 1));
    EXPECT_EQ(search(half, 5 + half_wait), std::tuple(BeyondHorizon, 5 + half_wait, 1));
    EXPECT_EQ(search(~0ULL, 99 * ms), std::tuple(Scheduled, 6, 1));
    EXPECT_EQ(search(0, end_of_time), std::tuple(Scheduled, 17'709'910'468, 1));
    EXPECT_EQ(search(half, 10 * ms, 10 * ms), std::tuple(BeyondHorizon, 10 * ms, 0));
    EXPECT_EQ(search(half, 10 * ms, 10 * ms, {.silent = true}), std::tuple(Silent, 5, 0));
    EXPECT_EQ(search(half, 9, 0, {.baseline_rate = 0.0}), std::tuple(ZeroHazard, 9, 0));
    // Waits of 8.89e18 ns, which are still followed, and of 9.12e18 ns.
    EXPECT_EQ(std::get<1>(search(half, end_of_time, 0, {7.8e-11})), 8'886'502'314'871'023'621);
    EXPECT_EQ(search(half, end_of_time, 0, {7.6e-11}), std::tuple(BeyondHorizon, end_of_time, 1));
}

TEST(Firing, ResolvesCandidates) {
    for (const bool fires : {false, true}) {
        FiringBench bench({half, fires ? half - 0x800 : half, half}); // wait, acceptance, next wait
        bench.schedule(0, 99 * ms);
        const Event due = {half_wait, 1, EventKind::SpikeCandidate, 6, 6, 0, 80.0}; // lambda is 40
        const auto refuses = [&](Event event) {
            expectError<NeuronRoutingViolation>([&] { bench.resolve(event); },
                                                "stale or misrouted KESP spike candidate");
        };
        refuses({due.time, 1, EventKind::RefractoryEnd, 6, 6});
        refuses({due.time, 1, due.kind, 6, 5});
        refuses({due.time, 0, due.kind, 6, 6});
        const auto [fired, rate, bound, next] = bench.resolve(due);
        EXPECT_EQ(std::tuple(fired, rate, bound), std::tuple(fires, 40.0, 80.0));
        EXPECT_EQ(next.time, 2 * half_wait + (fires ? 3 * ms : 0));
        EXPECT_EQ(bench.state.last_update, half_wait);
        refuses(due);
    }
}

TEST(Firing, HasNoCandidateAfterAnError) {
    FiringBench bench({half, half});
    bench.firing.gain = -1.0;
    expectError<InvalidFiringParameters>([&] { bench.schedule(0, 1); }, invalid);
    EXPECT_EQ(std::pair(bench.state.candidate_event, bench.state.candidate_bound),
              std::pair(none, 0.0));
    bench.firing = plain;
    bench.schedule(0, 99 * ms);
    const auto m = [](ModelTime t, auto&, auto&) { return t == half_wait ? 0.55e-12 : 0.0; };
    expectError<HazardBoundViolation>([&] { bench.resolve(bench.queue.popNext(), m); },
                                      "KESP hazard upper bound underestimated lambda");
    EXPECT_EQ(std::pair(bench.state.candidate_event, bench.state.last_update), std::pair(none, 0L));
    bench.state.candidate_event = bench.queue.schedule({.time = end_of_time});
    expectError<TimeOverflow>([&] { bench.schedule(end_of_time - 9, end_of_time); },
                              "KESP model time overflow");
    EXPECT_EQ(std::pair(bench.state.candidate_event, bench.queue.size()), std::pair(none, 0UL));
}

} // namespace Velmora::Tests
