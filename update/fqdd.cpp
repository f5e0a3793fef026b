#include "update/fqdd.hpp"

#include <algorithm>

const ComponentKind* kindOfFqdd(const std::string& fqdd)
{
    const auto prefix = fqdd.substr(0, fqdd.find_last_not_of("0123456789") + 1);
    const auto* const found =
        std::find_if(componentKinds.begin(), componentKinds.end(),
                     [&prefix](const ComponentKind& kind) { return prefix == kind.fqddPrefix; });
    return found != componentKinds.end() ? found : nullptr;
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
