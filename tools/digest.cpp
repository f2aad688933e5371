// Prints the digest of every trial and every figure of the conformance program: two builds compute
// the same, to the last bit, exactly when they print the same line.

#include "conformance/scenario.hpp"
#include "conformance/symmetry_and_bias_checks.hpp"
#include "core/kesp/oscillator.hpp"
#include "core/kesp/portable_math.hpp"
#include "core/kesp/workspace/availability.hpp"
#include "core/kesp/workspace/report.hpp"
#include "core/kesp/workspace/response.hpp"
#include "core/kesp/workspace/standard_workspace.hpp"
#include "core/kesp/workspace/trial.hpp"
#include "core/kesp/workspace/window.hpp"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iomanip>
#include <iostream>
#include <span>
#include <string_view>
#include <vector>

namespace {

using namespace Velmora::Core;
using namespace Velmora::Core::Kesp;
using namespace Velmora::Conformance;

/// How many seeds of each batch are run: all of them, as the conformance program does, or a few.
struct Extent {
    std::uint64_t symmetry_seeds = 100;
    std::uint64_t bias_seeds = 50;
    std::uint64_t ignition_seeds = 4;
};

constexpr Extent complete{};
constexpr Extent brief{.symmetry_seeds = 5, .bias_seeds = 3, .ignition_seeds = 1};

constexpr ModelTime batch_duration = 600 * nanoseconds_per_millisecond;
constexpr ModelTime ignition_duration = 1'500 * nanoseconds_per_millisecond;
constexpr ModelTime intervention_duration = 3'000 * nanoseconds_per_millisecond;
constexpr ModelTime alternation_duration = 6'000 * nanoseconds_per_millisecond;
constexpr ModelTime perturbation_time = 500 * nanoseconds_per_millisecond;
constexpr ModelTime window_step = 250 * nanoseconds_per_millisecond;
constexpr std::uint64_t alternation_seed = 11;
constexpr std::uint64_t intervention_seed = 7;
constexpr double availability_tolerance = 0.05;
constexpr std::array bias_levels{-2.0, -0.8, -0.25, 0.0, 0.25, 0.8, 2.0};
constexpr std::array stimulus_strengths{0.4, 0.7, 1.0, 1.4, 2.0};

/// FNV-1a, a 64-bit word at a time.
class Digest {
  public:
    void fold(std::uint64_t word) { hash_ = (hash_ ^ word) * 0x100'0000'01b3U; }
    void fold(ModelTime time) { fold(static_cast<std::uint64_t>(time)); }
    void fold(double figure) { fold(std::bit_cast<std::uint64_t>(figure)); }
    void fold(std::string_view text) {
        for (const char c : text) {
            fold(std::uint64_t{static_cast<unsigned char>(c)});
        }
    }

    [[nodiscard]] std::uint64_t value() const { return hash_; }

  private:
    std::uint64_t hash_ = 0xcbf2'9ce4'8422'2325U;
};

/// Runs the trials and gathers what they give.
class Survey {
  public:
    explicit Survey(const Extent& extent) : extent_(extent) {}

    void run() {
        surveyWiring();
        surveySymmetry();
        surveyBias();
        surveyAlternation();
        surveyIgnition();
        surveyInterventions();
        surveyFunctions();
    }

    void print(std::ostream& out) const {
        Digest all;
        all.fold(traces_.value());
        all.fold(figures_.value());
        all.fold(states_.value());
        out << std::hex << std::setfill('0');
        out << std::setw(16) << all.value();
        out << " traces " << std::setw(16) << traces_.value();
        out << " figures " << std::setw(16) << figures_.value();
        out << " states " << std::setw(16) << states_.value();
        out << std::dec << " trials " << trials_ << " spikes " << spikes_ << " events " << events_
            << '\n';
    }

  private:
    std::vector<TraceRecord> trial(std::uint64_t seed, const WorkspaceTrialConfig& config,
                                   ModelTime duration, const Perturbation* perturbation = nullptr) {
        Simulation simulation =
            prepareWorkspaceTrial(Runtime::RandomContext(seed), config, duration, perturbation);
        simulation.drain();
        for (const TraceRecord& record : simulation.trace()) {
            traces_.fold(record.node);
            traces_.fold(record.time);
        }
        // Spikes lie on a grid of nanoseconds, which hides most changes of a last bit. These do
        // not.
        for (const NeuronState& neuron : simulation.neurons()) {
            states_.fold(neuron.potential);
            states_.fold(neuron.adaptation);
            states_.fold(neuron.last_update);
        }
        ++trials_;
        spikes_ += simulation.trace().size();
        events_ += simulation.eventCount();
        return simulation.takeTrace();
    }

    WorkspaceWindow window(std::span<const TraceRecord> trace, std::span<const Coalition> groups,
                           ModelTime start, ModelTime end) {
        WorkspaceWindow measured = analyzeWindow(trace, groups, start, end, ignition_threshold);
        foldWindow(measured);
        return measured;
    }

    void foldWindow(const WorkspaceWindow& measured) {
        figures_.fold(measured.start);
        figures_.fold(measured.end);
        for (const CoalitionActivity& entry : measured.coalitions) {
            figures_.fold(entry.spikes);
            figures_.fold(entry.rate_hz);
        }
        figures_.fold(measured.g_t);
        figures_.fold(static_cast<std::uint64_t>(measured.ignited));
        figures_.fold(measured.dominant.value_or(none));
        figures_.fold(measured.dominance);
        figures_.fold(measured.residual_rate_hz);
        figures_.fold(workspaceReport(measured));
    }

    double selectionProbability(double bias, std::uint64_t seeds) {
        std::uint64_t locked_in = 0;
        std::uint64_t wins = 0;
        for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
            const auto trace = trial(seed, biasTrialConfig(bias), batch_duration);
            const WorkspaceWindow measured = window(trace, standardCoalitions(), 0, batch_duration);
            if (isLockedIn(measured)) {
                ++locked_in;
                wins += measured.dominant == 0U ? 1 : 0;
            }
        }
        const double probability =
            locked_in == 0 ? 0.0 : static_cast<double>(wins) / static_cast<double>(locked_in);
        figures_.fold(locked_in);
        figures_.fold(probability);
        figures_.fold(0.5 / std::sqrt(static_cast<double>(locked_in)));
        return probability;
    }

    void surveyWiring() {
        const Simulation simulation =
            prepareWorkspaceTrial(Runtime::RandomContext(1), standardTrialConfig(), window_step);
        const Network& network = simulation.network();
        for (EdgeId edge = 0; edge < network.synapseCount(); ++edge) {
            const Synapse& synapse = network.synapse(edge);
            figures_.fold(synapse.source);
            figures_.fold(synapse.target);
            figures_.fold(double{synapse.weight});
            figures_.fold(synapse.delay);
            figures_.fold(static_cast<std::uint64_t>(synapse.type));
        }
    }

    void surveySymmetry() { selectionProbability(0.0, extent_.symmetry_seeds); }

    void surveyBias() {
        std::array<double, bias_levels.size()> probabilities{};
        for (std::size_t k = 0; k < bias_levels.size(); ++k) {
            probabilities[k] = selectionProbability(bias_levels[k], extent_.bias_seeds);
        }
        figures_.fold(
            static_cast<std::uint64_t>(isThresholdResponse(bias_levels, probabilities, 1.5)));
        const auto slope = [&](std::size_t from, std::size_t to) {
            return (probabilities[to] - probabilities[from])
                   / (bias_levels[to] - bias_levels[from]);
        };
        constexpr std::size_t last = bias_levels.size() - 1;
        figures_.fold(slope(last / 2 - 1, last / 2 + 1));
        figures_.fold(slope(0, last));
    }

    void surveyAlternation() {
        const auto trace = trial(alternation_seed, standardTrialConfig(), alternation_duration);
        const auto windows = analyzeWindows(trace, standardCoalitions(), 0, alternation_duration,
                                            window_step, ignition_threshold);
        double residual_sum_hz = 0.0;
        std::uint64_t clear_windows = 0;
        for (const WorkspaceWindow& measured : windows) {
            foldWindow(measured);
            clear_windows += measured.dominance > lock_in_dominance ? 1 : 0;
            residual_sum_hz += measured.residual_rate_hz;
        }
        figures_.fold(residual_sum_hz / static_cast<double>(windows.size()));
        figures_.fold(countReversals(windows));
        figures_.fold(clear_windows);
    }

    void surveyIgnition() {
        for (const double strength : stimulus_strengths) {
            WorkspaceTrialConfig config = standardTrialConfig();
            config.stimulus_hz *= strength;
            double sum = 0.0;
            for (std::uint64_t seed = 1; seed <= extent_.ignition_seeds; ++seed) {
                const auto trace = trial(seed, config, ignition_duration);
                sum += window(trace, standardCoalitions(), 0, ignition_duration).g_t;
            }
            figures_.fold(sum / static_cast<double>(extent_.ignition_seeds));
        }
    }

    void surveyInterventions() {
        const WorkspaceTrialConfig intact = standardTrialConfig();
        WorkspaceTrialConfig broadcast_cut = intact;
        broadcast_cut.broadcast_enabled = false;
        WorkspaceTrialConfig feedback_cut = intact;
        feedback_cut.feedback_enabled = false;

        std::vector<WorkspaceWindow> module_windows;
        std::vector<WorkspaceWindow> coalition_windows;
        for (const WorkspaceTrialConfig& config : {intact, broadcast_cut, feedback_cut}) {
            const auto trace = trial(intervention_seed, config, intervention_duration);
            module_windows.push_back(window(trace, standardModules(), 0, intervention_duration));
            coalition_windows.push_back(
                window(trace, standardCoalitions(), 0, intervention_duration));
        }
        foldChanges(module_windows[0], module_windows[1]);
        foldChanges(coalition_windows[0], coalition_windows[2]);

        const Perturbation push{.id = 1,
                                .time = perturbation_time,
                                .type = PerturbationType::Excite,
                                .strength = 1.5,
                                .nodes = standardCoalitions().front()};
        const auto perturbed = trial(intervention_seed, intact, intervention_duration, &push);
        const auto baseline = trial(intervention_seed, intact, intervention_duration);
        const WorkspaceWindow before =
            window(baseline, standardModules(), perturbation_time, intervention_duration);
        const WorkspaceWindow after =
            window(perturbed, standardModules(), perturbation_time, intervention_duration);
        foldChanges(before, after);
    }

    /// What no trial reaches: exponentials and logarithms over all magnitudes, phases far away.
    void surveyFunctions() {
        constexpr OscillatorSpec oscillator{.frequency_hz = 40.7, .phase = 0.3};
        Runtime::RandomContext random(1);
        for (int k = 0; k < 20'000; ++k) {
            const double u = random.uniform("survey", 0);
            states_.fold(portableExp(1'500.0 * u - 750.0));
            states_.fold(portableLog(u));
            states_.fold(portableLog(portableExp(1'400.0 * u - 700.0)));
            const auto t = static_cast<ModelTime>((2.0 * u - 1.0) * 9e18);
            states_.fold(OscillatorBank::phaseAt(oscillator, t, u));
        }
    }

    void foldChanges(const WorkspaceWindow& before, const WorkspaceWindow& after) {
        figures_.fold(
            countChangedModules(before.coalitions, after.coalitions, availability_tolerance));
    }

    Extent extent_;
    Digest traces_;
    Digest figures_;
    Digest states_;
    std::uint64_t trials_ = 0;
    std::uint64_t spikes_ = 0;
    std::uint64_t events_ = 0;
};

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string_view> arguments(argv + 1, argv + argc);
    const bool is_brief = arguments.size() == 1 && arguments.front() == "--brief";
    if (!arguments.empty() && !is_brief) {
        std::cerr << "usage: digest [--brief]\n";
        return 2;
    }
    try {
        Survey survey(is_brief ? brief : complete);
        survey.run();
        survey.print(std::cout);
    } catch (const std::exception& error) {
        std::cerr << "digest: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
