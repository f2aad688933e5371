#pragma once

#include "core/kesp/model_time.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

namespace Velmora::Core::Kesp {

/// 2 pi, the period of a phase in radians.
inline constexpr double full_turn = 6.283185307179586;

/// A periodic phase signal in model time.
struct OscillatorSpec {
    /// Unique within a bank.
    std::uint32_t id = 0;
    /// Cycles per second; finite, >= 0.
    double frequency_hz = 0.0;
    /// Phase at time 0 in radians; finite.
    double phase = 0.0;
    /// Finite, >= 0. The core only keeps it.
    double amplitude = 0.0;
};

/// x radians wrapped into [0, 2 pi); a negative x so small that its sum with 2 pi rounds to 2 pi
/// gives that.
[[nodiscard]] double wrapPhase(double x);

/// The fractional part of x n, by doubling: the product, whose integer part would cost precision,
/// is never formed.
[[nodiscard]] double fractionalTimes(double x, std::uint64_t n);

/// The oscillators of one run, and for each an accumulated phase shift. A bank never gains or loses
/// oscillators; it changes only through shiftPhase. All errors are InvalidOscillator and are raised
/// before anything changes.
class OscillatorBank {
  public:
    /// A bank of these oscillators; an oscillator's index is its position in the list.
    /// Throws, for the first spec at fault, "invalid KESP oscillator parameters", then "duplicate
    /// KESP oscillator id".
    explicit OscillatorBank(std::vector<OscillatorSpec> specs);

    /// The phase (as wrapPhase gives it) at time t of an oscillator whose phase is shifted by
    /// `extra` radians: 2 pi frequency t + phase + extra, without drift at any t, negative ones
    /// too: whole seconds and the rest are taken apart and only fractions of cycles are added.
    /// Throws "invalid KESP oscillator parameters" when a parameter or `extra` is out of its range.
    /// Where the sum of phase and `extra` is not finite, the result is not a number.
    [[nodiscard]] static double phaseAt(const OscillatorSpec& spec, ModelTime t, double extra);

    /// The phase, as wrapPhase gives it, of oscillator `index` at t, its accumulated shift
    /// included. `index` must be below the number of oscillators.
    [[nodiscard]] double currentPhase(std::size_t index, ModelTime t) const;

    /// Throws "unknown KESP oscillator id".
    [[nodiscard]] std::size_t indexOf(std::uint32_t id) const;

    /// Adds `delta` radians to the oscillator's accumulated shift, modulo 2 pi.
    /// Throws "oscillator phase shift must be finite", then as indexOf.
    void shiftPhase(std::uint32_t id, double delta);

    /// The oscillators as they were given, by index.
    [[nodiscard]] std::span<const OscillatorSpec> specs() const { return specs_; }

    /// The accumulated shifts, as wrapPhase gives them, by index.
    [[nodiscard]] std::span<const double> phaseShifts() const { return phase_shifts_; }

  private:
    std::vector<OscillatorSpec> specs_;
    std::unordered_map<std::uint32_t, std::size_t> index_of_id_;
    std::vector<double> phase_shifts_;
};

} // namespace Velmora::Core::Kesp
