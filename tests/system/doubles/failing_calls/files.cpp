/**
 * @file
 * What is done to payloads, key files and the log file: the calls of the C library through which
 * the service, the C++ library and libcrypto do it.
 */

#include "../next_function.hpp"
#include "control.hpp"
#include "watched_files.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

using failing::Class;
using failing::isFailed;
using failing::isWatched;
using failing::judge;
using failing::Outside;
using failing::Verdict;
using failing::watch;

namespace
{

Verdict judgeFile(bool watched, const char* call)
{
    return watched ? judge(Class::files, call) : Verdict();
}

bool isWatchedStream(std::FILE* stream)
{
    return isWatched(fileno(stream));
}

} // namespace

extern "C"
{

    // The simulated I2C bus stands in front of these two as well.

    int open(const char* path, int flags, ...)
    {
        static auto* const next = nextFunction("open", &open);
        va_list arguments;
        va_start(arguments, flags);
        const mode_t mode = va_arg(arguments, mode_t); // looked at only where one was given
        va_end(arguments);
        const bool watched = isWatched(path);
        if (judgeFile(watched, "open").fails())
        {
            return -1;
        }
        const Outside mark;
        const int fd = next(path, flags, mode);
        watch(fd, watched);
        return fd;
    }

    int close(int fd)
    {
        static auto* const next = nextFunction("close", &close);
        const Verdict verdict = judgeFile(isWatched(fd), "close");
        watch(fd, false);
        const Outside mark;
        const int result = next(fd); // closed in any case
        return verdict.fails() ? -1 : result;
    }

    std::FILE* fdopen(int fd, const char* mode) noexcept
    {
        static auto* const next = nextFunction("fdopen", &fdopen);
        return judgeFile(isWatched(fd), "fdopen").fails() ? nullptr : next(fd, mode);
    }

    int fclose(std::FILE* stream)
    {
        static auto* const next = nextFunction("fclose", &fclose);
        const bool watched = isWatchedStream(stream);
        watch(fileno(stream), false);
        const int result = next(stream); // closed in any case
        return judgeFile(watched, "fclose").fails() ? EOF : result;
    }

    char* fgets(char* line, int size, std::FILE* stream)
    {
        static auto* const next = nextFunction("fgets", &fgets);
        const Verdict verdict = judgeFile(isWatchedStream(stream), "fgets");
        if (verdict.fails() || verdict.ends())
        {
            return nullptr;
        }
        return next(line, static_cast<int>(verdict.share(static_cast<std::size_t>(size))), stream);
    }

    std::size_t fread(void* target, std::size_t size, std::size_t count, std::FILE* stream)
    {
        static auto* const next = nextFunction("fread", &fread);
        const Verdict verdict = judgeFile(isWatchedStream(stream), "fread");
        const bool hasNothing = verdict.fails() || verdict.ends();
        return hasNothing ? 0 : next(target, size, verdict.share(count), stream);
    }

    ssize_t read(int fd, void* target, std::size_t size)
    {
        static auto* const next = nextFunction("read", &read);
        const Verdict verdict = judgeFile(isWatched(fd), "read");
        if (verdict.ends())
        {
            return 0;
        }
        return verdict.fails() ? -1 : next(fd, target, verdict.share(size));
    }

    ssize_t write(int fd, const void* source, std::size_t size)
    {
        static auto* const next = nextFunction("write", &write);
        const Verdict verdict = judgeFile(isWatched(fd), "write");
        return verdict.fails() ? -1 : next(fd, source, verdict.share(size));
    }

    off_t lseek(int fd, off_t offset, int whence) noexcept
    {
        static auto* const next = nextFunction("lseek", &lseek);
        return judgeFile(isWatched(fd), "lseek").fails() ? -1 : next(fd, offset, whence);
    }

    int fstat(int fd, struct stat* result) noexcept
    {
        static auto* const next = nextFunction("fstat", &fstat);
        return judgeFile(isWatched(fd), "fstat").fails() ? -1 : next(fd, result);
    }

    int stat(const char* path, struct stat* result) noexcept
    {
        static auto* const next = nextFunction("stat", &stat);
        return judgeFile(isWatched(path), "stat").fails() ? -1 : next(path, result);
    }

    DIR* opendir(const char* path)
    {
        static auto* const next = nextFunction("opendir", &opendir);
        const bool watched = isWatched(path);
        if (judgeFile(watched, "opendir").fails())
        {
            return nullptr;
        }
        DIR* const directory = next(path);
        if (directory != nullptr)
        {
            watch(dirfd(directory), watched);
        }
        return directory;
    }

    dirent* readdir(DIR* directory)
    {
        static auto* const next = nextFunction("readdir", &readdir);
        const Verdict verdict = judgeFile(isWatched(dirfd(directory)), "readdir");
        return verdict.fails() || verdict.ends() ? nullptr : next(directory);
    }

    int closedir(DIR* directory)
    {
        static auto* const next = nextFunction("closedir", &closedir);
        watch(dirfd(directory), false);
        return next(directory);
    }
}
