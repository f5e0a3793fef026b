/** @file Objects that come and go, and what a listener hears of them. */

#include "component.hpp"
#include "conversation.hpp"

#include <sdbusplus/exception.hpp>

#include <gmock/gmock.h>

#include <memory>

namespace bus_test
{
namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto anchor = "/com/vexa/bevon/cpld_updater";
constexpr auto path = "/com/vexa/bevon/cpld_updater/PBB_PLD_1";

using Values = std::map<std::string, std::variant<std::string, uint32_t>>;

/** InterfacesAdded or InterfacesRemoved; the standard interfaces, which every object has, are only
 * counted. */
struct Announcement
{
    std::string member;
    std::string sent_from;
    std::string about;
    std::map<std::string, Values> interfaces;
    int standard_interfaces = 0;
};

Announcement read_announcement(sdbusplus::message_t& signal)
{
    Announcement result{signal.get_member(), signal.get_path(), "", {}, 0};
    const char* object = nullptr;
    sd_bus_message_read(signal.get(), "o", &object);
    result.about = object;
    if (result.member == "InterfacesAdded")
    {
        signal.read(result.interfaces);
    }
    else
    {
        for (const auto& name : signal.unpack<std::vector<std::string>>())
        {
            result.interfaces[name];
        }
    }
    result.standard_interfaces = static_cast<int>(
        std::erase_if(result.interfaces, [](const auto& entry)
                      { return entry.first.starts_with("org.freedesktop.DBus."); }));
    return result;
}

class Objects : public Conversation
{
  protected:
    /** All of them as "Added 1", "Removed 2": member and number of the interfaces that are not
     * standard ones. */
    std::vector<std::string> story()
    {
        see_all_signals();
        std::vector<std::string> result;
        for (const auto& news : announcements)
        {
            result.push_back(news.member.substr(10) + " " + std::to_string(news.interfaces.size()));
        }
        return result;
    }

    using Action = BaseInventoryObject::action;

    std::vector<Announcement> announcements;
    sdbusplus::server::manager_t manager{service, anchor};

  private:
    sdbusplus::bus::match_t listener{client,
                                     "type='signal',interface='org.freedesktop.DBus.ObjectManager'",
                                     [this](sdbusplus::message_t& signal)
                                     { announcements.push_back(read_announcement(signal)); }};
};

TEST_F(Objects, SecondOneWithTheSameInterfaceIsRefused)
{
    const OwnInventoryObject first(service, path);
    try
    {
        const OwnInventoryObject second(service, path);
        FAIL() << "accepted";
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        EXPECT_STREQ(
            e.what(),
            "sd_bus_add_object_vtable: org.freedesktop.DBus.Error.FileExists: File exists");
    }
}

TEST_F(Objects, PathIsFreeAgainOnceTheFirstIsGone)
{
    std::make_unique<OwnInventoryObject>(service, path).reset();
    EXPECT_NO_THROW(OwnInventoryObject(service, path));
}

TEST_F(Objects, PathThatIsNoneIsRefused)
{
    try
    {
        const OwnInventoryObject object(service, "no/path");
        FAIL() << "accepted";
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        EXPECT_STREQ(
            e.what(),
            "sd_bus_add_object_vtable: org.freedesktop.DBus.Error.InvalidArgs: Invalid argument");
    }
}

TEST_F(Objects, AnnouncementComesFromTheManagerAndListsTheWholePath)
{
    const OwnInventoryObject object(service, path);
    see_all_signals();
    ASSERT_EQ(announcements.size(), 1U);
    EXPECT_EQ(announcements[0].member, "InterfacesAdded");
    EXPECT_EQ(announcements[0].sent_from, anchor);
    EXPECT_EQ(announcements[0].about, path);
    EXPECT_EQ(announcements[0].standard_interfaces, 3);
    const auto& values = announcements[0].interfaces.at(TavrinInventory::interface);
    EXPECT_EQ(values.at("DisplayName"), Values::mapped_type("PBB CPLD"));
    EXPECT_EQ(values.at("DeviceType"), Values::mapped_type(uint32_t{1}));
}

TEST_F(Objects, WithoutAManagerThereIsNoSignal)
{
    {
        BaseInventoryObject object(service, "/com/vexa/bevon/dummy");
        BaseInventoryObject deferred(service, "/com/vexa/bevon/other", Action::defer_emit);
        deferred.emit_object_added();
        object.emit_added();
    }
    EXPECT_THAT(story(), IsEmpty());
}

TEST_F(Objects, DeferredOneIsAnnouncedOnceWithTheValuesOfThatMoment)
{
    BaseInventoryObject object(service, path, Action::defer_emit);
    object.fqdd("PBBCPLD.Embedded.1", true);
    object.emit_object_added();
    object.emit_object_added();
    EXPECT_THAT(story(), ElementsAre("Added 1"));
    const auto& values = announcements[0].interfaces.at(BaseSwInventory::interface);
    EXPECT_EQ(values.at("FQDD"), Values::mapped_type("PBBCPLD.Embedded.1"));
}

TEST_F(Objects, DeferredOneIsTakenBackEvenWhenItWasNeverAnnounced)
{
    std::make_unique<BaseInventoryObject>(service, path, Action::defer_emit).reset();
    EXPECT_THAT(story(), ElementsAre("Removed 1"));
}

TEST_F(Objects, InterfaceActionLeavesOutWhatOthersHaveAtThePath)
{
    const OwnInventoryObject other(service, path, OwnInventoryObject::action::emit_no_signals);
    std::make_unique<BaseInventoryObject>(service, path, Action::emit_interface_added).reset();
    EXPECT_THAT(story(), ElementsAre("Added 1", "Removed 1"));
    EXPECT_EQ(announcements[0].interfaces.count(BaseSwInventory::interface), 1U);
    EXPECT_EQ(announcements[0].standard_interfaces, 0);
}

TEST_F(Objects, SilentActionSendsNothing)
{
    std::make_unique<BaseInventoryObject>(service, path, Action::emit_no_signals).reset();
    EXPECT_THAT(story(), IsEmpty());
}

TEST_F(Objects, InterfaceIsAnnouncedAndTakenBackInTurn)
{
    BaseInventoryObject object(service, path, Action::emit_no_signals);
    object.emit_removed();
    object.emit_added();
    object.emit_added();
    object.emit_removed();
    object.emit_removed();
    EXPECT_THAT(story(), ElementsAre("Added 1", "Removed 1"));
}

/** The four objects of one component, made and destroyed in the order in which the service does it.
 */
TEST_F(Objects, ComponentIsAnnouncedStepByStep)
{
    {
        const RegistrationObject registration(service, path);
        const UpdateObject update(service, path);
        BaseInventoryObject base(service, path, Action::defer_emit);
        const OwnInventoryObject own(service, path);
        base.fqdd("PBBCPLD.Embedded.1", true);
        base.emit_object_added();
        EXPECT_THAT(story(), ElementsAre("Added 1", "Added 2", "Added 4", "Added 4"));
        const auto fqdd = [this](std::size_t index)
        { return announcements[index].interfaces.at(BaseSwInventory::interface).at("FQDD"); };
        EXPECT_EQ(fqdd(2), Values::mapped_type(""));
        EXPECT_EQ(fqdd(3), Values::mapped_type("PBBCPLD.Embedded.1"));
        announcements.clear();
    }
    EXPECT_THAT(story(), ElementsAre("Removed 4", "Removed 3", "Removed 2", "Removed 1"));
}

/** All four bindings as bases of one class, as the service object has them. */
class AllInOne : public UpdateObject,
                 public RegistrationObject,
                 public BaseInventoryObject,
                 public OwnInventoryObject
{
  public:
    AllInOne(sdbusplus::bus_t& bus, const char* at) :
        UpdateObject(bus, at), RegistrationObject(bus, at), BaseInventoryObject(bus, at),
        OwnInventoryObject(bus, at)
    {
    }
};

TEST_F(Objects, OneClassMayHaveAllBindingsAsBases)
{
    AllInOne object(service, path);
    object.CompUpdate::setPropertyByName("Jobid", "JID_1");
    EXPECT_EQ(object.jobid(), "JID_1");
    EXPECT_EQ(object.BaseSwInventory::fqdd("x"), "x");
    EXPECT_EQ(object.TavrinInventory::fqdd(), "");
}

TEST_F(Objects, OneObjectMayHaveSeveralInterfaces)
{
    const sdbusplus::server::object_t<TavrinInventory, BaseSwInventory> object(service, path);
    EXPECT_THAT(story(), ElementsAre("Added 2"));
}

TEST_F(Objects, MayOutliveTheConnectionObjectThatTheyWereMadeOn)
{
    const auto own_reference =
        std::make_unique<sdbusplus::bus_t>(sdbusplus::bus::new_default_system());
    auto made_on = std::make_unique<sdbusplus::bus_t>(sdbusplus::bus::new_default_system());
    auto object = std::make_unique<OwnInventoryObject>(*made_on, path);
    made_on.reset();
    EXPECT_NO_THROW(object.reset());
}

TEST_F(Objects, BadManagerPathIsNotComplainedOfAndManagersMayShareAPath)
{
    EXPECT_NO_THROW(sdbusplus::server::manager_t(service, "no/path"));
    const sdbusplus::server::manager_t second(service, anchor);
    const OwnInventoryObject object(service, path);
    EXPECT_THAT(story(), ElementsAre("Added 1"));
}

TEST_F(Objects, ManagerIsGoneWithItsOwner)
{
    {
        auto moved = std::move(manager);
    }
    const OwnInventoryObject object(service, path);
    EXPECT_THAT(story(), IsEmpty());
}

} // namespace
} // namespace bus_test
