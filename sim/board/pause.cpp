#include "board/pause.hpp"

#include "board/files.hpp"
#include "board/trace.hpp"

#include <array>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace sim
{

namespace
{

bool exists(const std::string& path)
{
    return syscall(SYS_faccessat, AT_FDCWD, path.c_str(), F_OK) == 0;
}

/** Wakes up whenever a file appears in a directory. */
class DirectoryWatch
{
  public:
    explicit DirectoryWatch(const std::string& directory) : descriptor_(inotify_init1(IN_CLOEXEC))
    {
        inotify_add_watch(descriptor_, directory.c_str(), IN_CREATE | IN_MOVED_TO);
    }
    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;
    DirectoryWatch(DirectoryWatch&&) = delete;
    DirectoryWatch& operator=(DirectoryWatch&&) = delete;
    ~DirectoryWatch() { syscall(SYS_close, descriptor_); }

    void wait() const
    {
        std::array<char, 4096> events{};
        [[maybe_unused]] const auto count = read(descriptor_, events.data(), events.size());
    }

  private:
    int descriptor_;
};

} // namespace

void pauseFor(std::chrono::milliseconds time)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    std::timespec left{seconds.count(), std::chrono::nanoseconds(time - seconds).count()};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR)
    {
    }
}

void waitAtGate(const std::string& name)
{
    const std::string directory = boardDirectory() + "/gates";
    const std::string opened = directory + "/" + name;
    const DirectoryWatch watch(directory);
    trace("gate", {{"gate", name}, {"event", "reached"}});
    while (!exists(opened))
    {
        watch.wait();
    }
    trace("gate", {{"gate", name}, {"event", "passed"}});
}

} // namespace sim
