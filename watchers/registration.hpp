#pragma once

#include "service/instances.hpp"

#include <systemd/sd-bus.h>

#include <array>
#include <string>

class Tavrinupdate;

/** The instances of one kind, as a registration pass needs them. */
struct RegistrationTarget
{
    /** What the kind's object names begin with. */
    std::string stem;
    InstanceCount instances;
};

/**
 * What is registered with the coordinator, in the order of the registrations.
 *
 * A copy of what the component records say, since the registration thread may outlive the service
 * object. Nothing of it changes after the publication but the counts, which are the records' own.
 */
using RegistrationTargets = std::array<RegistrationTarget, 3>;

RegistrationTargets registrationTargets(Tavrinupdate& service);

/**
 * Body of the registration thread: registers all CPLDs, and again at every signal that asks for it.
 *
 * Does not return, unless it cannot listen for the signal; then nothing is registered at all.
 */
void regSignalThreadHandler(RegistrationTargets targets) noexcept;

/** One registration pass over all CPLDs. Registration thread; blocks for the answers. */
void cpld_update_register_handler(const RegistrationTargets& targets);

/**
 * Handler of the coordinator's re-registration signal.
 *
 * @param userdata the RegistrationTargets
 * @return 0, or -1 without userdata
 */
int CmnUpdateRegSignalHandler(sd_bus_message* message, void* userdata, sd_bus_error* error);
