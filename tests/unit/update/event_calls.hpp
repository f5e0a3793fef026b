#pragma once

#include <functional>

namespace fakes
{

/** The C library's event descriptors, as the service gets them. */
struct EventCalls
{
    bool noDescriptorLeft = false;
    /** What happens before a descriptor is made readable. */
    std::function<void()> whenWoken = [] {};
};

EventCalls& eventCalls();

} // namespace fakes
