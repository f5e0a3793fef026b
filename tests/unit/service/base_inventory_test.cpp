#include "case_name.hpp"
#include "service/objects_test.hpp"

#include <map>

namespace
{

using sdbusplus::server::com::vexa::bevon::inventory::BaseSwInventory;
using Value = BaseSwInventory::PropertiesVariant;
using Values = std::map<std::string, Value>;

/** A property of the base inventory, which only the service itself writes. */
struct Property
{
    const char* name;
    Value initial;
    Value other;
    bool announced;
};

void PrintTo(const Property& property, std::ostream* stream)
{
    *stream << property.name;
}

const std::string none;
const std::string text = "text";
constexpr std::uint16_t zero16 = 0;
constexpr std::uint16_t most16 = 0xFFFF;
constexpr std::uint32_t zero32 = 0;
constexpr std::uint32_t most32 = 0xFFFFFFFF;
constexpr std::uint64_t zero64 = 0;
constexpr std::uint64_t most64 = 0xFFFFFFFFFFFFFFFF;
constexpr std::uint8_t zero8 = 0;
constexpr std::uint8_t most8 = 0xFF;

struct Change
{
    std::string interface;
    Values changed;
    std::vector<std::string> invalidated;

    bool operator==(const Change&) const = default;
};

class BaseInventory : public ObjectsTest, public testing::WithParamInterface<Property>
{
  protected:
    BaseInventory()
    {
        makeReady(updater.pdb, 2);
        publish();
    }

    static void set(BaseSwInventory& object, const Value& value, bool quietly = false)
    {
        object.setPropertyByName(GetParam().name, value, quietly);
    }

    /** What the client was told of changes so far. */
    const std::vector<Change>& changes()
    {
        see_all_signals();
        return seen;
    }

  private:
    std::vector<Change> seen;
    sdbusplus::bus::match_t announcements{client, "type='signal',member='PropertiesChanged'",
                                          [this](sdbusplus::message_t& signal)
                                          {
                                              auto& change = seen.emplace_back();
                                              signal.read(change.interface, change.changed,
                                                          change.invalidated);
                                          }};
};

TEST_P(BaseInventory, BeginsEmpty)
{
    BaseSwInventory& anchor = updater;
    EXPECT_EQ(anchor.getPropertyByName(GetParam().name), GetParam().initial);
}

TEST_P(BaseInventory, AnnouncesAChangeByItselfOrNotAtAll)
{
    auto& object = *objectsOf("PDB_PLD_2").baseInventory;
    set(object, GetParam().other);
    EXPECT_EQ(object.getPropertyByName(GetParam().name), GetParam().other);
    std::vector<Change> expected;
    if (GetParam().announced)
    {
        const Values changed{{GetParam().name, GetParam().other}};
        expected.push_back({"com.vexa.bevon.inventory.BaseSwInventory", changed, {}});
    }
    EXPECT_EQ(changes(), expected);
}

TEST_P(BaseInventory, SaysNothingOfTheSameValueOrWhereItIsToldNotTo)
{
    auto& object = *objectsOf("PDB_PLD_2").baseInventory;
    set(object, GetParam().other, true);
    set(object, GetParam().other);
    EXPECT_EQ(object.getPropertyByName(GetParam().name), GetParam().other);
    EXPECT_EQ(changes(), std::vector<Change>{});
}

INSTANTIATE_TEST_SUITE_P(
    Properties, BaseInventory,
    testing::Values(Property{"ComponentID", zero32, most32, false},
                    Property{"ComponentType", zero16, most16, false},
                    Property{"CurrentVersionString", none, text, true},
                    Property{"CurrentReleaseDate", none, text, true},
                    Property{"DeviceType", zero16, most16, false},
                    Property{"DisplayName", none, text, false}, Property{"FQDD", none, text, false},
                    Property{"Flags", zero8, most8, true},
                    Property{"FriendlyFQDD", none, text, false},
                    Property{"ImpactsTPMmeasurements", false, true, true},
                    Property{"InstallationDate", zero64, most64, true},
                    Property{"InstalledVersionString", none, text, true},
                    Property{"PreviousVersionString", none, text, true},
                    Property{"PreviousReleaseDate", none, text, true},
                    Property{"Sha256String", none, text, true},
                    Property{"ShaPreviousVersionHash", none, text, true},
                    Property{"VersionDependencyArray", none, text, true},
                    Property{"SidebandUpdateCapable", zero16, most16, false},
                    Property{"PLDMCapabilitiesDuringUpdate", zero32, most32, true},
                    Property{"PLDMFDPCapabilitiesDuringUpdate", zero32, most32, true},
                    Property{"releaseType", zero8, most8, true}),
    CaseName{});

} // namespace
