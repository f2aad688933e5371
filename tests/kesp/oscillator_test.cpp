#include "core/kesp/errors.hpp"
#include "core/kesp/oscillator.hpp"
#include "tests/support/expect_error.hpp"

#include <cmath>

namespace Velmora::Tests {

using namespace Core::Kesp;

TEST(Oscillator, HasTheKnownPhases) {
    const auto phase = [](double hz, ModelTime t, double start = 0.0, double extra = 0.0) {
        return OscillatorBank::phaseAt({.frequency_hz = hz, .phase = start}, t, extra);
    };
    EXPECT_EQ(phase(10.0, 25'000'000), 1.5707963267948966);
    EXPECT_EQ(phase(0.25, -1'000'000'000), 4.71238898038469);
    EXPECT_EQ(phase(40.0, 0, 1.0, -2.0), 5.283185307179586);
    EXPECT_EQ(wrapPhase(7.0), 0.7168146928204138);
    // Some 10^12 cycles away from time 0; exact rational arithmetic gave the phases.
    EXPECT_NEAR(phase(10.1, 9'000'000'000'123'456'789), 1.5513836181332057, 1e-11);
    EXPECT_NEAR(phase(0.3, before_any_event), 5.928608572686231, 1e-11);
}

TEST(Oscillator, BankChecksItsSpecsAndAccumulatesShifts) {
    const auto refuses = [](const char* t, auto op) { expectError<InvalidOscillator>(op, t); };
    constexpr const char* bad_spec = "invalid KESP oscillator parameters";
    for (const double x : {HUGE_VAL, std::nan(""), -1.0}) {
        refuses(bad_spec, [&] { OscillatorBank({{.id = 3}, {3, x, 0.0, 0.0}}); });
        refuses(bad_spec, [&] { OscillatorBank({{.id = 3}, {3, 0.0, x * HUGE_VAL, 0.0}}); });
        refuses(bad_spec, [&] { OscillatorBank({{.id = 3}, {3, 0.0, 0.0, x}}); });
        refuses(bad_spec, [&] { return OscillatorBank::phaseAt({}, 0, x * HUGE_VAL); });
    }
    refuses("duplicate KESP oscillator id", [] { OscillatorBank({{3}, {4}, {3}}); });
    OscillatorBank bank({{.id = 9, .frequency_hz = 2.0}, {.id = 4, .phase = -1.0}});
    bank.shiftPhase(4, -1.0);
    EXPECT_EQ(bank.phaseShifts()[1], 5.283185307179586);
    bank.shiftPhase(4, 2.0);
    refuses("oscillator phase shift must be finite", [&] { bank.shiftPhase(5, std::nan("")); });
    refuses("unknown KESP oscillator id", [&] { bank.shiftPhase(5, 1.0); });
    EXPECT_EQ(bank.currentPhase(bank.indexOf(4), 123), 0.0);
}

} // namespace Velmora::Tests
