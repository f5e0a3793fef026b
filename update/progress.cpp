#include "update/progress.hpp"

#include "log/log.hpp"
#include "service/coordinator.hpp"
#include "service/sd_bus_handles.hpp"

#include <sdbusplus/exception.hpp>

#include <array>
#include <cstring>

namespace
{

constexpr auto reportFunction = "reportUpdateStatus";
constexpr auto callbackFunction = "StatusUpdate_CB";
constexpr auto reportMethod = "cmnfwupd_fw_update_status";

void sendReport(sd_bus& bus, const UpdateRequestData& request, std::uint8_t status,
                std::uint32_t percentage)
{
    SdBusErrorRecord error;
    sd_bus_message* answer = nullptr;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): sd-bus takes the arguments so
    const int result =
        sd_bus_call_method(&bus, coordinatorService, coordinatorPath, coordinatorInterface,
                           reportMethod, error.get(), &answer, "syuq", request.Fqdd.c_str(), status,
                           request.TransactionId, static_cast<std::uint16_t>(percentage));
    const SdBusMessagePtr reply(answer);
    if (result < 0)
    {
        logRecord("[%s]: Failed to report ActivationProgress: rc=%d (%s)\n", reportFunction, result,
                  std::strerror(-result)); // NOLINT(concurrency-mt-unsafe): glibc's is safe
        logRecord("[%s]: DBusError=%s (%s)\n", reportFunction, error.name(), error.message());
    }
}

} // namespace

std::uint8_t coordinatorStatus(std::int32_t state)
{
    constexpr std::array<std::uint8_t, 4> statusOfState{4, 4, 0, 28};
    constexpr std::uint8_t failure = 18;
    if (state < 1 || state > static_cast<std::int32_t>(statusOfState.size()))
    {
        return failure;
    }
    return statusOfState.at(static_cast<std::size_t>(state - 1));
}

void reportUpdateStatus(const UpdateRequestData& request, std::int32_t state,
                        std::uint32_t percentage)
{
    const std::uint8_t status = coordinatorStatus(state);
    logTrace("Updating the progress to cmnfwupd\n");
    logTrace("ActivationProgress %d in percent, status %d, FQDD %s\n", percentage, status,
             request.Fqdd.c_str());

    SdBusPtr bus;
    const int result = openSystemBus(bus);
    if (result < 0)
    {
        logRecord("[%s]: Failed to connect to system bus: %s\n", reportFunction,
                  std::strerror(-result)); // NOLINT(concurrency-mt-unsafe): glibc's is safe
        return;
    }
    sendReport(*bus, request, status, percentage);
}

void StatusUpdate_CB(std::uint32_t percentage)
{
    logTrace("[%s] : UpdateStatus : InProgress, UpdatePercentage : %d\n", callbackFunction,
             percentage);
    try
    {
        // The record stays this job's until its worker declares the job over.
        reportUpdateStatus(updateRequest(), update_state::inProgress, percentage);
    }
    catch (const sdbusplus::exception::exception& error)
    {
        logRecord("[%s] : Exception: %s\n", callbackFunction, error.description());
    }
    logTrace("[%s] : Exiting\n", callbackFunction);
}
