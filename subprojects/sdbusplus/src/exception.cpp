#include <sdbusplus/exception.hpp>

#include <utility>

namespace sdbusplus::exception
{

namespace
{

std::string full_text(const char* prefix, const sd_bus_error& error)
{
    std::string text = prefix;
    for (const char* part : {error.name, error.message})
    {
        if (part != nullptr)
        {
            text.append(": ").append(part);
        }
    }
    return text;
}

} // namespace

SdBusError::SdBusError(int error, const char* prefix)
{
    sd_bus_error_set_errno(&error_, error);
    what_ = full_text(prefix, error_);
}

SdBusError::SdBusError(sd_bus_error* error, const char* prefix)
{
    sd_bus_error_move(&error_, error);
    what_ = full_text(prefix, error_);
}

SdBusError::SdBusError(SdBusError&& other) noexcept : what_(std::move(other.what_))
{
    sd_bus_error_move(&error_, &other.error_);
}

SdBusError& SdBusError::operator=(SdBusError&& other) noexcept
{
    std::swap(error_, other.error_);
    std::swap(what_, other.what_);
    return *this;
}

SdBusError::~SdBusError()
{
    sd_bus_error_free(&error_);
}

const char* SdBusError::name() const noexcept
{
    return error_.name;
}

const char* SdBusError::description() const noexcept
{
    return error_.message;
}

const char* SdBusError::what() const noexcept
{
    return what_.c_str();
}

int SdBusError::get_errno() const noexcept
{
    return sd_bus_error_get_errno(&error_);
}

const sd_bus_error* SdBusError::get_error() const noexcept
{
    return &error_;
}

} // namespace sdbusplus::exception
