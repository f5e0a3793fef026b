#pragma once

#include "platform/cpldfwupdate.hpp"

#include <cstddef>
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
    /** The run throws after its last report: a standard exception, or something else. */
    bool throwsError = false;
    bool throwsNumber = false;
    /** Asking for the codes throws. */
    bool codesThrow = false;
    /** Objects that exist. */
    std::size_t alive = 0;
};

ProgrammingLibrary& programmingLibrary();

} // namespace fakes
