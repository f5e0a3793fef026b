/**
 * @file
 * Any text as the FQDD of a job: which device the intake takes it for, if any.
 */

#include "fakes/journal.hpp"
#include "fakes/platform_log.hpp"
#include "input.hpp"
#include "neighbours.hpp"
#include "require.hpp"
#include "service_world.hpp"

#include <sdbusplus/exception.hpp>

#include <functional>
#include <memory>

namespace
{

using namespace fuzz;

enum class Meaning
{
    nobody,
    numberOutOfRange,
    device,
};

/** What an FQDD means where there is one device of each kind: said a second time, in other words.
 */
Meaning meaningOf(const std::string& fqdd)
{
    constexpr std::string_view largest = "2147483647";
    for (const std::string_view prefix : {"PBBCPLD.Embedded.", "PDBCPLD.Embedded.", "CPLD.IOBay."})
    {
        if (!fqdd.starts_with(prefix) ||
            fqdd.find_first_not_of("0123456789", prefix.size()) != std::string::npos)
        {
            continue;
        }
        auto digits = fqdd.substr(prefix.size());
        // Without a number the first device is meant.
        const bool isFirst = digits.empty();
        digits.erase(0, digits.find_first_not_of('0'));
        const bool fits = digits.size() < largest.size() ||
                          (digits.size() == largest.size() && digits <= largest);
        return !fits                      ? Meaning::numberOutOfRange
               : isFirst || digits == "1" ? Meaning::device
                                          : Meaning::nobody;
    }
    return Meaning::nobody;
}

/** One service for all inputs: a job that is refused leaves nothing behind but its description. */
class Intake
{
  public:
    Intake() { world_.start(); }

    Meaning take(const std::string& fqdd)
    {
        fakes::clearJournal();
        fakes::clearPlatformLog();
        const auto asked = neighbours_.asked();
        try
        {
            constexpr std::uint32_t transaction = 7;
            require(world_.service().compFirmwareUpdate(fqdd, transaction) == 1,
                    "a job for no component is refused");
        }
        catch (const sdbusplus::exception::exception&)
        {
            return Meaning::numberOutOfRange;
        }
        // The start, which comes after the intake, reports what it refuses.
        return neighbours_.asked() == asked + 1 ? Meaning::device : Meaning::nobody;
    }

  private:
    Neighbours neighbours_;
    ServiceWorld world_{std::ref(neighbours_)};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Never destroyed: nobody looks at what is left when the process ends.
    static auto& intake = *std::make_unique<Intake>().release();
    const auto fqdd = Input(data, size).rest();
    require(intake.take(fqdd) == meaningOf(fqdd), "the FQDD is taken for what it means");
    return 0;
}
