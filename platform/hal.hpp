#pragma once

/**
 * @file
 * The platform's hardware abstraction, as far as named I/O bits go.
 *
 * The order of the virtual operations is the library's binary interface.
 */

#include <cstdint>
#include <string>

/** A named configuration object of the hardware abstraction. */
class HAL_cfgbase
{
  public:
    HAL_cfgbase() = default;
    HAL_cfgbase(const HAL_cfgbase&) = delete;
    HAL_cfgbase& operator=(const HAL_cfgbase&) = delete;
    HAL_cfgbase(HAL_cfgbase&&) = delete;
    HAL_cfgbase& operator=(HAL_cfgbase&&) = delete;

    virtual ~HAL_cfgbase() = default;

    /** Writes the bit. @return 0 on success, otherwise a status of the library; errno tells more */
    virtual int WriteBit(std::uint8_t value) = 0;

    /** Whether an interrupt callback is registered on the object. */
    virtual bool HasInterruptCallback() const = 0;

    /** Removes the interrupt callback. @return a status of the library */
    virtual int UnregisterInterruptCallback() = 0;
};

/** What the platform hands out for an I/O line behind I2C. Used through its base only. */
class HAL_i2c : public HAL_cfgbase
{
};

/** Entry to the named configuration objects. */
class HAL_cfgdata
{
  public:
    /** A new object that the caller owns and deletes; null when `name` cannot be read. */
    static HAL_cfgbase* ReadHALConfig(const std::string& name);
};
