/**
 * @file
 * Calls of the service, of what answers in it without its code, and of the bus daemon, over one
 * connection.
 *
 * usage: round_trips BLOCKS COUNT [CALL...]
 *
 * Prints a line for each of the named calls (all but `objects` where none is named) and each
 * block: the call, a space, the median latency of COUNT of them in nanoseconds. Each block has the
 * other order of calls, so that all of them meet the same machine.
 */

#include "support.hpp"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr auto service = "com.vexa.bevon.tavrinupdate";
constexpr auto daemonName = "org.freedesktop.DBus";
constexpr auto root = "/com/vexa/bevon/cpld_updater";
constexpr auto object = "/com/vexa/bevon/cpld_updater/PBB_PLD_1";
constexpr auto update = "com.vexa.bevon.cmnupdate.comp_update";
constexpr auto inventory = "com.vexa.bevon.inventory.BaseSwInventory";
constexpr auto properties = "org.freedesktop.DBus.Properties";

struct Call
{
    std::string_view name;
    const char* destination;
    const char* path;
    const char* interface;
    const char* member;
    /** Adds the arguments of the call with this number. @return as sd-bus's calls do */
    std::function<int(sd_bus_message*, unsigned)> append;
    /** Whether the answer (null: an error) is the expected one. */
    std::function<bool(sd_bus_message*)> expected;
};

int nothing(sd_bus_message* /*call*/, unsigned /*number*/)
{
    return 0;
}

std::function<bool(sd_bus_message*)> has(const char* signature)
{
    return [signature](sd_bus_message* answer)
    { return answer != nullptr && sd_bus_message_has_signature(answer, signature) > 0; };
}

/** Whether an update was refused by its result. */
bool isRefused(sd_bus_message* answer)
{
    std::int32_t result = 0;
    return answer != nullptr && sd_bus_message_read(answer, "i", &result) > 0 && result == 1;
}

int appendProperty(sd_bus_message* call, unsigned /*number*/)
{
    return sd_bus_message_append(call, "ss", inventory, "InstalledVersionString");
}

int appendInterface(sd_bus_message* call, unsigned /*number*/)
{
    return sd_bus_message_append(call, "s", inventory);
}

/** Always another folder: every write changes the value. */
int appendFolder(sd_bus_message* call, unsigned number)
{
    const char* const folder = number % 2 == 0 ? "/tmp/firmware/job-000" : "/tmp/firmware/job-001";
    return sd_bus_message_append(call, "ssv", update, "Resource_URI", "s", folder);
}

/** No instance has such a number: refused by an error. */
int appendBadNumber(sd_bus_message* call, unsigned /*number*/)
{
    return sd_bus_message_append(call, "su", "PBBCPLD.Embedded.9999999999", 7U);
}

/** No kind has such a name: refused by the result, and by a record in the log file. */
int appendBadName(sd_bus_message* call, unsigned /*number*/)
{
    return sd_bus_message_append(call, "su", "PBBCPLD.Embedded_1", 7U);
}

const std::vector<Call>& calls()
{
    static const std::vector<Call> all{
        {"daemon", daemonName, "/org/freedesktop/DBus", daemonName, "GetId", nothing, has("s")},
        {"ping", service, "/", "org.freedesktop.DBus.Peer", "Ping", nothing, has("")},
        {"get", service, object, properties, "Get", appendProperty, has("v")},
        {"get_all", service, object, properties, "GetAll", appendInterface, has("a{sv}")},
        {"set", service, object, properties, "Set", appendFolder, has("")},
        {"error", service, object, update, "CompFirmwareUpdate", appendBadNumber,
         [](sd_bus_message* answer) { return answer == nullptr; }},
        {"refusal", service, object, update, "CompFirmwareUpdate", appendBadName, isRefused},
        {"objects", service, root, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects",
         nothing, has("a{oa{sa{sv}}}")},
    };
    return all;
}

/** @return how long the answer took, in nanoseconds */
std::int64_t latency(sd_bus* bus, const Call& call, unsigned number)
{
    sd_bus_message* made = nullptr;
    bench::must(sd_bus_message_new_method_call(bus, &made, call.destination, call.path,
                                               call.interface, call.member),
                call.member);
    const bench::Message message(made);
    bench::must(call.append(made, number), call.member);
    sd_bus_message* answer = nullptr;
    const std::int64_t begin = bench::now();
    const int result = sd_bus_call(bus, made, 0, nullptr, &answer);
    const std::int64_t time = bench::now() - begin;
    const bench::Message owned(answer);
    // Another answer would make the figure one of something else.
    if (!call.expected(answer))
    {
        errx(EXIT_FAILURE, "%s: unexpected answer (%d)", call.member, result);
    }
    return time;
}

void measure(sd_bus* bus, const Call& call, unsigned count)
{
    std::vector<std::int64_t> times(count);
    unsigned number = 0;
    std::generate(times.begin(), times.end(), [&] { return latency(bus, call, number++); });
    const auto middle = times.begin() + count / 2;
    std::nth_element(times.begin(), middle, times.end());
    std::printf("%s %" PRId64 "\n", std::string(call.name).c_str(), *middle);
}

bool isNamed(const Call& call, const std::vector<std::string>& names)
{
    return names.empty() ? call.name != "objects"
                         : std::find(names.begin(), names.end(), call.name) != names.end();
}

} // namespace

int main(int count, char** words)
{
    if (count < 3)
    {
        return 2;
    }
    const int blocks = std::stoi(words[1]);
    const auto repeats = static_cast<unsigned>(std::stoul(words[2]));
    std::vector<Call> chosen;
    std::copy_if(calls().begin(), calls().end(), std::back_inserter(chosen),
                 [names = std::vector<std::string>(words + 3, words + count)](const Call& call)
                 { return isNamed(call, names); });
    const bench::Bus bus = bench::connect();
    for (int block = 0; block < blocks; ++block)
    {
        for (const Call& call : chosen)
        {
            measure(bus.get(), call, repeats);
        }
        std::reverse(chosen.begin(), chosen.end());
    }
    return 0;
}
