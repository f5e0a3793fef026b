#include "watchers/registration.hpp"

#include "log/log.hpp"
#include "service/component_table.hpp"
#include "service/coordinator.hpp"
#include "service/sd_bus_handles.hpp"
#include "service/tavrinupdate.hpp"

#include <chrono>
#include <cstring>
#include <exception>

namespace
{

constexpr auto passFunction = "cpld_update_register_handler";

constexpr auto registrationMethod = "cmnfwupd_client_register";
constexpr auto registrationInterface = "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration";

/**
 * What all calls of one pass share.
 *
 * The error record is never emptied within a pass: after the first failure sd-bus refuses every
 * later call at once, and each of them tells of the first failure. The next pass starts clean.
 */
struct Pass
{
    SdBusPtr bus;
    SdBusErrorRecord error;
    SdBusMessagePtr reply;
};

int callCoordinator(Pass& pass, const std::string& objectPath)
{
    sd_bus_message* reply = nullptr;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): sd-bus takes the arguments so
    const int result =
        sd_bus_call_method(pass.bus.get(), coordinatorService, coordinatorPath,
                           coordinatorInterface, registrationMethod, pass.error.get(), &reply,
                           "sss", serviceBusName, objectPath.c_str(), registrationInterface);
    pass.reply.reset(reply);
    return result;
}

void registerInstance(Pass& pass, const std::string& stem, InstanceIndex index)
{
    using Clock = std::chrono::steady_clock;

    const auto objectPath = instanceObjectPath(stem, index);
    logTrace("[%s]: Method Call to RE-Update for %s Obj_path=%s\n", passFunction, stem.c_str(),
             objectPath.c_str());
    const auto begin = Clock::now();
    const int result = callCoordinator(pass, objectPath);
    if (result < 0)
    {
        logRecord("[%s]: Registration Method call failed, rc=%d for %s\n", passFunction, result,
                  stem.c_str());
        logRecord("[%s]:obj_path=%s DBusError=%s (%s)", passFunction, objectPath.c_str(),
                  pass.error.name(), pass.error.message());
        return;
    }
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    logTrace("[%s]: Registration successful for %s. rc=%d, completed in %ld ms\n", passFunction,
             stem.c_str(), result, static_cast<long>(elapsed.count()));
}

void registerKind(Pass& pass, const RegistrationTarget& target)
{
    for (std::uint32_t index = 0; index < target.instances.get(); ++index)
    {
        try
        {
            registerInstance(pass, target.stem, InstanceIndex(index));
        }
        catch (const std::exception& error)
        {
            logRecord("[%s]: Registration Method call failed: %s\n", passFunction, error.what());
        }
    }
}

} // namespace

RegistrationTargets registrationTargets(Tavrinupdate& service)
{
    const auto targetOf = [](const CpldInventory& record) {
        return RegistrationTarget{record.nodeName, record.instanceCount};
    };
    return {targetOf(service.pbb), targetOf(service.pdb), targetOf(service.flop)};
}

void cpld_update_register_handler(const RegistrationTargets& targets)
{
    Pass pass;
    const int result = openSystemBus(pass.bus);
    if (result < 0)
    {
        logRecord("[%s]: sd bus open failed: %s\n", passFunction,
                  std::strerror(-result)); // NOLINT(concurrency-mt-unsafe): glibc's is safe
        return;
    }
    for (const auto& target : targets)
    {
        registerKind(pass, target);
    }
}
