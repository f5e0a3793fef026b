#include "neighbours.hpp"

#include "message_body.hpp"
#include "require.hpp"

#include <algorithm>
#include <array>

namespace fuzz
{

namespace
{

constexpr std::string_view fruReader = "com.vexa.bmc.mppd";

constexpr auto services = std::to_array<std::string_view>({
    "xyz.openbmc_project.State.Host",
    fruReader,
    "xyz.openbmc_project.Platform",
    "com.vexa.bevon.cmnfwupd",
});

SdBusMessagePtr errorAnswer(sd_bus_message* call, Input& input)
{
    const auto name = input.line();
    const auto text = input.line();
    const sd_bus_error error{name.c_str(), text.c_str(), 0};
    sd_bus_message* made = nullptr;
    sd_bus_message_new_method_error(call, &made, &error);
    return SdBusMessagePtr(made);
}

/** @return null where there is nothing that could be sent */
SdBusMessagePtr answerTo(sd_bus_message* call, Input input)
{
    switch (input.byte())
    {
    case 'r':
    {
        auto answer = emptyAnswer(call);
        return appendBody(answer.get(), input) ? std::move(answer) : nullptr;
    }
    case 'e':
        return errorAnswer(call, input);
    default:
        return nullptr;
    }
}

/** Whether an answer that has been sent begins with a true boolean in a variant. */
bool saysTrue(sd_bus_message* answer)
{
    int value = 0;
    sd_bus_message_rewind(answer, 1);
    return sd_bus_message_is_method_error(answer, nullptr) == 0 &&
           sd_bus_message_enter_container(answer, SD_BUS_TYPE_VARIANT, "b") > 0 &&
           sd_bus_message_read_basic(answer, SD_BUS_TYPE_BOOLEAN, &value) > 0 && value != 0;
}

} // namespace

Neighbours::Neighbours() : answers_{Input("r\n"), Input("rv\nb\n1\n"), Input("r\n"), Input("r\n")}
{
}

Neighbours::Neighbours(Input& input)
{
    for (std::size_t i = 0; i < services.size(); ++i)
    {
        answers_.push_back(input.section());
    }
}

void Neighbours::operator()(BusEnd& end, sd_bus_message* call)
{
    ++asked_;
    const std::string_view destination = sd_bus_message_get_destination(call);
    const auto prepared = answerOf(destination);
    if (Input(prepared).byte() == 'n')
    {
        return;
    }
    const auto answer = answerTo(call, prepared);
    if (answer == nullptr || end.deliver(answer.get()) == 0)
    {
        end.close();
        return;
    }
    saidFruReadComplete_ =
        saidFruReadComplete_ || (destination == fruReader && saysTrue(answer.get()));
}

Input Neighbours::answerOf(std::string_view destination) const
{
    const auto* const service = std::ranges::find(services, destination);
    require(service != services.end(), "only those are asked that are meant to be");
    return answers_.at(static_cast<std::size_t>(service - services.begin()));
}

} // namespace fuzz
