#pragma once

#include "core/kesp/candidate_scheduler.hpp"
#include "core/kesp/event_queue.hpp"
#include "core/kesp/firing.hpp"
#include "core/kesp/intervention.hpp"
#include "core/kesp/network.hpp"
#include "core/kesp/neuron.hpp"
#include "core/kesp/oscillator.hpp"
#include "core/kesp/trace.hpp"
#include "core/kesp/wake_times.hpp"
#include "core/runtime/random_context.hpp"

#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace Velmora::Core::Kesp {

/// What a simulation is made of.
struct SimulationSetup {
    /// The wiring. Its nodes are the neurons.
    Network network;
    /// Shared by all neurons.
    NeuronParameters neuron = {};
    /// One record per node, indexed by NodeId.
    std::vector<FiringParameters> firing;
    /// Where every draw of the run comes from.
    Runtime::RandomContext random;
    /// The targets of phase shifts. The event loop itself does not read them.
    OscillatorBank oscillators{{}};
    /// m(t), added to every neuron's potential inside its hazard; empty means 0.
    HazardModulation modulation = {};
    /// An upper bound of `modulation` at all times.
    double modulation_bound = 0.0;
};

/// Called at each spike, after it entered the trace and before it is delivered. It may add
/// perturbations to the simulation that calls it, but not run, extend or replace it, nor set
/// another callback.
using SpikeCallback = std::function<void(NodeId node, ModelTime time)>;

/// The event loop: any network of stochastically firing neurons, under any perturbations, run to a
/// horizon.
///
/// The simulation owns everything of a run. Neuron k is node k of the network, starts at rest at
/// time 0 and draws from the random stream ("spontaneous", k). A run is fully determined by the
/// setup, the horizons and the perturbations; where it is paused does not matter.
///
/// An exception that leaves a running operation ends the run: what happened before the event at
/// fault stays done, the event itself may be half done, and the simulation is good only for looking
/// at. Such are the errors of applyNeuronEvent, applyPerturbationEvent, resolveCandidate and
/// Network::deliverSpike, and whatever the modulation or the callback throws. One that was moved
/// from can only be assigned to or destroyed.
class Simulation {
  public:
    /// Draws the first spike candidate of every neuron, in ascending NodeId order, for a run over
    /// [0, horizon).
    ///
    /// Throws InvalidFiringParameters "KESP simulation needs firing parameters for every node" when
    /// the numbers of firing records and nodes differ, and as scheduleNextCandidate.
    Simulation(SimulationSetup setup, ModelTime horizon);

    /// Adds a perturbation; any number may be added, before and during the run.
    ///
    /// Throws as schedulePerturbation, the simulation unchanged; a perturbation before now() is in
    /// the past. Its targets are checked when it acts; one on neurons before time 0, to where
    /// none can be moved, ends the run with the error of advanceNeuron.
    void perturb(Perturbation perturbation);

    /// Processes every event before `until`, which may exceed the horizon. No candidate lies at or
    /// after the horizon: what happens there are arrivals of spikes, ends of refractory windows and
    /// perturbations.
    void runUntil(ModelTime until);

    /// Processes every event before the horizon.
    void run() { runUntil(horizon_); }

    /// Processes every event that is left, those at and after the horizon too.
    void drain();

    /// Moves the horizon of a run that has reached it: first run(), then a new candidate for every
    /// neuron, in ascending NodeId order, drawn from the old horizon on. The run remains an exact
    /// sample of the model; it is not bit for bit the run that had the later horizon from the
    /// start.
    ///
    /// Throws CausalityViolation "KESP simulation cannot move its horizon back" when `horizon` is
    /// earlier than the old one, or the run has gone beyond the old one already.
    void extend(ModelTime horizon);

    /// The time up to which the run has been processed: every event before it is done.
    /// before_any_event at first.
    [[nodiscard]] ModelTime now() const { return now_; }
    /// The end of the run: every spike lies before it.
    [[nodiscard]] ModelTime horizon() const { return horizon_; }

    /// Calls `callback` at each spike from now on; an empty one is none.
    void onSpike(SpikeCallback callback) { on_spike_ = std::move(callback); }

    /// Whether spikes are recorded in the trace from now on; they are unless this says otherwise.
    void keepTrace(bool keep) { keep_trace_ = keep; }

    /// All spikes so far, in the order in which they happened. Valid until the run goes on.
    [[nodiscard]] std::span<const TraceRecord> trace() const { return trace_; }

    /// Hands the trace over and starts an empty one.
    [[nodiscard]] std::vector<TraceRecord> takeTrace() { return std::exchange(trace_, {}); }

    /// The number of events taken from the queue so far.
    [[nodiscard]] std::uint64_t eventCount() const { return event_count_; }

    /// The wiring as perturbations have left it.
    [[nodiscard]] const Network& network() const { return setup_.network; }
    /// The oscillators as perturbations have left them.
    [[nodiscard]] const OscillatorBank& oscillators() const { return setup_.oscillators; }
    /// Where to read what a recording run has drawn.
    [[nodiscard]] const Runtime::RandomContext& random() const { return setup_.random; }

    /// The neurons' states, each as of its own last_update, indexed by NodeId. The pending
    /// candidate of a neuron may be deferred (candidate_scheduler.hpp); its candidate_event is
    /// `none` then.
    [[nodiscard]] std::span<const NeuronState> neurons() const { return neurons_; }

  private:
    /// A perturbation and the sequence number of its first event; the others follow it.
    struct ScheduledPerturbation {
        std::uint64_t first_event = 0;
        Perturbation perturbation;
    };

    /// What the loop keeps of a neuron beside its state; half a cache line.
    struct alignas(32) Companion {
        DeferredCandidate deferred;
        /// Index into firing_.
        std::size_t firing = 0;
    };

    [[nodiscard]] const PreparedFiring& firingOf(NodeId node) const {
        return firing_[companions_[node].firing];
    }
    [[nodiscard]] Runtime::RandomStream streamOf(NodeId node) const {
        return {.record = streams_[node], .name = spontaneous_stream};
    }

    void prepareFiring();
    void fetchAhead(const Event& event) const;
    [[nodiscard]] CandidateScheduler candidatesOf(NodeId node);
    void drawAllCandidates(ModelTime now);
    void dispatch(const Event& event);
    void resolve(const Event& candidate);
    void applyPerturbation(const Event& event);

    SimulationSetup setup_;
    ModelTime horizon_;
    ModelTime now_ = before_any_event;
    std::vector<NeuronState> neurons_;
    /// The distinct firing parameters, prepared.
    std::vector<PreparedFiring> firing_;
    /// What else belongs to each neuron.
    std::vector<Companion> companions_;
    std::vector<Runtime::StreamRecord*> streams_;
    EventQueue queue_;
    /// When to work deferred candidates out.
    WakeTimes wake_times_;
    std::vector<ScheduledPerturbation> perturbations_;
    std::vector<TraceRecord> trace_;
    SpikeCallback on_spike_;
    bool keep_trace_ = true;
    std::uint64_t event_count_ = 0;
};

} // namespace Velmora::Core::Kesp
