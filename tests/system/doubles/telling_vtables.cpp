/**
 * @file
 * A bus library that tells what it is given to serve: every interface of every object, entry by
 * entry with its flags, which introspection shows in part only. Standard error output gets one line
 * an entry.
 */

#include "next_function.hpp"

#include <systemd/sd-bus.h>

#include <cstdio>
#include <string>

namespace
{

std::string described(const sd_bus_vtable& entry)
{
    const auto type = static_cast<char>(entry.type);
    std::string text = std::string(1, type) + " " + std::to_string(std::uint64_t{entry.flags});
    switch (type)
    {
    case _SD_BUS_VTABLE_METHOD:
        text += std::string(" ") + entry.x.method.member + " " + entry.x.method.signature + " " +
                entry.x.method.result;
        break;
    case _SD_BUS_VTABLE_PROPERTY:
    case _SD_BUS_VTABLE_WRITABLE_PROPERTY:
        text += std::string(" ") + entry.x.property.member + " " + entry.x.property.signature;
        break;
    default:
        break;
    }
    return text;
}

} // namespace

extern "C" int sd_bus_add_object_vtable(sd_bus* bus, sd_bus_slot** slot, const char* path,
                                        const char* interface, const sd_bus_vtable* vtable,
                                        void* userdata)
{
    static auto* const next = nextFunction("sd_bus_add_object_vtable", &sd_bus_add_object_vtable);
    for (const auto* entry = vtable;; ++entry)
    {
        std::fprintf(stderr, "served %s %s %s\n", path, interface, described(*entry).c_str());
        if (entry->type == _SD_BUS_VTABLE_END)
        {
            return next(bus, slot, path, interface, vtable, userdata);
        }
    }
}
