#pragma once

#include <com/vexa/bevon/cmnupdate/comp_mprop_dri_registration/server.hpp>
#include <com/vexa/bevon/cmnupdate/comp_update/server.hpp>
#include <com/vexa/bevon/inventory/BaseSwInventory/server.hpp>
#include <com/vexa/bevon/inventory/TavrinInventory/server.hpp>

#include <functional>
#include <map>
#include <string>
#include <variant>

/** @file The service's four bindings as objects for the tests. */

namespace bus_test
{

using sdbusplus::server::com::vexa::bevon::cmnupdate::CompMpropDriRegistration;
using sdbusplus::server::com::vexa::bevon::cmnupdate::CompUpdate;
using sdbusplus::server::com::vexa::bevon::inventory::BaseSwInventory;
using sdbusplus::server::com::vexa::bevon::inventory::TavrinInventory;

using RegistrationObject = sdbusplus::server::object_t<CompMpropDriRegistration>;
using BaseInventoryObject = sdbusplus::server::object_t<BaseSwInventory>;
using OwnInventoryObject = sdbusplus::server::object_t<TavrinInventory>;

/** The one binding with methods; a test says what they do. */
class UpdateObject : public sdbusplus::server::object_t<CompUpdate>
{
  public:
    using Settings = std::map<std::string, std::variant<std::string, uint16_t, uint32_t>>;
    using CompUpdate::newFWVer;
    using CompUpdate::timeout;
    using object::object;

    int32_t compFirmwareUpdate(std::string fqdd, uint32_t transaction) override
    {
        return on_update(fqdd, transaction);
    }
    int32_t setAllProperties(Settings settings) override { return on_settings(settings); }

    uint32_t timeout(uint32_t value) override
    {
        on_timeout(value);
        return CompUpdate::timeout(value);
    }
    std::string newFWVer() const override
    {
        on_version();
        return CompUpdate::newFWVer();
    }

    std::function<int32_t(const std::string&, uint32_t)> on_update = [](auto&, auto) { return 0; };
    std::function<int32_t(const Settings&)> on_settings = [](auto&) { return 0; };
    std::function<void(uint32_t)> on_timeout = [](auto) {};
    std::function<void()> on_version = [] {};
};

} // namespace bus_test
