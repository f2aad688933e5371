#pragma once

#include <cstddef>

/// Counts what a program holds on the heap. A program that links this counts every allocation made
/// through operator new, without the allocator's own overhead. One thread.
namespace Velmora::Benchmarks {

/// Bytes allocated and not yet released.
[[nodiscard]] std::size_t heapBytes();

/// The greatest heapBytes() since the program started or restartHeapPeak() was called.
[[nodiscard]] std::size_t heapPeak();

void restartHeapPeak();

} // namespace Velmora::Benchmarks
