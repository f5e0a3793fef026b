#include "auth/key_choice.hpp"

#include "log/log.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"

namespace
{

constexpr auto functionName = "pub_key_setter";

const KeyFile& keyFile(const KeyFiles& keys, KeyRevision revision)
{
    switch (revision)
    {
    case KeyRevision::x:
        return keys.x;
    case KeyRevision::a:
        return keys.a;
    case KeyRevision::standard:
        break;
    }
    return keys.standard;
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

void Tavrinupdate::pub_key_setter(const PayloadHeader& header, std::string& keyPath)
{
    const std::uint32_t componentId = updateRequest().CompId;
    keyPath.clear();
    if (const ComponentKind* const kind = findComponent(componentId))
    {
        const auto& key = keyFile(kind->keys, keyRevision(revisionCode(header)));
        logTrace(kind->keys.line, functionName);
        logTrace(key.line, functionName);
        keyPath = key.path;
    }
    else
    {
        logTrace("[%s] : Unknown component ID: %u\n", functionName, componentId);
    }
    logTrace("[%s] : Selected public key file: %s\n", functionName, keyPath.c_str());
}
