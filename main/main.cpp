#include "auth/libcrypto_setup.hpp"
#include "log/log.hpp"
#include "service/component_table.hpp"
#include "service/tavrinupdate.hpp"
#include "watchers/cpld_inventory_utils.hpp"

#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>
#include <sdbusplus/asio/connection.hpp>
#include <sdbusplus/exception.hpp>

#include <malloc.h>

#include <exception>
#include <memory>
#include <system_error>

namespace
{

constexpr auto functionName = "main";

/** Where the service object's own interfaces lie; nobody addresses it. */
constexpr auto anchorPath = "/com/vexa/bevon/dummy";

/**
 * The buffer in which payloads are checked goes back to the system after each check. By itself, the
 * C library would keep blocks of its size from the second one on.
 */
void keepNoLargeBlocks()
{
    constexpr int largestKept = 128 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, largestKept); // NOLINT(concurrency-mt-unsafe): the only thread yet
}

/**
 * Signals that came while the start-up made blocking calls wait inside sd-bus, unseen by the event
 * loop until there is traffic again. By themselves, small blocks that they took would stay with the
 * process once they are free.
 */
void handleWaitingSignals(sdbusplus::bus_t& bus)
{
    while (bus.process_discard())
    {
    }
    ::malloc_trim(0);
}

void run()
{
    keepNoLargeBlocks();
    // Before the bus, so that a service that can be seen on the bus can check what it is given.
    setUpLibcrypto();

    boost::asio::io_context io;
    auto connection = std::make_shared<sdbusplus::asio::connection>(io);
    Tavrinupdate service(io, connection, anchorPath);
    initialiseComponentTable(service.pbb, service.pdb, service.flop);

    CpldInventoryUtils::Subscribe_Clear_HoldS5(connection, service);
    // A failure has been logged, and the watcher below reads again what is missing.
    static_cast<void>(Tavrinupdate::readCpldVersion(service.pbb));
    static_cast<void>(Tavrinupdate::readCpldVersion(service.pdb));
    CpldInventoryUtils::Subscribe_FruReadComplete_status(connection, service);

    handleWaitingSignals(*connection);
    io.run();
    logRecord("[%s]: io.run() exited unexpectedly\n", functionName);
}

} // namespace

// A supervisor restarts the service whatever its status, which is 0 whenever it ends by itself.
int main()
{
    try
    {
        run();
    }
    catch (const boost::system::system_error& error)
    {
        logRecord("[%s] : I/OException: %s\n", functionName, error.what());
    }
    // Before the standard system error, which a bus error may also be.
    catch (const sdbusplus::exception::exception& error)
    {
        logRecord("[%s] : DBus Exception: %s\n", functionName, error.what());
    }
    catch (const std::system_error& error)
    {
        logRecord("[%s] : System Exception: %s\n", functionName, error.what());
    }
    catch (const std::exception& error)
    {
        logRecord("[%s] : General Exception: %s\n", functionName, error.what());
    }
    logTrace("[%s]: Exiting process ...", functionName);
    return 0;
}
