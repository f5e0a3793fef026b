/** @file Properties: reading, writing, writing by name, and who hears of it. */

#include "component.hpp"
#include "conversation.hpp"

#include <array>
#include <type_traits>

namespace bus_test
{
namespace
{

static_assert(
    std::is_same_v<CompUpdate::PropertiesVariant, std::variant<std::string, uint16_t, uint32_t>>);
static_assert(std::is_same_v<CompMpropDriRegistration::PropertiesVariant,
                             std::variant<std::string, uint32_t, uint8_t>>);
static_assert(
    std::is_same_v<BaseSwInventory::PropertiesVariant,
                   std::variant<bool, std::string, uint16_t, uint32_t, uint64_t, uint8_t>>);
static_assert(
    std::is_same_v<TavrinInventory::PropertiesVariant, std::variant<bool, std::string, uint32_t>>);

using Changed = std::map<std::string, std::variant<std::string, uint8_t, bool>>;

struct Announcement
{
    std::string interface;
    Changed changed;
    std::vector<std::string> invalidated;
};

class Properties : public Conversation
{
  protected:
    void set_on_the_bus(const char* interface, const char* name,
                        std::variant<uint32_t, std::string> value)
    {
        auto call = new_property_call("Set");
        call.append(interface, name, value);
        EXPECT_EQ(ask(call).error_name(), "");
    }

    const std::vector<Announcement>& all_announcements()
    {
        see_all_signals();
        return announcements;
    }

    UpdateObject update{service, service_path};
    BaseInventoryObject base{service, service_path};
    OwnInventoryObject own{service, service_path};

  private:
    std::vector<Announcement> announcements;
    sdbusplus::bus::match_t changes{client, "type='signal',member='PropertiesChanged'",
                                    [this](sdbusplus::message_t& signal)
                                    {
                                        auto& news = announcements.emplace_back();
                                        signal.read(news.interface, news.changed, news.invalidated);
                                    }};
};

TEST_F(Properties, StartEmptyOrWithTheirDefaults)
{
    EXPECT_EQ(update.jobid(), "");
    EXPECT_EQ(update.vendorID(), 0);
    EXPECT_EQ(base.installationDate(), 0U);
    EXPECT_EQ(own.deviceType(), 1U);
    EXPECT_EQ(own.displayName(), "PBB CPLD");
    EXPECT_EQ(own.friendlyFQDD(), "PBB CPLD");
    EXPECT_EQ(own.updateStatus(), "NotStarted");
    EXPECT_EQ(own.updatePercent(), 0U);
    EXPECT_FALSE(own.psuScanBlock());
}

TEST_F(Properties, WriteOnTheBusPassesTheOverriddenSetter)
{
    uint32_t seen = 0;
    update.on_timeout = [&seen](uint32_t value) { seen = value; };
    set_on_the_bus(CompUpdate::interface, "Timeout", uint32_t{300});
    EXPECT_EQ(seen, 300U);
    EXPECT_EQ(update.timeout(), 300U);
}

TEST_F(Properties, WriteOnTheBusIsReadBack)
{
    set_on_the_bus(TavrinInventory::interface, "DisplayName", "another");
    auto call = new_property_call("Get");
    call.append(TavrinInventory::interface, "DisplayName");
    EXPECT_EQ(ask(call).message.unpack<std::variant<std::string>>(),
              std::variant<std::string>("another"));
}

TEST_F(Properties, SettersReturnWhatIsStored)
{
    EXPECT_EQ(own.updatePercent(50), 50U);
    EXPECT_EQ(own.updatePercent(50), 50U);
    EXPECT_EQ(own.updatePercent(60, true), 60U);
}

TEST_F(Properties, ChangeIsAnnouncedWithThatOneNameAndValue)
{
    base.currentVersionString("1.2.3");
    const auto& news = all_announcements();
    ASSERT_EQ(news.size(), 1U);
    EXPECT_EQ(news[0].interface, "com.vexa.bevon.inventory.BaseSwInventory");
    EXPECT_EQ(news[0].changed, (Changed{{"CurrentVersionString", "1.2.3"}}));
    EXPECT_TRUE(news[0].invalidated.empty());
}

/** None of the definitions here has a property of the second kind. */
TEST_F(Properties, FlagsDecideWhatIsTold)
{
    namespace vtable = sdbusplus::vtable;
    const auto get_seven = [](sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                              void*, sd_bus_error*)
    { return sd_bus_message_append(reply, "y", 7); };
    const std::array entries{
        vtable::start(),
        vtable::property("Kept", "y", get_seven),
        vtable::property("Told", "y", get_seven, vtable::property_::emits_change),
        vtable::property("Dropped", "y", get_seven, vtable::property_::emits_invalidation),
        vtable::property("Fixed", "y", get_seven, vtable::property_::const_),
        vtable::end()};
    const sdbusplus::server::interface_t mixed(service, service_path, "com.example.Mixed",
                                               entries.data(), nullptr);
    for (const char* name : {"Kept", "Told", "Dropped", "Fixed", "Unknown"})
    {
        mixed.property_changed(name);
    }
    const auto& news = all_announcements();
    ASSERT_EQ(news.size(), 2U);
    EXPECT_EQ(news[0].changed, (Changed{{"Told", uint8_t{7}}}));
    EXPECT_EQ(news[1].changed, Changed{});
    EXPECT_EQ(news[1].invalidated, std::vector<std::string>{"Dropped"});
}

TEST_F(Properties, EqualValueIsNotAnnounced)
{
    base.flags(7, true);
    base.flags(7);
    EXPECT_TRUE(all_announcements().empty());
}

TEST_F(Properties, SkippedSignalIsNotSent)
{
    base.currentVersionString("1.2.3", true);
    EXPECT_EQ(base.currentVersionString(), "1.2.3");
    EXPECT_TRUE(all_announcements().empty());
}

TEST_F(Properties, ConstantPropertyIsStoredAndNotAnnounced)
{
    base.componentID(114678);
    EXPECT_EQ(base.componentID(), 114678U);
    EXPECT_TRUE(all_announcements().empty());
}

TEST_F(Properties, PropertyThatEmitsNoChangeIsStoredAndNotAnnounced)
{
    update.timeout(5);
    own.updateStatus("Running");
    EXPECT_EQ(own.updateStatus(), "Running");
    EXPECT_TRUE(all_announcements().empty());
}

TEST_F(Properties, AreSetByTheirNameOnTheBus)
{
    update.setPropertyByName("Resource_URI", "/tmp/payload");
    EXPECT_EQ(update.resourceURI(), "/tmp/payload");
}

TEST_F(Properties, SettingByNameAnnouncesUnlessTold)
{
    base.setPropertyByName("Flags", uint8_t{1}, true);
    base.setPropertyByName("Flags", uint8_t{2});
    EXPECT_EQ(all_announcements().size(), 1U);
}

TEST_F(Properties, UnknownNameIsNotSetAndNotComplainedOf)
{
    EXPECT_NO_THROW(update.setPropertyByName("Nope", "x"));
    EXPECT_NO_THROW(update.setPropertyByName("jobid", "x"));
    EXPECT_EQ(update.jobid(), "");
}

TEST_F(Properties, UnknownNameReadsAsTheFirstAlternativeEmpty)
{
    EXPECT_EQ(update.getPropertyByName("Nope"), CompUpdate::PropertiesVariant(std::string()));
    EXPECT_EQ(own.getPropertyByName("Nope"), TavrinInventory::PropertiesVariant(false));
}

TEST_F(Properties, AreReadByTheirNameOnTheBus)
{
    update.componentId(114747);
    EXPECT_EQ(update.getPropertyByName("Component_id"),
              CompUpdate::PropertiesVariant(uint32_t{114747}));
}

TEST_F(Properties, WrongAlternativeByNameThrows)
{
    try
    {
        update.setPropertyByName("Timeout", "five");
        FAIL() << "accepted";
    }
    catch (const std::bad_variant_access& e)
    {
        EXPECT_STREQ(e.what(), "std::get: wrong index for variant");
    }
}

TEST_F(Properties, MayBeGivenAtConstruction)
{
    const TavrinInventory inventory(service, "/com/example/given",
                                    {{"Count", uint32_t{2}}, {"Nope", true}});
    EXPECT_EQ(inventory.count(), 2U);
}

} // namespace
} // namespace bus_test
