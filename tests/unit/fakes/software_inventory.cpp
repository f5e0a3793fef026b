#include "fakes/software_inventory.hpp"

#include "platform/software_inventory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace fakes
{

SoftwareInventory& softwareInventory()
{
    static SoftwareInventory inventory;
    return inventory;
}

} // namespace fakes

namespace
{

/** What freshly allocated memory holds, so that a block that nobody zeroed is seen. */
constexpr int garbage = 0xA5;
constexpr std::size_t recordSize = 4096;

std::vector<std::uint8_t> copyOf(const void* record)
{
    const auto* const bytes = static_cast<const std::uint8_t*>(record);
    return {bytes, bytes + recordSize};
}

bool isZero(const char* buffer, std::size_t size)
{
    return std::all_of(buffer, buffer + size, [](char byte) { return byte == 0; });
}

} // namespace

void* SMAllocMem(size_t size)
{
    auto& inventory = fakes::softwareInventory();
    inventory.allocations.push_back(size);
    if (inventory.memoryExhausted)
    {
        return nullptr;
    }
    ++inventory.alive;
    void* const block = std::malloc(size); // NOLINT: the allocator under test is C
    std::memset(block, garbage, size);
    return block;
}

void SMFreeMem(void* block)
{
    auto& inventory = fakes::softwareInventory();
    --inventory.alive;
    inventory.recordAtRelease = copyOf(block);
    std::free(block); // NOLINT: from malloc
}

int SIPLGetAvailableVersionsWithSha256(uint32_t component_id, char* current_version,
                                       char* previous_version, char* sha256, uint32_t version_size,
                                       uint32_t sha256_size, uint32_t reserved, void* record,
                                       void* reserved_pointer)
{
    auto& inventory = fakes::softwareInventory();
    inventory.componentId = component_id;
    inventory.sizes = {version_size, sha256_size, reserved, reserved_pointer == nullptr ? 0U : 1U};
    inventory.buffersWereZero = isZero(current_version, version_size) &&
                                isZero(previous_version, version_size) &&
                                isZero(sha256, sha256_size);
    inventory.recordAtVersions = copyOf(record);
    if (inventory.throws)
    {
        throw std::runtime_error("surprise");
    }
    if (inventory.status == 0)
    {
        inventory.current.copy(current_version, version_size);
        inventory.previous.copy(previous_version, version_size);
        inventory.sha256.copy(sha256, sha256_size);
    }
    return inventory.status;
}

bool SIPLHasVersionChanged(uint32_t query, void* record, uint64_t* change_value)
{
    auto& inventory = fakes::softwareInventory();
    inventory.changeQuery = query;
    inventory.recordAtChange = copyOf(record);
    if (inventory.changeValue != 0)
    {
        *change_value = inventory.changeValue;
    }
    return inventory.changed;
}
