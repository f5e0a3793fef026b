#include "fakes/coordinator.hpp"

#include "fakes/journal.hpp"
#include "fakes/next_symbol.hpp"

#include <systemd/sd-bus.h>

#include <cstdarg>

namespace fakes
{

Coordinator& coordinator()
{
    static Coordinator bus;
    return bus;
}

} // namespace fakes

extern "C" int sd_bus_open_system(sd_bus** bus)
{
    auto& coordinator = fakes::coordinator();
    if (coordinator.connectResult < 0)
    {
        return coordinator.connectResult;
    }
    ++coordinator.connections;
    // A connection that leads nowhere.
    return ::sd_bus_new(bus);
}

extern "C" sd_bus* sd_bus_unref(sd_bus* bus)
{
    if (bus != nullptr)
    {
        --fakes::coordinator().connections;
    }
    return fakes::nextSymbol<sd_bus*(sd_bus*)>("sd_bus_unref")(bus);
}

extern "C" int sd_bus_call_method(sd_bus* /*bus*/, const char* destination, const char* path,
                                  const char* interface, const char* member, sd_bus_error* error,
                                  sd_bus_message** /*reply*/, const char* types, ...)
{
    std::va_list arguments;
    va_start(arguments, types);
    const std::string fqdd = va_arg(arguments, const char*);
    const int status = va_arg(arguments, int);
    const unsigned transaction = va_arg(arguments, unsigned);
    const int percentage = va_arg(arguments, int);
    va_end(arguments);
    fakes::note("report " + fqdd + " status " + std::to_string(status) + ", transaction " +
                std::to_string(transaction) + ", " + std::to_string(percentage) + " %");

    auto& coordinator = fakes::coordinator();
    coordinator.address =
        std::string(destination) + " " + path + " " + interface + " " + member + " " + types;
    coordinator.whenTold();
    if (coordinator.reportResult < 0 && !coordinator.errorName.empty())
    {
        ::sd_bus_error_set(error, coordinator.errorName.c_str(),
                           coordinator.errorMessage.empty() ? nullptr
                                                            : coordinator.errorMessage.c_str());
    }
    return coordinator.reportResult;
}
