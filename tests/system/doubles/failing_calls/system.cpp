/**
 * @file
 * The C library's calls that stand between the service and its bus, and under its event loop and
 * its threads.
 */

#include "../next_function.hpp"
#include "control.hpp"

#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/uio.h>

#include <cerrno>

using failing::Class;
using failing::isFailed;
using failing::judge;

extern "C"
{

    int socket(int domain, int type, int protocol) noexcept
    {
        static auto* const next = nextFunction("socket", &socket);
        return isFailed(Class::sockets, "socket") ? -1 : next(domain, type, protocol);
    }

    int connect(int fd, const sockaddr* address, socklen_t length)
    {
        static auto* const next = nextFunction("connect", &connect);
        return isFailed(Class::sockets, "connect") ? -1 : next(fd, address, length);
    }

    ssize_t sendmsg(int fd, const msghdr* message, int flags)
    {
        static auto* const next = nextFunction("sendmsg", &sendmsg);
        return isFailed(Class::sockets, "sendmsg") ? -1 : next(fd, message, flags);
    }

    ssize_t recvmsg(int fd, msghdr* message, int flags)
    {
        static auto* const next = nextFunction("recvmsg", &recvmsg);
        const auto verdict = judge(Class::sockets, "recvmsg");
        if (verdict.ends())
        {
            return 0; // the other end has gone
        }
        return verdict.fails() ? -1 : next(fd, message, flags);
    }

    ssize_t writev(int fd, const iovec* parts, int count)
    {
        static auto* const next = nextFunction("writev", &writev);
        return isFailed(Class::sockets, "writev") ? -1 : next(fd, parts, count);
    }

    int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* signals)
    {
        static auto* const next = nextFunction("ppoll", &ppoll);
        return isFailed(Class::sockets, "ppoll") ? -1 : next(descriptors, count, timeout, signals);
    }

    int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                       void* argument) noexcept
    {
        static auto* const next = nextFunction("pthread_create", &pthread_create);
        const int kept = errno;
        const bool failed = isFailed(Class::system, "pthread_create");
        const int error = failed ? errno : 0;
        errno = kept; // this one returns the number instead
        return failed ? error : next(thread, attributes, body, argument);
    }

    int eventfd(unsigned int value, int flags) noexcept
    {
        static auto* const next = nextFunction("eventfd", &eventfd);
        return isFailed(Class::system, "eventfd") ? -1 : next(value, flags);
    }

    int eventfd_read(int fd, eventfd_t* value)
    {
        static auto* const next = nextFunction("eventfd_read", &eventfd_read);
        return isFailed(Class::system, "eventfd_read") ? -1 : next(fd, value);
    }

    int epoll_create1(int flags) noexcept
    {
        static auto* const next = nextFunction("epoll_create1", &epoll_create1);
        return isFailed(Class::system, "epoll_create1") ? -1 : next(flags);
    }

    int epoll_ctl(int epoll, int operation, int fd, epoll_event* event) noexcept
    {
        static auto* const next = nextFunction("epoll_ctl", &epoll_ctl);
        return isFailed(Class::system, "epoll_ctl") ? -1 : next(epoll, operation, fd, event);
    }

    int timerfd_create(int clock, int flags) noexcept
    {
        static auto* const next = nextFunction("timerfd_create", &timerfd_create);
        return isFailed(Class::system, "timerfd_create") ? -1 : next(clock, flags);
    }
}
