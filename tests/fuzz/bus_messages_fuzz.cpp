/**
 * @file
 * Everything that others on the bus say to the service: their answers to its questions, then any
 * signals and calls, in any order, with bodies of any shape.
 *
 * The sections of an input are the answers (neighbours.hpp), then one for each message:
 *
 *   s PATH, INTERFACE, MEMBER, SIGNATURE, VALUES...   signal
 *   r the same                                        signal on the registration's connection
 *   m the same                                        method call
 *
 * The letter stands directly before the path; each part is a line (message_body.hpp).
 */

#include "fakes/journal.hpp"
#include "message_body.hpp"
#include "neighbours.hpp"
#include "require.hpp"
#include "service_world.hpp"
#include "watchers/registration.hpp"

#include <functional>

namespace
{

using namespace fuzz;

constexpr auto reRegistrationRule =
    "type='signal',interface='com.vexa.bevon.cmnfwupd.fw_management',member='cmnupdateregsignal',path='/com/vexa/bevon/cmnfwupd'";

/** The connection that the registration thread would listen on, without the thread. */
class RegistrationConnection
{
  public:
    explicit RegistrationConnection(ServiceWorld& world) :
        world_(world), targets_(registrationTargets(world.service())), bus_(world.bus().connect()),
        end_(world.bus().newestEnd())
    {
        sd_bus_add_match_async(bus_.get(), nullptr, reRegistrationRule, CmnUpdateRegSignalHandler,
                               nullptr, &targets_);
        run();
    }

    BusEnd& end() { return *end_; }

    void run()
    {
        while (world_.bus().run() || sd_bus_process(bus_.get(), nullptr) > 0)
        {
        }
    }

  private:
    ServiceWorld& world_;
    RegistrationTargets targets_;
    SdBusPtr bus_;
    std::shared_ptr<BusEnd> end_;
};

SdBusMessagePtr messageFrom(Input& input, BusEnd& end, char kind)
{
    const auto path = textOf(input);
    const auto interface = textOf(input);
    const auto member = textOf(input);
    auto message = kind == 'm' ? end.newCall(path.c_str(), interface.c_str(), member.c_str())
                               : end.newSignal(path.c_str(), interface.c_str(), member.c_str());
    return message != nullptr && appendBody(message.get(), input) ? std::move(message) : nullptr;
}

bool wasStarted(sd_bus_message* answer)
{
    std::int32_t result = -1;
    return sd_bus_message_is_method_error(answer, nullptr) == 0 &&
           sd_bus_message_read_basic(answer, SD_BUS_TYPE_INT32, &result) > 0 && result == 0;
}

/** Each call has one answer, and only a job that was started touches a device. */
void call(ServiceWorld& world, sd_bus_message* message)
{
    const bool isJob = sd_bus_message_is_method_call(message, nullptr, "CompFirmwareUpdate") > 0;
    const auto number = world.end().deliver(message);
    world.settle();
    if (number == 0)
    {
        return;
    }
    const auto answer = world.end().replies.extract(number);
    require(!answer.empty(), "a call is answered");
    const std::size_t runs = isJob && wasStarted(answer.mapped().get()) ? 1 : 0;
    require(happened("program") == runs, "only a job that was started runs the library");
    require(runs == 1 || happened("open") == 0, "a call that is refused opens nothing");
}

void say(ServiceWorld& world, RegistrationConnection& registration, Input input)
{
    fakes::clearJournal();
    const char kind = input.byte();
    auto& end = kind == 'r' ? registration.end() : world.end();
    const auto message = messageFrom(input, end, kind);
    if (message == nullptr)
    {
        return;
    }
    if (kind == 'm')
    {
        call(world, message.get());
        return;
    }
    end.deliver(message.get());
    registration.run();
    world.settle();
    require(happened("program") == 0, "no signal starts a job");
}

bool mentionsPendingPowerOn(std::string_view text)
{
    return text.find("S5OnPending") != std::string_view::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const bool mayRelease = mentionsPendingPowerOn(Input(input).rest());
    const auto requireHold = [mayRelease]
    {
        require(mayRelease || happened("write bit") == 0,
                "the hold is released for a pending power-on, and for nothing else");
    };
    Neighbours neighbours(input);
    ServiceWorld world(std::ref(neighbours));
    world.start();
    require(world.service().registeredObjects.empty() != neighbours.saidFruReadComplete(),
            "the inventory is published when the FRU read is complete, and only then");
    requireHold();

    RegistrationConnection registration(world);
    while (!input.empty())
    {
        say(world, registration, input.section());
        requireHold();
    }
    return 0;
}
