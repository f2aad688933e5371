#pragma once

#include <ostream>
#include <span>

namespace Velmora::Conformance {

/// A group of checks: returns when all of them hold, throws otherwise.
using CheckGroup = void (*)();

/// Runs the groups in order, each to completion before the next, and returns the exit status of the
/// process.
///
/// 0 when every group returns; the summary line has been written to `out` then, and nothing to
/// `err`. 1 at the first exception derived from std::exception: its text and a line feed have been
/// written to `err`, nothing to `out`, and the remaining groups have not been run. Other exceptions
/// pass through.
[[nodiscard]] int runConformance(std::span<const CheckGroup> groups, std::ostream& out,
                                 std::ostream& err);

} // namespace Velmora::Conformance
