/**
 * @file
 * Many clients that read everything the service shows, without a pause, until standard input ends.
 *
 *     inventory_readers ADDRESS CLIENTS SERVICE ROOT INTERFACE... -- PATH...
 *
 * Each client has a thread and a bus connection of its own. In turn it asks for all managed objects
 * below ROOT and for all properties of each interface of each path. "reading" is printed when each
 * client has had its first answer; at the end one JSON object says how many calls there were, how
 * many failed, and how long they took in microseconds.
 */

#include <systemd/sd-bus.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <latch>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr auto objectManager = "org.freedesktop.DBus.ObjectManager";
constexpr auto properties = "org.freedesktop.DBus.Properties";

// A call that waits longer than any reader would is to be seen as a long one, not as a failed one.
constexpr std::uint64_t patience = 120'000'000; // microseconds

struct BusDeleter
{
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using BusPtr = std::unique_ptr<sd_bus, BusDeleter>;

/** What all clients read, and where. */
struct Order
{
    std::string address;
    std::string service;
    std::string root;
    std::vector<std::string> interfaces;
    std::vector<std::string> paths;
};

/** What one client has seen. */
struct Seen
{
    std::vector<std::int64_t> microseconds;
    std::size_t failures = 0;
};

BusPtr connect(const std::string& address)
{
    sd_bus* opened = nullptr;
    sd_bus_new(&opened);
    BusPtr bus(opened);
    if (sd_bus_set_address(opened, address.c_str()) < 0 || sd_bus_set_bus_client(opened, 1) < 0 ||
        sd_bus_start(opened) < 0)
    {
        std::cerr << "no way to the bus at " << address << '\n';
        std::_Exit(EXIT_FAILURE);
    }
    sd_bus_set_method_call_timeout(opened, patience);
    return bus;
}

class Client
{
  public:
    Client(const Order& order, Seen& seen) :
        order_(order), seen_(seen), bus_(connect(order.address))
    {
    }

    void managedObjects() { call(order_.root, objectManager, "GetManagedObjects", nullptr); }

    void allProperties()
    {
        for (const auto& path : order_.paths)
        {
            for (const auto& interface : order_.interfaces)
            {
                call(path, properties, "GetAll", interface.c_str());
            }
        }
    }

  private:
    void call(const std::string& path, const char* interface, const char* member,
              const char* argument)
    {
        sd_bus_message* reply = nullptr;
        const auto begin = std::chrono::steady_clock::now();
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): sd-bus takes the arguments so
        const int result =
            sd_bus_call_method(bus_.get(), order_.service.c_str(), path.c_str(), interface, member,
                               nullptr, &reply, argument == nullptr ? "" : "s", argument);
        const auto time = std::chrono::steady_clock::now() - begin;
        sd_bus_message_unref(reply);
        seen_.failures += result < 0 ? 1 : 0;
        seen_.microseconds.push_back(
            std::chrono::duration_cast<std::chrono::microseconds>(time).count());
    }

    const Order& order_;
    Seen& seen_;
    BusPtr bus_;
};

/** Order of the command line; `arguments` begins behind the number of clients. */
Order readOrder(const std::string& address, const std::vector<std::string>& arguments)
{
    const auto separator = std::find(arguments.begin(), arguments.end(), "--");
    return {address,
            arguments.at(0),
            arguments.at(1),
            {arguments.begin() + 2, separator},
            {separator + 1, arguments.end()}};
}

void tell(const std::vector<Seen>& all)
{
    std::vector<std::int64_t> times;
    std::size_t failures = 0;
    for (const auto& seen : all)
    {
        times.insert(times.end(), seen.microseconds.begin(), seen.microseconds.end());
        failures += seen.failures;
    }
    std::sort(times.begin(), times.end());
    const auto share = [&times](std::size_t perMille)
    { return times.at((times.size() - 1) * perMille / 1000); };
    std::cout << "{\"calls\": " << times.size() << ", \"failures\": " << failures
              << ", \"median\": " << share(500) << ", \"p99\": " << share(990)
              << ", \"longest\": " << share(1000) << "}\n";
}

void readUntilInputEnds(const Order& order, std::size_t clients)
{
    std::vector<Seen> seen(clients);
    std::vector<std::thread> threads;
    threads.reserve(clients);
    std::atomic<bool> over{false};
    std::latch begun(static_cast<std::ptrdiff_t>(clients));
    for (auto& own : seen)
    {
        threads.emplace_back(
            [&order, &own, &over, &begun]
            {
                Client client(order, own);
                client.managedObjects();
                begun.count_down();
                while (!over)
                {
                    client.allProperties();
                    client.managedObjects();
                }
            });
    }
    begun.wait();
    std::cout << "reading" << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
    over = true;
    for (auto& thread : threads)
    {
        thread.join();
    }
    tell(seen);
}

} // namespace

int main(int count, char** arguments)
{
    constexpr int leastCount = 7;
    if (count < leastCount)
    {
        std::cerr
            << "usage: inventory_readers ADDRESS CLIENTS SERVICE ROOT INTERFACE... -- PATH...\n";
        return EXIT_FAILURE;
    }
    const std::span given(arguments, static_cast<std::size_t>(count));
    const std::vector<std::string> words(given.begin() + 1, given.end());
    const Order order = readOrder(words.at(0), {words.begin() + 2, words.end()});
    readUntilInputEnds(order, std::stoul(words.at(1)));
    return EXIT_SUCCESS;
}
