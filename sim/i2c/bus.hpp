#pragma once

/**
 * @file
 * The simulated I2C bus: which descriptors of this process lead to which device.
 */

#include "board/board.hpp"

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace sim
{

/** Result of a simulated system call, in the C library's manner: -1 goes with an errno value. */
struct CallResult
{
    int result;
    int error;
};

/**
 * Thread-safe. Every operation answers only for what is simulated; the rest is the kernel's.
 * Device paths of a board lie under /dev, so that other opens need not ask.
 */
class Bus
{
  public:
    /** The bus of this process, which lasts as long as the process. */
    static Bus& instance();

    /** Opens a device of the board. @return nothing when `path` names none */
    std::optional<CallResult> open(const std::string& path, int flags);

    /** Carries out a request. @return nothing when the descriptor is none of ours */
    std::optional<CallResult> ioctl(int descriptor, unsigned long request, void* argument);

    /** Forgets the descriptor, which the caller then really closes. */
    void close(int descriptor);

  private:
    Cpld* deviceBehind(int descriptor);

    std::mutex mutex_;
    std::map<int, Cpld*> opened_;
};

} // namespace sim
