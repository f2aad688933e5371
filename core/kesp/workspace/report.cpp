#include "core/kesp/workspace/report.hpp"

#include <cmath>
#include <iomanip>
#include <locale>
#include <optional>
#include <sstream>

namespace Velmora::Core::Kesp {

namespace {

/// The figure without the sign of a not-a-number, which processors choose as they like.
double printable(double figure) {
    return std::isnan(figure) ? std::fabs(figure) : figure;
}

} // namespace

std::string workspaceReport(const WorkspaceWindow& window) {
    std::ostringstream out;
    // A global locale may group digits or write a decimal comma.
    out.imbue(std::locale::classic());
    out << std::setprecision(4);

    out << "### Workspace\n";
    out << "window:            [" << window.start << ", " << window.end << ")\n";
    out << "G(t):              " << printable(window.g_t) << '\n';
    out << "ignited:           " << (window.ignited ? "yes" : "no") << '\n';
    out << "dominant:          ";
    if (window.dominant) {
        out << *window.dominant;
    } else {
        out << "none";
    }
    out << "\ndominance:         " << printable(window.dominance) << '\n';
    out << "residual rate:     " << printable(window.residual_rate_hz) << " Hz\n";
    for (const CoalitionActivity& entry : window.coalitions) {
        out << "coalition " << entry.coalition << ":       " << printable(entry.rate_hz) << " Hz ("
            << entry.spikes << " spikes)\n";
    }
    return out.str();
}

std::uint64_t countReversals(std::span<const WorkspaceWindow> windows) {
    std::uint64_t reversals = 0;
    std::optional<std::uint64_t> previous;
    for (const WorkspaceWindow& window : windows) {
        if (!window.dominant) {
            continue;
        }
        if (previous && *previous != *window.dominant) {
            ++reversals;
        }
        previous = window.dominant;
    }
    return reversals;
}

} // namespace Velmora::Core::Kesp
