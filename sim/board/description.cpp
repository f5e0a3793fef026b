#include "board/description.hpp"

#include <limits>

namespace sim
{

namespace
{

DeviceDescription deviceOf(const Json& json, const std::string& directory)
{
    return {.name = json.at("name").as<std::string>(),
            .component = json.at("component").as<std::string>(),
            .index = json.at("index").as<unsigned int>(),
            .kind = static_cast<Kind>(json.at("kind").as<std::uint8_t>()),
            .path = json.at("path").as<std::string>(),
            .stateFile = directory + "/" + json.at("state").as<std::string>(),
            .address = json.at("address").as<std::uint16_t>()};
}

Fault faultOf(const Json& json)
{
    const Json& times = json.at("times");
    return {.id = json.at("id").as<unsigned int>(),
            .at = json.at("at").as<std::string>(),
            .match = json.at("match"),
            .after = json.at("after").as<std::uint64_t>(),
            .times = times.isNull() ? std::numeric_limits<std::uint64_t>::max()
                                    : times.as<std::uint64_t>(),
            .effect = json.at("effect")};
}

} // namespace

Description Description::parse(const std::string& text, const std::string& directory)
{
    const Json json = Json::parse(text);
    Description description;
    description.platformId = json.at("platform_id").as<unsigned int>();
    for (const Json& device : json.at("devices").elements())
    {
        description.devices.push_back(deviceOf(device, directory));
    }
    for (const Json& fault : json.at("faults").elements())
    {
        description.faults.push_back(faultOf(fault));
    }
    description.sysinfo = json.at("sysinfo");
    description.software = json.at("software");
    return description;
}

} // namespace sim
