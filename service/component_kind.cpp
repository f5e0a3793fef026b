#include "service/component_kind.hpp"

#include <algorithm>

namespace
{

template <typename Condition>
const ComponentKind* findWhere(Condition condition)
{
    const auto* const found = std::find_if(componentKinds.begin(), componentKinds.end(), condition);
    return found != componentKinds.end() ? found : nullptr;
}

} // namespace

constinit const std::array<ComponentKind, 3> componentKinds{{
    {
        .code = KindCode::pbb,
        .componentId = component_id::pbb,
        .nodeName = "PBB_PLD",
        .name = "PBB_CPLD",
        .fqddPrefix = "PBBCPLD.Embedded.",
        .nodeType = 62,
        .versionRegister = 0x00,
        .major = {.byte = 0, .high = false},
        .minor = {.byte = 0, .high = true},
        .maintenance = {.byte = 1, .high = false},
        .portRule = PortRule::lockBit,
        .keys =
            {
                .line = "[%s] : Processing PBB component\n",
                .x = {"/etc/shared_keys/i2cpld/K4/xrev.pub",
                      "[%s] : Processing pbb xrev public key\n"},
                .a = {"/etc/shared_keys/i2cpld/K4/arev.pub",
                      "[%s] : Processing pbb arev public key\n"},
                .standard = {"/etc/shared_keys/i2cpld/K4/default.pub",
                             "[%s] : Processing default pbb public key\n"},
            },
    },
    {
        .code = KindCode::pdb,
        .componentId = component_id::pdb,
        .nodeName = "PDB_PLD",
        .name = "PDB_CPLD",
        .fqddPrefix = "PDBCPLD.Embedded.",
        .nodeType = 44,
        .versionRegister = 0x00,
        .major = {.byte = 0, .high = false},
        .minor = {.byte = 0, .high = true},
        .maintenance = {.byte = 1, .high = false},
        .portRule = PortRule::lockBit,
        // The PBB's files: one set of keys for both.
        .keys =
            {
                .line = "[%s] : Processing PDB component\n",
                .x = {"/etc/shared_keys/i2cpld/K4/xrev.pub",
                      "[%s] : Processing pdb xrev public key\n"},
                .a = {"/etc/shared_keys/i2cpld/K4/arev.pub",
                      "[%s] : Processing pdb arev public key\n"},
                .standard = {"/etc/shared_keys/i2cpld/K4/default.pub",
                             "[%s] : Processing default pdb public key\n"},
            },
    },
    {
        .code = KindCode::flop,
        .componentId = component_id::flop,
        .nodeName = "FLOP",
        .name = "FLOP_CPLD",
        .fqddPrefix = "CPLD.IOBay.",
        .nodeType = 26,
        .versionRegister = 0x0C,
        .major = {.byte = 1, .high = true},
        .minor = {.byte = 0, .high = true},
        .maintenance = {.byte = 0, .high = false},
        .portRule = PortRule::enableBit,
        .keys =
            {
                .line = "[%s] : Processing FLOP component\n",
                .x = {"/etc/shared_keys/flop/K4/Xrev/flop.pub",
                      "[%s] : Processing flop xrev public key\n"},
                .a = {"/etc/shared_keys/flop/K4/Arev/flop.pub",
                      "[%s] : Processing flop arev public key\n"},
                .standard = {"/etc/shared_keys/flop/K4/flop.pub",
                             "[%s] : Processing default flop public key\n"},
            },
    },
}};

const ComponentKind* findKind(KindCode code)
{
    return findWhere([code](const ComponentKind& kind) { return kind.code == code; });
}

const ComponentKind* findComponent(std::uint32_t componentId)
{
    return findWhere([componentId](const ComponentKind& kind)
                     { return kind.componentId == componentId; });
}
