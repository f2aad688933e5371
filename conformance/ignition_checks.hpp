#pragma once

#include <span>

namespace Velmora::Conformance {

/// The mean G(t), in Hz, of four trials of 1.5 s with the standard stimulus multiplied by
/// `strength`.
///
/// Errors of the trials pass through.
[[nodiscard]] double meanIgnition(double strength);

/// Demands that every mean G(t) is strictly greater than the one before it.
///
/// Throws as check does.
void checkRisingIgnition(std::span<const double> means);

} // namespace Velmora::Conformance
