#include "service/component_table.hpp"

namespace
{

void fill(CpldInventory& record, std::uint32_t componentId, KindCode kind, const char* nodeName,
          const char* name)
{
    record.componentId = componentId;
    record.kindCode = kind;
    record.nodeName = nodeName;
    record.deviceName = name;
    record.friendlyName = name;
}

} // namespace

void initialiseComponentTable(CpldInventory& pbb, CpldInventory& pdb, CpldInventory& flop)
{
    fill(pbb, component_id::pbb, KindCode::pbb, "PBB_PLD", "PBB_CPLD");
    fill(pdb, component_id::pdb, KindCode::pdb, "PDB_PLD", "PDB_CPLD");
    fill(flop, component_id::flop, KindCode::flop, "FLOP", "FLOP_CPLD");
}

std::string_view fqddPrefix(KindCode kind)
{
    switch (kind)
    {
    case KindCode::flop:
        return "CPLD.IOBay.";
    case KindCode::pbb:
        return "PBBCPLD.Embedded.";
    case KindCode::pdb:
        return "PDBCPLD.Embedded.";
    }
    return {};
}

std::string instanceObjectPath(const std::string& nodeName, std::int64_t instance)
{
    return objectPathPrefix + nodeName + "_" + std::to_string(instance);
}
