/**
 * @file
 * Makes the calls that a service makes, one for each line of standard input, and answers each with
 * one line: what the call returned, in plain words that the tests compare.
 */

#include "platform/cpldfwupdate.hpp"
#include "platform/dlog.h"
#include "platform/hal.hpp"
#include "platform/software_inventory.h"
#include "platform/sysinfo.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <future>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace
{

using Words = std::istringstream;

/** The percentages of the present run. */
std::string& reports()
{
    static std::string text;
    return text;
}

/** The library says nothing about the thread that this comes on, except that the run waits for it.
 */
void report(unsigned int percent)
{
    reports() += " " + std::to_string(percent);
}

std::string withErrno(int result)
{
    return result < 0 ? "errno " + std::to_string(errno) : std::to_string(result);
}

template <typename Value>
Value next(Words& words)
{
    Value value{};
    words >> value;
    return value;
}

/** sysinfo TYPE: status, count, paths */
std::string sysinfo(Words& words)
{
    i2c_sysinfo* found = nullptr;
    const int status = i2c_parse_sysinfo(next<std::uint32_t>(words), &found);
    const std::unique_ptr<i2c_sysinfo, decltype(&std::free)> owner(found, &std::free);
    std::string answer = std::to_string(status);
    if (found != nullptr)
    {
        answer += " " + std::to_string(found->count);
        for (const i2c_sysinfo_node* node = found->first; node != nullptr; node = node->next)
        {
            answer += std::string(" ") + node->path;
        }
    }
    return answer;
}

/** open PATH: descriptor */
std::string openPath(Words& words)
{
    return withErrno(open(next<std::string>(words).c_str(), O_RDWR | O_CLOEXEC));
}

/** close FD */
std::string closeDescriptor(Words& words)
{
    return withErrno(close(next<int>(words)));
}

/** rdwr FD ADDRESS READ-LENGTH BYTE...: result and the bytes read */
std::string transfer(Words& words)
{
    const int descriptor = next<int>(words);
    const auto address = next<std::uint16_t>(words);
    std::vector<unsigned char> reply(next<std::uint16_t>(words));
    std::vector<unsigned char> sent;
    for (unsigned int byte = 0; words >> byte;)
    {
        sent.push_back(static_cast<unsigned char>(byte));
    }
    std::array<i2c_msg, 2> messages{
        {{address, 0, static_cast<std::uint16_t>(sent.size()), sent.data()},
         {address, I2C_M_RD, static_cast<std::uint16_t>(reply.size()), reply.data()}}};
    i2c_rdwr_ioctl_data request{messages.data(), messages.size()};
    std::ostringstream answer;
    answer << withErrno(ioctl(descriptor, I2C_RDWR, &request)) << std::hex << std::setfill('0');
    for (const unsigned int byte : reply)
    {
        answer << ' ' << std::setw(2) << byte;
    }
    return answer.str();
}

/** Opens a path, reads its version registers and closes it, `rounds` times. */
bool readRepeatedly(const std::string& path, int rounds)
{
    bool succeeded = true;
    for (int round = 0; round < rounds; ++round)
    {
        Words descriptor(path);
        const std::string opened = openPath(descriptor);
        Words request(opened + " 99 2 0");
        Words closing(opened);
        succeeded &= transfer(request).starts_with("2 ") && closeDescriptor(closing) == "0";
    }
    return succeeded;
}

/** hammer THREADS ROUNDS PATH: whether all rounds of all threads went well */
std::string hammer(Words& words)
{
    const auto threads = next<std::size_t>(words);
    const int rounds = next<int>(words);
    const auto path = next<std::string>(words);
    std::vector<std::future<bool>> running;
    std::generate_n(std::back_inserter(running), threads,
                    [&] { return std::async(std::launch::async, readRepeatedly, path, rounds); });
    const auto good = std::count_if(running.begin(), running.end(),
                                    [](std::future<bool>& thread) { return thread.get(); });
    return std::to_string(good);
}

/** program COMPONENT INDEX PAYLOAD: i2cdriver, dup, upd and the percentages reported */
std::string program(Words& words)
try
{
    const auto component = next<std::string>(words);
    const auto index = next<unsigned int>(words);
    reports().clear();
    cpldfwupdate run(component, index, next<std::string>(words), &report, 352);
    const auto codes = run.get_error_code();
    return std::to_string(codes.i2cdriver) + " " + std::to_string(codes.dup) + " " +
           std::to_string(codes.upd) + " :" + reports();
}
catch (const std::exception& error)
{
    return std::string("exception ") + error.what();
}

/** hold VALUE: status, errno, whether there was a callback, the status of removing it */
std::string hold(Words& words)
{
    const std::unique_ptr<HAL_cfgbase> line(HAL_cfgdata::ReadHALConfig("LINE"));
    if (!line)
    {
        return "null";
    }
    errno = 0;
    const int status = line->WriteBit(static_cast<std::uint8_t>(next<unsigned int>(words)));
    const int error = errno;
    const bool hasCallback = line->HasInterruptCallback();
    return std::to_string(status) + " " + std::to_string(error) + " " +
           std::to_string(static_cast<int>(hasCallback)) + " " +
           (hasCallback ? std::to_string(line->UnregisterInterruptCallback()) : "-");
}

/** versions COMPONENT: status, texts, changed, change value */
std::string versions(Words& words)
{
    const auto component = next<std::uint32_t>(words);
    const std::unique_ptr<void, decltype(&SMFreeMem)> block(SMAllocMem(4096), &SMFreeMem);
    if (!block)
    {
        return "null";
    }
    std::fill_n(static_cast<unsigned char*>(block.get()), 4096, '\0');
    std::array<unsigned char, 4> number{};
    std::memcpy(number.data(), &component, number.size());
    std::copy(number.begin(), number.end(), static_cast<unsigned char*>(block.get()) + 60);
    std::array<char, 32> current{};
    std::array<char, 32> previous{};
    std::array<char, 65> sha256{};
    const int status = SIPLGetAvailableVersionsWithSha256(
        component, current.data(), previous.data(), sha256.data(), current.size(), sha256.size(), 0,
        block.get(), nullptr);
    std::uint64_t change = 0;
    const bool changed = SIPLHasVersionChanged(1, block.get(), &change);
    return std::to_string(status) + " [" + current.data() + "] [" + previous.data() + "] [" +
           sha256.data() + "] " + std::to_string(static_cast<int>(changed)) + " " +
           std::to_string(change);
}

/** log TEXT */
std::string logText(Words& words)
{
    dlog_printf(4, 352, "[%s] %d\n", next<std::string>(words).c_str(), 7);
    return "logged";
}

const std::map<std::string, std::function<std::string(Words&)>> commands = {
    {"sysinfo", sysinfo},   {"open", openPath},   {"close", closeDescriptor},
    {"rdwr", transfer},     {"program", program}, {"hold", hold},
    {"versions", versions}, {"log", logText},     {"hammer", hammer},
};

} // namespace

int main()
{
    for (std::string line; std::getline(std::cin, line);)
    {
        Words words(line);
        std::cout << commands.at(next<std::string>(words))(words) << std::endl;
    }
}
