#include "core/kesp/errors.hpp"
#include "core/kesp/workspace/window.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>
#include <sstream>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(Window, MeasuresWhoLeadsAndWhatTheOthersDo) {
    using Figures = std::tuple<double, bool, std::optional<std::uint64_t>, double, double>;
    // Coalitions of 4, 2, 1 and 0 nodes, during two seconds; node 9 is in none of them.
    const auto measure = [](const std::vector<std::size_t>& spikes, double threshold) {
        std::vector<TraceRecord> trace{{.node = 9, .time = 1}};
        for (NodeId node = 0; node < 3; ++node) {
            trace.insert(trace.end(), spikes[node], {.node = 3 * node, .time = 1});
        }
        const std::vector<Coalition> coalitions{{2, 1, 4, 0}, {5, 3}, {6}, {}};
        const auto w = analyzeWindow(trace, coalitions, 0, 2 * nanoseconds_per_second, threshold);
        return Figures(w.g_t, w.ignited, w.dominant, w.dominance, w.residual_rate_hz);
    };
    EXPECT_EQ(measure({30, 7, 5}, 3.0), Figures(3.0, true, 0, 30.0 / 42.0, 2.5));
    EXPECT_EQ(measure({8, 30, 4}, 3.01), Figures(3.0, false, 1, 30.0 / 42.0, 2.0));
    EXPECT_EQ(measure({12, 12, 4}, 1.0), Figures(2.0, true, std::nullopt, 12.0 / 28.0, 3.0));
    EXPECT_EQ(measure({4, 12, 12}, 1.0), Figures(2.0, true, std::nullopt, 12.0 / 28.0, 6.0));
    EXPECT_EQ(measure({0, 0, 0}, 0.0), Figures(0.0, true, std::nullopt, 0.0, 0.0));
}

TEST(Window, SeriesIsHalfOpenHasNoGapsAndIsCutAtItsEnd) {
    const std::vector<TraceRecord> trace{{2, 0, -6}, {2, 0, -5}, {3, 0, 34},
                                         {2, 0, 35}, {2, 0, 84}, {2, 0, 85}};
    const std::vector<Coalition> coalitions{{}, {2}, {2, 3}};
    const auto cut = [&](ModelTime start, ModelTime end, ModelTime step) {
        std::ostringstream text;
        for (const auto& w : analyzeWindows(trace, coalitions, start, end, step, 0.0)) {
            text << w.start << ".." << w.end << ": " << w.coalitions[1].spikes
                 << w.coalitions[2].spikes << ' ';
            EXPECT_TRUE(std::isnan(w.coalitions[0].rate_hz));
        }
        return text.str();
    };
    EXPECT_EQ(cut(-5, 85, 40), "-5..35: 11 35..75: 10 75..85: 10 ");
    expectError<TimeOverflow>([&] { cut(end_of_time - 7, end_of_time, 10); },
                              "KESP model time overflow");
    EXPECT_TRUE(analyzeWindows({}, {}, 5, 5, 1, 0.0).empty());
    expectError<InvalidWorkspace>([&] { cut(5, 5, 0); }, "workspace window step must be positive");
    const auto analyze = [](ModelTime end) { static_cast<void>(analyzeWindow({}, {}, 5, end, 1)); };
    expectError<InvalidWorkspace>([&] { analyze(5); }, "workspace window is empty");
    expectError<InvalidWorkspace>([&] { analyze(6); }, "workspace window needs coalitions");
}

} // namespace Velmora::Tests
