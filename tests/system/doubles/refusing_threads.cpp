/**
 * @file
 * A C library that starts no thread at one time of asking: the $REFUSED_THREAD-th (counted from 1),
 * with EAGAIN.
 */

#include "next_function.hpp"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) noexcept
{
    static std::atomic<int> calls;
    static auto* const next = nextFunction("pthread_create", &pthread_create);
    const char* refused = std::getenv("REFUSED_THREAD"); // NOLINT(concurrency-mt-unsafe)
    const bool isRefused =
        refused != nullptr && ++calls == std::atoi(refused); // NOLINT(cert-err34-c)
    return isRefused ? EAGAIN : next(thread, attributes, body, argument);
}
