#include "log/log.hpp"
#include "service/remote_property.hpp"
#include "service/tavrinupdate.hpp"

#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <string_view>
#include <variant>

namespace
{

constexpr auto functionName = "GetPlatformID";

constexpr RemoteProperty platformIdentity{
    "xyz.openbmc_project.Platform",
    "/xyz/openbmc_project/Platform",
    "xyz.openbmc_project.Platform",
    "PlatformID",
};

std::int32_t askPlatformService()
{
    // A connection of its own: some callers run on an update worker, and on the main thread a
    // blocking call on the shared one would hold signals back.
    auto bus = sdbusplus::bus::new_system();
    auto reply = askFor(bus, platformIdentity);
    // An empty reply would read as 0 as well, but it is none.
    if (reply.get_signature() != std::string_view("v"))
    {
        throw sdbusplus::exception::SdBusError(EBADMSG, platformIdentity.name);
    }

    // A variant of another type is skipped and leaves 0.
    std::variant<std::int32_t> identity;
    reply.read(identity);
    return std::get<std::int32_t>(identity);
}

} // namespace

std::int32_t Tavrinupdate::GetPlatformID()
{
    try
    {
        const auto identity = askPlatformService();
        logTrace("[%s]: Operation completed", functionName);
        return identity;
    }
    catch (const sdbusplus::exception::exception&)
    {
        logRecord("[%s]: Exception occurred", functionName);
        return 0;
    }
}
