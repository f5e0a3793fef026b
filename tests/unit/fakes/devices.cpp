#include "fakes/devices.hpp"

#include "fakes/journal.hpp"

#include <cstring>
#include <string_view>

namespace
{

std::string hexadecimal(const std::vector<std::uint8_t>& bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const auto byte : bytes)
    {
        text += ' ';
        text += digits.at(byte >> 4U);
        text += digits.at(byte & 0x0FU);
    }
    return text;
}

std::string entryFor(const fakes::I2cRequest& request, int error)
{
    auto text = "write" + hexadecimal(request.messages.at(0).written) + ", read " +
                std::to_string(request.messages.at(1).length);
    return error == 0 ? text : text + ": " + ::strerrorname_np(error);
}

} // namespace

namespace fakes
{

int Cpld::transfer(const I2cRequest& request, std::uint8_t* read)
{
    requests_.push_back(request);
    const int error = nextError();
    note(entryFor(request, error));
    if (error != 0)
    {
        return error;
    }

    const auto& written = request.messages.at(0).written;
    const std::uint8_t number = written.at(0);
    if (written.size() > 1 && !ignoresWrites_)
    {
        registers_.at(number) = written.at(1);
    }
    for (std::size_t i = 0; i < request.messages.at(1).length; ++i)
    {
        read[i] = nextValue(static_cast<std::uint8_t>(number + i));
    }
    return 0;
}

int Cpld::nextError()
{
    if (errors_.empty())
    {
        return 0;
    }
    const int error = errors_.front();
    errors_.pop_front();
    return error;
}

std::uint8_t Cpld::nextValue(std::uint8_t number)
{
    auto& shown = shown_[number];
    if (shown.empty())
    {
        return registers_.at(number);
    }
    const auto value = shown.front();
    shown.pop_front();
    return value;
}

std::string opened(const Cpld& device)
{
    return "open " + device.path();
}

std::string closed(const Cpld& device)
{
    return "close " + device.path();
}

} // namespace fakes
