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
    CandidateOutcome resolve(const Event& event, const HazardModulation& modulation = {}) {
        return resolveCandidate(state, {}, plain, 6, event, 99 * ms, 0.0, queue, random,
                                modulation);
    }
    FiringParameters firing = plain;
    NeuronState state{.candidate_bound = 1.0, .stream_index = 2};
    EventQueue queue;
    Core::Runtime::RandomContext random{1};
};

TEST(Firing, HazardHasTheKnownValues) {
    const auto rate = [](const NeuronState& state, const FiringParameters& firing, double m = 0.0) {
        return hazardRate(state, {}, firing, 7, m);
    };
    EXPECT_EQ(rate({9.0, 0.0, 7, 8}, plain), 0.0);
    EXPECT_EQ(rate({20.0, 0.0, 7, 7}, plain), 1e6);
    EXPECT_EQ(rate({std::nan(""), 0.0, 7}, plain), 1e6);
    EXPECT_EQ(rate({3.0, 1.0, 7}, {10.0, 2.0, 2.0, 2.0, 4.0}, 2.0), 295.56224395722603);
    EXPECT_EQ(rate({1.0, 0.0, 7 - 30 * ms}, plain), rate({0.36787944117144233, 0.0, 7}, plain));
    const NeuronState late{.last_update = 8};
    expectError<NeuronCausalityViolation>([&] { rate(late, plain); },
                                          "KESP neuron advanced into the past");
    const auto refuses = [&](const char* text, const FiringParameters& firing) {
        expectError<InvalidFiringParameters>([&] { rate(late, firing, HUGE_VAL); }, text);
    };
    for (const double x : {HUGE_VAL, std::nan(""), -1.0}) {
        for (const std::size_t field : {0U, 1U, 2U, 3U, 4U, 5U}) {
            std::array<double, 6> v = {1.0, 1.0, 1.0, 1.0, 1.0, 1.0};
            v.at(field) = field == 2 ? x * HUGE_VAL : field == 5 && x < 0.0 ? 0.0 : x;
            refuses("invalid KESP firing parameters", {v[0], v[1], v[2], v[3], v[4], v[5]});
        }
    }
    refuses("KESP maximum hazard exceeds what the nanosecond time grid can sample without biasing "
            "the rate",
            {.baseline_rate = 2e6, .max_hazard = 1000000.0000000001});
    refuses("KESP baseline exceeds maximum hazard", {.gain = 3.0, .max_hazard = 1.0});
    refuses("non-finite KESP hazard modulation", {.baseline_rate = 2e6, .gain = 0.5});
}

// With time constants of some ns, every instant of an interval can be looked at: the bound is the
// greatest hazard of all with the margin added to its drive.
TEST(Firing, BoundIsTheGreatestHazardOnTheGrid) {
    std::mt19937_64 random(3);
    const auto real = [&] { return static_cast<double>(random() % 6'001) / 1e3 - 3.0; };
    const auto time = [&](std::uint64_t limit) { return static_cast<ModelTime>(random() % limit); };
    for (int i = 0; i < 2'000; ++i) {
        const NeuronParameters neuron{1 + time(60), 1 + time(60), 0,          0, 0,
                                      1e-15,        i % 3 != 0,   i % 16 == 5};
        const NeuronState state{real(), real(), 0, time(40)};
        const FiringParameters firing{40.0, 2.0, real(), std::fabs(real())};
        const double m = (firing.adaptation_coupling + 1.0) * 2e-15 + 0.25;
        const ModelTime from = time(20);
        const ModelTime to = from + time(100);
        double greatest = 0.0;
        for (ModelTime t = from; t <= to; ++t) {
            greatest = std::max(greatest, hazardRate(state, neuron, firing, t, m));
        }
        EXPECT_NEAR(hazardBound(state, neuron, firing, from, to, 0.25), greatest, 5e-15 * greatest);
    }
    EXPECT_EQ(hazardBound({}, {}, plain, 0, 1, 0.0), 40.00000000000032);
    expectError<NeuronCausalityViolation>([] { return hazardBound({}, {}, {}, 8, 7, HUGE_VAL); },
                                          "KESP hazard interval runs backwards");
    expectError<InvalidFiringParameters>([] { return hazardBound({}, {}, {}, 8, 8, HUGE_VAL); },
                                         "non-finite KESP modulation bound");
}

TEST(Firing, SchedulesCandidates) {
    const auto search = [](std::uint64_t draw, ModelTime horizon, ModelTime refractory_until = 0,
                           const FiringParameters& firing = plain) {
        FiringBench bench({draw});
        bench.firing = firing;
        bench.state.refractory_until = refractory_until;
        const CandidateSchedule found = bench.schedule(5, horizon);
        const auto draws = bench.random.stream("spontaneous", 2).record->cursor;
        const bool ok = found.status == Scheduled;
        const double bound = draws == 0 ? 0.0 : hazardBound({}, {}, firing, 5, horizon, 0.0);
        EXPECT_EQ(std::tuple(found.sequence, found.bound, bench.queue.size(),
                             bench.state.candidate_event, bench.state.candidate_bound),
                  std::tuple(ok ? 1 : none, bound, ok, found.sequence, ok ? bound : 0.0));
        return std::tuple(found.status, found.time, draws);
    };
    EXPECT_EQ(search(half, 6 + half_wait), std::tuple(Scheduled, 5 + half_wait, 1));
    EXPECT_EQ(search(half, 5 + half_wait), std::tuple(BeyondHorizon, 5 + half_wait, 1));
    EXPECT_EQ(search(~0ULL, 99 * ms), std::tuple(Scheduled, 6, 1));
    EXPECT_EQ(search(0, end_of_time), std::tuple(Scheduled, 17'709'910'468, 1));
    EXPECT_EQ(search(half, 99 * ms, 10 * ms), std::tuple(Scheduled, 10 * ms + half_wait, 1));
    EXPECT_EQ(search(half, 10 * ms, 10 * ms), std::tuple(BeyondHorizon, 10 * ms, 0));
    EXPECT_EQ(search(half, 10 * ms, 10 * ms, {.silent = true}), std::tuple(Silent, 5, 0));
    EXPECT_EQ(search(half, 9, 0, {.baseline_rate = 0.0}), std::tuple(ZeroHazard, 9, 0));
    EXPECT_EQ(search(half, 9, 0, {.gain = 0.0}), std::tuple(ZeroHazard, 9, 0));
    // A wait of 8.89e18 ns, which still fits on the grid; of 9.12e18 ns; and an infinite one.
    EXPECT_EQ(std::get<1>(search(half, end_of_time, 0, {7.8e-11})), 8'886'502'314'871'023'621);
    EXPECT_EQ(search(half, end_of_time, 0, {7.6e-11}), std::tuple(BeyondHorizon, end_of_time, 1));
    EXPECT_EQ(search(half, end_of_time, 0, {5e-324}), std::tuple(BeyondHorizon, end_of_time, 1));
}

TEST(Firing, ResolvesCandidates) {
    for (const bool fires : {false, true}) {
        FiringBench bench({half, fires ? half - 0x800 : half, half}); // wait, acceptance, next wait
        bench.schedule(0, 99 * ms);
        Event event = bench.queue.popNext();
        const auto refuses = [&](EventKind kind, NodeId target, std::uint64_t sequence) {
            event = {event.time, sequence, kind, 6, target, 0, 80.0}; // lambda / B is 0.5
            expectError<NeuronRoutingViolation>([&] { bench.resolve(event); },
                                                "stale or misrouted KESP spike candidate");
        };
        refuses(EventKind::RefractoryEnd, 6, 1);
        refuses(EventKind::SpikeCandidate, 5, 1);
        refuses(EventKind::SpikeCandidate, 6, 0);
        event.sequence = 1;
        const CandidateOutcome outcome = bench.resolve(event);
        EXPECT_EQ(std::tuple(outcome.fired, outcome.rate, outcome.bound, outcome.next.time,
                             bench.state.last_update),
                  std::tuple(fires, 40.0, 80.0, 2 * half_wait + (fires ? 3 * ms : 0), half_wait));
        refuses(EventKind::SpikeCandidate, 6, 1);
    }
}

TEST(Firing, HasNoCandidateAfterAnError) {
    FiringBench late({half});
    expectError<TimeOverflow>([&] { late.schedule(end_of_time - 9, end_of_time); },
                              "KESP model time overflow");
    FiringBench bad({});
    bad.firing.gain = -1.0;
    expectError<InvalidFiringParameters>([&] { bad.schedule(0, 1); },
                                         "invalid KESP firing parameters");
    FiringBench low({half});
    low.schedule(0, 99 * ms);
    const Event event = low.queue.popNext();
    const auto modulation = [&](ModelTime t, auto&, auto&) {
        return t == event.time ? 0.55e-12 : 9.0;
    };
    expectError<HazardBoundViolation>([&] { low.resolve(event, modulation); },
                                      "KESP hazard upper bound underestimated lambda");
    for (const FiringBench* bench : {&late, &bad, &low}) {
        EXPECT_EQ(bench->queue.size(), 0);
        EXPECT_EQ(bench->state.candidate_event, none);
    }
}

} // namespace Velmora::Tests
