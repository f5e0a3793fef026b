#include "service/objects_test.hpp"

#include <algorithm>
#include <map>
#include <utility>
#include <variant>

namespace
{

/** The connection's native handle, which every message of it knows. */
sd_bus* nativeOf(sdbusplus::bus_t& bus)
{
    auto message = bus.new_signal("/unsent", "com.example.Unsent", "Unsent");
    return sd_bus_message_get_bus(message.get());
}

bool isOwn(const std::string& interface)
{
    return interface.starts_with("com.vexa.");
}

} // namespace

ObjectsTest::ObjectsTest() :
    connection(std::make_shared<sdbusplus::asio::connection>(io, nativeOf(service))),
    updater(io, connection, "/com/vexa/bevon/dummy"),
    listener(client, "type='signal',interface='org.freedesktop.DBus.ObjectManager'",
             [this](sdbusplus::message_t& signal) { hear(signal); })
{
    fakes::clearPlatformLog();
    fakes::resetFiles();
    fakes::softwareInventory() = {};
    initialiseComponentTable(updater.pbb, updater.pdb, updater.flop);
}

void ObjectsTest::makeReady(CpldInventory& record, std::uint32_t instances)
{
    record.instanceCount.set(instances);
    record.fqdds.clear();
    record.cpldVersions.clear();
    for (std::uint32_t number = 1; number <= instances; ++number)
    {
        record.fqdds.push_back(findKind(record.kindCode)->fqddPrefix + std::to_string(number));
        record.cpldVersions.push_back(std::to_string(number) + ".0.0");
    }
    record.inventoryReady = true;
}

ComponentObjects& ObjectsTest::objectsOf(const std::string& name)
{
    return updater.registeredObjects.at("/com/vexa/bevon/cpld_updater/" + name);
}

ObjectsTest::Lines ObjectsTest::interfacesAt(const std::string& path)
{
    auto answer = ask(new_call("org.freedesktop.DBus.Introspectable", "Introspect", path.c_str()));
    const auto xml = answer.message.unpack<std::string>();
    const std::string mark = "<interface name=\"";
    Lines names;
    for (auto at = xml.find(mark); at != std::string::npos; at = xml.find(mark, at))
    {
        at += mark.size();
        names.push_back(xml.substr(at, xml.find('"', at) - at));
    }
    std::erase_if(names, [](const auto& name) { return !isOwn(name); });
    return names;
}

ObjectsTest::Lines ObjectsTest::news()
{
    see_all_signals();
    return std::exchange(heard, {});
}

void ObjectsTest::hear(sdbusplus::message_t& signal)
{
    using Values = std::map<std::string, std::variant<std::string>>;

    const char* path = nullptr;
    sd_bus_message_read(signal.get(), "o", &path);
    const auto name = std::string(path).substr(std::string(path).rfind('/') + 1);
    Lines interfaces;
    const bool added = std::string(signal.get_member()) == "InterfacesAdded";
    if (added)
    {
        for (const auto& [interface, values] : signal.unpack<std::map<std::string, Values>>())
        {
            interfaces.push_back(interface);
        }
    }
    else
    {
        interfaces = signal.unpack<Lines>();
    }
    const auto count = std::ranges::count_if(interfaces, isOwn);
    heard.push_back(name + (added ? " added " : " removed ") + std::to_string(count));
}
