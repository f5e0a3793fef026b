/**
 * @file
 * The allocator: everything in the process that allocates comes through here, the C++ library's
 * operator new and the C library's own functions among it.
 */

#include "../next_function.hpp"
#include "control.hpp"

#include <dlfcn.h>
#include <malloc.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace
{

using failing::Class;

/** What is asked for while the next allocator is still being looked up; never given back. */
class FirstBlocks
{
  public:
    void* take(std::size_t size)
    {
        constexpr std::size_t alignment = alignof(std::max_align_t);
        const std::size_t begin = used_;
        used_ += (size + alignment - 1) / alignment * alignment;
        return used_ > memory_.size() ? nullptr : &memory_.at(begin);
    }

    bool holds(const void* block) const
    {
        return block >= memory_.data() && block < memory_.data() + memory_.size();
    }

  private:
    alignas(std::max_align_t) std::array<std::byte, 16384> memory_{};
    std::size_t used_ = 0;
};

FirstBlocks firstBlocks; // NOLINT: one for the process

/** The next library's function, or null while it is being looked up. */
template <typename Function>
Function* nextAllocator(const char* name, Function* /*shadow*/)
{
    static Function* next = nullptr;
    static bool isSearching = false;
    if (next == nullptr && !isSearching)
    {
        isSearching = true;
        next = reinterpret_cast<Function*>(nextFunction(name));
        isSearching = false;
    }
    return next;
}

/** What a block takes: the allocator itself may give a little more than was asked for. */
std::int64_t sizeOf(void* block)
{
    return static_cast<std::int64_t>(malloc_usable_size(block));
}

void* counted(void* block)
{
    if (block != nullptr)
    {
        failing::countMemory(1, sizeOf(block));
    }
    return block;
}

} // namespace

extern "C"
{

    void* malloc(std::size_t size) noexcept
    {
        auto* const next = nextAllocator("malloc", &malloc);
        if (next == nullptr)
        {
            return firstBlocks.take(size);
        }
        return failing::isFailed(Class::memory, "malloc") ? nullptr : counted(next(size));
    }

    void* calloc(std::size_t count, std::size_t size) noexcept
    {
        auto* const next = nextAllocator("calloc", &calloc);
        if (next == nullptr)
        {
            return firstBlocks.take(count * size);
        }
        return failing::isFailed(Class::memory, "calloc") ? nullptr : counted(next(count, size));
    }

    void* realloc(void* block, std::size_t size) noexcept
    {
        auto* const next = nextAllocator("realloc", &realloc);
        if (failing::isFailed(Class::memory, "realloc"))
        {
            return nullptr;
        }
        const std::int64_t before = sizeOf(block);
        void* const moved = next(block, size);
        if (block != nullptr && (moved != nullptr || size == 0))
        {
            failing::countMemory(-1, -before);
        }
        return counted(moved);
    }

    void free(void* block) noexcept
    {
        auto* const next = nextAllocator("free", &free);
        if (block == nullptr || next == nullptr || firstBlocks.holds(block))
        {
            return;
        }
        failing::countMemory(-1, -sizeOf(block));
        next(block);
    }

    int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept
    {
        auto* const next = nextAllocator("posix_memalign", &posix_memalign);
        if (failing::isFailed(Class::memory, "posix_memalign"))
        {
            return ENOMEM;
        }
        const int result = next(block, alignment, size);
        return result == 0 ? (counted(*block), 0) : result;
    }

    void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
    {
        auto* const next = nextAllocator("aligned_alloc", &aligned_alloc);
        return failing::isFailed(Class::memory, "aligned_alloc") ? nullptr
                                                                 : counted(next(alignment, size));
    }
}
