#include "fakes/devices.hpp"

#include "fakes/journal.hpp"

#include <algorithm>
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
    const std::size_t number = written.at(0);
    if (written.size() > 1 && !ignoresWrites_)
    {
        registers_.at(number) = written.at(1);
    }
    std::copy_n(registers_.begin() + static_cast<std::ptrdiff_t>(number),
                request.messages.at(1).length, read);
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

std::string opened(const Cpld& device)
{
    return "open " + device.path();
}

std::string closed(const Cpld& device)
{
    return "close " + device.path();
}

} // namespace fakes
