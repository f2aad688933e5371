#pragma once

#include "core/kesp/model_time.hpp"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

/// What the fuzzers have in common.
namespace Velmora::Fuzz {

/// The bytes that the fuzzing engine invented, read as decisions. Past their end all are 0.
class Input {
    using ModelTime = Core::Kesp::ModelTime;

  public:
    explicit Input(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    [[nodiscard]] bool isSpent() const { return position_ >= bytes_.size(); }

    std::uint8_t byte() { return isSpent() ? std::uint8_t{0} : bytes_[position_++]; }

    bool flag() { return (byte() & 1U) != 0; }

    /// 0 to count - 1.
    std::uint64_t below(std::uint64_t count) { return byte() % count; }

    std::uint64_t word() {
        std::uint64_t result = 0;
        for (int k = 0; k < 8; ++k) {
            result = (result << 8U) | byte();
        }
        return result;
    }

    /// Any double: an ordinary one, one that is often a border, or any bits.
    double number() {
        constexpr double infinity = std::numeric_limits<double>::infinity();
        constexpr double greatest = std::numeric_limits<double>::max();
        constexpr std::array borders{0.0,
                                     -0.0,
                                     1.0,
                                     -1.0,
                                     0.5,
                                     2.0,
                                     5.0,
                                     40.0,
                                     1000.0,
                                     1e6,
                                     1e9,
                                     1e-9,
                                     1e-30,
                                     1e-300,
                                     1e300,
                                     greatest,
                                     -greatest,
                                     infinity,
                                     700.0,
                                     -600.0,
                                     1e-15,
                                     -infinity,
                                     std::numeric_limits<double>::quiet_NaN(),
                                     std::numeric_limits<double>::min(),
                                     std::numeric_limits<double>::denorm_min()};
        switch (below(8)) {
        case 0:
            return std::bit_cast<double>(word());
        case 1:
        case 2:
            return borders[below(borders.size())];
        default:
            return (static_cast<double>(byte()) - 32.0) / 16.0;
        }
    }

    /// `usual` most of the time, any double otherwise.
    double numberNear(double usual) { return below(6) != 0 ? usual : number(); }

    /// Any time: within a few or a few hundred ns or ms of 0, a border, or any at all.
    ModelTime time() {
        using namespace Core::Kesp;
        constexpr std::array<ModelTime, 8> borders{before_any_event,
                                                   before_any_event + 1,
                                                   -1,
                                                   0,
                                                   1,
                                                   end_of_time - 1,
                                                   end_of_time,
                                                   200'000'000 * nanoseconds_per_second};
        switch (below(8)) {
        case 0:
            return std::bit_cast<ModelTime>(word());
        case 1:
            return borders[below(borders.size())];
        case 2:
            return static_cast<ModelTime>(byte()) - 16;
        case 3: {
            const std::uint64_t power = std::uint64_t{1} << below(64);
            return std::bit_cast<ModelTime>(flag() ? power - 1 : power);
        }
        case 4:
            return static_cast<ModelTime>(byte()) * 1'000;
        default:
            return static_cast<ModelTime>(byte()) * nanoseconds_per_millisecond;
        }
    }

  private:
    std::span<const std::uint8_t> bytes_;
    std::size_t position_ = 0;
};

} // namespace Velmora::Fuzz
