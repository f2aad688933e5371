#pragma once

#include "core/kesp/model_time.hpp"

#include <cstdint>

namespace Velmora::Core::Kesp {

/// Dense index of a neuron: 0 to node count - 1.
using NodeId = std::uint64_t;

/// Dense index of a synapse, issued in insertion order from 0, never changed and never reused.
using EdgeId = std::uint64_t;

/// "No event", "no synapse", "no node": the value with all bits set, which no sequence number or
/// identifier takes.
inline constexpr std::uint64_t none = ~std::uint64_t{0};

/// What an event is. The value 3 is reserved; nothing in the core produces it.
enum class EventKind : std::uint8_t {
    SynapticDelivery = 0,
    SpikeCandidate = 1,
    RefractoryEnd = 2,
    Perturbation = 4,
};

/// One future happening. What its fields hold depends on the kind; a field that is not used is 0.
///
/// - SynapticDelivery: `source` is the presynaptic, `target` the postsynaptic node, `edge` the
///   synapse, `value` its signed weight.
/// - SpikeCandidate: `source` and `target` are the node, `value` is the hazard bound in Hz.
/// - RefractoryEnd: `source` and `target` are the node.
/// - Perturbation: `source` and `target` are the perturbed node, or the id of an oscillator, or 0
///   for a synapse, which is in `edge`; `value` is the strength, `tag` the perturbation's id.
struct Event {
    /// When it happens.
    ModelTime time = 0;
    /// Issued by the queue: EventQueue::schedule overwrites what the caller passes,
    /// scheduleReserved keeps it.
    std::uint64_t sequence = 0;
    /// Decides what the other fields hold.
    EventKind kind = EventKind::SynapticDelivery;
    /// The node that caused the event.
    NodeId source = 0;
    /// The node on which the event acts.
    NodeId target = 0;
    /// The synapse concerned, or 0.
    EdgeId edge = 0;
    /// The event's quantity, by kind.
    double value = 0.0;
    /// Identifier of the perturbation that produced the event, or 0.
    std::uint64_t tag = 0;
};

/// Where producers put events. They need no more of the queue than this.
class IEventSink {
  public:
    virtual ~IEventSink() = default;

    /// Takes a copy of the event and returns the sequence number issued for it.
    virtual std::uint64_t schedule(const Event& event) = 0;

  protected:
    /// Sinks are made, copied and moved as what they are, never as this interface.
    /// @{
    IEventSink() = default;
    IEventSink(const IEventSink&) = default;
    IEventSink(IEventSink&&) = default;
    IEventSink& operator=(const IEventSink&) = default;
    IEventSink& operator=(IEventSink&&) = default;
    /// @}
};

} // namespace Velmora::Core::Kesp
