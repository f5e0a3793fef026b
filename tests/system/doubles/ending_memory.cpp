/**
 * @file
 * A controller on which an allocation fails at a chosen moment: the first that a thread of the
 * service makes between its first log line of the format $MEMORY_ENDS_AFTER and its next line.
 */

#include "next_function.hpp"
#include "platform/dlog.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <string_view>

namespace
{

/** Whether the next allocation of this thread fails. */
thread_local bool memoryHasEnded = false;

/** Whether the failure follows this line; it does so once. */
bool endsWith(std::string_view format)
{
    static std::atomic<bool> over{false};
    const char* last = std::getenv("MEMORY_ENDS_AFTER"); // NOLINT(concurrency-mt-unsafe)
    return last != nullptr && format == last && !over.exchange(true);
}

using Allocation = void*(std::size_t);

void* allocate(std::size_t size, Allocation* next)
{
    if (memoryHasEnded)
    {
        memoryHasEnded = false;
        throw std::bad_alloc();
    }
    return next(size);
}

} // namespace

extern "C" void dlog_vprintf(int level, int module, const char* format, va_list arguments)
{
    static auto* const next = nextFunction("dlog_vprintf", &dlog_vprintf);
    memoryHasEnded = false; // the log has memory
    next(level, module, format, arguments);
    memoryHasEnded = endsWith(format);
}

void* operator new(std::size_t size)
{
    static auto* const next = reinterpret_cast<Allocation*>(nextFunction("_Znwm")); // NOLINT
    return allocate(size, next);
}

// A sanitizer's own does not come by the one above.
void* operator new[](std::size_t size)
{
    static auto* const next = reinterpret_cast<Allocation*>(nextFunction("_Znam")); // NOLINT
    return allocate(size, next);
}
