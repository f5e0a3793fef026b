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

/** Tells the coordinator of a refusal that has been logged. @return false */
bool refused()
{
    reportUpdateStatus(updateRequest(), update_state::refused, 0);
    return false;
}

bool checkComponent()
{
    const std::uint32_t id = updateRequest().CompId;
    if (findComponent(id) == nullptr)
    {
        logRecord(
            "[%s] : Unable to start update. Component ID mismatch, expected %d, %d, or %d but it is: %d\n",
            functionName, component_id::flop, component_id::pbb, component_id::pdb, id);
        return refused();
    }
    return true;
}

/** Empty where fewer instances were published than there are now. */
const char* currentVersion(const CpldInventory& record, std::uint32_t deviceIndex)
{
    const auto& versions = record.currentVersions;
    return deviceIndex < versions.size() ? versions.at(deviceIndex).c_str() : "";
}

bool checkDevice(const CpldInventory& record, std::uint32_t deviceIndex)
{
    // An index of all ones would wrap to an accepted count. Counts end at 255, so an index that is
    // accepted fits the eight bits that the hardware operations take.
    const std::uint32_t count = record.instanceCount.get();
    if (deviceIndex >= count)
    {
        logRecord("[%s]: Incorrect FQDD: %s\n", functionName, updateRequest().Fqdd.c_str());
        return refused();
    }
    logTrace("[%s]:count=%d str=%s device_name=%s", functionName, count,
             currentVersion(record, deviceIndex), record.nodeName.c_str());
    return true;
}

/** Replaces the directory in the request by the payload found in it. */
bool locatePayload()
{
    auto& payloadPath = updateRequest().PayloadPath;
    const std::filesystem::path directory(payloadPath);
    if (!std::filesystem::is_directory(directory))
    {
        logRecord("[%s] : Directory not found: %s\n", functionName, payloadPath.c_str());
        return refused();
    }
    const auto fileName = findPayload(directory);
    if (!fileName)
    {
        logRecord("[%s] : No valid payload file found in directory: %s\n", functionName,
                  payloadPath.c_str());
        return refused();
    }
    payloadPath = (directory / *fileName).string();
    return true;
}

bool checkPayload(std::uint32_t deviceIndex)
{
    const std::string& payloadPath = updateRequest().PayloadPath;
    const auto type = fileType(payloadPath);
    if (!isSupportedType(type))
    {
        logRecord("[%s] : Unable to start update. Unsupported file type: %s\n", functionName,
                  type.c_str());
        return refused();
    }
    logTrace("[%s] : Proceeding update with file type is: %s and device_index=%d\n", functionName,
             type.c_str(), deviceIndex);
    if (!Tavrinupdate::verifySignature(payloadPath))
    {
        logRecord("[%s] : Unable to start update. Failed to verify Payload signature\n",
                  functionName);
        return refused();
    }
    return true;
}

bool checkCount(const CpldInventory& record)
{
    if (record.instanceCount.get() == 0)
    {
        logRecord("[%s] : Unable to start update. %s count: %u \n", functionName,
                  record.nodeName.c_str(), record.instanceCount.get());
        return refused();
    }
    return true;
}

bool openProgrammingPort(CpldInventory& record, std::uint32_t deviceIndex)
{
    if (!Tavrinupdate::enable_disable_programingNode(static_cast<std::uint8_t>(deviceIndex),
                                                     openPort, record))
    {
        logRecord("[%s] : Unable to start update. Failed to enable HARDIP on %s\n", functionName,
                  record.nodeName.c_str());
        reportUpdateStatus(updateRequest(), update_state::portNotOpened, 0);
        return false;
    }
    logTrace("[%s] : HARDIP enabled on %s\n", functionName, record.nodeName.c_str());
    return true;
}

/** Without a worker nobody else would close the port again. */
bool giveUpWithoutWorker(CpldInventory& record, std::uint32_t deviceIndex, const char* reason)
{
    logRecord("[%s] : Unable to start update. Failed to start worker thread: %s\n", functionName,
              reason);
    if (!Tavrinupdate::enable_disable_programingNode(static_cast<std::uint8_t>(deviceIndex),
                                                     closePort, record))
    {
        logRecord("[%s] : Failed to disable HARDIP on %s\n", functionName, record.nodeName.c_str());
    }
    return refused();
}

} // namespace

bool Tavrinupdate::TavrinUpdateStart(CpldInventory* record, const std::uint32_t& deviceIndex,
                                     const std::string& objectPath)
{
    const auto& request = updateRequest();
    logTrace("[%s] : CompID: %d, PayloadPath: %s, fqdd: %s\n", functionName, request.CompId,
             request.PayloadPath.c_str(), request.Fqdd.c_str());
    if (!checkComponent() || !checkDevice(*record, deviceIndex) || !locatePayload() ||
        !checkPayload(deviceIndex) || !checkCount(*record))
    {
        return false;
    }

    reportUpdateStatus(request, update_state::started, 0);
    markScanBlocked(objectPath);
    logTrace("[%s] : Starting update on %s with Current CPLD Version: %s\n", functionName,
             record->nodeName.c_str(), currentVersion(*record, deviceIndex));
    if (!openProgrammingPort(*record, deviceIndex))
    {
        markScanBlocked(objectPath);
        return false;
    }
    return startWorker(*record, deviceIndex);
}

bool Tavrinupdate::startWorker(CpldInventory& record, std::uint32_t deviceIndex)
{
    try
    {
        if (finishedJobs_ == nullptr)
        {
            finishedJobs_ = std::make_shared<FinishedJobsWatch>(io, [this](const std::string& path)
                                                                { markScanBlocked(path); });
        }
        UpdateJob job{updateRequest(), record, deviceIndex, finishedJobs_->jobs()};
        takeUpdateSlot();
        std::thread(FW_update, std::move(job)).detach();
    }
    catch (const std::exception& error)
    {
        giveUpdateSlotBack();
        return giveUpWithoutWorker(record, deviceIndex, error.what());
    }
    logTrace("[%s] : Thread created for update\n", functionName);
    return true;
}

void Tavrinupdate::markScanBlocked(const std::string& objectPath)
{
    const auto objects = registeredObjects.find(objectPath);
    if (objects != registeredObjects.end())
    {
        objects->second.inventory->psuScanBlock(true);
    }
}
