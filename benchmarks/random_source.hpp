#pragma once

#include "core/kesp/model_time.hpp"
#include "core/runtime/random_context.hpp"

#include <cstdint>

namespace Velmora::Benchmarks {

/// Cheap random numbers for the inputs of a benchmark, the same in every run.
class RandomSource {
  public:
    std::uint64_t next() {
        state_ += Core::Runtime::golden_increment;
        return Core::Runtime::mix(state_);
    }

    /// One of 0, 1, ..., limit - 1.
    std::uint64_t below(std::uint64_t limit) { return next() % limit; }

    /// A time span of 0 ns up to, not including, `limit`.
    Core::Kesp::ModelTime spanBelow(Core::Kesp::ModelTime limit) {
        return static_cast<Core::Kesp::ModelTime>(below(static_cast<std::uint64_t>(limit)));
    }

    /// In [low, high).
    double between(double low, double high) {
        return low + (high - low) * (static_cast<double>(next() >> 11U) * 0x1p-53);
    }

  private:
    std::uint64_t state_ = 1;
};

} // namespace Velmora::Benchmarks
