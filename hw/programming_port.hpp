#pragma once

/**
 * @file
 * The programming ports (HARDIP): what their registers mean, and how they are opened and closed.
 *
 * PBB and PDB guard the port with a lock bit, the FLOP opens it with an enable bit; both are bit 0
 * of `HIP_SW_EN`.
 */

#include "hw/version.hpp"
#include "service/cpld_inventory.hpp"

#include <cstdint>

/** `HIP_SW_EN` of PBB and PDB; bit 0 is `CPLD_LOCK_I2C_PLDFW`, 1 = port locked. */
inline constexpr std::uint8_t hipSwEnPbbPdb = 0x04;

/** The two places of the FLOP's `HIP_SW_EN`; bit 0 set = port open. */
inline constexpr std::uint8_t hipSwEnFlopByte3 = 0x03;
inline constexpr std::uint8_t hipSwEnFlopByte8 = 0x08;

/** Enable flags of the programming-port operations. */
inline constexpr std::uint8_t openPort = 1;
inline constexpr std::uint8_t closePort = 0;

/** Bit 0 of a register value or an enable flag. */
constexpr bool bit0(std::uint8_t value)
{
    return (value & 0x01U) != 0;
}

/** What to write so that the port of a PBB or PDB opens or locks; the other bits are kept. */
std::uint8_t lockRegisterValue(std::uint8_t current, bool enable);

/** What to write so that the FLOP's port opens (other bits kept) or closes (the whole byte). */
std::uint8_t enableRegisterValue(std::uint8_t current, bool enable);

/** Whether FLOP firmware is so old that its register may be byte 3: 0.0.0 to 0.0.5. */
bool mayUseByte3(const CpldVersion& version);

/**
 * Opens or closes an instance's programming port; blocks for the I2C transfers.
 *
 * The component number of the update in hand decides how; an unknown number succeeds without
 * touching hardware.
 *
 * @param enable openPort or closePort: bit 0 counts
 */
[[nodiscard]] bool enable_disable_programingNode(InstanceIndex index, std::uint8_t enable,
                                                 CpldInventory& record);
[[nodiscard]] bool enable_disable_programingNode_for_pbb_pdb(InstanceIndex index,
                                                             std::uint8_t enable,
                                                             CpldInventory& record);
[[nodiscard]] bool enable_disable_programingNode_for_flop(InstanceIndex index, std::uint8_t enable,
                                                          CpldInventory& record);
