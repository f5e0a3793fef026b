#pragma once

#include "bus_in_process.hpp"
#include "fakes/devices.hpp"
#include "service/tavrinupdate.hpp"

#include <boost/asio/io_context.hpp>

#include <optional>

namespace fuzz
{

/**
 * The service as its entry brings it up, in a controller as new: on a bus inside the process, with
 * one simulated CPLD of each kind and the keys that the payload in signed/ verifies with.
 *
 * At its end nothing may be left open or allocated.
 */
class ServiceWorld
{
  public:
    /** @param neighbour answers for all other services */
    explicit ServiceWorld(BusEnd::Neighbour neighbour);
    ServiceWorld(const ServiceWorld&) = delete;
    ServiceWorld& operator=(const ServiceWorld&) = delete;
    ServiceWorld(ServiceWorld&&) = delete;
    ServiceWorld& operator=(ServiceWorld&&) = delete;
    ~ServiceWorld();

    /** All that the entry does before its event loop. */
    void start();

    /** Runs loop and bus until nothing is left to do. @throws what the loop lets out */
    void settle();

    Tavrinupdate& service() { return *service_; }
    BusInProcess& bus() { return bus_; }

    /** The bus's end of the connection that the service is served on. */
    BusEnd& end() { return *end_; }

  private:
    class Leftovers;

    std::shared_ptr<Leftovers> leftovers_;
    fakes::Cpld device_;
    BusInProcess bus_;
    std::shared_ptr<BusEnd> end_;
    boost::asio::io_context io_;
    std::optional<Tavrinupdate> service_;
};

/** Number of entries of the journal that begin with a text. */
std::size_t happened(std::string_view beginning);

} // namespace fuzz
