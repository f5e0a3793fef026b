#include "update/event_calls.hpp"

#include "fakes/next_symbol.hpp"

#include <sys/eventfd.h>

#include <cerrno>

namespace fakes
{

EventCalls& eventCalls()
{
    static EventCalls calls;
    return calls;
}

} // namespace fakes

// Takes the place of the C library's. A limit of the process would hit a sanitizer as well.
extern "C" __attribute__((visibility("default"))) int eventfd(unsigned int count, int flags)
{
    static auto* const next = fakes::nextSymbol<int(unsigned int, int)>("eventfd");
    if (fakes::eventCalls().noDescriptorLeft)
    {
        errno = EMFILE;
        return -1;
    }
    return next(count, flags);
}

extern "C" __attribute__((visibility("default"))) int eventfd_write(int descriptor, eventfd_t value)
{
    static auto* const next = fakes::nextSymbol<int(int, eventfd_t)>("eventfd_write");
    fakes::eventCalls().whenWoken();
    return next(descriptor, value);
}
