#pragma once

/**
 * @file
 * The registers of a CPLD that have a meaning: firmware version and programming port.
 */

#include "board/image.hpp"

#include <array>
#include <cstdint>

namespace sim
{

using Registers = std::array<std::uint8_t, 256>;

/** The version that the registers show. */
Version versionIn(const Registers& registers, Kind kind);

/** Shows `version`; bits beside the version numbers stay as they are. */
void showVersion(Registers& registers, Kind kind, const Version& version);

/** Whether `number` is one of the registers that show the version; writing them has no effect. */
bool showsVersion(std::uint8_t number, Kind kind);

/** The register that opens and closes the programming port, which may move with the firmware. */
std::uint8_t portRegister(const Registers& registers, Kind kind, unsigned int platformId);

/** Whether the programming port is open: a lock bit on PBB and PDB, an enable bit on FLOP. */
bool portIsOpen(const Registers& registers, Kind kind, unsigned int platformId);

} // namespace sim
