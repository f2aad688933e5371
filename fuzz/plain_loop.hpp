#pragma once

#include "core/kesp/errors.hpp"
#include "core/kesp/simulation.hpp"

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

namespace Velmora::Fuzz {

using namespace Core::Kesp;

/// The event loop as its protocol describes it, written with the operations that are open to
/// everybody: every candidate is worked out as soon as it is drawn. It goes through the same states
/// as a Simulation and throws the same errors.
class PlainLoop {
  public:
    PlainLoop(SimulationSetup setup, ModelTime horizon)
        : setup_(std::move(setup)),
          horizon_(horizon) {
        if (setup_.firing.size() != setup_.network.nodeCount()) {
            throw InvalidFiringParameters("KESP simulation needs firing parameters for every node");
        }
        neurons_.resize(setup_.firing.size());
        for (NodeId node = 0; node < neurons_.size(); ++node) {
            neurons_[node].stream_index = node;
        }
        drawAll(0);
    }

    void perturb(const Perturbation& perturbation) {
        validatePerturbation(perturbation);
        if (perturbation.time < now_) {
            throw CausalityViolation("perturbation is in the past");
        }
        for (const std::uint64_t event : schedulePerturbation(perturbation, queue_)) {
            perturbations_.emplace(event, perturbation);
        }
    }

    void runUntil(ModelTime until) {
        while (const auto event = queue_.popBefore(until)) {
            dispatch(*event);
        }
        now_ = std::max(now_, until);
    }

    void drain() {
        runUntil(horizon_);
        while (!queue_.empty()) {
            dispatch(queue_.popNext());
        }
        now_ = std::max(now_, queue_.now());
    }

    void extend(ModelTime horizon) {
        if (horizon < horizon_ || now_ > horizon_ || queue_.now() >= horizon_) {
            throw CausalityViolation("KESP simulation cannot move its horizon back");
        }
        runUntil(horizon_);
        const ModelTime reached = std::exchange(horizon_, horizon);
        drawAll(std::max<ModelTime>(reached, 0));
    }

    [[nodiscard]] ModelTime now() const { return now_; }
    [[nodiscard]] std::uint64_t eventCount() const { return event_count_; }
    [[nodiscard]] ModelTime horizon() const { return horizon_; }
    [[nodiscard]] std::span<const NeuronState> neurons() const { return neurons_; }
    [[nodiscard]] std::span<const TraceRecord> trace() const { return trace_; }
    [[nodiscard]] const Network& network() const { return setup_.network; }
    [[nodiscard]] const OscillatorBank& oscillators() const { return setup_.oscillators; }

  private:
    void draw(NodeId node, ModelTime now) {
        scheduleNextCandidate(neurons_[node], setup_.neuron, setup_.firing[node], node, now,
                              horizon_, setup_.modulation_bound, queue_, setup_.random);
    }

    void drawAll(ModelTime now) {
        for (NodeId node = 0; node < neurons_.size(); ++node) {
            draw(node, now);
        }
    }

    void dispatch(const Event& event) {
        ++event_count_;
        if (event.kind == EventKind::Perturbation) {
            const Perturbation& perturbation = perturbations_.at(event.sequence);
            applyPerturbationEvent(event, perturbation, neurons_, setup_.neuron, setup_.network,
                                   setup_.oscillators, queue_);
            if (perturbation.type != PerturbationType::PhaseShift) {
                draw(event.target, event.time);
            }
            return;
        }
        NeuronState& neuron = neurons_[event.target];
        if (event.kind != EventKind::SpikeCandidate) {
            applyNeuronEvent(neuron, setup_.neuron, event);
            if (event.kind == EventKind::SynapticDelivery) {
                draw(event.target, event.time);
            }
        } else if (event.sequence == neuron.candidate_event) {
            const CandidateOutcome outcome = resolveCandidate(
                neuron, setup_.neuron, setup_.firing[event.target], event.target, event, horizon_,
                setup_.modulation_bound, queue_, setup_.random, setup_.modulation);
            if (outcome.fired) {
                trace_.push_back({.node = event.target, .time = event.time});
                setup_.network.deliverSpike(event.target, event.time, queue_);
            }
        }
    }

    SimulationSetup setup_;
    ModelTime horizon_;
    ModelTime now_ = before_any_event;
    std::uint64_t event_count_ = 0;
    std::vector<NeuronState> neurons_;
    EventQueue queue_;
    std::map<std::uint64_t, Perturbation> perturbations_;
    std::vector<TraceRecord> trace_;
};

} // namespace Velmora::Fuzz
