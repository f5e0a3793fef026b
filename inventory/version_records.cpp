#include "inventory/version_records.hpp"

#include "inventory/software_record.hpp"
#include "log/log.hpp"
#include "platform/software_inventory.h"

#include <array>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr auto functionName = "get_version_strings_from_SIPL";

constexpr std::uint32_t versionBufferSize = 32;
constexpr std::uint32_t sha256BufferSize = 65; // 64 hexadecimal digits and the NUL

struct PlatformMemoryDeleter
{
    void operator()(void* block) const { SMFreeMem(block); }
};

using PlatformMemory = std::unique_ptr<void, PlatformMemoryDeleter>;

/** The library's answers; the last byte of each stays NUL. */
struct AvailableVersions
{
    std::array<char, versionBufferSize> current{};
    std::array<char, versionBufferSize> previous{};
    std::array<char, sha256BufferSize> sha256{};
};

/** An entry that must be there: an index beyond the list stops the process. */
const std::string& entryOf(const std::vector<std::string>& list, InstanceIndex index) noexcept
{
    return list.at(index.value()); // NOLINT(bugprone-exception-escape): the escape is the stop
}

void describeInstance(SoftwareRecord& record, const CpldInventory& kind, InstanceIndex index)
{
    const auto key = recordKey(entryOf(kind.fqdds, index));
    logTrace("[%s]:pMDOH Enter:%s", functionName, key.c_str());
    logTrace("[%s]: Key len:[%ld]", functionName, static_cast<long>(key.size() + 1));
    record.appendKey(key);
    logTrace("[%s]: pmdohsize:[%zu], pmdohstrlen[%zu]", functionName, record.size(),
             record.stringBytes());

    const auto displayName = recordDisplayName(kind.deviceName, index);
    record.append(RecordField::displayName, displayName);
    logTrace("[%s]: disName:[%s], dispName len:[%zu], pmdohsize:[%zu]\n", functionName,
             displayName.c_str(), displayName.size() + 1, record.size());

    const auto& version = entryOf(kind.cpldVersions, index);
    record.append(RecordField::cpldVersion, version);
    logTrace("[%s]: versionCPLD[%s], versionCPLDLen[%zu], pmdohstrlen[%zu]", functionName,
             version.c_str(), version.size() + 1, record.stringBytes());
}

bool askForVersions(const CpldInventory& kind, void* block, AvailableVersions& versions)
{
    logTrace("[%s]: before calling SIPLGetAvailableVersionsWithSha256", functionName);
    const int status = SIPLGetAvailableVersionsWithSha256(
        kind.componentId, versions.current.data(), versions.previous.data(), versions.sha256.data(),
        versionBufferSize, sha256BufferSize, 0, block, nullptr);
    // The texts end inside their buffers, whatever the library wrote.
    versions.current.back() = versions.previous.back() = versions.sha256.back() = '\0';
    logTrace("[%s]: curr_ver:[%s] prev_ver:[%s] SHA256:[%s]\n", functionName,
             versions.current.data(), versions.previous.data(), versions.sha256.data());
    if (status != 0)
    {
        logRecord("[%s]: SIPLGetAvailableVersions failed swiLibStatus %d\n", functionName, status);
        logRecord("[%s]: could not get available fw versions.\n", functionName);
        return false;
    }
    logTrace("[%s]: successfully obtained available fw versions.\n", functionName);
    return true;
}

void addVersions(SoftwareRecord& record, const CpldInventory& kind,
                 const AvailableVersions& versions)
{
    if (versions.current.front() != '\0')
    {
        record.append(RecordField::currentVersion, versions.current.data());
        logTrace("[%s]: successfully added current FW Ver to the %s.\n", functionName,
                 kind.nodeName.c_str());
    }
    else
    {
        logTrace("[%s]: No current FW Ver available.\n", functionName);
    }

    if (versions.previous.front() != '\0')
    {
        record.append(RecordField::previousVersion, versions.previous.data());
        logTrace("[%s]: successfully added Previous FW Ver to the BSO.\n", functionName);
    }
    else
    {
        logTrace("[%s]: No previous FW Ver available.\n", functionName);
    }

    if (versions.sha256.front() != '\0')
    {
        record.append(RecordField::sha256, versions.sha256.data());
        logTrace("[%s]: successfully added SHA 256 to the BSO.\n", functionName);
    }
    else
    {
        logTrace("[%s]: No SHA 256 available.\n", functionName);
    }
}

void queryChange(SoftwareRecord& record, CpldInventory& kind, void* block, InstanceIndex index)
{
    constexpr std::uint32_t changeQuery = 1;
    std::uint64_t changeValue = 0;
    if (SIPLHasVersionChanged(changeQuery, block, &changeValue))
    {
        logTrace("[%s]: %s Software Version changed for type [%s] index [%d]\n", functionName,
                 kind.nodeName.c_str(), softwareType, index.number());
    }
    else
    {
        logTrace("[%s]: No %s Software version change\n", functionName, kind.nodeName.c_str());
    }
    if (changeValue != 0)
    {
        record.setChangeValue(changeValue);
        kind.installationDate = changeValue;
    }
}

void askSoftwareInventory(CpldInventory& kind, InstanceIndex index)
{
    PlatformMemory memory(SMAllocMem(softwareRecordSize));
    if (memory == nullptr)
    {
        kind.sha256.clear();
        return;
    }
    logTrace("[%s]:pMDOH Enter:", functionName);
    SoftwareRecord record({static_cast<std::uint8_t*>(memory.get()), softwareRecordSize},
                          kind.componentId);
    describeInstance(record, kind, index);

    AvailableVersions versions;
    if (!askForVersions(kind, memory.get(), versions))
    {
        return;
    }
    addVersions(record, kind, versions);
    queryChange(record, kind, memory.get(), index);
    memory.reset();
    kind.sha256 = versions.sha256.data();
}

} // namespace

void get_version_strings_from_SIPL(CpldInventory& record, InstanceIndex index)
{
    try
    {
        askSoftwareInventory(record, index);
    }
    catch (const std::exception& error)
    {
        // The instance is published all the same, with what the record holds: of the instance
        // before it, or nothing.
        logRecord("[%s]: %s\n", functionName, error.what());
    }
}
