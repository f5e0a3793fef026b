#include "hw/port_access.hpp"

#include "log/log.hpp"

#include <array>
#include <string>
#include <vector>

std::optional<FileDescriptor> openForProgramming(const char* caller, InstanceIndex index,
                                                 CpldInventory& record)
{
    logTrace("[%s] : Entering\n", caller);
    std::vector<std::string> nodes;
    if (Tavrinupdate::getSysinfoNodes(record, nodes) != 0)
    {
        logRecord("[%s] : Failed to get sysinfo node for %s\n", caller, record.nodeName.c_str());
        return std::nullopt;
    }
    logRecord("[%s] : %s count %d\n", caller, record.nodeName.c_str(), record.instanceCount.get());

    int opened = -1;
    if (!Tavrinupdate::openI2cfdUsingNodename(index, record, nodes, opened))
    {
        logRecord("[%s] : Failed to open %s[%d] fd for programming\n", caller,
                  record.nodeName.c_str(), index.value());
        return std::nullopt;
    }
    return FileDescriptor(opened);
}

bool readRegister(std::uint8_t number, std::uint8_t& value, const CpldInventory& record, int fd)
{
    const std::array<std::uint8_t, 1> request{number};
    std::array<std::uint8_t, 1> answer{};
    const bool read = Tavrinupdate::tavrinWR(request, answer, record, fd);
    value = answer.front();
    return read;
}

bool writeRegister(std::uint8_t number, std::uint8_t value, const CpldInventory& record, int fd)
{
    const std::array<std::uint8_t, 2> request{number, value};
    return Tavrinupdate::tavrinWR(request, {}, record, fd);
}
