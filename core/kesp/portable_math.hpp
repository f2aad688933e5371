#pragma once

#include "core/kesp/exact_arithmetic.hpp"

#include <bit>
#include <cstdint>

/// The core's own exponential and natural logarithm.
///
/// Every exponential and logarithm of the neural substrate goes through these two functions and
/// never through the platform's mathematics library, whose last bits differ from system to system.
/// Both follow the published fdlibm algorithms operation by operation; each operation is rounded to
/// nearest and none may be fused, so the results are the same on every platform. The error is below
/// one unit in the last place; in places they differ from a correctly rounded library.
namespace Velmora::Core::Kesp {

namespace Detail {

/// ln 2 in two parts: the high one has trailing zeros, so that its product with an exponent is
/// exact.
inline constexpr double ln2_high = 0.6931471803691238;
inline constexpr double ln2_low = 1.9082149292705877e-10;

/// 2^exponent, for an exponent of a normal double: -1022 to 1023.
[[nodiscard]] constexpr double powerOfTwo(int exponent) {
    return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + 1023) << 52U);
}

/// y * 2^k, in steps where 2^k is not a normal double itself.
[[nodiscard]] constexpr double scaleByPowerOfTwo(double y, int k) {
    for (int step = 0; step < 2 && k > 1023; ++step) {
        y *= powerOfTwo(1023);
        k -= 1023;
    }
    for (int step = 0; step < 2 && k < -1022; ++step) {
        y *= powerOfTwo(-1022);
        k += 1022;
    }
    if (k > 1023) {
        k = 1023;
    } else if (k < -1022) {
        k = -1022;
    }
    return y * powerOfTwo(k);
}

} // namespace Detail

/// e^x.
///
/// Method: reduce x = k ln 2 + r with |r| <= ln 2 / 2, approximate e^r by a rational function of r
/// whose numerator and denominator share the polynomial c(r), and scale by 2^k. Special cases: NaN
/// gives x; above 709.782712893384 +infinity; below -745.1332191019411 zero.
[[nodiscard]] constexpr double portableExp(double x) {
    if (x != x) {
        return x;
    }
    if (x > 709.782712893384) {
        return std::numeric_limits<double>::infinity();
    }
    if (x < -745.1332191019411) {
        return 0.0;
    }
    const std::uint64_t magnitude = std::bit_cast<std::uint64_t>(x) & 0x7FFF'FFFF'FFFF'FFFFU;
    if (magnitude < 0x3E30'0000'0000'0000U) { // |x| < 2^-28
        return 1.0 + x;
    }

    int k = 0;
    double high = 0.0;
    double low = 0.0;
    double r = x;
    if (magnitude > 0x3FD6'2E42'0000'0000U) {      // |x| > ln 2 / 2
        if (magnitude >= 0x3FF0'A2B2'0000'0000U) { // |x| >= 3 ln 2 / 2
            k = static_cast<int>(x * 1.4426950408889634 + (x > 0.0 ? 0.5 : -0.5));
            high = x - k * Detail::ln2_high;
            low = k * Detail::ln2_low;
        } else if (x > 0.0) {
            k = 1;
            high = x - Detail::ln2_high;
            low = Detail::ln2_low;
        } else {
            k = -1;
            high = x + Detail::ln2_high;
            low = -Detail::ln2_low;
        }
        r = high - low;
    }

    const double t = r * r;
    const double c =
        r
        - t
              * (0.16666666666666602
                 + t
                       * (-0.0027777777777015593
                          + t
                                * (6.613756321437934e-05
                                   + t * (-1.6533902205465252e-06 + t * 4.1381367970572385e-08))));
    if (k == 0) {
        return 1.0 - ((r * c) / (c - 2.0) - r);
    }
    const double y = 1.0 - ((low - (r * c) / (2.0 - c)) - high);
    return Detail::scaleByPowerOfTwo(y, k);
}

/// The natural logarithm of x.
///
/// Method: x = 2^k (1 + f) with 1 + f in [sqrt(2)/2, sqrt(2)); with s = f / (2 + f) and R a
/// polynomial,
///
///     log(1 + f) = f - f^2/2 + s (f^2/2 + R(s^2)).
///
/// That combination serves every f that is not tiny. Special cases: NaN gives x; a zero -infinity;
/// a negative number NaN; +infinity itself.
[[nodiscard]] constexpr double portableLog(double x) {
    if (x != x) {
        return x;
    }
    if (x == 0.0) {
        return -std::numeric_limits<double>::infinity();
    }
    if (x < 0.0) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (x == std::numeric_limits<double>::infinity()) {
        return x;
    }

    int exponent = -1023;
    if (x < std::numeric_limits<double>::min()) { // subnormal: bring it into the normal range
        x *= 18014398509481984.0;                 // 2^54
        exponent -= 54;
    }
    const auto bits = std::bit_cast<std::uint64_t>(x);
    const auto high_word = static_cast<std::uint32_t>(bits >> 32U);
    exponent += static_cast<int>(high_word >> 20U);
    const std::uint32_t mantissa = high_word & 0x000F'FFFFU;
    const std::uint32_t halve =
        (mantissa + 0x9'5F64U) & 0x10'0000U; // set when 1 + f would pass sqrt(2)
    const std::uint64_t scaled_high_word = mantissa | (halve ^ 0x3FF0'0000U);
    exponent += static_cast<int>(halve >> 20U);
    const double f = std::bit_cast<double>((scaled_high_word << 32U) | (bits & 0xFFFF'FFFFU)) - 1.0;
    const double k = exponent;

    if ((0x000F'FFFFU & (2U + mantissa)) < 3U) { // |f| < 2^-20
        if (f == 0.0) {
            return exponent == 0 ? 0.0 : k * Detail::ln2_high + k * Detail::ln2_low;
        }
        const double remainder = (f * f) * (0.5 - f * 0.3333333333333333);
        return exponent == 0 ? f - remainder
                             : k * Detail::ln2_high - ((remainder - k * Detail::ln2_low) - f);
    }

    const double half_square = (f * 0.5) * f;
    const double s = f / (2.0 + f);
    const double z = s * s;
    const double w = z * z;
    const double odd_terms =
        z
        * (0.6666666666666735
           + w * (0.2857142874366239 + w * (0.1818357216161805 + w * 0.14798198605116586)));
    const double even_terms =
        w * (0.3999999999940942 + w * (0.22222198432149784 + w * 0.15313837699209373));
    const double q = ((odd_terms + even_terms) + half_square) * s;
    return exponent == 0 ? f - (half_square - q)
                         : k * Detail::ln2_high - ((half_square - (k * Detail::ln2_low + q)) - f);
}

} // namespace Velmora::Core::Kesp
