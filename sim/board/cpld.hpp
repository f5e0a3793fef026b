#pragma once

/**
 * @file
 * One simulated CPLD: its registers, its programming port and its configuration memory.
 */

#include "board/description.hpp"
#include "board/device_state.hpp"
#include "board/files.hpp"

#include <cstdint>
#include <mutex>
#include <optional>

namespace sim
{

/**
 * Behaves like the device, whoever talks to it: the I2C bus reads and writes registers, the
 * programming library writes the configuration memory. Thread-safe, also against other processes.
 */
class Cpld
{
  public:
    explicit Cpld(const DeviceDescription& description);

    [[nodiscard]] const DeviceDescription& description() const { return description_; }

    std::uint8_t readRegister(std::uint8_t number);

    /** Writing the port's register opens or closes it; closing it loads a complete image. */
    void writeRegister(std::uint8_t number, std::uint8_t value, unsigned int platformId);

    /** Empties the configuration memory for a new image. @return false when the port is closed */
    bool beginImage(unsigned int platformId);

    /** Appends to the configuration memory. @return false when the port is closed, or it is full */
    bool programImage(Bytes bytes, unsigned int platformId);

    /** Ends a run: the image is complete, or was interrupted. */
    void endImage();

  private:
    /** The state, with everybody else kept out. */
    class Access;

    void portChanged(DeviceState& state, bool isOpen);

    /** What a closing port makes of the memory. @return what is to be told of a loaded image */
    static std::optional<Json> concludeImage(DeviceState& state, Kind kind);
    static std::optional<Json> loadImage(DeviceState& state, Kind kind);

    DeviceDescription description_;
    MappedFile file_;
    std::mutex mutex_;
};

} // namespace sim
