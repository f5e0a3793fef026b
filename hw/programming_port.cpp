#include "hw/programming_port.hpp"

#include "service/update_request.hpp"

std::uint8_t lockRegisterValue(std::uint8_t current, bool enable)
{
    constexpr unsigned lockBit = 0x01U;
    return static_cast<std::uint8_t>(enable ? current & ~lockBit : current | lockBit);
}

std::uint8_t enableRegisterValue(std::uint8_t current, bool enable)
{
    constexpr unsigned enableBit = 0x01U;
    return static_cast<std::uint8_t>(enable ? current | enableBit : 0);
}

bool mayUseByte3(const CpldVersion& version)
{
    constexpr int lastMaintenance = 5;
    return version.major == 0 && version.minor == 0 && version.maintenance <= lastMaintenance;
}

bool enable_disable_programingNode(InstanceIndex index, std::uint8_t enable, CpldInventory& record)
{
    const ComponentKind* const kind = findComponent(updateRequest().CompId);
    if (kind == nullptr)
    {
        return true;
    }
    switch (kind->portRule)
    {
    case PortRule::enableBit:
        return enable_disable_programingNode_for_flop(index, enable, record);
    case PortRule::lockBit:
        break;
    }
    return enable_disable_programingNode_for_pbb_pdb(index, enable, record);
}
