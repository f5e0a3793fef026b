#include "update/method_error.hpp"

#include "update/utf8.hpp"

#include <cerrno>
#include <exception>
#include <utility>

namespace
{

constexpr auto invalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr auto failed = "org.freedesktop.DBus.Error.Failed";

} // namespace

// A file name in the text may hold any bytes, but a reply that is not UTF-8 is never sent.
MethodError::MethodError(const char* name, std::string text) :
    name_(name), text_(withoutInvalidUtf8(std::move(text)))
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
