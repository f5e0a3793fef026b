/**
 * @file
 * What the service is measured against: a program that opens a connection to the system bus, links
 * the same libraries, and does nothing.
 */

#include <systemd/sd-bus.h>

#include <cstdint>

int main()
{
    sd_bus* bus = nullptr;
    if (sd_bus_default(&bus) < 0)
    {
        return 1;
    }
    while (sd_bus_wait(bus, UINT64_MAX) >= 0)
    {
        while (sd_bus_process(bus, nullptr) > 0)
        {
        }
    }
    return 0;
}
