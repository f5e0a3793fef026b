#pragma once

#include <cstdint>
#include <string>

/** The update in hand, as the coordinator described it. */
struct UpdateRequestData
{
    /** The coordinator's job identifier. */
    std::string JobId;
    /** FQDD of the CPLD instance to update. */
    std::string Fqdd;
    /** The payload directory; once the payload file is chosen, its full path. */
    std::string PayloadPath;
    /** The coordinator's transaction number. */
    std::uint32_t TransactionId = 0;
    /** Component number; decides which keys count and how the programming port is opened. */
    std::uint32_t CompId = 0;
};

/**
 * The one request record of the process.
 *
 * Written on the main thread, and only while no update worker runs; a worker may read it until it
 * declares its job over. It outlives every thread.
 */
UpdateRequestData& updateRequest();
