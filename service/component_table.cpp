#include "service/component_table.hpp"

namespace
{

void fill(CpldInventory& record, const ComponentKind& kind)
{
    record.componentId = kind.componentId;
    record.kindCode = kind.code;
    record.nodeName = kind.nodeName;
    record.deviceName = kind.name;
    record.friendlyName = kind.name;
}

} // namespace

void initialiseComponentTable(CpldInventory& pbb, CpldInventory& pdb, CpldInventory& flop)
{
    const auto& [pbbKind, pdbKind, flopKind] = componentKinds;
    fill(pbb, pbbKind);
    fill(pdb, pdbKind);
    fill(flop, flopKind);
}

std::string instanceObjectPath(const std::string& nodeName, InstanceIndex index)
{
    return objectPathPrefix + nodeName + "_" + std::to_string(index.number());
}
