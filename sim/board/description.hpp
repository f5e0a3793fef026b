#pragma once

/**
 * @file
 * The board description "board.json" as the libraries see it: Python writes it, they read it.
 */

#include "board/image.hpp"
#include "board/trace.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace sim
{

/** One simulated CPLD. */
struct DeviceDescription
{
    std::string name;      ///< as in the trace, "PBB_PLD[0]"
    std::string component; ///< "PBB_PLD"
    unsigned int index;    ///< 0-based, within its component
    Kind kind;
    std::string path;      ///< of the I2C character device
    std::string stateFile; ///< full path
    std::uint16_t address; ///< on the I2C bus
};

/** One scripted deviation from the ordinary behaviour. */
struct Fault
{
    unsigned int id;     ///< number of its counter in the control file
    std::string at;      ///< the point it applies to
    Json match;          ///< members that an event must have to count
    std::uint64_t after; ///< matching events that pass before it acts
    std::uint64_t times; ///< matching events it acts on
    Json effect;         ///< what changes; its members belong to the point
};

/** Everything that the description says; one value is never changed. */
struct Description
{
    unsigned int platformId = 0;
    std::vector<DeviceDescription> devices;
    std::vector<Fault> faults;
    Json sysinfo;  ///< by node type: what the parser answers
    Json software; ///< by component number: what the inventory library answers

    /** @throws std::exception when the text does not say what it should */
    static Description parse(const std::string& text, const std::string& directory);
};

} // namespace sim
