#include "i2c/transfer.hpp"

#include <algorithm>
#include <cerrno>

namespace sim
{

namespace
{

using Message = std::span<unsigned char>;

bool isRead(const i2c_msg& message)
{
    return (message.flags & I2C_M_RD) != 0;
}

Message contents(const i2c_msg& message)
{
    return {message.buf, message.len};
}

/** What a fault may look for in a transfer. */
Json eventOf(const Cpld& device, std::span<const i2c_msg> messages)
{
    const bool emptyRead =
        std::any_of(messages.begin(), messages.end(),
                    [](const auto& message) { return isRead(message) && message.len == 0; });
    const Json event = {
        {"device", device.description().name}, {"operation", "read"}, {"empty_read", emptyRead}};
    const auto write = std::find_if_not(messages.begin(), messages.end(), isRead);
    return write == messages.end() || write->len == 0
               ? event
               : event.with({{"register", contents(*write).front()},
                             {"operation", write->len > 1 ? "write" : "read"}});
}

/** One transfer's way through the registers of one device. */
class RegisterCursor
{
  public:
    RegisterCursor(Board& board, Cpld& device) : board_(board), device_(device) {}

    void take(const i2c_msg& message)
    {
        if (isRead(message))
        {
            std::generate_n(message.buf, message.len, [this] { return readNext(); });
            return;
        }
        const Message bytes = contents(message);
        if (!bytes.empty())
        {
            register_ = bytes.front();
            std::for_each(bytes.begin() + 1, bytes.end(), [this](auto byte) { writeNext(byte); });
        }
    }

  private:
    std::uint8_t readNext()
    {
        const Json effect = happen("read");
        const std::uint8_t value = device_.readRegister(register_++);
        return static_cast<std::uint8_t>((value & ~effect.value("clear", 0U)) |
                                         effect.value("set", 0U));
    }

    void writeNext(std::uint8_t value)
    {
        const unsigned int stuck = happen("write").value("stuck", 0U);
        const unsigned int before = device_.readRegister(register_);
        device_.writeRegister(register_,
                              static_cast<std::uint8_t>((value & ~stuck) | (before & stuck)),
                              board_.description()->platformId);
        ++register_;
    }

    Json happen(const char* operation)
    {
        return board_.happen("register", {{"device", device_.description().name},
                                          {"register", register_},
                                          {"operation", operation}});
    }

    Board& board_;
    Cpld& device_;
    std::uint8_t register_ = 0;
};

bool addresses(const Cpld& device, std::span<const i2c_msg> messages)
{
    return std::all_of(messages.begin(), messages.end(),
                       [&](const i2c_msg& message)
                       { return message.addr == device.description().address; });
}

int carryOut(Board& board, Cpld& device, std::span<i2c_msg> messages)
{
    if (!addresses(device, messages))
    {
        return ENXIO;
    }
    const Json effect = board.happen("transfer", eventOf(device, messages));
    const int error = effect.value("errno", 0);
    // A failing transfer may still have reached the device: then only its answer was lost.
    if (error == 0 || effect.value("reaches_device", false))
    {
        RegisterCursor cursor(board, device);
        std::for_each(messages.begin(), messages.end(),
                      [&](const i2c_msg& message) { cursor.take(message); });
    }
    return error;
}

Json jsonOf(std::span<const i2c_msg> messages, bool succeeded)
{
    std::vector<Json> list;
    for (const i2c_msg& message : messages)
    {
        const bool hasData = succeeded || !isRead(message);
        list.push_back({{"addr", message.addr},
                        {"flags", message.flags},
                        {"len", message.len},
                        {"data", hasData ? hexadecimal(contents(message)) : std::string()}});
    }
    return list;
}

} // namespace

int transfer(Board& board, Cpld& device, std::span<i2c_msg> messages)
{
    const int error = carryOut(board, device, messages);
    trace("transfer", {{"device", device.description().name},
                       {"messages", jsonOf(messages, error == 0)},
                       {"result", error == 0 ? static_cast<int>(messages.size()) : -1},
                       {"errno", error}});
    return error;
}

} // namespace sim
