#include "auth/openssl_calls.hpp"
#include "auth/openssl_resources.hpp"

#include <cstddef>
#include <new>

// The program's own calls of malloc and free come to these by the linker's help, see meson.build:
// symbols named malloc and free would serve every library too.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's names
extern "C" void* __real_malloc(std::size_t size);
extern "C" void __real_free(void* block);

extern "C" void* __wrap_malloc(std::size_t size)
{
    return fakes::fails("malloc") ? nullptr : fakes::taken(__real_malloc(size), "malloc");
}

extern "C" void __wrap_free(void* block)
{
    fakes::givenBack(block);
    __real_free(block);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return fakes::fails("new") ? nullptr : fakes::taken(__real_malloc(size), "new");
}

void* operator new[](std::size_t size)
{
    void* const block = __real_malloc(size);
    return block != nullptr ? block : throw std::bad_alloc();
}

void operator delete[](void* block) noexcept
{
    __wrap_free(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    __wrap_free(block);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
