#include "core/kesp/workspace/response.hpp"

#include "core/kesp/errors.hpp"

#include <cmath>
#include <cstddef>

namespace Velmora::Core::Kesp {

bool isThresholdResponse(std::span<const double> levels, std::span<const double> responses,
                         double steepness_cutoff) {
    if (levels.size() != responses.size() || levels.size() < 3) {
        throw InvalidWorkspace("response classification needs a sweep of >= 3 points");
    }
    if (!std::isfinite(steepness_cutoff) || steepness_cutoff <= 1.0) {
        throw InvalidWorkspace("steepness cutoff must be > 1");
    }

    double sum = 0.0;
    double steepest = 0.0;
    for (std::size_t k = 1; k < levels.size(); ++k) {
        const double step = levels[k] - levels[k - 1];
        if (step == 0.0) {
            throw InvalidWorkspace("response sweep repeats a stimulus level");
        }
        const double slope = std::fabs((responses[k] - responses[k - 1]) / step);
        sum += slope;
        // A slope that is not a number fails the comparison; it shows in the mean.
        if (slope > steepest) {
            steepest = slope;
        }
    }
    const double mean = sum / static_cast<double>(levels.size() - 1);
    if (mean == 0.0) {
        return false;
    }
    return steepest / mean >= steepness_cutoff;
}

} // namespace Velmora::Core::Kesp
