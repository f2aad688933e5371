#include "core/kesp/errors.hpp"
#include "core/kesp/workspace/trial.hpp"
#include "tests/support/expect_error.hpp"
#include "tests/support/trace_digest.hpp"

namespace Velmora::Tests {

using namespace Core::Kesp;
using namespace Core::Runtime;

constexpr WorkspaceTrialConfig standard{1.2, 0.6, 40.0, 0.0, 0.06};
constexpr ModelTime ms = nanoseconds_per_millisecond;

TEST(WorkspaceTrial, GivesTheKnownSpikes) {
    const auto expect = [](auto spikes, auto digest, auto seed, ModelTime duration,
                           const WorkspaceTrialConfig& config, const Perturbation* push = nullptr) {
        const auto trace = runWorkspaceTrial(seed, config, duration, push);
        EXPECT_EQ(std::tuple(trace.size(), traceDigest(trace)), std::tuple(spikes, digest));
    };
    using enum PerturbationType;
    const Perturbation push{1, 500 * ms, Excite, 1.5, {0, 1, 2, 3}};
    const Perturbation force{9, 250 * ms, ForceSpike, 0.0, {8, 0}};
    const Perturbation sever{9, 250 * ms, SynapseWeight, -1.0, {}, {24, 25, 26, 27}};
    expect(1017, 0xbf02'0a73'24f6'692c, 1U, 600 * ms, {1.2, 0.6, 40.0});
    expect(1013, 0x1abb'b576'7e3b'ff6f, 2U, 600 * ms, {1.2, 0.6, 40.0, -0.25});
    expect(1880, 0x2a45'081a'cace'2691, 11U, 6000 * ms, standard);
    expect(931, 0xc86c'2dd7'b34b'2804, 7U, 3000 * ms, {1.2, 0.6, 40.0, 0.0, 0.06, false});
    expect(1069, 0x7721'22cf'690c'4df3, 7U, 3000 * ms, {1.2, 0.6, 40.0, 0.0, 0.06, true, false});
    expect(1043, 0x109e'2aba'e8a1'fcf2, 7U, 3000 * ms, standard, &push);
    expect(641, 0xcf4b'4b5b'ed49'f564, 5U, 1500 * ms, standard, &force);
    expect(645, 0x8d33'0a0b'1d3c'0818, 5U, 1500 * ms, standard, &sever);

    const Perturbation shift{.time = ms, .type = PhaseShift, .oscillators = {0}};
    expectError<InvalidOscillator>([&] { expect(0, 0, 1U, ms, standard, &shift); },
                                   "unknown KESP oscillator id");
}

TEST(WorkspaceTrial, IsReplayedFromItsLogsWhateverTheSeed) {
    RandomContext recording(7);
    recording.record();
    Simulation trial = prepareWorkspaceTrial(std::move(recording), standard, 300 * ms);
    trial.drain();
    std::vector<StreamLog> logs = trial.random().recorded();
    const auto replay = [&] {
        RandomContext random(4711);
        random.replay(logs);
        Simulation again = prepareWorkspaceTrial(std::move(random), standard, 300 * ms);
        again.drain();
        return traceDigest(again.trace());
    };
    EXPECT_EQ(replay(), traceDigest(trial.trace()));
    logs.back().values.pop_back();
    expectError<ReplayExhausted>(replay, "RandomContext replay exhausted: spontaneous");
}

} // namespace Velmora::Tests
