#include "core/kesp/portable_math.hpp"
#include "core/runtime/random_context.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace Velmora::Tests {

using namespace Core::Kesp;

// The digests were computed by a second implementation, in another language.
TEST(PortableMath, HoldsToTheLastBitOverASample) {
    const auto fold = [](std::uint64_t& digest, double result, long double exact) {
        digest = (digest ^ std::bit_cast<std::uint64_t>(result)) * 0x100'0000'01b3U;
        EXPECT_EQ(std::nextafter(static_cast<double>(exact), result), result); // within one ulp
    };
    std::uint64_t exp_digest = 0xcbf2'9ce4'8422'2325U;
    std::uint64_t log_digest = exp_digest;
    const auto add = [&](std::uint64_t exp_bits, std::uint64_t log_bits) {
        const auto x = std::bit_cast<double>(exp_bits);
        const auto y = std::bit_cast<double>(log_bits);
        fold(exp_digest, portableExp(x), std::exp(static_cast<long double>(x)));
        fold(log_digest, portableLog(y), std::log(static_cast<long double>(y)));
    };
    for (const std::uint64_t edge : // where a branch of either function begins
         {0x0000'0000'0000'0002ULL, 0x0010'0000'0000'0000ULL, 0x3E30'0000'0000'0000ULL,
          0x3FD6'2E42'0000'0000ULL, 0x3FE6'A09C'0000'0000ULL, 0x3FEF'FFFD'0000'07CAULL,
          0x3FEF'FFFE'0000'0000ULL, 0x3FEF'FFFF'0000'0000ULL, 0x3FF0'0000'0000'0000ULL,
          0x3FF0'0001'0000'0000ULL, 0x3FF0'0001'4DF0'0000ULL, 0x3FF0'A2B2'0000'0000ULL,
          0x3FF6'A09C'0000'0000ULL, 0x4086'2E42'FEFA'39EFULL, 0x4087'4910'D52D'3051ULL,
          0x7FEF'FFFF'FFFF'FFFEULL}) {
        for (const std::uint64_t bits : {edge - 1, edge, edge + 1}) {
            add(bits, bits);
            add(bits | 1ULL << 63U, bits);
        }
    }
    for (std::uint64_t i = 0; i < 50'000; ++i) { // 2^-31 to 2^9; any, or [0.5, 2)
        const std::uint64_t bits = Core::Runtime::mix(i);
        add((bits & 0x800F'FFFF'FFFF'FFFFU) | (992 + (bits >> 52U) % 41) << 52U,
            i % 2 == 0 ? (bits >> 1U) % (0x7FFULL << 52U) : (0x3FEULL << 52U) + (bits >> 11U));
    }
    EXPECT_EQ(exp_digest, 0x2eda'bc5c'1b94'2e6fU);
    EXPECT_EQ(log_digest, 0xf246'1fdd'257c'96afU);
    EXPECT_EQ(std::pair(portableLog(HUGE_VAL), portableLog(-0.0)), std::pair(HUGE_VAL, -HUGE_VAL));
    EXPECT_TRUE(std::isnan(portableExp(std::nan(""))) && std::isnan(portableLog(std::nan(""))));
    EXPECT_TRUE(std::isnan(portableLog(-5e-324)) && std::isnan(portableLog(-HUGE_VAL)));
}

} // namespace Velmora::Tests
