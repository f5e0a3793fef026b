#include "update/fqdd.hpp"

#include "service/component_table.hpp"

std::optional<KindCode> kindOfFqdd(const std::string& fqdd)
{
    const auto prefix = fqdd.substr(0, fqdd.find_last_not_of("0123456789") + 1);
    for (const auto kind : {KindCode::flop, KindCode::pbb, KindCode::pdb})
    {
        if (prefix == fqddPrefix(kind))
        {
            return kind;
        }
    }
    return std::nullopt;
}

std::int32_t deviceIndexOfFqdd(const std::string& fqdd)
{
    const auto dot = fqdd.rfind('.');
    if (dot == std::string::npos || dot + 1 == fqdd.size())
    {
        return 0;
    }
    return std::stoi(fqdd.substr(dot + 1)) - 1;
}
