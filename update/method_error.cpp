#include "update/method_error.hpp"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

namespace
{

constexpr auto invalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr auto failed = "org.freedesktop.DBus.Error.Failed";

/** A file name in the text may be any bytes, but a reply takes UTF-8 only, or is never sent. */
std::string printable(std::string text)
{
    constexpr unsigned char firstBeyondAscii = 0x80;
    std::replace_if(
        text.begin(), text.end(),
        [](char byte) { return static_cast<unsigned char>(byte) >= firstBeyondAscii; }, '?');
    return text;
}

} // namespace

MethodError::MethodError(const char* name, std::string text) :
    name_(name), text_(printable(std::move(text)))
{
}

int MethodError::get_errno() const noexcept
{
    return name_ == invalidArguments ? EINVAL : EIO;
}

void throwAsMethodError()
{
    try
    {
        throw;
    }
    catch (const sdbusplus::exception::internal_exception&)
    {
        throw;
    }
    catch (const std::invalid_argument& error)
    {
        throw MethodError(invalidArguments, error.what());
    }
    catch (const std::out_of_range& error)
    {
        throw MethodError(invalidArguments, error.what());
    }
    catch (const std::bad_variant_access& error)
    {
        throw MethodError(invalidArguments, error.what());
    }
    catch (const std::exception& error)
    {
        throw MethodError(failed, error.what());
    }
    catch (...)
    {
        throw MethodError(failed, "unknown exception");
    }
}
