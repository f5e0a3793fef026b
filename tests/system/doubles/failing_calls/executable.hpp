#pragma once

/** @file Where the code of the service itself lies, to tell its calls from a library's. */

#include <cstdint>

namespace failing
{

/** Whether this address is in the executable's code. */
bool isInExecutable(const void* address) noexcept;

/** Where the present call comes from. */
struct Origin
{
    /** The library that made it, or the executable; the C and the C++ library made it for another.
     */
    const char* object = "";
    /** The place in the executable, as its file counts addresses, however many libraries on. */
    std::uintptr_t place = 0;
};

Origin originOfCall() noexcept;

} // namespace failing
