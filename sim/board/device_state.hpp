#pragma once

/**
 * @file
 * What a simulated CPLD remembers, as its state file holds it. Python creates the file and reads
 * and writes the same layout (board.py). It is changed under the byte lock `stateByte`.
 */

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim
{

/** Bytes of the state file whose locks have a meaning. */
inline constexpr int stateByte = 0; ///< held while the state is read or changed
inline constexpr int runByte = 1;   ///< held by a programming run, given up even when it is killed

/** How the configuration memory stands. */
enum class ImageState : std::uint32_t
{
    valid = 0,       ///< nothing was written since the device loaded its image
    writing = 1,     ///< a run writes it, or was killed while it did
    interrupted = 2, ///< a run ended before the image was whole
    complete = 3,    ///< a whole image waits for the port to be closed
};

/** Layout of the state file. */
struct DeviceState
{
    static constexpr std::size_t memorySize = 65536;

    std::array<char, 8> magic;
    std::array<std::uint8_t, 256> registers;
    ImageState imageState;
    std::uint32_t programmedBytes; ///< of the present or last run
    std::uint32_t loads;           ///< how often the device loaded a new image
    std::array<std::uint8_t, 236> unused;
    std::array<std::uint8_t, memorySize> memory;
};

static_assert(offsetof(DeviceState, registers) == 8);
static_assert(offsetof(DeviceState, imageState) == 264);
static_assert(offsetof(DeviceState, loads) == 272);
static_assert(offsetof(DeviceState, memory) == 512);

} // namespace sim
