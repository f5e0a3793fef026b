#include "auth/key_choice.hpp"

#include "log/log.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"

namespace
{

constexpr auto functionName = "pub_key_setter";

/** The keys of one component, and the lines about them. */
struct KeyFamily
{
    std::uint32_t componentId;
    const char* componentLine;
    const char* xLine;
    const char* xPath;
    const char* aLine;
    const char* aPath;
    const char* defaultLine;
    const char* defaultPath;
};

// PBB and PDB share one set of keys.
constexpr auto boardXKey = "/etc/shared_keys/i2cpld/K4/xrev.pub";
constexpr auto boardAKey = "/etc/shared_keys/i2cpld/K4/arev.pub";
constexpr auto boardDefaultKey = "/etc/shared_keys/i2cpld/K4/default.pub";

constexpr auto keyFamilies = std::to_array<KeyFamily>({
    {
        component_id::pbb,
        "[%s] : Processing PBB component\n",
        "[%s] : Processing pbb xrev public key\n",
        boardXKey,
        "[%s] : Processing pbb arev public key\n",
        boardAKey,
        "[%s] : Processing default pbb public key\n",
        boardDefaultKey,
    },
    {
        component_id::pdb,
        "[%s] : Processing PDB component\n",
        "[%s] : Processing pdb xrev public key\n",
        boardXKey,
        "[%s] : Processing pdb arev public key\n",
        boardAKey,
        "[%s] : Processing default pdb public key\n",
        boardDefaultKey,
    },
    {
        component_id::flop,
        "[%s] : Processing FLOP component\n",
        "[%s] : Processing flop xrev public key\n",
        "/etc/shared_keys/flop/K4/Xrev/flop.pub",
        "[%s] : Processing flop arev public key\n",
        "/etc/shared_keys/flop/K4/Arev/flop.pub",
        "[%s] : Processing default flop public key\n",
        "/etc/shared_keys/flop/K4/flop.pub",
    },
});

KeyChoice chooseFrom(const KeyFamily& family, KeyRevision revision)
{
    switch (revision)
    {
    case KeyRevision::x:
        return {family.componentLine, family.xLine, family.xPath};
    case KeyRevision::a:
        return {family.componentLine, family.aLine, family.aPath};
    case KeyRevision::standard:
        break;
    }
    return {family.componentLine, family.defaultLine, family.defaultPath};
}

} // namespace

std::uint32_t revisionCode(const PayloadHeader& header)
{
    constexpr std::size_t offset = 88;
    constexpr unsigned bitsPerByte = 8;
    std::uint32_t code = 0;
    for (std::size_t i = 0; i < sizeof(code); ++i)
    {
        code |= static_cast<std::uint32_t>(header.at(offset + i)) << (bitsPerByte * i);
    }
    return code;
}

KeyRevision keyRevision(std::uint32_t code)
{
    constexpr std::uint32_t xRevisionCode = 2;
    constexpr std::uint32_t aRevisionCode = 16;
    switch (code)
    {
    case xRevisionCode:
        return KeyRevision::x;
    case aRevisionCode:
        return KeyRevision::a;
    default:
        return KeyRevision::standard;
    }
}

std::optional<KeyChoice> chooseKey(std::uint32_t componentId, KeyRevision revision)
{
    for (const auto& family : keyFamilies)
    {
        if (family.componentId == componentId)
        {
            return chooseFrom(family, revision);
        }
    }
    return std::nullopt;
}

void Tavrinupdate::pub_key_setter(const PayloadHeader& header, std::string& keyPath)
{
    const std::uint32_t componentId = updateRequest().CompId;
    keyPath.clear();
    if (const auto choice = chooseKey(componentId, keyRevision(revisionCode(header))))
    {
        logTrace(choice->componentLine, functionName);
        logTrace(choice->revisionLine, functionName);
        keyPath = choice->path;
    }
    else
    {
        logTrace("[%s] : Unknown component ID: %u\n", functionName, componentId);
    }
    logTrace("[%s] : Selected public key file: %s\n", functionName, keyPath.c_str());
}
