#pragma once

#include <cstdint>
#include <functional>
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
    /** Hands nothing out although the status is 0. */
    bool forgetsTheResult = false;
    /** Device nodes of whatever kind is asked for; one of 64 bytes has no NUL behind it. */
    std::vector<std::string> nodes;
    /** The count that the description claims, where it is not the number of nodes. */
    std::optional<std::uint32_t> claimedCount;
    /** What happens when it is asked; may throw. */
    std::function<void()> whenAsked = [] {};
    /** The result that was handed out last. */
    const void* handedOut = nullptr;
    /** Node types that were asked for. */
    std::vector<std::uint32_t> asked;
};

Sysinfo& sysinfo();

} // namespace fakes
