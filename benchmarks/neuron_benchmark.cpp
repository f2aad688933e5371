#include "benchmarks/benchmark_groups.hpp"
#include "benchmarks/random_source.hpp"
#include "core/kesp/candidate_scheduler.hpp"
#include "core/kesp/event.hpp"
#include "core/kesp/event_queue.hpp"
#include "core/kesp/firing.hpp"
#include "core/kesp/model_time.hpp"
#include "core/kesp/neuron.hpp"
#include "core/kesp/wake_times.hpp"
#include "core/runtime/random_context.hpp"

#include <benchmark/benchmark.h>
#include <optional>

namespace Velmora::Benchmarks {

using namespace Core::Kesp;

namespace {

/// One neuron, alone with a queue; it never reaches its horizon.
struct LoneNeuron {
    explicit LoneNeuron(double baseline_rate)
        : firing(FiringParameters{.baseline_rate = baseline_rate}) {}

    void scheduleCandidate(ModelTime now) {
        scheduleNextCandidate(state, parameters, firing, 0, now, horizon, 0.0, queue, stream);
    }

    [[nodiscard]] CandidateScheduler candidates() {
        return CandidateScheduler({.state = state,
                                   .deferred = deferred,
                                   .neuron = parameters,
                                   .firing = firing,
                                   .node = 0,
                                   .horizon = horizon,
                                   .modulation_bound = 0.0,
                                   .queue = queue,
                                   .wake_times = wake_times,
                                   .stream = stream});
    }

    static constexpr ModelTime horizon = 1'000'000 * nanoseconds_per_second;

    NeuronParameters parameters{.adaptation_step = 0.06};
    PreparedFiring firing;
    EventQueue queue;
    WakeTimes wake_times{1};
    Core::Runtime::RandomContext random{1};
    Core::Runtime::RandomStream stream = random.stream(spontaneous_stream, 0);
    NeuronState state;
    DeferredCandidate deferred;
};

/// A neuron without input, on its own candidates. One operation: an event, either a candidate
/// resolved and the next one scheduled, or the end of a refractory window.
void resolve(benchmark::State& state) {
    LoneNeuron neuron(100.0);
    neuron.scheduleCandidate(0);
    for (auto _ : state) {
        const Event event = neuron.queue.popNext();
        if (event.kind == EventKind::SpikeCandidate) {
            resolveCandidate(neuron.state, neuron.parameters, neuron.firing, 0, event,
                             LoneNeuron::horizon, 0.0, neuron.queue, neuron.stream, {});
        } else {
            applyNeuronEvent(neuron.state, neuron.parameters, event);
        }
    }
    state.counters["each"] = timeOfEach(state.iterations());
}

/// The input of one neuron in a balanced network: on average a delivery a millisecond, one in five
/// of them inhibitory.
class DeliveryStream {
  public:
    void scheduleNext(ModelTime now, EventQueue& queue) {
        const bool inhibitory = random_.below(5) == 0;
        queue.schedule({.time = now + 1 + random_.spanBelow(fromMilliseconds(2)),
                        .value = inhibitory ? -0.25 : 0.05});
    }

  private:
    RandomSource random_;
};

/// A neuron under a stream of deliveries that schedules every candidate as soon as it is drawn. One
/// operation: an event and, after a delivery, the next delivery scheduled.
void deliveriesImmediate(benchmark::State& state) {
    LoneNeuron neuron(20.0);
    DeliveryStream deliveries;
    neuron.scheduleCandidate(0);
    deliveries.scheduleNext(0, neuron.queue);
    for (auto _ : state) {
        const Event event = neuron.queue.popNext();
        if (event.kind == EventKind::SpikeCandidate) {
            resolveCandidate(neuron.state, neuron.parameters, neuron.firing, 0, event,
                             LoneNeuron::horizon, 0.0, neuron.queue, neuron.stream, {});
            continue;
        }
        applyNeuronEvent(neuron.state, neuron.parameters, event);
        if (event.kind == EventKind::SynapticDelivery) {
            neuron.scheduleCandidate(event.time);
            deliveries.scheduleNext(event.time, neuron.queue);
        }
    }
    state.counters["each"] = timeOfEach(state.iterations());
}

/// Takes the next event, wakes the neuron until it is there, and does what follows from it.
void stepDeferred(LoneNeuron& neuron, DeliveryStream& deliveries) {
    std::optional<Event> next;
    while (!(next = neuron.queue.popBefore(neuron.wake_times.earliest()))) {
        neuron.candidates().wake(neuron.wake_times.earliest());
    }
    const Event& event = *next;
    switch (event.kind) {
    case EventKind::SpikeCandidate:
        judgeCandidate(neuron.state, neuron.parameters, neuron.firing, 0, event, neuron.queue,
                       neuron.stream, {});
        neuron.candidates().draw(event.time);
        break;
    case EventKind::SynapticDelivery:
        applyNeuronEvent(neuron.state, neuron.parameters, event);
        neuron.candidates().draw(event.time);
        deliveries.scheduleNext(event.time, neuron.queue);
        break;
    default:
        neuron.candidates().settle();
        applyNeuronEvent(neuron.state, neuron.parameters, event);
    }
}

/// The same neuron with deferred candidates, and the same events: wake-ups are not counted.
void deliveriesDeferred(benchmark::State& state) {
    LoneNeuron neuron(20.0);
    DeliveryStream deliveries;
    neuron.candidates().draw(0);
    deliveries.scheduleNext(0, neuron.queue);
    for (auto _ : state) {
        stepDeferred(neuron, deliveries);
    }
    state.counters["each"] = timeOfEach(state.iterations());
}

} // namespace

void registerNeuronBenchmarks() {
    benchmark::RegisterBenchmark("neuron/resolve", resolve);
    benchmark::RegisterBenchmark("neuron/deliveries/immediate", deliveriesImmediate);
    benchmark::RegisterBenchmark("neuron/deliveries/deferred", deliveriesDeferred);
}

} // namespace Velmora::Benchmarks
