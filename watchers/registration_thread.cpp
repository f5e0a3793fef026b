#include "log/log.hpp"
#include "service/sd_bus_handles.hpp"
#include "watchers/registration.hpp"

#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

namespace
{

using namespace std::chrono_literals;

constexpr auto threadFunction = "regSignalThreadHandler";
constexpr auto signalFunction = "CmnUpdateRegSignalHandler";

constexpr auto reRegistrationRule =
    "type='signal',interface='com.vexa.bevon.cmnfwupd.fw_management',member='cmnupdateregsignal',path='/com/vexa/bevon/cmnfwupd'";

constexpr auto pauseBeforeFirstPass = 5s;
constexpr std::uint64_t longestWait = 1'000'000; // microseconds

bool openSignalConnection(SdBusPtr& bus)
{
    logTrace("[%s] Opening system bus\n", threadFunction);
    const int result = openSystemBus(bus);
    if (result < 0)
    {
        logRecord("[%s]: sd bus open failed: %s\n", threadFunction,
                  std::strerror(-result)); // NOLINT(concurrency-mt-unsafe): glibc's is safe
        return false;
    }
    logTrace("[%s]: System bus opened successfully\n", threadFunction);
    return true;
}

bool subscribe(sd_bus& bus, RegistrationTargets& targets)
{
    // The answer is read only when the first pass is over. If the call timed out before that, the
    // connection would be closed, and every later signal lost.
    constexpr std::uint64_t forever = UINT64_MAX;
    sd_bus_set_method_call_timeout(&bus, forever);
    const int result = sd_bus_add_match_async(&bus, nullptr, reRegistrationRule,
                                              CmnUpdateRegSignalHandler, nullptr, &targets);
    if (result < 0)
    {
        logRecord("[%s]: Failed to subscribe to dbus signal, Error: %d\n", threadFunction, result);
        return false;
    }
    logTrace("[%s]: Subscribed to dbus signal successfully\n", threadFunction);
    return true;
}

void processSignals(sd_bus& bus)
{
    if (sd_bus_wait(&bus, longestWait) < 0)
    {
        // A lost connection answers at once; without a pause this thread would spin.
        std::this_thread::sleep_for(std::chrono::microseconds(longestWait));
    }
    while (sd_bus_process(&bus, nullptr) > 0)
    {
    }
}

} // namespace

int CmnUpdateRegSignalHandler(sd_bus_message* /*message*/, void* userdata, sd_bus_error* /*error*/)
{
    logTrace("[%s]: Received signal and re-registering all CPLDs\n", signalFunction);
    if (userdata == nullptr)
    {
        logRecord("[%s]: Invalid userdata\n", signalFunction);
        return -1;
    }
    cpld_update_register_handler(*static_cast<const RegistrationTargets*>(userdata));
    return 0;
}

void regSignalThreadHandler(RegistrationTargets targets) noexcept
{
    SdBusPtr bus;
    if (!openSignalConnection(bus))
    {
        return;
    }
    if (!subscribe(*bus, targets))
    {
        // The connection stays open for the rest of the process, though nobody listens on it.
        static const SdBusPtr kept = std::move(bus);
        return;
    }
    // Sent before the pause, so that a signal that comes meanwhile waits for its pass.
    sd_bus_flush(bus.get());
    std::this_thread::sleep_for(pauseBeforeFirstPass);
    cpld_update_register_handler(targets);
    for (;;)
    {
        processSignals(*bus);
    }
}
