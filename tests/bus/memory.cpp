#include "memory.hpp"

#include <cstdlib>
#include <new>

namespace
{

constexpr int unlimited = -1;

/** How many more allocations of this thread succeed. */
thread_local int allocationsLeft = unlimited;

bool isExhausted()
{
    if (allocationsLeft > 0)
    {
        --allocationsLeft;
        return false;
    }
    return allocationsLeft == 0;
}

} // namespace

namespace bus_test
{

WithoutMemory::WithoutMemory(int allocations)
{
    allocationsLeft = allocations;
}

WithoutMemory::~WithoutMemory()
{
    allocationsLeft = unlimited;
}

} // namespace bus_test

// The C++ library's own allocations come here as well; it must see it, hence the visibility.
__attribute__((visibility("default"))) void* operator new(std::size_t size)
{
    void* const block = isExhausted() ? nullptr : std::malloc(size); // NOLINT: the allocator
    return block != nullptr ? block : throw std::bad_alloc();
}

__attribute__((visibility("default"))) void operator delete(void* block) noexcept
{
    std::free(block); // NOLINT: from malloc
}

__attribute__((visibility("default"))) void operator delete(void* block, std::size_t) noexcept
{
    std::free(block); // NOLINT: from malloc
}
