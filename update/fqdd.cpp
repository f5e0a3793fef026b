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

std::optional<InstanceIndex> instanceOfFqdd(const std::string& fqdd)
{
    const auto dot = fqdd.rfind('.');
    if (dot == std::string::npos || dot + 1 == fqdd.size())
    {
        return InstanceIndex(0);
    }
    const int number = std::stoi(fqdd.substr(dot + 1));
    if (number < 1 || number > static_cast<int>(maxInstances))
    {
        return std::nullopt;
    }
    return InstanceIndex(static_cast<std::uint32_t>(number) - 1);
}
