#include "hw/programming_port.hpp"
#include "log/log.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"
#include "update/finished_jobs.hpp"
#include "update/payload_choice.hpp"
#include "update/progress.hpp"
#include "update/update_slot.hpp"
#include "update/worker.hpp"

#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace
{

constexpr auto functionName = "TavrinUpdateStart";

bool checkComponent(const UpdateRequestData& request)
{
    if (findComponent(request.CompId) != nullptr)
    {
        return true;
    }
    logRecord(
        "[%s] : Unable to start update. Component ID mismatch, expected %d, %d, or %d but it is: %d\n",
        functionName, component_id::flop, component_id::pbb, component_id::pdb, request.CompId);
    return false;
}

/** Empty where fewer instances were published than there are now. */
const char* currentVersion(const CpldInventory& record, InstanceIndex index)
{
    const auto& versions = record.currentVersions;
    return index.value() < versions.size() ? versions.at(index.value()).c_str() : "";
}

bool checkDevice(const UpdateRequestData& request, const CpldInventory& record, InstanceIndex index)
{
    const std::uint32_t count = record.instanceCount.get();
    if (index.value() >= count)
    {
        logRecord("[%s]: Incorrect FQDD: %s\n", functionName, request.Fqdd.c_str());
        return false;
    }
    logTrace("[%s]:count=%d str=%s device_name=%s", functionName, count,
             currentVersion(record, index), record.nodeName.c_str());
    return true;
}

/** Replaces the directory in the request by the payload found in it. */
bool locatePayload(UpdateRequestData& request)
{
    const std::filesystem::path directory(request.PayloadPath);
    if (!std::filesystem::is_directory(directory))
    {
        logRecord("[%s] : Directory not found: %s\n", functionName, request.PayloadPath.c_str());
        return false;
    }
    const auto fileName = findPayload(directory);
    if (!fileName)
    {
        logRecord("[%s] : No valid payload file found in directory: %s\n", functionName,
                  request.PayloadPath.c_str());
        return false;
    }
    request.PayloadPath = (directory / *fileName).string();
    return true;
}

bool checkPayload(const std::string& path, InstanceIndex index)
{
    const auto type = fileType(path);
    // Cannot happen while locatePayload() accepts one type only.
    if (!isSupportedType(type))
    {
        logRecord("[%s] : Unable to start update. Unsupported file type: %s\n", functionName,
                  type.c_str());
        return false;
    }
    logTrace("[%s] : Proceeding update with file type is: %s and device_index=%d\n", functionName,
             type.c_str(), index.value());
    if (!Tavrinupdate::verifySignature(path))
    {
        logRecord("[%s] : Unable to start update. Failed to verify Payload signature\n",
                  functionName);
        return false;
    }
    return true;
}

/** Cannot fail while checkDevice() comes before it: no update may start on a kind without CPLDs. */
bool checkCount(const CpldInventory& record)
{
    if (record.instanceCount.get() == 0)
    {
        logRecord("[%s] : Unable to start update. %s count: %u \n", functionName,
                  record.nodeName.c_str(), record.instanceCount.get());
        return false;
    }
    return true;
}

bool openProgrammingPort(CpldInventory& record, InstanceIndex index)
{
    if (!enable_disable_programingNode(index, openPort, record))
    {
        logRecord("[%s] : Unable to start update. Failed to enable HARDIP on %s\n", functionName,
                  record.nodeName.c_str());
        return false;
    }
    logTrace("[%s] : HARDIP enabled on %s\n", functionName, record.nodeName.c_str());
    return true;
}

/** What it throws must not keep the report of the refusal back. */
void closeProgrammingPort(CpldInventory& record, InstanceIndex index)
{
    bool closed = false;
    try
    {
        closed = enable_disable_programingNode(index, closePort, record);
    }
    catch (const std::exception& error)
    {
        logRecord("[%s] : Exception: %s\n", functionName, error.what());
    }
    if (!closed)
    {
        logRecord("[%s] : Failed to disable HARDIP on %s\n", functionName, record.nodeName.c_str());
    }
}

void markScanBlocked(Tavrinupdate& service, const std::string& objectPath)
{
    const auto objects = service.registeredObjects.find(objectPath);
    if (objects != service.registeredObjects.end())
    {
        objects->second.inventory->psuScanBlock(true);
    }
}

} // namespace

bool Tavrinupdate::TavrinUpdateStart(CpldInventory* record, InstanceIndex index,
                                     const std::string& objectPath)
{
    auto& request = updateRequest();
    logTrace("[%s] : CompID: %d, PayloadPath: %s, fqdd: %s\n", functionName, request.CompId,
             request.PayloadPath.c_str(), request.Fqdd.c_str());
    if (!checkComponent(request) || !checkDevice(request, *record, index) ||
        !locatePayload(request) || !checkPayload(request.PayloadPath, index) ||
        !checkCount(*record))
    {
        reportUpdateStatus(request, update_state::refused, 0);
        return false;
    }

    reportUpdateStatus(request, update_state::started, 0);
    markScanBlocked(*this, objectPath);
    logTrace("[%s] : Starting update on %s with Current CPLD Version: %s\n", functionName,
             record->nodeName.c_str(), currentVersion(*record, index));
    if (!openProgrammingPort(*record, index))
    {
        reportUpdateStatus(request, update_state::portNotOpened, 0);
        markScanBlocked(*this, objectPath);
        return false;
    }
    return startWorker(*record, index, objectPath);
}

bool Tavrinupdate::startWorker(CpldInventory& record, InstanceIndex index,
                               const std::string& objectPath)
{
    try
    {
        if (finishedJobs_ == nullptr)
        {
            finishedJobs_ = std::make_shared<FinishedJobsWatch>(io, [this](const std::string& path)
                                                                { markScanBlocked(*this, path); });
        }
        UpdateJob job{updateRequest(), record, index, objectPath, finishedJobs_->jobs()};
        takeUpdateSlot();
        std::thread(FW_update, std::move(job)).detach();
    }
    catch (const std::exception& error)
    {
        giveUpdateSlotBack();
        logRecord("[%s] : Unable to start update. Failed to start worker thread: %s\n",
                  functionName, error.what());
        // No worker will close it.
        closeProgrammingPort(record, index);
        reportUpdateStatus(updateRequest(), update_state::refused, 0);
        return false;
    }
    logTrace("[%s] : Thread created for update\n", functionName);
    return true;
}
