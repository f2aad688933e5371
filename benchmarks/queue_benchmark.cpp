#include "benchmarks/benchmark_groups.hpp"
#include "benchmarks/random_source.hpp"
#include "benchmarks/textbook_queue.hpp"
#include "core/kesp/event.hpp"
#include "core/kesp/event_queue.hpp"
#include "core/kesp/model_time.hpp"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

namespace Velmora::Benchmarks {

using namespace Core::Kesp;

namespace {

/// The traffic that a trial of the standard workspace causes when every candidate is scheduled as
/// soon as it is drawn: 11 nodes wired like the workspace, each with one pending candidate. A
/// delivery withdraws the target's candidate and schedules another; a candidate that comes due
/// sends deliveries at the workspace's three delays.
template <typename Queue>
class TrialMix {
  public:
    TrialMix() {
        for (NodeId node = 0; node < node_count; ++node) {
            scheduleCandidate(node, 0);
        }
    }

    /// Takes one event and does what follows from it.
    void step() {
        const Event event = queue_.popNext();
        if (event.kind == EventKind::SynapticDelivery) {
            queue_.cancel(candidates_[event.target]);
        } else if (event.target < competitor_count) {
            deliver(event, 0, competitor_count, fromMilliseconds(1));
            deliver(event, competitor_count, node_count, fromMilliseconds(2));
        } else {
            deliver(event, 0, competitor_count, fromMilliseconds(3));
        }
        scheduleCandidate(event.target, event.time);
    }

    [[nodiscard]] std::size_t liveEvents() const { return queue_.size(); }

  private:
    static constexpr NodeId competitor_count = 8;
    static constexpr NodeId node_count = 11;
    /// Chosen so that about 40 events are live at a time, as in a trial.
    static constexpr ModelTime longest_wait = 9 * nanoseconds_per_millisecond;

    void scheduleCandidate(NodeId node, ModelTime now) {
        candidates_[node] = queue_.schedule({.time = now + 1 + random_.spanBelow(longest_wait),
                                             .kind = EventKind::SpikeCandidate,
                                             .source = node,
                                             .target = node});
    }

    void deliver(const Event& spike, NodeId first, NodeId end, ModelTime delay) {
        for (NodeId target = first; target < end; ++target) {
            if (target != spike.target) {
                queue_.schedule(
                    {.time = spike.time + delay, .source = spike.target, .target = target});
            }
        }
    }

    Queue queue_;
    RandomSource random_;
    std::array<std::uint64_t, node_count> candidates_{};
};

/// One operation: an event taken, with the deliveries and candidates it entails. The counter `live`
/// is the mean number of live events.
template <typename Queue>
void trialMix(benchmark::State& state) {
    TrialMix<Queue> mix;
    for (int settling = 0; settling < 10'000; ++settling) {
        mix.step();
    }
    std::uint64_t live = 0;
    for (auto _ : state) {
        mix.step();
        live += mix.liveEvents();
    }
    state.counters["each"] = timeOfEach(state.iterations());
    state.counters["live"] =
        benchmark::Counter(static_cast<double>(live), benchmark::Counter::kAvgIterations);
}

/// The hold model: the number of events stays, each one taken is replaced by one at a random later
/// time. One operation: an event taken and one scheduled.
template <typename Queue>
void hold(benchmark::State& state) {
    constexpr ModelTime longest_wait = nanoseconds_per_second;
    const std::int64_t live = state.range(0);
    Queue queue;
    RandomSource random;
    for (std::int64_t k = 0; k < live; ++k) {
        queue.schedule({.time = random.spanBelow(longest_wait)});
    }
    const auto step = [&] {
        const Event event = queue.popNext();
        queue.schedule({.time = event.time + random.spanBelow(longest_wait)});
    };
    step();
    for (auto _ : state) {
        step();
    }
    state.counters["each"] = timeOfEach(state.iterations());
}

template <typename Queue>
void registerHold(const std::string& who, std::int64_t live) {
    // As many steps every time: the cost of a step depends on how far the run has come.
    benchmark::RegisterBenchmark(("queue/hold/" + who).c_str(), hold<Queue>)
        ->Arg(live)
        ->Iterations(2'000'000);
}

} // namespace

void registerQueueBenchmarks() {
    benchmark::RegisterBenchmark("queue/trial_mix/textbook", trialMix<TextbookQueue>);
    benchmark::RegisterBenchmark("queue/trial_mix/core", trialMix<EventQueue>);
    for (const std::int64_t live : {1'000, 100'000, 1'000'000}) {
        registerHold<TextbookQueue>("textbook", live);
        registerHold<EventQueue>("core", live);
    }
}

} // namespace Velmora::Benchmarks
