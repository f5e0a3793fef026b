#include "hw/port_access.hpp"
#include "hw/programming_port.hpp"
#include "log/log.hpp"

namespace
{

constexpr auto functionName = "enable_disable_programingNode_for_pbb_pdb";

bool readLockRegister(std::uint8_t& value, const CpldInventory& record, int fd)
{
    if (readRegister(hipSwEnPbbPdb, value, record, fd))
    {
        return true;
    }
    logRecord("[%s] : I2CError: Unable to read HIP_SW_EN register value\n", functionName);
    return false;
}

/** Writes a value and reads it back. */
bool changeLockRegister(std::uint8_t wanted, std::uint8_t& readBack, const CpldInventory& record,
                        int fd)
{
    if (!writeRegister(hipSwEnPbbPdb, wanted, record, fd))
    {
        logRecord("[%s] : I2CError: Unable to write HIP_SW_EN register\n", functionName);
        return false;
    }
    if (!readLockRegister(readBack, record, fd))
    {
        return false;
    }
    logTrace("[%s] : After setting: HIP_SW_EN register value : 0x%x\n", functionName, readBack);
    return true;
}

bool isCleared(std::uint8_t value, const CpldInventory& record)
{
    if (bit0(value))
    {
        logRecord("[%s] : failed to CLEAR %s CPLD_LOCK_I2C_PLDFW to enable HARDIP\n", functionName,
                  record.nodeName.c_str());
        return false;
    }
    logTrace("[%s] : %s CPLD_LOCK_I2C_PLDFW BIT CLEARED : HARDIP enabled \n", functionName,
             record.nodeName.c_str());
    return true;
}

/** A lock bit that does not stay set is only logged: the update is over when the port is closed. */
void noteIfNotSet(std::uint8_t value, const CpldInventory& record)
{
    if (!bit0(value))
    {
        logRecord("[%s] : failed to SET %s CPLD_LOCK_I2C_PLDFW to disable HARDIP\n", functionName,
                  record.nodeName.c_str());
    }
}

bool switchPort(bool enable, const CpldInventory& record, int fd)
{
    std::uint8_t current = 0;
    if (!readLockRegister(current, record, fd))
    {
        return false;
    }
    logTrace("[%s] : Before Setting: HIP_SW_EN register value : 0x%x\n", functionName, current);
    // The whole byte counts here, not only the lock bit.
    if (enable && current == 0)
    {
        logTrace("[%s] : Already enabled\n", functionName);
        return true;
    }

    std::uint8_t readBack = 0;
    if (!changeLockRegister(lockRegisterValue(current, enable), readBack, record, fd))
    {
        return false;
    }
    if (enable)
    {
        if (!isCleared(readBack, record))
        {
            return false;
        }
    }
    else
    {
        noteIfNotSet(readBack, record);
    }
    logTrace("[%s] : Exiting properly\n", functionName);
    return true;
}

} // namespace

bool enable_disable_programingNode_for_pbb_pdb(InstanceIndex index, std::uint8_t enable,
                                               CpldInventory& record)
{
    const auto fd = openForProgramming(functionName, index, record);
    if (!fd)
    {
        return false;
    }
    return switchPort(bit0(enable), record, fd->get());
}
