#include "hw/port_access.hpp"
#include "hw/programming_port.hpp"
#include "log/log.hpp"

namespace
{

constexpr auto functionName = "enable_disable_programingNode_for_flop";

/** The FLOP's own version; 0.0.0 where it cannot be read. */
CpldVersion readOwnVersion(const CpldInventory& record, int fd)
{
    const ComponentKind& flop = *findKind(KindCode::flop);
    const std::array<std::uint8_t, 1> request{flop.versionRegister};
    VersionBytes bytes{};
    if (!Tavrinupdate::tavrinWR(request, bytes, record, fd))
    {
        logRecord("[%s]:read failed for Byte12-version details \n", functionName);
    }
    const auto version = decodeVersion(flop, bytes);
    logTrace("[%s]:Current CPLD version is Maj-%d Min-%d Maint-%d \n", functionName, version.major,
             version.minor, version.maintenance);
    return version;
}

/** Whether early firmware keeps the register in byte 3 here; the identity is asked for afresh. */
bool isByte3Platform()
{
    constexpr std::int32_t firstPlatform = 4;
    constexpr std::int32_t secondPlatform = 5;
    return Tavrinupdate::GetPlatformID() == firstPlatform ||
           Tavrinupdate::GetPlatformID() == secondPlatform;
}

std::uint8_t chooseRegister(const CpldVersion& version)
{
    if (mayUseByte3(version) && isByte3Platform())
    {
        logTrace("[%s]:HIP_SW_EN is BYTE3.0 \n", functionName);
        return hipSwEnFlopByte3;
    }
    logTrace("[%s]:HIP_SW_EN is BYTE8.0 \n", functionName);
    return hipSwEnFlopByte8;
}

bool accessed(bool success)
{
    if (!success)
    {
        // The same words for reads and writes.
        logRecord("[%s]:read failed for HIP_SW_EN_REG \n", functionName);
    }
    return success;
}

bool verify(std::uint8_t readBack, bool enable)
{
    if (bit0(readBack) != enable)
    {
        logRecord("[%s]:HIP_SW_EN_REG write Verification failed. \n", functionName);
        return false;
    }
    logTrace("[%s]:HIP_SW_EN_REG write Verified \n", functionName);
    return true;
}

bool switchPort(bool enable, std::uint8_t number, const CpldInventory& record, int fd)
{
    std::uint8_t current = 0;
    if (!accessed(readRegister(number, current, record, fd)))
    {
        return false;
    }
    logTrace("[%s]:current BYTE-%d REG value : 0x%x \n", functionName, number, current);

    const std::uint8_t wanted = enableRegisterValue(current, enable);
    if (enable)
    {
        logTrace("[%s]:SET HIP_SW_EN BYTE-%d REG value : 0x%x \n", functionName, number, wanted);
    }
    else
    {
        logTrace("[%s]:Clear HIP_SW_EN BYTE-%d REG value : 0x%x \n", functionName, number, wanted);
    }

    std::uint8_t readBack = 0;
    if (!accessed(writeRegister(number, wanted, record, fd) &&
                  readRegister(number, readBack, record, fd)))
    {
        return false;
    }
    logTrace("[%s]:HIP_SW_EN_REG : 0x%x \n", functionName, readBack);
    return verify(readBack, enable);
}

} // namespace

bool enable_disable_programingNode_for_flop(InstanceIndex index, std::uint8_t enable,
                                            CpldInventory& record)
{
    const auto fd = openForProgramming(functionName, index, record);
    if (!fd)
    {
        return false;
    }
    const auto version = readOwnVersion(record, fd->get());
    return switchPort(bit0(enable), chooseRegister(version), record, fd->get());
}
