// The event loop beside a plain one, written with the operations that are open to everybody: same
// spikes, same errors, whatever the parameters.

#include "core/kesp/simulation.hpp"
#include "fuzz/input.hpp"
#include "fuzz/plain_loop.hpp"
#include "fuzz/promise.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace Velmora::Fuzz {

using namespace Core;
using namespace Core::Kesp;

namespace {

/// Ends a run that has judged so many candidates: not every input has a moderate rate.
constexpr std::uint64_t greatest_work = 400;

constexpr ModelTime greatest_soon = end_of_time - nanoseconds_per_second;

/// Not an error of the core, so refusalOf lets it through.
struct WorkIsDone {};

/// m(t), which switches between two values.
struct SwitchingModulation {
    double low = 0.0;
    double high = 0.0;
    std::uint64_t bit = 0;
    std::uint64_t* judged = nullptr;

    double operator()(ModelTime t, const NeuronParameters& /*neuron*/,
                      const FiringParameters& /*firing*/) const {
        if (++*judged > greatest_work) {
            throw WorkIsDone{};
        }
        return ((static_cast<std::uint64_t>(t) >> bit) & 1U) != 0 ? high : low;
    }
};

/// Everything of a run but what cannot be copied.
struct Scenario {
    std::uint64_t node_count = 0;
    std::vector<Synapse> synapses;
    NetworkOptions options;
    NeuronParameters neuron;
    std::vector<FiringParameters> firing;
    std::vector<OscillatorSpec> oscillators;
    std::uint64_t seed = 0;
    SwitchingModulation modulation;
    double modulation_bound = 0.0;
    ModelTime horizon = 0;
    /// Before the first step.
    std::vector<Perturbation> perturbations;

    [[nodiscard]] SimulationSetup setup(std::uint64_t& judged) const {
        SimulationSetup result{.network = Network(node_count, synapses, options),
                               .neuron = neuron,
                               .firing = firing,
                               .random = Runtime::RandomContext(seed),
                               .oscillators = OscillatorBank(oscillators)};
        result.modulation =
            SwitchingModulation{modulation.low, modulation.high, modulation.bit, &judged};
        result.modulation_bound = modulation_bound;
        return result;
    }
};

Synapse readSynapse(Input& input, std::uint64_t node_count) {
    const NodeId source = input.below(16) != 0 ? input.below(node_count) : input.word();
    const NodeId target = input.below(16) != 0 ? input.below(node_count) : input.word();
    const bool usual = input.below(4) != 0;
    const ModelTime delay =
        usual ? (1 + static_cast<ModelTime>(input.byte())) * 100'000 : input.time();
    Synapse synapse = makeSynapse(
        source, target, usual ? static_cast<double>(input.byte()) / 64.0 : input.number(), delay,
        input.flag() ? SynapseType::Excitatory : SynapseType::Inhibitory);
    synapse.enabled = input.below(8) != 0;
    return synapse;
}

FiringParameters readFiring(Input& input) {
    FiringParameters firing;
    firing.baseline_rate = input.numberNear(static_cast<double>(input.byte()));
    firing.sensitivity = input.numberNear(2.0);
    firing.threshold = input.numberNear(0.0);
    firing.adaptation_coupling = input.numberNear(1.0);
    firing.gain = input.numberNear(1.0);
    firing.max_hazard = input.numberNear(greatest_max_hazard);
    firing.silent = input.below(16) == 0;
    return firing;
}

NeuronParameters readNeuron(Input& input) {
    NeuronParameters neuron;
    const auto timeNear = [&input](ModelTime usual) {
        return input.below(6) != 0 ? usual : input.time();
    };
    neuron.tau_v = timeNear(neuron.tau_v);
    neuron.tau_a = timeNear(neuron.tau_a);
    neuron.refractory = timeNear(neuron.refractory);
    neuron.adaptation_step = input.numberNear(static_cast<double>(input.byte()) / 256.0);
    neuron.reset = input.numberNear(0.0);
    neuron.flush_below = input.numberNear(1e-15);
    neuron.absolute_refractory = input.below(4) != 0;
    neuron.hold_potential = input.below(4) == 0;
    return neuron;
}

/// Neurons that are silent until late, when doubles are further apart than 1 ns, and then fire as
/// fast as they may, with inputs every few ns.
void sleepUntilLate(Input& input, Scenario& scenario) {
    const ModelTime awakening = 190'000'000 * nanoseconds_per_second + input.byte();
    scenario.neuron = {
        .refractory = 0, .reset = 50.0, .absolute_refractory = false, .hold_potential = true};
    scenario.firing.assign(scenario.node_count, {.baseline_rate = 1e-15});
    for (Synapse& synapse : scenario.synapses) {
        synapse.delay = 1 + synapse.delay % 1'000;
    }
    scenario.horizon = awakening + nanoseconds_per_millisecond;
    scenario.perturbations.push_back(
        {.time = awakening, .strength = 50.0, .nodes = {0, scenario.node_count / 2}});
}

Scenario readScenario(Input& input) {
    Scenario scenario;
    scenario.node_count = input.below(5);
    if (input.below(4) == 0) {
        scenario.options.min_delay = input.time();
    }
    if (scenario.node_count != 0) {
        for (std::uint64_t k = input.below(9); k > 0; --k) {
            scenario.synapses.push_back(readSynapse(input, scenario.node_count));
        }
    }
    scenario.neuron = readNeuron(input);
    const bool shared = input.flag();
    const FiringParameters firing = readFiring(input);
    for (std::uint64_t k = 0; k < scenario.node_count; ++k) {
        scenario.firing.push_back(shared ? firing : readFiring(input));
    }
    if (input.below(32) == 0) {
        scenario.firing.emplace_back();
    }
    for (std::uint64_t k = input.below(3); k > 0; --k) {
        scenario.oscillators.push_back({.id = static_cast<std::uint32_t>(input.below(4)),
                                        .frequency_hz = input.numberNear(8.0),
                                        .phase = input.numberNear(0.0),
                                        .amplitude = input.numberNear(1.0)});
    }
    scenario.seed = input.word();
    if (input.flag()) {
        scenario.modulation.low = input.numberNear(-0.5);
        scenario.modulation.high = input.numberNear(0.5);
        scenario.modulation.bit = 10 + input.below(20);
        scenario.modulation_bound =
            input.numberNear(std::max(scenario.modulation.low, scenario.modulation.high));
    }
    scenario.horizon = input.time();
    if (input.below(4) == 0 && scenario.node_count != 0) {
        sleepUntilLate(input, scenario);
    }
    return scenario;
}

Perturbation readPerturbation(Input& input, ModelTime now) {
    Perturbation perturbation;
    perturbation.id = input.byte();
    const bool soon = input.below(4) != 0 && now >= 0 && now < greatest_soon;
    perturbation.time =
        soon ? now + static_cast<ModelTime>(input.byte()) * nanoseconds_per_millisecond
             : input.time();
    perturbation.type = static_cast<PerturbationType>(input.below(5));
    perturbation.strength = input.number();
    for (std::uint64_t k = input.below(4); k > 0; --k) {
        const bool usual = input.below(16) != 0;
        perturbation.nodes.push_back(usual ? input.below(4) : input.word());
        perturbation.synapses.push_back(usual ? input.below(8) : input.word());
        perturbation.oscillators.push_back(static_cast<std::uint32_t>(input.below(5)));
    }
    return perturbation;
}

bool haveSameBits(double a, double b) {
    // Which NaN it is depends on how the compiler orders operands.
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (a != a && b != b);
}

void compareTraces(std::span<const TraceRecord> trace, std::span<const TraceRecord> plain) {
    promise(std::ranges::equal(trace, plain,
                               [](const TraceRecord& a, const TraceRecord& b) {
                                   return a.node == b.node && a.time == b.time;
                               }),
            "the traces agree");
    promise(std::ranges::is_sorted(trace, {}, &TraceRecord::time), "time does not run backwards");
}

void compare(const Simulation& simulation, const PlainLoop& plain) {
    compareTraces(simulation.trace(), plain.trace());
    promise(simulation.now() == plain.now(), "the times reached agree");
    promise(simulation.horizon() == plain.horizon(), "the horizons agree");
    promise(simulation.eventCount() == plain.eventCount(), "equally many events were taken");
    for (NodeId node = 0; node < plain.neurons().size(); ++node) {
        const NeuronState& a = simulation.neurons()[node];
        const NeuronState& b = plain.neurons()[node];
        promise(haveSameBits(a.potential, b.potential), "the potentials agree");
        promise(haveSameBits(a.adaptation, b.adaptation), "the adaptations agree");
        promise(a.last_update == b.last_update, "the neurons are equally far");
        promise(a.refractory_until == b.refractory_until, "the refractory windows agree");
        promise((a.refractory_event == none) == (b.refractory_event == none),
                "the pending refractory ends agree");
    }
    for (EdgeId edge = 0; edge < plain.network().synapseCount(); ++edge) {
        promise(haveSameBits(static_cast<double>(simulation.network().synapse(edge).weight),
                             static_cast<double>(plain.network().synapse(edge).weight)),
                "the weights agree");
    }
    promise(std::ranges::equal(simulation.oscillators().phaseShifts(),
                               plain.oscillators().phaseShifts(), haveSameBits),
            "the phase shifts agree");
}

/// What came of an operation: nothing, an error, or the end of the work.
struct Ending {
    std::optional<Refusal> refusal;
    bool work_is_done = false;

    friend bool operator==(const Ending&, const Ending&) = default;
};

template <typename Operation>
Ending endingOf(const Operation& operation) {
    Ending ending;
    try {
        ending.refusal = refusalOf(operation);
    } catch (const WorkIsDone&) {
        ending.work_is_done = true;
    }
    return ending;
}

/// Puts one operation to both loops. Returns whether they can go on.
template <typename Operation>
bool both(Simulation& simulation, PlainLoop& plain, const Operation& operation) {
    const Ending ending = endingOf([&] { operation(simulation); });
    promise(ending == endingOf([&] { operation(plain); }), "both end alike");
    if (ending == Ending{}) {
        compare(simulation, plain);
        return true;
    }
    compareTraces(simulation.trace(), plain.trace());
    return false;
}

bool step(Input& input, Simulation& simulation, PlainLoop& plain) {
    switch (input.below(6)) {
    case 0: {
        const Perturbation perturbation = readPerturbation(input, plain.now());
        // A refused perturbation leaves the run as it was.
        if (!both(simulation, plain, [&](auto& loop) { loop.perturb(perturbation); })) {
            compare(simulation, plain);
        }
        return true;
    }
    case 1:
        return both(simulation, plain, [](auto& loop) { loop.drain(); });
    case 2: {
        const ModelTime horizon = input.time();
        const bool refused = horizon < plain.horizon() || plain.now() > plain.horizon();
        return both(simulation, plain, [&](auto& loop) { loop.extend(horizon); }) || refused;
    }
    default: {
        const ModelTime until = input.time();
        return both(simulation, plain, [&](auto& loop) { loop.runUntil(until); });
    }
    }
}

void runBeside(Input& input) {
    const Scenario scenario = readScenario(input);
    std::uint64_t judged = 0;
    std::uint64_t judged_plainly = 0;
    std::optional<Simulation> simulation;
    std::optional<PlainLoop> plain;
    const auto refusal =
        refusalOf([&] { simulation.emplace(scenario.setup(judged), scenario.horizon); });
    const auto plain_refusal =
        refusalOf([&] { plain.emplace(scenario.setup(judged_plainly), scenario.horizon); });
    promise(refusal == plain_refusal, "both begin alike");
    bool goes_on = !refusal;
    for (const Perturbation& perturbation : scenario.perturbations) {
        goes_on =
            goes_on && both(*simulation, *plain, [&](auto& loop) { loop.perturb(perturbation); });
    }
    while (goes_on && !input.isSpent()) {
        goes_on = step(input, *simulation, *plain);
        promise(judged == judged_plainly, "equally many candidates came due");
    }
    if (goes_on) {
        both(*simulation, *plain, [](auto& loop) { loop.drain(); });
    }
}

} // namespace

} // namespace Velmora::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Velmora::Fuzz::Input input(std::span(bytes, size));
    Velmora::Fuzz::runBeside(input);
    return 0;
}
