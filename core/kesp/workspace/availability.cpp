#include "core/kesp/workspace/availability.hpp"

#include "core/kesp/errors.hpp"

#include <cmath>
#include <cstddef>

namespace Velmora::Core::Kesp {

namespace {

bool hasChanged(double baseline_hz, double perturbed_hz, double tolerance) {
    const double change = std::fabs(perturbed_hz - baseline_hz);
    const double reference = std::fabs(baseline_hz);
    return reference != 0.0 ? change / reference > tolerance : change > 0.0;
}

} // namespace

std::uint64_t countChangedModules(std::span<const CoalitionActivity> baseline,
                                  std::span<const CoalitionActivity> perturbed, double tolerance) {
    if (baseline.size() != perturbed.size()) {
        throw InvalidWorkspace("availability needs matching module sets");
    }
    if (!std::isfinite(tolerance) || tolerance < 0.0) {
        throw InvalidWorkspace("availability tolerance must be finite and >= 0");
    }
    std::uint64_t changed = 0;
    for (std::size_t k = 0; k < baseline.size(); ++k) {
        if (hasChanged(baseline[k].rate_hz, perturbed[k].rate_hz, tolerance)) {
            ++changed;
        }
    }
    return changed;
}

} // namespace Velmora::Core::Kesp
