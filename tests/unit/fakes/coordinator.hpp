#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace fakes
{

/**
 * The update coordinator behind libsystemd's calls.
 *
 * The journal tells of every report: "report CPLD.IOBay.1 status 4, transaction 7, 50 %"; and of
 * every registration: "register" and what was said. Like libsystemd it makes no call with an error
 * record that is set already.
 */
struct Coordinator
{
    /** What opening a connection answers: 0, or a negative error number. */
    int connectResult = 0;
    /** What a call is answered with: 0 or more, or a negative error number. */
    int result = 0;
    /** The D-Bus error of a failed call; none where the name is empty. */
    std::string errorName;
    std::string errorMessage;
    /** What the coordinator does while it is being called; may change the answer, or throw. */
    std::function<void()> whenTold = [] {};

    /** Where the last call went: destination, path, interface, member and signature. */
    std::string address;
    /** Connections that were opened and not released. */
    std::size_t connections = 0;
};

Coordinator& coordinator();

} // namespace fakes
