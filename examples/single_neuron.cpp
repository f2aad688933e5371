// One neuron under a constant drive, measured against theory.
//
// Without input, reset 0 and no adaptation, the potential stays 0. So outside its refractory window
// the neuron fires with the constant hazard
//
//     h = baseline_rate exp(sensitivity (0 - threshold)),
//
// its intervals are the window r plus an exponential wait of mean 1 / h, and its rate is
//
//     1 / (r + 1 / h) = h / (1 + h r).
//
// The program fails when a rate is further from theory than chance explains.
#include "core/kesp/simulation.hpp"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iomanip>
#include <iostream>

using namespace Velmora::Core;
using namespace Velmora::Core::Kesp;

namespace {

constexpr NeuronParameters neuron{.refractory = 3 * nanoseconds_per_millisecond};
constexpr ModelTime duration = 1000 * nanoseconds_per_second;

/// Spikes per second of a neuron that fires alone.
double measureRate(const FiringParameters& firing, std::uint64_t seed) {
    Simulation simulation({.network = Network(1, {}, {}),
                           .neuron = neuron,
                           .firing = {firing},
                           .random = Runtime::RandomContext(seed)},
                          duration);
    simulation.run();
    return static_cast<double>(simulation.trace().size()) / secondsBetween(0, duration);
}

} // namespace

int main() {
    const double r = secondsBetween(0, neuron.refractory);
    bool all_agree = true;

    std::cout << std::fixed << std::setprecision(2)
              << "drive   hazard Hz   theory Hz   measured Hz   standard errors\n";
    for (const double drive : {0.0, 0.5, 1.0, 1.5, 2.0}) {
        const FiringParameters firing{.baseline_rate = 10.0, .threshold = -drive};
        const double h = firing.baseline_rate * std::exp(firing.sensitivity * drive);
        const double theory = h / (1.0 + h * r);
        const double measured = measureRate(firing, 1);

        // The count of a renewal process over a long time T has the variance
        // T var(interval) / mean(interval)^3; here var(interval) = 1 / h^2.
        const double error =
            std::sqrt(theory * theory * theory / (h * h) / secondsBetween(0, duration));
        const double deviation = (measured - theory) / error;
        all_agree = all_agree && std::fabs(deviation) < 4.0;

        std::cout << std::setw(5) << drive << std::setw(12) << h << std::setw(12) << theory
                  << std::setw(14) << measured << std::setw(18) << deviation << '\n';
    }
    return all_agree ? EXIT_SUCCESS : EXIT_FAILURE;
}
