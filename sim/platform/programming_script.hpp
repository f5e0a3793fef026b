#pragma once

/**
 * @file
 * How one run of the programming library is to go.
 */

#include "board/trace.hpp"
#include "platform/cpldfwupdate.hpp"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace sim
{

/** A run has one step for each percentage that it reports; steps are counted from 0. */
struct ProgrammingScript
{
    std::vector<unsigned int> percents = {0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100};
    std::chrono::milliseconds stepDelay{10};
    cpldfwupdate_error_code codes{0, 0, 0}; ///< outcome where the device itself had no objection
    std::optional<std::size_t> failAt;      ///< the step at which the run ends with `codes`
    std::optional<std::size_t> throwAt;     ///< the step at which the run throws
    bool throwAtOnce = false;               ///< the run throws before it looks at anything
    std::string exceptionText = "simulated programming failure";
    std::optional<std::size_t> pauseAt; ///< the step before which the run waits at `pauseGate`
    std::string pauseGate;
    bool otherThread = false; ///< progress is reported from another thread than the run's

    static ProgrammingScript read(const Json& effect);
};

} // namespace sim
