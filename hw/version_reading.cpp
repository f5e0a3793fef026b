#include "hw/version.hpp"
#include "log/file_descriptor.hpp"
#include "log/log.hpp"
#include "service/tavrinupdate.hpp"

namespace
{

constexpr auto functionName = "readCpldVersion";

// A record of none of the kinds is read, and nothing of it is kept. There is none in the service.
constexpr std::uint8_t otherVersionRegister = 0x00;

void keepVersion(CpldInventory& record, const ComponentKind& kind, InstanceIndex index,
                 const VersionBytes& bytes)
{
    const auto version = decodeVersion(kind, bytes);
    record.cpldVersions.push_back(versionText(version));
    logRecord("[%s] : %s[%d]: Maj-%d Min-%d Maint-%d\n", functionName, record.nodeName.c_str(),
              index.value(), version.major, version.minor, version.maintenance);
    record.fqdds.push_back(instanceFqdd(kind, index));
}

bool readInstance(CpldInventory& record, InstanceIndex index, const std::vector<std::string>& nodes)
{
    int opened = -1;
    if (!Tavrinupdate::openI2cfdUsingNodename(index, record, nodes, opened))
    {
        logRecord("[%s] : Failed to open %s[%d] for inventory\n", functionName,
                  record.nodeName.c_str(), index.value());
        return false;
    }
    const FileDescriptor fd(opened);
    logTrace("[%s] : %s[%d]'s fd:%d\n", functionName, record.nodeName.c_str(), index.value(),
             fd.get());

    const ComponentKind* const kind = findKind(record.kindCode);
    const std::array<std::uint8_t, 1> request{kind != nullptr ? kind->versionRegister
                                                              : otherVersionRegister};
    VersionBytes bytes{};
    if (!Tavrinupdate::tavrinWR(request, bytes, record, fd.get()))
    {
        logRecord("[%s] : Failed to read %s[%d] version for inventory\n", functionName,
                  record.nodeName.c_str(), index.value());
        return false;
    }
    if (kind != nullptr)
    {
        keepVersion(record, *kind, index, bytes);
    }
    return true;
}

} // namespace

bool Tavrinupdate::readCpldVersion(CpldInventory& record)
{
    if (record.kindCode == KindCode::flop && GetPlatformID() == 0)
    {
        // The identity changes nothing in the reading; that it is missing is worth a line.
        logRecord("[%s]: Inavlid Platform ID\n", functionName);
    }
    logTrace("[%s] : Inventory collection started for %s", functionName, record.nodeName.c_str());

    std::vector<std::string> nodes;
    if (getSysinfoNodes(record, nodes) != 0)
    {
        logRecord("[%s] : Failed to get sysinfo node for %s\n", functionName,
                  record.nodeName.c_str());
        return false;
    }
    const std::uint32_t count = record.instanceCount.get();
    logRecord("[%s] : %s count %d\n", functionName, record.nodeName.c_str(), count);

    for (std::uint32_t index = 0; index < count; ++index)
    {
        if (!readInstance(record, InstanceIndex(index), nodes))
        {
            return false;
        }
    }
    record.inventoryReady = true;
    logTrace("[%s] : Inventory collection successful for all %s", functionName,
             record.nodeName.c_str());
    return true;
}
