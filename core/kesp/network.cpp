#include "core/kesp/network.hpp"

#include "core/kesp/errors.hpp"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace Velmora::Core::Kesp {

namespace {

void validateWeight(float weight) {
    if (!std::isfinite(weight) || weight < 0.0F) {
        throw InvalidSynapse("synapse weight magnitude must be finite and >= 0");
    }
}

} // namespace

Synapse makeSynapse(NodeId source, NodeId target, double weight, ModelTime delay,
                    SynapseType type) {
    return {.source = source,
            .target = target,
            .weight = static_cast<float>(weight),
            .delay = delay,
            .type = type};
}

Network::Network(std::uint64_t node_count, std::vector<Synapse> synapses, NetworkOptions options)
    : node_count_(node_count),
      options_(options),
      synapses_(std::move(synapses)) {
    if (options_.min_delay && *options_.min_delay < 1) {
        throw InvalidSynapse("network min_delay must be positive");
    }
    for (const Synapse& synapse : synapses_) {
        validate(synapse);
    }
    present_.assign(synapses_.size(), 1);
}

EdgeId Network::addSynapses(std::span<const Synapse> synapses) {
    for (const Synapse& synapse : synapses) {
        validate(synapse);
    }
    const EdgeId first = synapses_.size();
    checkEdgeIdSpace(first, synapses.size());
    // The flags first: should the records then find no memory, flags beyond the table mean nothing.
    present_.resize(first + synapses.size(), 1);
    synapses_.insert(synapses_.end(), synapses.begin(), synapses.end());
    routing_is_stale_ = true;
    return first;
}

const Synapse& Network::synapse(EdgeId edge) const {
    checkEdge(edge);
    return synapses_[edge];
}

bool Network::isPresent(EdgeId edge) const {
    checkEdge(edge);
    return present_[edge] != 0;
}

void Network::setEnabled(EdgeId edge, bool enabled) {
    checkEdge(edge);
    synapses_[edge].enabled = enabled;
}

void Network::setWeight(EdgeId edge, float weight) {
    validateWeight(weight);
    checkEdge(edge);
    synapses_[edge].weight = weight;
}

std::span<const EdgeId> Network::outgoing(NodeId source) {
    if (source >= node_count_) {
        throw SynapseRoutingViolation("KESP source NodeId is out of range");
    }
    if (routing_is_stale_) {
        rebuildRoutingIndex();
    }
    return std::span(out_edges_)
        .subspan(out_offsets_[source], out_offsets_[source + 1] - out_offsets_[source]);
}

std::uint64_t Network::deliverSpike(NodeId source, ModelTime now, IEventSink& sink) {
    std::uint64_t scheduled = 0;
    for (const EdgeId edge : outgoing(source)) {
        const Synapse& synapse = synapses_[edge];
        if (!synapse.enabled) {
            continue;
        }
        const double weight = synapse.weight;
        sink.schedule({.time = addChecked(now, synapse.delay),
                       .kind = EventKind::SynapticDelivery,
                       .source = source,
                       .target = synapse.target,
                       .edge = edge,
                       .value = synapse.type == SynapseType::Excitatory ? weight : -weight});
        ++scheduled;
    }
    return scheduled;
}

void Network::checkEdgeIdSpace(std::uint64_t count, std::uint64_t added) {
    if (added >= none - count) {
        throw InvalidSynapse("KESP synapse EdgeId space exhausted");
    }
}

void Network::validate(const Synapse& synapse) const {
    if (synapse.source >= node_count_ || synapse.target >= node_count_) {
        throw InvalidSynapse("synapse endpoint is outside the network");
    }
    validateWeight(synapse.weight);
    if (synapse.delay < 1 || (options_.min_delay && synapse.delay < *options_.min_delay)) {
        throw InvalidSynapse("synapse delay must be >= network min_delay and > 0");
    }
}

void Network::checkEdge(EdgeId edge) const {
    if (edge >= synapses_.size()) {
        throw SynapseRoutingViolation("KESP synapse EdgeId is out of range");
    }
}

/// A stable counting sort of the present synapses by source.
void Network::rebuildRoutingIndex() {
    if (node_count_ >= out_offsets_.max_size()) {
        throw std::length_error("KESP network has too many nodes for a routing index");
    }
    out_offsets_.assign(node_count_ + 1, 0);
    for (EdgeId edge = 0; edge < synapses_.size(); ++edge) {
        if (present_[edge] != 0) {
            ++out_offsets_[synapses_[edge].source + 1];
        }
    }
    for (std::uint64_t node = 1; node <= node_count_; ++node) {
        out_offsets_[node] += out_offsets_[node - 1];
    }
    out_edges_.assign(synapses_.size(), 0);
    std::vector<std::uint64_t> cursor = out_offsets_;
    for (EdgeId edge = 0; edge < synapses_.size(); ++edge) {
        if (present_[edge] != 0) {
            out_edges_[cursor[synapses_[edge].source]++] = edge;
        }
    }
    routing_is_stale_ = false;
}

} // namespace Velmora::Core::Kesp
