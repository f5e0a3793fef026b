#include "next_function.hpp"

#include <dlfcn.h>

#include <cstdlib>

void* nextFunction(const char* name)
{
    void* function = dlsym(RTLD_NEXT, name);
    if (function == nullptr)
    {
        std::abort();
    }
    return function;
}
