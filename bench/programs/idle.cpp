/**
 * @file
 * What the service's start and its memory are measured beside: a program that links the same
 * libraries, connects to the bus, takes the name that it is told, and does nothing.
 *
 * usage: idle NAME
 */

#include "support.hpp"

int main(int count, char** words)
{
    if (count != 2)
    {
        return 2;
    }
    const bench::Bus bus = bench::connect();
    bench::must(sd_bus_request_name(bus.get(), words[1], 0), words[1]);
    bench::serve(bus.get(), [] { return false; });
    return 0;
}
