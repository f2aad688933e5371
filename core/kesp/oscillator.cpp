#include "core/kesp/oscillator.hpp"

#include "core/kesp/errors.hpp"

#include <cmath>
#include <utility>

namespace Velmora::Core::Kesp {

double wrapPhase(double x) {
    const double remainder = std::fmod(x, full_turn);
    return remainder < 0.0 ? remainder + full_turn : remainder;
}

double fractionalTimes(double x, std::uint64_t n) {
    x = std::fmod(x, 1.0);
    double fraction = 0.0;
    for (; n > 0; n >>= 1U) {
        if ((n & 1U) != 0) {
            fraction = std::fmod(fraction + x, 1.0);
        }
        x = std::fmod(x + x, 1.0);
    }
    return fraction;
}

OscillatorBank::OscillatorBank(std::vector<OscillatorSpec> specs)
    : specs_(std::move(specs)),
      phase_shifts_(specs_.size(), 0.0) {
    index_of_id_.reserve(specs_.size());
    for (std::size_t index = 0; index < specs_.size(); ++index) {
        static_cast<void>(phaseAt(specs_[index], 0, 0.0)); // for its checks
        if (!index_of_id_.emplace(specs_[index].id, index).second) {
            throw InvalidOscillator("duplicate KESP oscillator id");
        }
    }
}

double OscillatorBank::phaseAt(const OscillatorSpec& spec, ModelTime t, double extra) {
    const auto magnitude = [](double value) { return std::isfinite(value) && !(value < 0.0); };
    if (!magnitude(spec.frequency_hz) || !std::isfinite(spec.phase) || !magnitude(spec.amplitude)
        || !std::isfinite(extra)) {
        throw InvalidOscillator("invalid KESP oscillator parameters");
    }
    const std::int64_t seconds = t / nanoseconds_per_second;
    const std::int64_t rest_ns = t - seconds * nanoseconds_per_second;
    const double fraction_hz = std::fmod(spec.frequency_hz, 1.0);
    const double whole_second_cycles =
        seconds >= 0 ? fractionalTimes(fraction_hz, static_cast<std::uint64_t>(seconds))
                     : -fractionalTimes(fraction_hz, static_cast<std::uint64_t>(-seconds));
    const double cycle = std::fmod(
        (static_cast<double>(rest_ns) / 1e9) * spec.frequency_hz + whole_second_cycles, 1.0);
    return wrapPhase(cycle * full_turn + (spec.phase + extra));
}

double OscillatorBank::currentPhase(std::size_t index, ModelTime t) const {
    return phaseAt(specs_[index], t, phase_shifts_[index]);
}

std::size_t OscillatorBank::indexOf(std::uint32_t id) const {
    const auto found = index_of_id_.find(id);
    if (found == index_of_id_.end()) {
        throw InvalidOscillator("unknown KESP oscillator id");
    }
    return found->second;
}

void OscillatorBank::shiftPhase(std::uint32_t id, double delta) {
    if (!std::isfinite(delta)) {
        throw InvalidOscillator("oscillator phase shift must be finite");
    }
    double& shift = phase_shifts_[indexOf(id)];
    shift = wrapPhase(delta + shift);
}

} // namespace Velmora::Core::Kesp
