#pragma once

#include <dlfcn.h>

namespace fakes
{

/** The library function that a fake of the same name stands in front of. */
template <typename Function>
Function* nextSymbol(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name)); // NOLINT: what dlsym is for
}

} // namespace fakes
