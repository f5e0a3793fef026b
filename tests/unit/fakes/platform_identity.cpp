#include "fakes/platform_identity.hpp"

#include "fakes/journal.hpp"
#include "service/tavrinupdate.hpp"

namespace fakes
{

PlatformIdentity& platformIdentity()
{
    static PlatformIdentity identity;
    return identity;
}

} // namespace fakes

std::int32_t Tavrinupdate::GetPlatformID()
{
    fakes::note("ask for the platform identity");
    auto& identity = fakes::platformIdentity();
    if (identity.next.empty())
    {
        return identity.standard;
    }
    const auto answer = identity.next.front();
    identity.next.pop_front();
    return answer;
}
