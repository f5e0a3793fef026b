#pragma once

#include <unistd.h>

#include <utility>

/** Owner of an open file descriptor; closes it when it goes. */
class FileDescriptor
{
  public:
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}

    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept :
        descriptor_(std::exchange(other.descriptor_, closed))
    {
    }
    FileDescriptor& operator=(FileDescriptor&&) = delete;

    ~FileDescriptor()
    {
        if (descriptor_ != closed)
        {
            ::close(descriptor_);
        }
    }

    int get() const noexcept { return descriptor_; }

  private:
    static constexpr int closed = -1;

    int descriptor_;
};
