#include "hw/sysinfo_nodes.hpp"

#include "log/log.hpp"
#include "platform/sysinfo.h"
#include "service/tavrinupdate.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{

constexpr auto functionName = "getSysinfoNodes";

/** Releases a result block of the parser, entries included. */
struct SysinfoDeleter
{
    void operator()(i2c_sysinfo* block) const { std::free(block); } // NOLINT: from malloc
};

using SysinfoBlock = std::unique_ptr<i2c_sysinfo, SysinfoDeleter>;

void appendPaths(const i2c_sysinfo& block, std::vector<std::string>& nodes)
{
    for (const i2c_sysinfo_node* node = block.first; node != nullptr; node = node->next)
    {
        // A path that fills its array has no room for the NUL that ends all others.
        const char* const path = static_cast<const char*>(node->path);
        nodes.emplace_back(path, strnlen(path, sizeof(node->path)));
    }
}

} // namespace

std::uint32_t nodeTypeCode(KindCode code)
{
    // What the platform calls a node of none of the kinds; no record of the service has such a
    // code.
    constexpr std::uint32_t otherNodeType = 165;
    const ComponentKind* const kind = findKind(code);
    return kind != nullptr ? kind->nodeType : otherNodeType;
}

int Tavrinupdate::getSysinfoNodes(CpldInventory& record, std::vector<std::string>& nodes)
{
    i2c_sysinfo* parsed = nullptr;
    const int status = i2c_parse_sysinfo(nodeTypeCode(record.kindCode), &parsed);
    if (status != 0)
    {
        logRecord("[%s] : sysinfo parse failed for %s, Error: %d\n", functionName,
                  record.nodeName.c_str(), status);
        return status;
    }
    const SysinfoBlock block(parsed);
    if (block == nullptr)
    {
        logRecord("[%s] : sysinfo parse gave no result for %s\n", functionName,
                  record.nodeName.c_str());
        return -ENODATA;
    }
    if (block->count > maxInstances)
    {
        logRecord("[%s] : %s has %u instances, at most %u are supported\n", functionName,
                  record.nodeName.c_str(), block->count, maxInstances);
        return -ERANGE;
    }
    record.instanceCount.set(block->count);
    appendPaths(*block, nodes);
    return 0;
}
