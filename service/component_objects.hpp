#pragma once

/**
 * @file
 * The four bus objects that every CPLD instance has at its object path.
 *
 * They hold what the bus sees and no behaviour of their own: the update interface hands its calls
 * to the service object. All of them belong to the main thread.
 */

#include <com/vexa/bevon/cmnupdate/comp_mprop_dri_registration/server.hpp>
#include <com/vexa/bevon/cmnupdate/comp_update/server.hpp>
#include <com/vexa/bevon/inventory/BaseSwInventory/server.hpp>
#include <com/vexa/bevon/inventory/TavrinInventory/server.hpp>
#include <sdbusplus/bus.hpp>
#include <sdbusplus/server.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>

class Tavrinupdate;

using CompUpdateObject =
    sdbusplus::server::object::object<sdbusplus::server::com::vexa::bevon::cmnupdate::CompUpdate>;
using CompMpropDriRegistrationObject = sdbusplus::server::object::object<
    sdbusplus::server::com::vexa::bevon::cmnupdate::CompMpropDriRegistration>;
using BaseSwInventoryObject = sdbusplus::server::object::object<
    sdbusplus::server::com::vexa::bevon::inventory::BaseSwInventory>;
using TavrinInventoryObject = sdbusplus::server::object::object<
    sdbusplus::server::com::vexa::bevon::inventory::TavrinInventory>;

/** Argument of `SetAllProperties`: property names with their values. */
using PropertyMap = std::map<std::string, std::variant<std::string, std::uint16_t, std::uint32_t>>;

/** Update interface of one instance; both methods are the service object's. */
class CompUpdateIface : public CompUpdateObject
{
  public:
    /** @param service must outlive this object */
    CompUpdateIface(sdbusplus::bus_t& bus, const char* path, Tavrinupdate& service);

    std::int32_t compFirmwareUpdate(std::string fqdd, std::uint32_t transactionId) override;
    std::int32_t setAllProperties(PropertyMap properties) override;

  private:
    Tavrinupdate& service_;
};

/** What the coordinator reads to learn how this instance is updated. */
class CompMpropDriRegIface : public CompMpropDriRegistrationObject
{
  public:
    using CompMpropDriRegistrationObject::CompMpropDriRegistrationObject;
};

/** Common software-inventory record of one instance. */
class BaseSwInventoryIface : public BaseSwInventoryObject
{
  public:
    using BaseSwInventoryObject::BaseSwInventoryObject;
};

/** The service's own inventory record of one instance. */
class TavrinInventoryIface : public TavrinInventoryObject
{
  public:
    /** @param service must outlive this object */
    TavrinInventoryIface(sdbusplus::bus_t& bus, const char* path, Tavrinupdate& service);

  private:
    // For handlers of this interface, as in the update interface; there are none so far.
    [[maybe_unused]] Tavrinupdate& service_;
};

/** All objects of one instance; dropping it takes them off the bus. */
struct ComponentObjects
{
    std::unique_ptr<CompUpdateIface> update;
    std::unique_ptr<CompMpropDriRegIface> registration;
    std::unique_ptr<BaseSwInventoryIface> baseInventory;
    std::unique_ptr<TavrinInventoryIface> inventory;
};
