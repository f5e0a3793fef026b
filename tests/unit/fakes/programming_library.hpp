#pragma once

#include "platform/cpldfwupdate.hpp"

#include <cstddef>
#include <functional>
#include <vector>

namespace fakes
{

/** What the programming library does in its next run. The journal tells of the run's steps. */
struct ProgrammingLibrary
{
    /** Percentages that the run reports. */
    std::vector<unsigned> progress;
    /** What the run ends with. */
    cpldfwupdate_error_code codes{};
    /** What happens after the run's last report; may throw. */
    std::function<void()> whenRun = [] {};
    /** What happens when the codes are asked for; may throw. */
    std::function<void()> whenAsked = [] {};
    /** What happens when the object is released. */
    std::function<void()> whenReleased = [] {};
    /** Objects that exist. */
    std::size_t alive = 0;
};

ProgrammingLibrary& programmingLibrary();

} // namespace fakes
