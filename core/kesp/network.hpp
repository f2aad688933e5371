#pragma once

#include "core/kesp/event.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Velmora::Core::Kesp {

/// The sign of a synapse's effect.
enum class SynapseType : std::uint8_t {
    Excitatory = 0,
    Inhibitory = 1,
};

/// One synapse. Build it with makeSynapse, or with designated initialisers.
struct Synapse {
    /// Presynaptic node.
    NodeId source = 0;
    /// Postsynaptic node. May equal `source`; duplicates between one pair are allowed too.
    NodeId target = 0;
    /// Magnitude of the effect on the target's potential, finite and >= 0; `type` alone carries the
    /// sign.
    float weight = 0.0F;
    /// Transmission delay, at least 1 ns and at least the network's min_delay.
    ModelTime delay = 0;
    /// The sign of the effect.
    SynapseType type = SynapseType::Excitatory;
    /// Room for those who build on the record; no operation of the core reads the fields named
    /// `extension`.
    std::uint32_t extension_0 = 0;
    /// As extension_0.
    std::uint64_t extension_1 = 0;
    /// As extension_0.
    std::uint64_t extension_2 = 0;
    /// Delivery skips a synapse that is not enabled.
    bool enabled = true;
    /// As extension_0.
    std::uint32_t extension_3 = ~std::uint32_t{0};
    /// As extension_0.
    std::uint64_t extension_4 = none;
};

/// An enabled synapse with its further fields at their initial values; `weight` is narrowed to 32
/// bits.
[[nodiscard]] Synapse makeSynapse(NodeId source, NodeId target, double weight, ModelTime delay,
                                  SynapseType type);

/// What a network demands of its synapses.
struct NetworkOptions {
    /// When present: at least 1 ns, and a lower limit for every synapse's delay.
    std::optional<ModelTime> min_delay = {};
};

/// The wiring of a simulation: a fixed number of nodes and a growing table of synapses.
///
/// It validates every synapse that enters, lists the synapses that leave a node, and turns a spike
/// into one delivery event for each of them. It knows nothing of neurons: those live beside it,
/// indexed by the same NodeId.
///
/// The outgoing synapses of all nodes are held in compressed-row form, rebuilt in time linear in
/// nodes plus synapses when first needed after synapses were added. Used by one thread: even
/// reading operations may rebuild that index.
class Network {
  public:
    /// A network of `node_count` nodes with these synapses, EdgeIds 0, 1, ... in the order given.
    ///
    /// Throws InvalidSynapse "network min_delay must be positive" when options.min_delay is present
    /// and below 1 ns, and then for the first synapse that addSynapses would refuse, with the same
    /// texts.
    explicit Network(std::uint64_t node_count, std::vector<Synapse> synapses = {},
                     NetworkOptions options = {});

    /// Adds synapses in the order given and returns the EdgeId of the first: the synapse count
    /// before the call.
    ///
    /// Throws InvalidSynapse, and leaves the network as it was, when a synapse is not acceptable:
    /// "synapse endpoint is outside the network"; "synapse weight magnitude must be finite and >=
    /// 0"; "synapse delay must be >= network min_delay and > 0"; or when EdgeIds would run out:
    /// "KESP synapse EdgeId space exhausted".
    EdgeId addSynapses(std::span<const Synapse> synapses);

    /// Fixed when the network is made.
    [[nodiscard]] std::uint64_t nodeCount() const { return node_count_; }
    /// The number of EdgeIds issued, pruned synapses included.
    [[nodiscard]] std::uint64_t synapseCount() const { return synapses_.size(); }

    /// The record of a synapse, valid until synapses are added.
    /// Throws SynapseRoutingViolation "KESP synapse EdgeId is out of range".
    [[nodiscard]] const Synapse& synapse(EdgeId edge) const;

    /// Whether the synapse is present, that is, not pruned. Throws as synapse().
    [[nodiscard]] bool isPresent(EdgeId edge) const;

    /// Switches delivery over the synapse on or off. Throws as synapse().
    void setEnabled(EdgeId edge, bool enabled);

    /// Sets the synapse's weight magnitude, for the deliveries scheduled from now on.
    /// Throws InvalidSynapse "synapse weight magnitude must be finite and >= 0", then as synapse().
    void setWeight(EdgeId edge, float weight);

    /// The outgoing synapses of `source` in ascending EdgeId order, valid until synapses are added.
    /// Throws SynapseRoutingViolation "KESP source NodeId is out of range", and std::length_error
    /// when there are more nodes than a table can have entries.
    [[nodiscard]] std::span<const EdgeId> outgoing(NodeId source);

    /// Schedules one SynapticDelivery for each enabled outgoing synapse of `source`, in ascending
    /// EdgeId order, and returns how many. The event's value is the weight widened to double,
    /// negated for an inhibitory synapse.
    ///
    /// Throws as outgoing(), and TimeOverflow "KESP model time overflow" when an arrival would
    /// leave the time range; the deliveries scheduled before that stay scheduled.
    std::uint64_t deliverSpike(NodeId source, ModelTime now, IEventSink& sink);

    /// Throws InvalidSynapse "KESP synapse EdgeId space exhausted" when `count` synapses and
    /// `added` more would need the EdgeId `none`.
    static void checkEdgeIdSpace(std::uint64_t count, std::uint64_t added);

  private:
    void validate(const Synapse& synapse) const;
    void checkEdge(EdgeId edge) const;
    void rebuildRoutingIndex();

    std::uint64_t node_count_;
    NetworkOptions options_;
    std::vector<Synapse> synapses_;
    /// One byte per EdgeId: 1 present, 0 pruned. A pruned synapse keeps its EdgeId and leaves the
    /// routing index.
    std::vector<std::uint8_t> present_;
    /// The outgoing synapses of node n are out_edges_[out_offsets_[n]] up to
    /// out_edges_[out_offsets_[n + 1]].
    std::vector<std::uint64_t> out_offsets_;
    std::vector<EdgeId> out_edges_;
    bool routing_is_stale_ = true;
};

} // namespace Velmora::Core::Kesp
