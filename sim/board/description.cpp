#include "board/description.hpp"

#include <limits>

namespace sim
{

namespace
{

DeviceDescription deviceOf(const Json& json, const std::string& directory)
{
    return {.name = json["name"].as<std::string>(),
            .component = json["component"].as<std::string>(),
            .index = json["index"].as<unsigned int>(),
            .kind = static_cast<Kind>(json["kind"].as<std::uint8_t>()),
            .path = json["path"].as<std::string>(),
            .stateFile = directory + "/" + json["state"].as<std::string>(),
            .address = json["address"].as<std::uint16_t>()};
}

Fault faultOf(const Json& json)
{
    const Json times = json["times"];
    return {.id = json["id"].as<unsigned int>(),
            .at = json["at"].as<std::string>(),
            .match = json["match"],
            .after = json["after"].as<std::uint64_t>(),
            .times = times.isNull() ? std::numeric_limits<std::uint64_t>::max()
                                    : times.as<std::uint64_t>(),
            .effect = json["effect"]};
}

} // namespace

Description Description::parse(const std::string& text, const std::string& directory)
{
    const Json json = Json::parse(text);
    Description description;
    description.platformId = json["platform_id"].as<unsigned int>();
    for (const Json& device : json["devices"].as<std::vector<Json>>())
    {
        description.devices.push_back(deviceOf(device, directory));
    }
    for (const Json& fault : json["faults"].as<std::vector<Json>>())
    {
        description.faults.push_back(faultOf(fault));
    }
    description.sysinfo = json["sysinfo"];
    description.software = json["software"];
    return description;
}

} // namespace sim
