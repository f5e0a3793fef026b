#include "fakes/coordinator.hpp"

#include "fakes/journal.hpp"
#include "fakes/next_symbol.hpp"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdarg>
#include <set>
#include <string_view>

namespace
{

/** The connections that were opened here; the tests' own are none of the coordinator's. */
std::set<sd_bus*> opened;

/** What a call says, by its signature: a report or a registration. */
std::string textOf(const char* types, std::va_list arguments)
{
    const std::string first = va_arg(arguments, const char*);
    if (types == std::string_view("sss"))
    {
        const std::string second = va_arg(arguments, const char*);
        const std::string third = va_arg(arguments, const char*);
        return "register " + first + " " + second + " " + third;
    }
    const int status = va_arg(arguments, int);
    const unsigned transaction = va_arg(arguments, unsigned);
    const int percentage = va_arg(arguments, int);
    return "report " + first + " status " + std::to_string(status) + ", transaction " +
           std::to_string(transaction) + ", " + std::to_string(percentage) + " %";
}

} // namespace

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
    const int result = ::sd_bus_new(bus);
    opened.insert(*bus);
    return result;
}

extern "C" sd_bus* sd_bus_unref(sd_bus* bus)
{
    if (opened.erase(bus) != 0)
    {
        --fakes::coordinator().connections;
    }
    return fakes::nextSymbol<sd_bus*(sd_bus*)>("sd_bus_unref")(bus);
}

extern "C" int sd_bus_call_method(sd_bus* /*bus*/, const char* destination, const char* path,
                                  const char* interface, const char* member, sd_bus_error* error,
                                  sd_bus_message** /*reply*/, const char* types, ...)
{
    auto& coordinator = fakes::coordinator();
    if (::sd_bus_error_is_set(error) != 0)
    {
        return -EINVAL;
    }
    std::va_list arguments;
    va_start(arguments, types);
    fakes::note(textOf(types, arguments));
    va_end(arguments);

    coordinator.address =
        std::string(destination) + " " + path + " " + interface + " " + member + " " + types;
    coordinator.whenTold();
    if (coordinator.result < 0 && !coordinator.errorName.empty())
    {
        ::sd_bus_error_set(error, coordinator.errorName.c_str(),
                           coordinator.errorMessage.empty() ? nullptr
                                                            : coordinator.errorMessage.c_str());
    }
    return coordinator.result;
}
