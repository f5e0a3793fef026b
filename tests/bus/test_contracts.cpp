/** @file The four interfaces as introspection shows them, member by member. */

#include "component.hpp"
#include "conversation.hpp"

#include <sdbusplus/vtable.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace bus_test
{
namespace
{

constexpr auto change_annotation = "org.freedesktop.DBus.Property.EmitsChangedSignal";

std::string method(const std::string& name, const std::vector<std::string>& arguments,
                   const std::string& result)
{
    std::string text = "  <method name=\"" + name + "\">\n";
    for (const auto& argument : arguments)
    {
        text += "   <arg type=\"" + argument + "\" direction=\"in\"/>\n";
    }
    return text + "   <arg type=\"" + result + "\" direction=\"out\"/>\n  </method>\n";
}

std::string property(const std::string& name, const std::string& type, const std::string& access,
                     const std::string& change)
{
    auto text =
        "  <property name=\"" + name + "\" type=\"" + type + "\" access=\"" + access + "\">\n";
    if (!change.empty())
    {
        text += std::string("   <annotation name=\"") + change_annotation + "\" value=\"" + change +
                "\"/>\n";
    }
    return text + "  </property>\n";
}

/** Writable, for callers without privileges too, never announced. */
std::string open(const std::string& name, const std::string& type)
{
    return property(name, type, "readwrite", "false");
}

std::string constant(const std::string& name, const std::string& type)
{
    return property(name, type, "read", "const");
}

/** Read-only and announced, which is what introspection takes for granted. */
std::string announced(const std::string& name, const std::string& type)
{
    return property(name, type, "read", "");
}

class Contracts : public Conversation
{
  protected:
    /** What introspection says of one interface at the path, without its frame. */
    std::string members_of(const std::string& interface)
    {
        auto answer = ask(new_call("org.freedesktop.DBus.Introspectable", "Introspect"));
        const auto xml = answer.message.unpack<std::string>();
        const auto frame = " <interface name=\"" + interface + "\">\n";
        const auto begin = xml.find(frame);
        if (begin == std::string::npos)
        {
            return "no such interface";
        }
        const auto members = begin + frame.size();
        return xml.substr(members, xml.find(" </interface>", members) - members);
    }
};

TEST_F(Contracts, ComponentUpdate)
{
    const UpdateObject object(service, service_path);
    EXPECT_EQ(members_of("com.vexa.bevon.cmnupdate.comp_update"),
              method("CompFirmwareUpdate", {"s", "u"}, "i") +
                  method("SetAllProperties", {"a{sv}"}, "i") + open("Jobid", "s") +
                  open("Resource_URI", "s") + open("Previous_URI", "s") + open("New_FW_ver", "s") +
                  open("Component_id", "u") + open("Timeout", "u") + open("deviceID", "q") +
                  open("subDeviceID", "q") + open("vendorID", "q") + open("subVendorID", "q"));
}

TEST_F(Contracts, UpdateRegistration)
{
    const RegistrationObject object(service, service_path);
    EXPECT_EQ(members_of("com.vexa.bevon.cmnupdate.comp_mprop_dri_registration"),
              open("Fqdd", "s") + open("Comp_ID", "u") + open("Reboot_Type", "y") +
                  open("Serial_Type", "y") + open("fwupdate_service", "s") +
                  open("fwupdate_object", "s") + open("fwupdate_interface", "s") +
                  open("fwupdate_methodcall", "s"));
}

TEST_F(Contracts, BaseInventory)
{
    const BaseInventoryObject object(service, service_path);
    EXPECT_EQ(
        members_of("com.vexa.bevon.inventory.BaseSwInventory"),
        constant("ComponentID", "u") + constant("ComponentType", "q") +
            announced("CurrentVersionString", "s") + announced("CurrentReleaseDate", "s") +
            constant("DeviceType", "q") + constant("DisplayName", "s") + constant("FQDD", "s") +
            announced("Flags", "y") + constant("FriendlyFQDD", "s") +
            announced("ImpactsTPMmeasurements", "b") + announced("InstallationDate", "t") +
            announced("InstalledVersionString", "s") + announced("PreviousVersionString", "s") +
            announced("PreviousReleaseDate", "s") + announced("Sha256String", "s") +
            announced("ShaPreviousVersionHash", "s") + announced("VersionDependencyArray", "s") +
            constant("SidebandUpdateCapable", "q") +
            announced("PLDMCapabilitiesDuringUpdate", "u") +
            announced("PLDMFDPCapabilitiesDuringUpdate", "u") + announced("releaseType", "y"));
}

TEST_F(Contracts, OwnInventory)
{
    const OwnInventoryObject object(service, service_path);
    EXPECT_EQ(members_of("com.vexa.bevon.inventory.TavrinInventory"),
              open("Fqdd", "s") + open("Comp_ID", "u") + open("Count", "u") +
                  open("ComponentType", "u") + open("CurrentVersionString", "s") +
                  open("DeviceType", "u") + open("DisplayName", "s") + open("Flags", "u") +
                  open("FriendlyFQDD", "s") + open("ImpactsTPMmeasurements", "b") +
                  open("InstallationDate", "u") + open("InstalledVersionString", "s") +
                  open("PreviousVersionString", "s") + open("UpdateStatus", "s") +
                  open("UpdatePercent", "u") + open("PSUScanBlock", "b"));
}

TEST_F(Contracts, SettingsArriveAsOneMap)
{
    UpdateObject object(service, service_path);
    UpdateObject::Settings seen;
    object.on_settings = [&seen](const auto& settings) { return seen = settings, 0; };
    auto call = new_call(CompUpdate::interface, "SetAllProperties");
    call.append(std::map<std::string, std::variant<std::string, uint16_t, uint32_t, bool>>{
        {"Jobid", "JID_1"}, {"Timeout", uint32_t{5}}, {"deviceID", uint16_t{6}}, {"Odd", true}});
    EXPECT_EQ(ask(call).message.unpack<int32_t>(), 0);
    EXPECT_EQ(
        seen,
        (UpdateObject::Settings{
            {"Jobid", "JID_1"}, {"Odd", ""}, {"Timeout", uint32_t{5}}, {"deviceID", uint16_t{6}}}));
}

TEST_F(Contracts, NoSettingsArriveAsAnEmptyMap)
{
    UpdateObject object(service, service_path);
    bool empty = false;
    object.on_settings = [&empty](const auto& settings) { return empty = settings.empty(), 0; };
    auto call = new_call(CompUpdate::interface, "SetAllProperties");
    call.append(UpdateObject::Settings{});
    ask(call);
    EXPECT_TRUE(empty);
}

/** A caller that is not root, in a process of its own; each call's error name, or "ok", goes to a
 * pipe. */
class Unprivileged : public Contracts
{
  protected:
    using Attempt = std::function<int(sd_bus*, const char*, sd_bus_error*)>;

    void SetUp() override
    {
        if (geteuid() != 0)
        {
            GTEST_SKIP() << "only root can become somebody else";
        }
    }

    std::string result_of(const Attempt& attempt)
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        const auto destination = service.get_unique_name();
        const pid_t caller = fork();
        if (caller == 0)
        {
            call_as_nobody(attempt, destination.c_str(), ends[1]);
        }
        close(ends[1]);
        const auto result = serve_until_told(ends[0], caller);
        close(ends[0]);
        return result;
    }

    UpdateObject object{service, service_path};

  private:
    [[noreturn]] static void call_as_nobody(const Attempt& attempt, const char* destination,
                                            int out)
    {
        constexpr uid_t nobody = 65534;
        sd_bus* bus = nullptr;
        sd_bus_error error{};
        std::string result = "not connected";
        if (setresgid(nobody, nobody, nobody) == 0 && setresuid(nobody, nobody, nobody) == 0 &&
            sd_bus_open_system(&bus) >= 0)
        {
            result = attempt(bus, destination, &error) >= 0 ? "ok" : error.name;
        }
        _exit(write(out, result.data(), result.size()) > 0 ? 0 : 1);
    }

    std::string serve_until_told(int result_in, pid_t caller)
    {
        std::array<char, 128> text{};
        pump_until([&] { return waitpid(caller, nullptr, WNOHANG) == caller; }, result_in);
        const auto length = read(result_in, text.data(), text.size());
        return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
    }
};

int start_update(sd_bus* bus, const char* destination, sd_bus_error* error)
{
    return sd_bus_call_method(bus, destination, "/com/example/thing", CompUpdate::interface,
                              "CompFirmwareUpdate", error, nullptr, "su", "", 0U);
}

int set_timeout(sd_bus* bus, const char* destination, sd_bus_error* error)
{
    return sd_bus_set_property(bus, destination, "/com/example/thing", CompUpdate::interface,
                               "Timeout", error, "u", 5U);
}

int call_guarded_method(sd_bus* bus, const char* destination, sd_bus_error* error)
{
    return sd_bus_call_method(bus, destination, "/com/example/thing", "com.example.Guarded", "Do",
                              error, nullptr, nullptr);
}

TEST_F(Unprivileged, CallerReachesTheMethods)
{
    EXPECT_EQ(result_of(start_update), "ok");
}

TEST_F(Unprivileged, CallerMayWriteTheProperties)
{
    EXPECT_EQ(result_of(set_timeout), "ok");
    EXPECT_EQ(object.timeout(), 5U);
}

/** Without the flag sd-bus turns the same caller away: so the tests above do see the flag. */
TEST_F(Unprivileged, CallerIsTurnedAwayWhereTheFlagIsMissing)
{
    namespace vtable = sdbusplus::vtable;
    const auto do_nothing = [](sd_bus_message* call, void*, sd_bus_error*)
    { return sd_bus_reply_method_return(call, nullptr); };
    const std::array entries{vtable::start(), vtable::method("Do", "", "", do_nothing),
                             vtable::end()};
    const sdbusplus::server::interface_t guarded(service, service_path, "com.example.Guarded",
                                                 entries.data(), nullptr);
    EXPECT_EQ(result_of(call_guarded_method), "org.freedesktop.DBus.Error.AccessDenied");
}

} // namespace
} // namespace bus_test
