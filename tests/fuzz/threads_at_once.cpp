#include "threads_at_once.hpp"

#include "fakes/next_symbol.hpp"

#include <pthread.h>

#include <memory>
#include <thread>

namespace
{

using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
using Detach = int(pthread_t);

auto current = fuzz::Threads::real;

} // namespace

namespace fuzz
{

void treatThreads(Threads treatment)
{
    current = treatment;
}

} // namespace fuzz

// The sanitizer's own, which knows of every thread; there is none in other builds.
extern "C" __attribute__((weak)) Create __interceptor_pthread_create; // NOLINT: its name

// Called from the C++ library, which must see them, hence the visibility.
extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument)
{
    switch (current)
    {
    case fuzz::Threads::atOnce:
        *thread = ::pthread_self();
        body(argument);
        return 0;
    case fuzz::Threads::never:
        // What its first step would take over.
        std::default_delete<std::thread::_State>()(static_cast<std::thread::_State*>(argument));
        *thread = ::pthread_self();
        return 0;
    case fuzz::Threads::real:
        break;
    }
    Create* const real = __interceptor_pthread_create != nullptr
                             ? __interceptor_pthread_create
                             : fakes::nextSymbol<Create>("pthread_create");
    return real(thread, attributes, body, argument);
}

extern "C" __attribute__((visibility("default"))) int pthread_detach(pthread_t thread)
{
    return current == fuzz::Threads::real ? fakes::nextSymbol<Detach>("pthread_detach")(thread) : 0;
}
