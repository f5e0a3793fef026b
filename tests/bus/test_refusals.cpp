/** @file What sd-bus refuses by itself, before any code of a binding runs. */

#include "component.hpp"
#include "conversation.hpp"

#include <optional>

namespace bus_test
{
namespace
{

class Refusals : public Conversation
{
  protected:
    static constexpr const char* update = CompUpdate::interface;
    static constexpr const char* inventory = BaseSwInventory::interface;

    void SetUp() override
    {
        object.on_update = [this](auto&, auto) { return called = true; };
        object.on_timeout = [this](auto) { called = true; };
    }

    void expect_refused(const sdbusplus::message_t& call, const std::string& name,
                        const std::string& text)
    {
        const auto answer = ask(call);
        EXPECT_EQ(answer.error_name(), "org.freedesktop.DBus.Error." + name);
        EXPECT_EQ(answer.error_text(), text);
        EXPECT_FALSE(called);
    }

    template <typename... Arguments>
    sdbusplus::message_t property_call(const char* member, const Arguments&... arguments)
    {
        auto call = new_property_call(member);
        call.append(arguments...);
        return call;
    }

    bool called = false;
    UpdateObject object{service, service_path};
    BaseInventoryObject inventory_object{service, service_path};
};

TEST_F(Refusals, WrongArguments)
{
    auto call = new_call(update, "CompFirmwareUpdate");
    call.append("PBBCPLD.Embedded.1", "seven");
    expect_refused(
        call, "InvalidArgs",
        "Invalid arguments 'ss' to call com.vexa.bevon.cmnupdate.comp_update.CompFirmwareUpdate(), "
        "expecting 'su'.");
}

TEST_F(Refusals, UnknownMethod)
{
    expect_refused(new_call(update, "Nope"), "UnknownMethod",
                   "Unknown method Nope or interface com.vexa.bevon.cmnupdate.comp_update.");
}

TEST_F(Refusals, GetOfAnUnknownProperty)
{
    expect_refused(property_call("Get", update, "Nope"), "UnknownProperty",
                   "Unknown interface com.vexa.bevon.cmnupdate.comp_update or property Nope.");
}

TEST_F(Refusals, SetOfAnUnknownProperty)
{
    expect_refused(property_call("Set", update, "Nope", std::variant<uint32_t>(1U)),
                   "UnknownProperty",
                   "Unknown interface com.vexa.bevon.cmnupdate.comp_update or property Nope.");
}

TEST_F(Refusals, SetOfAWrongType)
{
    expect_refused(property_call("Set", update, "Timeout", std::variant<std::string>("1")),
                   "InvalidArgs",
                   "Incorrect parameters for property 'Timeout', expected 'u', got 's'.");
    EXPECT_EQ(object.timeout(), 0U);
}

TEST_F(Refusals, SetOfAReadOnlyProperty)
{
    expect_refused(property_call("Set", inventory, "FQDD", std::variant<std::string>("x")),
                   "PropertyReadOnly", "Property 'FQDD' is not writable.");
    EXPECT_EQ(inventory_object.fqdd(), "");
}

TEST_F(Refusals, GetAllOfAnUnknownInterface)
{
    expect_refused(property_call("GetAll", "com.nope"), "UnknownInterface",
                   "Unknown interface 'com.nope'.");
}

TEST_F(Refusals, UnknownObject)
{
    expect_refused(new_call(update, "CompFirmwareUpdate", "/no/such"), "UnknownObject",
                   "Unknown object '/no/such'.");
}

} // namespace
} // namespace bus_test
