#include "board/description.hpp"

#include <limits>

namespace sim
{

namespace
{

DeviceDescription deviceOf(const Json& json, const std::string& directory)
{
    return {.name = json.at("name"),
            .component = json.at("component"),
            .index = json.at("index"),
            .kind = static_cast<Kind>(json.at("kind").get<std::uint8_t>()),
            .path = json.at("path"),
            .stateFile = directory + "/" + json.at("state").get<std::string>(),
            .address = json.at("address")};
}

Fault faultOf(const Json& json)
{
    const Json& times = json.at("times");
    return {.id = json.at("id"),
            .at = json.at("at"),
            .match = json.at("match"),
            .after = json.at("after"),
            .times = times.is_null() ? std::numeric_limits<std::uint64_t>::max()
                                     : times.get<std::uint64_t>(),
            .effect = json.at("effect")};
}

} // namespace

Description Description::parse(const std::string& text, const std::string& directory)
{
    const Json json = Json::parse(text);
    Description description;
    description.platformId = json.at("platform_id");
    for (const Json& device : json.at("devices"))
    {
        description.devices.push_back(deviceOf(device, directory));
    }
    for (const Json& fault : json.at("faults"))
    {
        description.faults.push_back(faultOf(fault));
    }
    description.sysinfo = json.at("sysinfo");
    description.software = json.at("software");
    return description;
}

} // namespace sim
