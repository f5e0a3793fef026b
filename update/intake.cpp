#include "log/log.hpp"
#include "service/component_table.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"
#include "update/fqdd.hpp"
#include "update/method_error.hpp"
#include "update/update_slot.hpp"

#include <algorithm>
#include <new>
#include <variant>

namespace
{

constexpr auto functionName = "flop_update_handler";

constexpr std::int32_t updateStarted = 0;
constexpr std::int32_t updateRefused = 1;

std::int32_t refuseFqdd(const std::string& fqdd)
{
    logRecord("[%s]: Incorrect FQDD=%s\n", functionName, fqdd.c_str());
    return updateRefused;
}

CpldInventory& recordOf(Tavrinupdate& service, const ComponentKind& kind)
{
    const auto records = service.components();
    return **std::find_if(records.begin(), records.end(),
                          [&kind](const CpldInventory* record)
                          { return record->kindCode == kind.code; });
}

/** Copies the job's properties; those before one of another type stay stored. */
void readJob(CompUpdateIface& object, UpdateRequestData& request)
{
    const auto jobId = object.getPropertyByName("Jobid");
    const auto componentId = object.getPropertyByName("Component_id");
    const auto resourceUri = object.getPropertyByName("Resource_URI");
    request.JobId = std::get<std::string>(jobId);
    request.CompId = std::get<std::uint32_t>(componentId);
    request.PayloadPath = std::get<std::string>(resourceUri);
}

void traceRequest(const UpdateRequestData& request)
{
    logTrace("PayloadPath - %s", request.PayloadPath.c_str());
    logTrace(" CPLD Update Request Data\n");
    logTrace(" Job ID %s", request.JobId.c_str());
    logTrace(" Transaction ID %d", request.TransactionId);
    logTrace(" FQDD %s", request.Fqdd.c_str());
    logTrace(" Comp ID %d", request.CompId);
    logTrace("Transaction ID %d\n", request.TransactionId);
}

std::int32_t takeJob(Tavrinupdate& service, const std::string& fqdd, std::uint32_t transactionId)
{
    logTrace("Entering %s\n", functionName);
    auto& request = updateRequest();
    request.Fqdd = fqdd;
    request.TransactionId = transactionId;

    const ComponentKind* const kind = kindOfFqdd(fqdd);
    if (kind == nullptr)
    {
        return refuseFqdd(fqdd);
    }
    const auto index = instanceOfFqdd(fqdd);
    if (!index)
    {
        return refuseFqdd(fqdd);
    }
    auto& record = recordOf(service, *kind);
    const auto path = instanceObjectPath(record.nodeName, *index);
    const auto objects = service.registeredObjects.find(path);
    if (objects == service.registeredObjects.end())
    {
        return refuseFqdd(fqdd);
    }

    readJob(*objects->second.update, request);
    traceRequest(request);
    return service.TavrinUpdateStart(&record, *index, path) ? updateStarted : updateRefused;
}

} // namespace

std::int32_t Tavrinupdate::compFirmwareUpdate(std::string fqdd, std::uint32_t transactionId)
{
    return answering([&] { return flop_update_handler(fqdd, transactionId); });
}

std::int32_t Tavrinupdate::flop_update_handler(const std::string& fqdd, std::uint32_t transactionId)
{
    // Before anything is stored: the record belongs to the running job.
    if (updateRunning())
    {
        logRecord("[%s] : Unable to start update of %s. Another update is running\n", functionName,
                  fqdd.c_str());
        return updateRefused;
    }
    try
    {
        return takeJob(*this, fqdd, transactionId);
    }
    catch (const std::bad_alloc&)
    {
        logTrace("Memory allocation failed. Update failed");
        return updateRefused;
    }
}
