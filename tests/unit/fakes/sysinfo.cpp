#include "fakes/sysinfo.hpp"

#include "platform/sysinfo.h"

#include <cstdlib>
#include <new>

namespace fakes
{

Sysinfo& sysinfo()
{
    static Sysinfo description;
    return description;
}

} // namespace fakes

namespace
{

/** Block and entries in one piece, as the parser hands them out. */
struct Allocation
{
    i2c_sysinfo block;
    i2c_sysinfo_node entries[1]; // NOLINT: as many as there are nodes
};

i2c_sysinfo* buildBlock(const fakes::Sysinfo& description)
{
    const auto& nodes = description.nodes;
    auto* const memory = static_cast<Allocation*>(
        std::calloc(1, sizeof(Allocation) + nodes.size() * sizeof(i2c_sysinfo_node))); // NOLINT
    memory->block.count =
        description.claimedCount.value_or(static_cast<std::uint32_t>(nodes.size()));

    i2c_sysinfo_node** link = &memory->block.first;
    for (std::size_t i = 0; i < nodes.size(); ++i)
    {
        i2c_sysinfo_node* const entry = &memory->entries[0] + i;
        nodes[i].copy(entry->path, sizeof(entry->path));
        *link = entry;
        link = &entry->next;
    }
    return &memory->block;
}

} // namespace

int i2c_parse_sysinfo(uint32_t node_type, i2c_sysinfo** result)
{
    auto& description = fakes::sysinfo();
    description.asked.push_back(node_type);
    description.whenAsked();
    if (description.status == 0 && !description.forgetsTheResult)
    {
        *result = buildBlock(description);
        description.handedOut = *result;
    }
    return description.status;
}
