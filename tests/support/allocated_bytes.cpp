#include "tests/support/allocated_bytes.hpp"

#include <cstdlib>
#include <new>

namespace {
std::size_t allocated = 0; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
} // namespace

// NOLINTBEGIN(cppcoreguidelines-no-malloc, cppcoreguidelines-owning-memory)
void* operator new(std::size_t size) {
    allocated += size;
    void* const memory = std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

#ifdef __cpp_sized_deallocation
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
#endif
// NOLINTEND(cppcoreguidelines-no-malloc, cppcoreguidelines-owning-memory)

std::size_t Velmora::Tests::allocatedBytes() {
    return allocated;
}
