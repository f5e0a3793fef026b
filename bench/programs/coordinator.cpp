/**
 * @file
 * An update coordinator that never keeps the service waiting: it answers every registration and
 * report at once, and knows when each came.
 *
 * usage: coordinator
 *
 * Says "ready" when it owns its name. Each line of standard input starts a job:
 *
 *     OBJECT-PATH FQDD TRANSACTION COMPONENT-NUMBER DIRECTORY
 *
 * Each message is a line of standard output, with the monotonic clock in nanoseconds behind its
 * name: "begin" (the job's first property is about to be sent), "registration", or "report" (with
 * status and percentage). Ends with its input.
 */

#include "support.hpp"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

namespace
{

constexpr auto service = "com.vexa.bevon.tavrinupdate";
constexpr auto updateInterface = "com.vexa.bevon.cmnupdate.comp_update";
constexpr auto coordinator = "com.vexa.bevon.cmnfwupd";

void tellReport(sd_bus_message* call, std::int64_t time)
{
    const char* fqdd = nullptr;
    std::uint8_t status = 0;
    std::uint32_t transaction = 0;
    std::uint16_t percentage = 0;
    bench::must(sd_bus_message_read(call, "syuq", &fqdd, &status, &transaction, &percentage),
                "report");
    std::printf("report %" PRId64 " %u %u\n", time, status, percentage);
}

/** Every call that reaches the coordinator; all else is left to sd-bus. */
int answer(sd_bus_message* call, void* /*userdata*/, sd_bus_error* /*error*/)
{
    const std::int64_t time = bench::now();
    if (sd_bus_message_is_method_call(call, nullptr, "cmnfwupd_client_register") > 0)
    {
        std::printf("registration %" PRId64 "\n", time);
    }
    else if (sd_bus_message_is_method_call(call, nullptr, "cmnfwupd_fw_update_status") > 0)
    {
        tellReport(call, time);
    }
    else
    {
        return 0;
    }
    bench::must(sd_bus_reply_method_return(call, ""), "answer");
    return 1;
}

/** Answers until the process ends. */
void serveForEver()
{
    const bench::Bus bus = bench::connect();
    bench::must(sd_bus_add_filter(bus.get(), nullptr, answer, nullptr), "filter");
    bench::must(sd_bus_request_name(bus.get(), coordinator, 0), coordinator);
    std::puts("ready");
    bench::serve(bus.get(), [] { return false; });
}

struct Job
{
    std::string path;
    std::string fqdd;
    std::uint32_t transaction = 0;
    std::uint32_t component = 0;
    std::string directory;
};

template <typename Value>
void set(sd_bus* bus, const Job& job, const char* property, const char* type, Value value)
{
    bench::must(sd_bus_set_property(bus, service, job.path.c_str(), updateInterface, property,
                                    nullptr, type, value),
                property);
}

/** As a coordinator does it: three properties, then the call. */
void begin(sd_bus* bus, const Job& job)
{
    std::printf("begin %" PRId64 "\n", bench::now());
    set(bus, job, "Jobid", "s", "JID_1");
    set(bus, job, "Component_id", "u", job.component);
    set(bus, job, "Resource_URI", "s", job.directory.c_str());
    sd_bus_message* reply = nullptr;
    std::int32_t result = -1;
    bench::must(sd_bus_call_method(bus, service, job.path.c_str(), updateInterface,
                                   "CompFirmwareUpdate", nullptr, &reply, "su", job.fqdd.c_str(),
                                   job.transaction),
                "CompFirmwareUpdate");
    const bench::Message owned(reply);
    bench::must(sd_bus_message_read(reply, "i", &result), "result");
    bench::must(result == 0 ? 0 : -EPERM, "the update");
}

} // namespace

int main()
{
    if (std::setvbuf(stdout, nullptr, _IOLBF, 0) != 0)
    {
        return 1;
    }
    // On a connection of its own: the service reports before it answers the call.
    std::thread(serveForEver).detach();
    const bench::Bus bus = bench::connect();
    Job job;
    while (std::cin >> job.path >> job.fqdd >> job.transaction >> job.component >> job.directory)
    {
        begin(bus.get(), job);
    }
    std::_Exit(0);
}
