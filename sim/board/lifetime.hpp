#pragma once

/**
 * @file
 * Small guards that the simulation's entry points need.
 */

#include <array>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <utility>

namespace sim
{

/**
 * An object with no end of life: detached threads of the process under test may still call into
 * the simulation while static objects are being destroyed.
 */
template <typename T>
class NeverDestroyed
{
  public:
    template <typename... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments) :
        object_(std::construct_at(reinterpret_cast<T*>(storage_.data()),
                                  std::forward<Arguments>(arguments)...))
    {
    }

    T& operator*() { return *object_; }
    T* operator->() { return object_; }

  private:
    alignas(T) std::array<std::byte, sizeof(T)> storage_;
    T* object_;
};

/** Leaves `errno` as it was: what the simulation does on the side is invisible to its caller. */
class ErrnoKeeper
{
  public:
    ErrnoKeeper() = default;
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
    ErrnoKeeper(ErrnoKeeper&&) = delete;
    ErrnoKeeper& operator=(ErrnoKeeper&&) = delete;
    ~ErrnoKeeper() { errno = kept_; }

  private:
    int kept_ = errno;
};

} // namespace sim
