#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>

namespace fakes
{

/** The hold bit in the hardware abstraction. The journal tells of reading, writing and release. */
struct HoldLine
{
    /** How many of the next readings of the configuration find nothing. */
    int missing = 0;
    /** Status of the next writes; all later ones succeed. */
    std::deque<int> writeStatus;
    /** The error number that a failed write or reading leaves. */
    int errorNumber = 0;
    /** What the removal of an interrupt callback answers, where one is registered. */
    std::optional<int> interruptCallback;
    /** What happens when the object is deleted. */
    std::function<void()> whenDeleted = [] {};
    /** Objects that were handed out and not deleted. */
    std::size_t alive = 0;
};

HoldLine& holdLine();

} // namespace fakes
