#include "watchers/neighbour.hpp"

#include <stdexcept>
#include <utility>

namespace
{

/** How long the thread waits before it looks whether it shall end, in microseconds. */
constexpr std::uint64_t longestWait = 10'000;

} // namespace

Neighbour::Neighbour(const std::string& address, const char* name, Answer answer) :
    answer_(std::move(answer))
{
    if (sd_bus_new(&bus_) < 0 || sd_bus_set_address(bus_, address.c_str()) < 0 ||
        sd_bus_set_bus_client(bus_, 1) < 0 || sd_bus_start(bus_) < 0 ||
        sd_bus_add_filter(bus_, nullptr, reply, this) < 0 || sd_bus_request_name(bus_, name, 0) < 0)
    {
        sd_bus_unref(bus_);
        throw std::runtime_error(std::string(name) + " cannot be had on " + address);
    }
    thread_ = std::jthread([this](const std::stop_token& ending) { serve(ending); });
}

int Neighbour::reply(sd_bus_message* call, void* self, sd_bus_error* /*error*/)
{
    if (sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "Get") <= 0)
    {
        return 0;
    }
    sd_bus_message* answer = nullptr;
    sd_bus_message_new_method_return(call, &answer);
    static_cast<Neighbour*>(self)->answer_(answer);
    const int result = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return result < 0 ? result : 1;
}

void Neighbour::serve(const std::stop_token& ending)
{
    while (!ending.stop_requested())
    {
        if (sd_bus_process(bus_, nullptr) == 0)
        {
            sd_bus_wait(bus_, longestWait);
        }
    }
    sd_bus_flush_close_unref(bus_);
}
