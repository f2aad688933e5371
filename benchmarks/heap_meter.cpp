#include "benchmarks/heap_meter.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Velmora::Benchmarks {

namespace {

struct Meter {
    std::size_t bytes = 0;
    std::size_t peak = 0;
};

Meter& meter() {
    static constinit Meter instance;
    return instance;
}

/// Every block is preceded by its size. That takes as much room as the alignment asks for.
void* allocate(std::size_t size, std::size_t alignment) {
    const std::size_t whole = (size / alignment + 2) * alignment;
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): what operator new is made of
    auto* const begin = static_cast<std::byte*>(std::aligned_alloc(alignment, whole));
    if (begin == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(begin, &size, sizeof size);
    Meter& counts = meter();
    counts.bytes += size;
    counts.peak = std::max(counts.peak, counts.bytes);
    return begin + alignment;
}

void release(void* block, std::size_t alignment) {
    if (block == nullptr) {
        return;
    }
    std::byte* const begin = static_cast<std::byte*>(block) - alignment;
    std::size_t size = 0;
    std::memcpy(&size, begin, sizeof size);
    meter().bytes -= size;
    // NOLINTNEXTLINE(*-no-malloc,*-owning-memory): what operator delete is made of
    std::free(begin);
}

} // namespace

std::size_t heapBytes() {
    return meter().bytes;
}

std::size_t heapPeak() {
    return meter().peak;
}

void restartHeapPeak() {
    meter().peak = meter().bytes;
}

} // namespace Velmora::Benchmarks

// The standard's other forms of new and delete come down to these.

void* operator new(std::size_t size) {
    return Velmora::Benchmarks::allocate(size, alignof(std::max_align_t));
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    return Velmora::Benchmarks::allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* block) noexcept {
    Velmora::Benchmarks::release(block, alignof(std::max_align_t));
}

void operator delete(void* block, std::align_val_t alignment) noexcept {
    Velmora::Benchmarks::release(block, static_cast<std::size_t>(alignment));
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}

void operator delete(void* block, std::size_t /*size*/, std::align_val_t alignment) noexcept {
    operator delete(block, alignment);
}
