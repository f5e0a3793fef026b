#include "bus_in_process.hpp"

#include "require.hpp"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <utility>

namespace fuzz
{

namespace
{

constexpr auto daemonName = "org.freedesktop.DBus";

/** Who sends everything that is not the daemon's. */
constexpr auto neighbourName = ":1.99";

BusInProcess* currentBus = nullptr;

void check(int result)
{
    require(result >= 0, "the bus in the process works");
}

SdBusPtr newBus(int descriptor)
{
    sd_bus* made = nullptr;
    check(sd_bus_new(&made));
    SdBusPtr bus(made);
    check(sd_bus_set_fd(made, descriptor, descriptor));
    check(sd_bus_negotiate_fds(made, 1));
    return bus;
}

bool isAddressedTo(sd_bus_message* call, std::string_view name)
{
    const char* const destination = sd_bus_message_get_destination(call);
    return destination != nullptr && destination == name;
}

} // namespace

BusEnd::BusEnd(int descriptor, std::string name, const Neighbour& neighbour) :
    name_(std::move(name)), neighbour_(neighbour), native_(newBus(descriptor))
{
    check(sd_bus_set_server(native_.get(), 1,
                            SD_ID128_MAKE(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16)));
    check(sd_bus_add_filter(native_.get(), nullptr, receive, this));
    check(sd_bus_start(native_.get()));
}

bool BusEnd::run()
{
    bool anything = false;
    while (open_)
    {
        const int result = sd_bus_process(native_.get(), nullptr);
        if (result == 0)
        {
            break;
        }
        anything = true;
        open_ = open_ && result > 0;
    }
    return anything;
}

void BusEnd::close()
{
    sd_bus_flush(native_.get());
    sd_bus_close(native_.get());
    open_ = false;
}

SdBusMessagePtr BusEnd::newSignal(const char* path, const char* interface, const char* member)
{
    sd_bus_message* made = nullptr;
    sd_bus_message_new_signal(native_.get(), &made, path, interface, member);
    return SdBusMessagePtr(made);
}

SdBusMessagePtr BusEnd::newCall(const char* path, const char* interface, const char* member)
{
    sd_bus_message* made = nullptr;
    sd_bus_message_new_method_call(native_.get(), &made, name_.c_str(), path, interface, member);
    return SdBusMessagePtr(made);
}

std::uint64_t BusEnd::deliver(sd_bus_message* message)
{
    if (!open_ || sd_bus_message_set_sender(message, neighbourName) < 0)
    {
        return 0;
    }
    std::uint64_t number = 0;
    return sd_bus_send(native_.get(), message, &number) < 0 ? 0 : number;
}

void BusEnd::deliverRaw(const std::string& bytes)
{
    sd_bus_flush(native_.get());
    static_cast<void>(::send(sd_bus_get_fd(native_.get()), bytes.data(), bytes.size(),
                             MSG_NOSIGNAL | MSG_DONTWAIT));
}

int BusEnd::receive(sd_bus_message* message, void* self, sd_bus_error* /*error*/)
{
    auto& end = *static_cast<BusEnd*>(self);
    std::uint64_t number = 0;
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) > 0)
    {
        end.answer(message);
    }
    else if (sd_bus_message_get_reply_cookie(message, &number) >= 0)
    {
        const bool first =
            end.replies.emplace(number, SdBusMessagePtr(sd_bus_message_ref(message))).second;
        require(first, "no call is answered twice");
    }
    return 1;
}

void BusEnd::answer(sd_bus_message* call)
{
    if (isAddressedTo(call, daemonName))
    {
        answerAsDaemon(call);
    }
    else
    {
        neighbour_(*this, call);
    }
}

void BusEnd::answerAsDaemon(sd_bus_message* call)
{
    const auto reply = emptyAnswer(call);
    const std::string_view member = sd_bus_message_get_member(call);
    if (member == "Hello")
    {
        check(sd_bus_message_append_basic(reply.get(), SD_BUS_TYPE_STRING, name_.c_str()));
    }
    else if (member == "RequestName")
    {
        constexpr std::uint32_t primaryOwner = 1;
        check(sd_bus_message_append_basic(reply.get(), SD_BUS_TYPE_UINT32, &primaryOwner));
    }
    check(sd_bus_message_set_sender(reply.get(), daemonName));
    check(sd_bus_send(nullptr, reply.get(), nullptr));
}

SdBusMessagePtr emptyAnswer(sd_bus_message* call)
{
    sd_bus_message* made = nullptr;
    check(sd_bus_message_new_method_return(call, &made));
    return SdBusMessagePtr(made);
}

BusInProcess::BusInProcess(BusEnd::Neighbour neighbour) : neighbour_(std::move(neighbour))
{
    require(currentBus == nullptr, "there is one bus at a time");
    currentBus = this;
}

BusInProcess::~BusInProcess()
{
    currentBus = nullptr;
}

BusInProcess* BusInProcess::current()
{
    return currentBus;
}

sd_bus* BusInProcess::connect()
{
    std::array<int, 2> sockets{};
    check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, sockets.data()));
    ends_.push_back(
        std::make_shared<BusEnd>(sockets[0], ":1." + std::to_string(++opened_), neighbour_));
    auto bus = newBus(sockets[1]);
    check(sd_bus_set_bus_client(bus.get(), 1));
    check(sd_bus_start(bus.get()));
    return bus.release();
}

bool BusInProcess::run()
{
    // A peer that waits while the bus runs would have it run again.
    if (std::exchange(running_, true))
    {
        return false;
    }
    bool anything = false;
    for (const auto& end : ends_)
    {
        anything = end->run() || anything;
    }
    std::erase_if(ends_, [](const auto& end) { return !end->open(); });
    running_ = false;
    return anything;
}

} // namespace fuzz
