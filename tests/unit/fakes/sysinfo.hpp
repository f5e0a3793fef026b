#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fakes
{

/** The platform description that the service sees. */
struct Sysinfo
{
    /** Status of the parser; other than 0 it hands nothing out. */
    int status = 0;
    /** Device nodes of whatever kind is asked for. */
    std::vector<std::string> nodes;
    /** The count that the description claims, where it is not the number of nodes. */
    std::optional<std::uint32_t> claimedCount;
    /** Node types that were asked for. */
    std::vector<std::uint32_t> asked;
};

Sysinfo& sysinfo();

} // namespace fakes
