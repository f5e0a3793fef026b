#pragma once

#include <systemd/sd-bus.h>

#include <exception>
#include <string>

/** @file What the library and the code that uses it throw. */

namespace sdbusplus::exception
{

/** An error that has a D-Bus error name and a text beside it. */
class exception : public std::exception
{
  public:
    /** The D-Bus error name, such as "org.freedesktop.DBus.Error.InvalidArgs". */
    virtual const char* name() const noexcept = 0;

    /** The text that goes with the name. */
    virtual const char* description() const noexcept = 0;

    /** The errno value that comes closest. */
    virtual int get_errno() const noexcept = 0;
};

/**
 * The errors that are answered to a caller on the bus: thrown by a handler or a setter, the caller
 * gets `name()` and `description()`, and the process goes on. Whatever else they throw ends the
 * dispatch.
 */
class internal_exception : public exception
{
};

/** Base of error classes made from definitions. Nothing turns them into a reply unless the
 * definition lists them. */
class generated_exception : public exception
{
};

/** A call of sd-bus that failed. */
class SdBusError final : public internal_exception
{
  public:
    /**
     * @param error   errno value, of either sign; its name and text are sd-bus's own
     * @param prefix  the call that failed; what() begins with it
     */
    SdBusError(int error, const char* prefix);

    /** Takes over what `error` holds and leaves it empty. */
    SdBusError(sd_bus_error* error, const char* prefix);

    SdBusError(const SdBusError&) = delete;
    SdBusError& operator=(const SdBusError&) = delete;
    SdBusError(SdBusError&& other) noexcept;
    SdBusError& operator=(SdBusError&& other) noexcept;
    ~SdBusError() override;

    /** Null where the error has no name. */
    const char* name() const noexcept override;
    /** Null where the error has no text. */
    const char* description() const noexcept override;
    /** "<prefix>: <name>: <description>", without the parts that are missing. */
    const char* what() const noexcept override;
    int get_errno() const noexcept override;

    /** The native error; it lives as long as this object. */
    const sd_bus_error* get_error() const noexcept;

  private:
    sd_bus_error error_{};
    std::string what_;
};

} // namespace sdbusplus::exception

namespace sdbusplus
{

using exception_t = exception::exception;
using internal_exception_t = exception::internal_exception;
using generated_exception_t = exception::generated_exception;

} // namespace sdbusplus
