#include "service/tavrinupdate.hpp"
#include "update/method_error.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>

namespace
{

using UpdateBinding = sdbusplus::server::com::vexa::bevon::cmnupdate::CompUpdate;

/** The binding ignores unknown names silently, so they are told apart here. */
bool isUpdateProperty(std::string_view name)
{
    constexpr auto names = std::to_array<std::string_view>({
        "Jobid",
        "Resource_URI",
        "Previous_URI",
        "New_FW_ver",
        "Component_id",
        "Timeout",
        "deviceID",
        "subDeviceID",
        "vendorID",
        "subVendorID",
    });
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::int32_t setInOrder(UpdateBinding& binding, const PropertyMap& properties)
{
    constexpr std::int32_t allSet = 0;
    constexpr std::int32_t stopped = -1;
    try
    {
        for (const auto& [name, value] : properties)
        {
            if (!isUpdateProperty(name))
            {
                return stopped;
            }
            binding.setPropertyByName(name, value);
        }
        return allSet;
    }
    catch (const std::exception&)
    {
        return stopped;
    }
}

} // namespace

std::int32_t Tavrinupdate::setAllProperties(PropertyMap properties)
{
    return answering([&] { return setInOrder(*this, properties); });
}
