#pragma once

/**
 * @file
 * The simulation's own files.
 *
 * They are opened and closed by direct system calls: the C library's `open` and `close` are what
 * the simulated I2C bus stands in front of, and its own files must not come back to it.
 */

#include <cstddef>
#include <string>
#include <utility>

namespace sim
{

/** Owner of one descriptor. */
class File
{
  public:
    File() = default;
    /** Opens `path` close-on-exec; see `isOpen` for the outcome, `errno` for the reason. */
    File(const std::string& path, int flags);
    File(File&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] int descriptor() const { return descriptor_; }

  private:
    int descriptor_ = -1;
};

/** A whole file mapped for shared reading and writing. It must exist and have `size` bytes. */
class MappedFile
{
  public:
    /** @throws std::system_error when the file cannot be opened or mapped */
    MappedFile(const std::string& path, std::size_t size);
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    MappedFile(MappedFile&&) = delete;
    MappedFile& operator=(MappedFile&&) = delete;
    ~MappedFile();

    [[nodiscard]] void* data() const { return data_; }
    [[nodiscard]] const File& file() const { return file_; }

  private:
    File file_;
    std::size_t size_;
    void* data_;
};

/** The whole text of a file. @throws std::system_error when it cannot be read */
std::string readFile(const std::string& path);

/**
 * Takes the lock of one byte of a file for as long as it lives.
 *
 * Such locks belong to the open file, so the kernel gives them up when a process is killed, and
 * they mean the same in every process and pid namespace. Threads that share `file` need a mutex of
 * their own.
 */
class ByteLock
{
  public:
    /** Waits for the lock. */
    ByteLock(const File& file, int byte);
    ByteLock(const ByteLock&) = delete;
    ByteLock& operator=(const ByteLock&) = delete;
    ByteLock(ByteLock&&) = delete;
    ByteLock& operator=(ByteLock&&) = delete;
    ~ByteLock();

    /** Takes the lock until `file` is closed. @return false when somebody else holds it */
    static bool tryToKeep(const File& file, int byte);

    /** Whether somebody other than `file` holds the lock. */
    static bool isHeldElsewhere(const File& file, int byte);

  private:
    int descriptor_;
    int byte_;
};

} // namespace sim
