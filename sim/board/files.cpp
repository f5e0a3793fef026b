#include "board/files.hpp"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace sim
{

namespace
{

[[noreturn]] void fail(const std::string& path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

struct flock lockOf(int byte, short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

} // namespace

File::File(const std::string& path, int flags) :
    descriptor_(static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, path.c_str(), flags | O_CLOEXEC, S_IRUSR | S_IWUSR)))
{
}

File& File::operator=(File&& other) noexcept
{
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

File::~File()
{
    if (isOpen())
    {
        syscall(SYS_close, descriptor_);
    }
}

MappedFile::MappedFile(const std::string& path, std::size_t size) :
    file_(path, O_RDWR), size_(size), data_(MAP_FAILED)
{
    if (file_.isOpen())
    {
        data_ = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file_.descriptor(), 0);
    }
    if (data_ == MAP_FAILED)
    {
        fail(path);
    }
}

MappedFile::~MappedFile()
{
    munmap(data_, size_);
}

std::string readFile(const std::string& path)
{
    const File file(path, O_RDONLY);
    if (!file.isOpen())
    {
        fail(path);
    }
    std::string text;
    std::array<char, 16384> buffer{};
    for (;;)
    {
        const ssize_t count = read(file.descriptor(), buffer.data(), buffer.size());
        if (count == 0)
        {
            return text;
        }
        if (count > 0)
        {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        else if (errno != EINTR)
        {
            fail(path);
        }
    }
}

ByteLock::ByteLock(const File& file, int byte) : descriptor_(file.descriptor()), byte_(byte)
{
    struct flock lock = lockOf(byte_, F_WRLCK);
    while (fcntl(descriptor_, F_OFD_SETLKW, &lock) < 0 && errno == EINTR)
    {
    }
}

ByteLock::~ByteLock()
{
    struct flock lock = lockOf(byte_, F_UNLCK);
    fcntl(descriptor_, F_OFD_SETLK, &lock);
}

bool ByteLock::tryToKeep(const File& file, int byte)
{
    struct flock lock = lockOf(byte, F_WRLCK);
    return fcntl(file.descriptor(), F_OFD_SETLK, &lock) == 0;
}

bool ByteLock::isHeldElsewhere(const File& file, int byte)
{
    struct flock lock = lockOf(byte, F_WRLCK);
    return fcntl(file.descriptor(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

} // namespace sim
