#include "service/tavrinupdate.hpp"

#include "log/log.hpp"

#include <utility>

Tavrinupdate::Tavrinupdate(boost::asio::io_context& eventLoop,
                           std::shared_ptr<sdbusplus::asio::connection> bus, const char* path) :
    CompUpdateObject(*bus, path),
    CompMpropDriRegistrationObject(*bus, path), BaseSwInventoryObject(*bus, path),
    TavrinInventoryObject(*bus, path), io(eventLoop), connection(std::move(bus))
{
}

Tavrinupdate::~Tavrinupdate()
{
    matches.clear();
    logTrace("[%s] : DESTRUCTOR called\n", "~Tavrinupdate");
}
