#include "core/kesp/workspace/competition.hpp"

#include "core/kesp/errors.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace Velmora::Core::Kesp {

namespace {

bool isMagnitude(double weight) {
    return std::isfinite(weight) && !(weight < 0.0);
}

/// Whether one lateral edge outweighs what a member receives from its partners in its own
/// coalition. A coalition of one has no partners to compare with.
bool silencesLosers(const CompetitionSpec& spec) {
    const auto members = spec.coalitions.front().size();
    if (members < 2) {
        return false;
    }
    const double recurrent_drive = static_cast<double>(members - 1) * spec.recurrent_weight;
    return spec.lateral_weight > recurrent_drive;
}

} // namespace

void validateCompetition(const CompetitionSpec& spec) {
    if (spec.coalitions.size() < 2) {
        throw InvalidWorkspace("competition needs at least two participants");
    }
    if (std::ranges::any_of(spec.coalitions, [](const Coalition& c) { return c.empty(); })) {
        throw InvalidWorkspace("a competing coalition has no members");
    }
    const std::array weights{spec.recurrent_weight, spec.lateral_weight, spec.broadcast_weight,
                             spec.feedback_weight};
    if (!std::ranges::all_of(weights, isMagnitude)) {
        throw InvalidWorkspace("competition weights must be finite and >= 0");
    }
    if (spec.recurrent_weight <= 0.0 || spec.lateral_weight <= 0.0) {
        throw InvalidWorkspace(
            "competition needs both recurrent excitation and lateral inhibition");
    }
    if (silencesLosers(spec)) {
        throw InvalidWorkspace(
            "lateral inhibition would exceed the recurrent drive of a coalition, "
            "which gives absolute winner-take-all instead of winner-take-most");
    }
}

} // namespace Velmora::Core::Kesp
