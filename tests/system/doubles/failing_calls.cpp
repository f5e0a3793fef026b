#include "failing_calls/control.hpp"
#include "failing_calls/executable.hpp"

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace failing
{

namespace
{

/** Which threads' calls count. */
enum class Scope : std::uint64_t
{
    all = 0,
    main = 1,
    others = 2,
};

/** The file $FAILING_CALLS; tests/support/failing_calls.py writes the same. */
struct Control
{
    std::atomic<Class> armed;
    std::atomic<Scope> scope;
    std::atomic<std::uint64_t> number;  ///< which call fails, from 1
    std::atomic<std::int64_t> effect;   ///< an error number; -1: half a transfer, -2: end of file
    std::atomic<std::uint64_t> forGood; ///< whether all later ones fail as well
    std::atomic<std::uint64_t> count;   ///< calls since it was armed
    std::atomic<std::uint64_t> failed;  ///< how many of them were made to fail
    std::atomic<std::int64_t> blocks;   ///< of memory, in use
    std::atomic<std::int64_t> waits;    ///< for signals, begun by the service itself
    std::atomic<std::uintptr_t> place;  ///< in the executable, of the first that was made to fail
    std::array<char, 64> call;          ///< name of the first, and who made it
    std::atomic<std::int64_t> bytes;    ///< of memory, in use
    std::atomic<std::uint64_t> trim;    ///< whether the next wait gives unused memory back first
};

/** Stands in until the file is mapped, and where there is none. */
Control unarmed{};
std::atomic<Control*> control{&unarmed};

/** Whether calls are counted yet. */
std::atomic<bool> counting{false};

// Part of the block that every thread has from its beginning: other thread-local memory would have
// to be allocated, in the middle of an allocation.
[[gnu::tls_model("initial-exec")]] thread_local bool outside = false;
[[gnu::tls_model("initial-exec")]] thread_local Scope ownScope = Scope::all;

Scope scopeOfThread() noexcept
{
    if (ownScope == Scope::all)
    {
        ownScope = gettid() == getpid() ? Scope::main : Scope::others;
    }
    return ownScope;
}

bool isCounted(const Control& now, Class which) noexcept
{
    if (now.armed.load(std::memory_order_acquire) != which || outside || !counting.load())
    {
        return false;
    }
    const Scope wanted = now.scope.load();
    return wanted == Scope::all || wanted == scopeOfThread();
}

[[gnu::constructor]] void mapControl()
{
    const char* path = std::getenv("FAILING_CALLS"); // NOLINT(concurrency-mt-unsafe)
    const int fd = path == nullptr ? -1 : ::open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0)
    {
        return;
    }
    void* mapped = mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ::close(fd);
    if (mapped != MAP_FAILED)
    {
        control.store(static_cast<Control*>(mapped));
    }
}

} // namespace

bool Verdict::fails() const
{
    if (effect_ > 0)
    {
        errno = static_cast<int>(effect_);
    }
    return effect_ > 0;
}

std::size_t Verdict::share(std::size_t size) const
{
    return effect_ == half && size > 1 ? size / 2 : size;
}

int Verdict::negativeError() const
{
    return effect_ > 0 ? -static_cast<int>(effect_) : 0;
}

Verdict judge(Class which, const char* call) noexcept
{
    Control& now = *control.load(std::memory_order_relaxed);
    if (!isCounted(now, which))
    {
        return {};
    }
    const std::uint64_t count = ++now.count;
    const std::uint64_t number = now.number.load();
    const bool isMeant = now.forGood.load() != 0 ? count >= number : count == number;
    if (!isMeant || number == 0)
    {
        return {};
    }
    if (now.failed++ == 0)
    {
        const Origin origin = originOfCall();
        now.place = origin.place;
        std::snprintf(now.call.data(), now.call.size(), "%s of %s", call, origin.object);
    }
    return Verdict(now.effect.load());
}

bool isFailed(Class which, const char* call) noexcept
{
    return judge(which, call).fails();
}

void countMemory(std::int64_t blocks, std::int64_t bytes) noexcept
{
    Control& now = *control.load(std::memory_order_relaxed);
    now.blocks += blocks;
    now.bytes += bytes;
}

void countWait() noexcept
{
    Control& now = *control.load(std::memory_order_relaxed);
    ++now.waits;
    if (now.trim.load() != 0)
    {
        malloc_trim(0);
        now.trim = 0;
    }
}

Outside::Outside(bool isOutside) noexcept : before_(outside)
{
    outside = isOutside;
}

Outside::~Outside()
{
    outside = before_;
}

void beginWithMain() noexcept
{
    counting = true;
}

} // namespace failing
