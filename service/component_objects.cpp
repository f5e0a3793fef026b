#include "service/component_objects.hpp"

#include "service/tavrinupdate.hpp"

#include <utility>

CompUpdateIface::CompUpdateIface(sdbusplus::bus_t& bus, const char* path, Tavrinupdate& service) :
    CompUpdateObject(bus, path), service_(service)
{
}

std::int32_t CompUpdateIface::compFirmwareUpdate(std::string fqdd, std::uint32_t transactionId)
{
    return service_.compFirmwareUpdate(std::move(fqdd), transactionId);
}

std::int32_t CompUpdateIface::setAllProperties(PropertyMap properties)
{
    return service_.setAllProperties(std::move(properties));
}

TavrinInventoryIface::TavrinInventoryIface(sdbusplus::bus_t& bus, const char* path,
                                           Tavrinupdate& service) :
    TavrinInventoryObject(bus, path),
    service_(service)
{
}
