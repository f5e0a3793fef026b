#include "message_body.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace fuzz
{

namespace
{

constexpr auto names = std::to_array<std::pair<char, std::string_view>>({
    {'@', FUZZ_SIGNED_FOLDER},
    {'A', "SetAllProperties"},
    {'B', "/com/vexa/bevon/cpld_updater/PBB_PLD_1"},
    {'C', "Component_id"},
    {'D', "org.freedesktop.DBus.Properties"},
    {'E', "PropertiesChanged"},
    {'F', "FRUreadComplete"},
    {'G', "Get"},
    {'H', "xyz.openbmc_project.Control.Host.InternalPowerState"},
    {'I', "InternalPowerState"},
    {'J', "Jobid"},
    {'K', "/com/vexa/bevon/cpld_updater/PDB_PLD_1"},
    {'L', "/com/vexa/bevon/cpld_updater/FLOP_1"},
    {'M', "com.vexa.bmc.mppd.pcardInfo"},
    {'N', "/com/vexa/bmc/mppd/info"},
    {'O', "/com/vexa/bevon/cmnfwupd"},
    {'P', "PBBCPLD.Embedded."},
    {'Q', "PDBCPLD.Embedded."},
    {'R', "Resource_URI"},
    {'S', "Set"},
    {'T', "CPLD.IOBay."},
    {'U', "com.vexa.bevon.cmnupdate.comp_update"},
    {'V', "com.vexa.bevon.inventory.TavrinInventory"},
    {'W', "/xyz/openbmc_project/control/host0/internal_power_state"},
    {'X', "CompFirmwareUpdate"},
    {'Y', "com.vexa.bevon.cmnfwupd.fw_management"},
    {'Z', "cmnupdateregsignal"},
});

/** Length of the first complete type of a signature, as far as it goes. */
std::size_t firstType(std::string_view signature)
{
    std::size_t end = signature.find_first_not_of('a');
    int depth = 0;
    for (; end < signature.size(); ++end)
    {
        constexpr std::string_view opening = "({";
        constexpr std::string_view closing = ")}";
        depth += opening.find(signature[end]) != std::string_view::npos ? 1 : 0;
        depth -= closing.find(signature[end]) != std::string_view::npos ? 1 : 0;
        if (depth <= 0)
        {
            return end + 1;
        }
    }
    return signature.size();
}

bool appendNumber(sd_bus_message* message, char type, std::int64_t number)
{
    // As wide as the widest type; the others are the lower bytes of the same.
    return sd_bus_message_append_basic(message, type, &number) >= 0;
}

bool appendText(sd_bus_message* message, char type, const std::string& text)
{
    return sd_bus_message_append_basic(message, type, text.c_str()) >= 0;
}

bool appendDescriptor(sd_bus_message* message)
{
    constexpr int standardError = 2;
    return sd_bus_message_append_basic(message, SD_BUS_TYPE_UNIX_FD, &standardError) >= 0;
}

bool appendAll(sd_bus_message* message, Input& input, std::string_view signature);

bool appendContainer(sd_bus_message* message, Input& input, char type, const std::string& contents,
                     std::int64_t elements)
{
    // A struct of nothing can be sent, but no bus would let it through.
    if (contents.empty() || sd_bus_message_open_container(message, type, contents.c_str()) < 0)
    {
        return false;
    }
    // Arrays of arrays would go on for ever with nothing in them.
    for (std::int64_t i = 0; i < elements && (i == 0 || !input.empty()); ++i)
    {
        if (!appendAll(message, input, contents))
        {
            return false;
        }
    }
    return sd_bus_message_close_container(message) >= 0;
}

bool appendOne(sd_bus_message* message, Input& input, std::string_view type)
{
    constexpr std::int64_t mostElements = 300;
    const auto element = std::string(type.substr(1));
    const auto members = element.substr(0, element.empty() ? 0 : element.size() - 1);
    switch (type.front())
    {
    case SD_BUS_TYPE_STRING:
    case SD_BUS_TYPE_OBJECT_PATH:
    case SD_BUS_TYPE_SIGNATURE:
        return appendText(message, type.front(), textOf(input));
    case SD_BUS_TYPE_UNIX_FD:
        return appendDescriptor(message);
    case SD_BUS_TYPE_VARIANT:
        return appendContainer(message, input, SD_BUS_TYPE_VARIANT, input.line(), 1);
    case SD_BUS_TYPE_ARRAY:
        return appendContainer(message, input, SD_BUS_TYPE_ARRAY, element,
                               std::min(input.number(), mostElements));
    case '(':
        return appendContainer(message, input, SD_BUS_TYPE_STRUCT, members, 1);
    case '{':
        return appendContainer(message, input, SD_BUS_TYPE_DICT_ENTRY, members, 1);
    default:
        return appendNumber(message, type.front(), input.number());
    }
}

bool appendAll(sd_bus_message* message, Input& input, std::string_view signature)
{
    while (!signature.empty())
    {
        const auto length = firstType(signature);
        if (!appendOne(message, input, signature.substr(0, length)))
        {
            return false;
        }
        signature.remove_prefix(length);
    }
    return true;
}

} // namespace

std::string expanded(std::string text)
{
    for (const auto& [shorthand, name] : names)
    {
        if (text.starts_with(shorthand) && text.find_first_not_of("0123456789", 1) == text.npos)
        {
            return std::string(name) + text.substr(1);
        }
    }
    return text;
}

bool appendBody(sd_bus_message* message, Input& input)
{
    return appendAll(message, input, input.line());
}

} // namespace fuzz
