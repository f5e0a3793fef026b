#include "board/registers.hpp"

namespace sim
{

namespace
{

constexpr unsigned int lowNibble = 0x0FU;
constexpr std::uint8_t portBit = 0x01U;

constexpr std::uint8_t lockRegister = 0x04;
constexpr std::uint8_t oldEnableRegister = 0x03;
constexpr std::uint8_t enableRegister = 0x08;
constexpr unsigned int lastOldMaintenance = 5;

/** First of the two registers that show the version. */
constexpr std::uint8_t versionRegister(Kind kind)
{
    return kind == Kind::flop ? 0x0C : 0x00;
}

constexpr std::uint8_t join(unsigned int high, unsigned int low)
{
    return static_cast<std::uint8_t>(((high & lowNibble) << 4U) | (low & lowNibble));
}

constexpr std::uint8_t high(unsigned int byte)
{
    return static_cast<std::uint8_t>(byte >> 4U);
}

constexpr std::uint8_t low(unsigned int byte)
{
    return static_cast<std::uint8_t>(byte & lowNibble);
}

bool hasOldFirmware(const Registers& registers)
{
    const Version version = versionIn(registers, Kind::flop);
    return version.major == 0 && version.minor == 0 && version.maintenance <= lastOldMaintenance;
}

} // namespace

Version versionIn(const Registers& registers, Kind kind)
{
    const std::uint8_t first = registers[versionRegister(kind)];
    const std::uint8_t second = registers[versionRegister(kind) + 1U];
    return kind == Kind::flop ? Version{high(second), high(first), low(first)}
                              : Version{low(first), high(first), low(second)};
}

void showVersion(Registers& registers, Kind kind, const Version& version)
{
    std::uint8_t& first = registers[versionRegister(kind)];
    std::uint8_t& second = registers[versionRegister(kind) + 1U];
    if (kind == Kind::flop)
    {
        first = join(version.minor, version.maintenance);
        second = join(version.major, low(second));
    }
    else
    {
        first = join(version.minor, version.major);
        second = join(high(second), version.maintenance);
    }
}

bool showsVersion(std::uint8_t number, Kind kind)
{
    return number == versionRegister(kind) || number == versionRegister(kind) + 1U;
}

std::uint8_t portRegister(const Registers& registers, Kind kind, unsigned int platformId)
{
    if (kind != Kind::flop)
    {
        return lockRegister;
    }
    const bool oldPlatform = platformId == 4 || platformId == 5;
    return oldPlatform && hasOldFirmware(registers) ? oldEnableRegister : enableRegister;
}

bool portIsOpen(const Registers& registers, Kind kind, unsigned int platformId)
{
    const bool bitIsSet = (registers[portRegister(registers, kind, platformId)] & portBit) != 0;
    return kind == Kind::flop ? bitIsSet : !bitIsSet;
}

} // namespace sim
