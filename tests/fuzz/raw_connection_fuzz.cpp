/**
 * @file
 * Any bytes on the service's connection, as from a broken bus.
 *
 * The first line says whom they reach: "q" somebody who waits for an answer to a question of the
 * start, anything else the event loop of a service that has published its objects. A bus that
 * cannot be understood may end the service, by the exception that its entry expects.
 */

#include "input.hpp"
#include "neighbours.hpp"
#include "require.hpp"
#include "service_world.hpp"

#include <sdbusplus/exception.hpp>

namespace
{

using namespace fuzz;

/** Answers the first question with the bytes, and then is gone. */
void answerRaw(const std::string& bytes)
{
    ServiceWorld world(
        [&](BusEnd& end, sd_bus_message* /*call*/)
        {
            end.deliverRaw(bytes);
            end.close();
        });
    world.start();
    require(happened("program") == 0, "no answer starts a job");
}

void sendRaw(const std::string& bytes)
{
    ServiceWorld world{Neighbours()};
    world.start();
    world.end().deliverRaw(bytes);
    try
    {
        world.settle();
    }
    catch (const sdbusplus::exception::SdBusError&)
    {
        // The bus is broken; a supervisor starts the service again.
    }
    require(happened("program") == 0, "nothing is programmed without a job");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const bool asAnswer = input.line() == "q";
    const auto bytes = input.rest();
    if (asAnswer)
    {
        answerRaw(bytes);
    }
    else
    {
        sendRaw(bytes);
    }
    return 0;
}
