#pragma once

#include <cstddef>

namespace Velmora::Tests {

/// What this process has taken from the heap so far by `new`, in bytes, given back or not.
std::size_t allocatedBytes();

} // namespace Velmora::Tests
