#pragma once

/** @file An owner of open files, and files that are opened and read without waiting. */

#include <unistd.h>

#include <cstddef>
#include <optional>
#include <span>
#include <utility>

/** Owner of an open file descriptor; closes it when it goes. */
class FileDescriptor
{
  public:
    /** @param descriptor negative where nothing could be opened: nothing is owned then */
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}

    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;

    ~FileDescriptor()
    {
        if (isOpen())
        {
            ::close(descriptor_);
        }
    }

    bool isOpen() const noexcept { return descriptor_ >= 0; }

    int get() const noexcept { return descriptor_; }

    /** Gives the descriptor to the caller, who closes it. */
    int release() noexcept { return std::exchange(descriptor_, -1); }

  private:
    int descriptor_;
};

/**
 * Opens a file that programs which this process starts do not inherit.
 *
 * Never waits, whatever has taken the file's name: for a pipe without a writer or a device that is
 * not ready, neither here nor when it is read or written.
 *
 * @param flags as those of open(2)
 * @return not open on failure, with errno set
 */
FileDescriptor openFile(const char* path, int flags);

/** Whether something is open, and is neither a directory nor a pipe nor a device. */
bool isRegularFile(const FileDescriptor& file);

/**
 * Reads until the target is full or the file ends.
 *
 * @return number of bytes read; nothing where the medium fails
 */
std::optional<std::size_t> readUpTo(const FileDescriptor& file, std::span<std::byte> target);
