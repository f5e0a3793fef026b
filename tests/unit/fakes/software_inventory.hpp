#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fakes
{

/** The platform's software inventory and its allocator. */
struct SoftwareInventory
{
    // What it answers -------------------------------------------------------------------------
    bool memoryExhausted = false;
    /** As no C library should: the versions' query throws. */
    bool throws = false;
    int status = 0;
    std::string current;
    std::string previous;
    std::string sha256;
    bool changed = false;
    /** Left alone where it is 0. */
    std::uint64_t changeValue = 0;

    // What it saw -----------------------------------------------------------------------------
    std::vector<std::size_t> allocations;
    /** Blocks that were not released. */
    std::size_t alive = 0;
    std::uint32_t componentId = 0;
    std::vector<std::uint32_t> sizes;
    bool buffersWereZero = false;
    /** The record when the versions were asked for, at the change query, and when it was released.
     */
    std::vector<std::uint8_t> recordAtVersions;
    std::vector<std::uint8_t> recordAtChange;
    std::vector<std::uint8_t> recordAtRelease;
    std::uint32_t changeQuery = 0;
};

SoftwareInventory& softwareInventory();

} // namespace fakes
