#pragma once

#include "service/tavrinupdate.hpp"

#include <sdbusplus/asio/connection.hpp>

#include <memory>

/**
 * Subscriptions of the service at other services.
 *
 * All operations run on the main thread; the subscriptions' callbacks do too, and live as long as
 * the service object. Connections must not be null.
 */
class CpldInventoryUtils
{
  public:
    /**
     * Reads once whether the platform's FRU data has been read; if so, publishes the inventory.
     *
     * @param started whether the first completion has been seen; set by it
     * @return 1 when the FRU read is pending, or it is complete and the FLOP versions were read;
     *         0 when those could not be read or the bus failed
     * @throws std::system_error when the registration thread cannot be started
     */
    static int Read_current_fruread_status(bool& started, Tavrinupdate& service);

    /** Reads the status once, then watches it. @return what the first read returned or threw */
    static int Subscribe_FruReadComplete_status(
        std::shared_ptr<sdbusplus::asio::connection> connection, Tavrinupdate& service);

    /**
     * Reads the host's power state once, then watches it; a pending power-on releases the hold.
     *
     * @return 1 when nothing was to be released or it was, 0 on failure
     */
    static int Subscribe_Clear_HoldS5(std::shared_ptr<sdbusplus::asio::connection> connection,
                                      Tavrinupdate& service);
};

/** Reads the host's power state once and releases the hold if need be. @return as above */
int Read_current_internal_power_state(Tavrinupdate& service);
