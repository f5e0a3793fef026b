#pragma once

#include "../bus/private_bus.hpp"
#include "service/component_table.hpp"
#include "service/tavrinupdate.hpp"
#include "service_test.hpp"

#include <stdexcept>

/** The service object on a bus of its own, with its table filled and nothing published. */
class ServiceOnBus : public ServiceTest
{
  protected:
    ServiceOnBus() { initialiseComponentTable(service.pbb, service.pdb, service.flop); }

    std::shared_ptr<sdbusplus::asio::connection> connect()
    {
        sd_bus* native = nullptr;
        if (sd_bus_new(&native) < 0 || sd_bus_set_address(native, bus.address().c_str()) < 0 ||
            sd_bus_set_bus_client(native, 1) < 0 || sd_bus_start(native) < 0)
        {
            throw std::runtime_error("no connection to the bus");
        }
        const SdBusPtr owner(native);
        return std::make_shared<sdbusplus::asio::connection>(io, native);
    }

    bus_test::PrivateBus bus;
    boost::asio::io_context io;
    Tavrinupdate service{io, connect(), "/com/example/service"};
};
