#include "watchers/registration.hpp"

#include "service_test.hpp"

#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <new>

namespace
{

using namespace std::chrono_literals;
using fakes::errorLine;
using fakes::traceLine;

constexpr auto function = "cpld_update_register_handler";

class Registration : public ServiceTest
{
  protected:
    Registration()
    {
        fakes::stopClock();
        fakes::coordinator().result = 1;
    }

    static std::string path(const std::string& name)
    {
        return "/com/vexa/bevon/cpld_updater/" + name;
    }

    /** The journal's entry about one call. */
    static std::string registered(const std::string& name)
    {
        return "register com.vexa.bevon.tavrinupdate " + path(name) +
               " com.vexa.bevon.cmnupdate.comp_mprop_dri_registration";
    }

    static fakes::LogLine calling(const char* stem, const char* name)
    {
        return traceLine("[%s]: Method Call to RE-Update for %s Obj_path=%s\n", function, stem,
                         path(name).c_str());
    }

    static fakes::LogLine success(const char* stem, long milliseconds)
    {
        return traceLine("[%s]: Registration successful for %s. rc=%d, completed in %ld ms\n",
                         function, stem, 1, milliseconds);
    }

    static fakes::LogLine failure(const char* stem, int code)
    {
        return errorLine("[%s]: Registration Method call failed, rc=%d for %s\n", function, code,
                         stem);
    }

    static fakes::LogLine reason(const char* name, const char* error, const char* message)
    {
        return errorLine("[%s]:obj_path=%s DBusError=%s (%s)", function, path(name).c_str(), error,
                         message);
    }

    /** Lets the first call of what follows end with `answer`; the others go well. */
    static void answerFirst(std::function<void()> answer)
    {
        fakes::coordinator().whenTold = [answer = std::move(answer)]
        {
            if (fakes::journal().size() == 1)
            {
                answer();
            }
            else
            {
                fakes::coordinator().result = 1;
            }
        };
    }

    static RegistrationTargets targets(std::uint32_t pbb, std::uint32_t pdb, std::uint32_t flop)
    {
        RegistrationTargets made{{{"PBB_PLD", {}}, {"PDB_PLD", {}}, {"FLOP", {}}}};
        made[0].instances.set(pbb);
        made[1].instances.set(pdb);
        made[2].instances.set(flop);
        return made;
    }

    RegistrationTargets two = targets(1, 0, 1);
};

TEST_F(Registration, VisitsTheKindsInTheirOrderAndCountsFromOne)
{
    cpld_update_register_handler(targets(2, 1, 1));
    EXPECT_EQ(fakes::journal(), (Lines{registered("PBB_PLD_1"), registered("PBB_PLD_2"),
                                       registered("PDB_PLD_1"), registered("FLOP_1")}));
    EXPECT_EQ(fakes::platformLog(), (Log{calling("PBB_PLD", "PBB_PLD_1"), success("PBB_PLD", 0),
                                         calling("PBB_PLD", "PBB_PLD_2"), success("PBB_PLD", 0),
                                         calling("PDB_PLD", "PDB_PLD_1"), success("PDB_PLD", 0),
                                         calling("FLOP", "FLOP_1"), success("FLOP", 0)}));
}

TEST_F(Registration, CallsTheCoordinator)
{
    cpld_update_register_handler(two);
    EXPECT_EQ(fakes::coordinator().address,
              "com.vexa.bevon.cmnfwupd /com/vexa/bevon/cmnfwupd "
              "com.vexa.bevon.cmnfwupd.fw_management cmnfwupd_client_register sss");
}

TEST_F(Registration, OfNothingSaysNothing)
{
    cpld_update_register_handler(targets(0, 0, 0));
    EXPECT_EQ(fakes::journal(), Lines{});
    EXPECT_EQ(fakes::platformLog(), Log{});
}

TEST_F(Registration, TellsWholeMillisecondsCutOff)
{
    const std::vector<std::pair<std::chrono::nanoseconds, long>> cases{
        {0ns, 0}, {900us, 0}, {999'999ns, 0}, {1ms, 1}, {1'999'999ns, 1}, {25s, 25'000}};
    for (const auto& [duration, told] : cases)
    {
        fakes::clearPlatformLog();
        fakes::coordinator().whenTold = [by = duration] { fakes::advanceClock(by); };
        cpld_update_register_handler(targets(0, 0, 1));
        EXPECT_EQ(fakes::platformLog(), (Log{calling("FLOP", "FLOP_1"), success("FLOP", told)}));
    }
}

TEST_F(Registration, MakesNoOtherCallOfThePassAfterAFailureAndTellsOfTheFirst)
{
    fakes::coordinator().errorName = "org.example.Error.Full";
    fakes::coordinator().errorMessage = "no room";
    answerFirst([] { fakes::coordinator().result = -EIO; });
    cpld_update_register_handler(two);
    EXPECT_EQ(fakes::journal(), Lines{registered("PBB_PLD_1")});
    EXPECT_EQ(fakes::platformLog(), (Log{calling("PBB_PLD", "PBB_PLD_1"), failure("PBB_PLD", -5),
                                         reason("PBB_PLD_1", "org.example.Error.Full", "no room"),
                                         calling("FLOP", "FLOP_1"), failure("FLOP", -22),
                                         reason("FLOP_1", "org.example.Error.Full", "no room")}));
}

TEST_F(Registration, BeginsTheNextPassWithACleanRecord)
{
    fakes::coordinator().errorName = "org.example.Error.Full";
    answerFirst([] { fakes::coordinator().result = -EIO; });
    cpld_update_register_handler(two);
    fakes::clearPlatformLog();
    cpld_update_register_handler(two);
    EXPECT_EQ(fakes::platformLog(), (Log{calling("PBB_PLD", "PBB_PLD_1"), success("PBB_PLD", 0),
                                         calling("FLOP", "FLOP_1"), success("FLOP", 0)}));
}

TEST_F(Registration, ThatFailsWithoutAnErrorSaysSoAndGoesOn)
{
    answerFirst([] { fakes::coordinator().result = -ENOMEM; });
    cpld_update_register_handler(two);
    EXPECT_EQ(fakes::platformLog(), (Log{calling("PBB_PLD", "PBB_PLD_1"), failure("PBB_PLD", -12),
                                         reason("PBB_PLD_1", "unknown", "no message"),
                                         calling("FLOP", "FLOP_1"), success("FLOP", 0)}));
}

TEST_F(Registration, ThatFailsWithAnErrorWithoutWordsSaysSo)
{
    fakes::coordinator().errorName = "org.example.Error.Full";
    answerFirst([] { fakes::coordinator().result = -EIO; });
    cpld_update_register_handler(targets(0, 0, 1));
    EXPECT_EQ(fakes::platformLog().back(),
              reason("FLOP_1", "org.example.Error.Full", "no message"));
}

TEST_F(Registration, AnExceptionIsLoggedAndTheNextInstanceFollows)
{
    answerFirst([] { throw sdbusplus::exception::SdBusError(ENOTCONN, "bus"); });
    cpld_update_register_handler(two);
    EXPECT_EQ(fakes::journal(), (Lines{registered("PBB_PLD_1"), registered("FLOP_1")}));
    const std::string words = sdbusplus::exception::SdBusError(ENOTCONN, "bus").what();
    EXPECT_EQ(fakes::platformLog(), (Log{calling("PBB_PLD", "PBB_PLD_1"),
                                         errorLine("[%s]: Registration Method call failed: %s\n",
                                                   function, words.c_str()),
                                         calling("FLOP", "FLOP_1"), success("FLOP", 0)}));
}

TEST_F(Registration, WithoutMemoryForOneInstanceGoesOnWithTheNext)
{
    answerFirst([] { throw std::bad_alloc(); });
    cpld_update_register_handler(two);
    EXPECT_EQ(fakes::journal(), (Lines{registered("PBB_PLD_1"), registered("FLOP_1")}));
}

TEST_F(Registration, WithoutABusIsGivenUp)
{
    fakes::coordinator().connectResult = -ENOENT;
    cpld_update_register_handler(two);
    EXPECT_EQ(fakes::journal(), Lines{});
    EXPECT_EQ(fakes::platformLog(), Log{errorLine("[%s]: sd bus open failed: %s\n", function,
                                                  "No such file or directory")});
}

TEST_F(Registration, GoesByTheCountsOfThatMoment)
{
    cpld_update_register_handler(two);
    fakes::clearJournal();
    RegistrationTargets copy = two;
    copy[0].instances.set(0);
    copy[1].instances.set(1);
    cpld_update_register_handler(two);
    EXPECT_EQ(fakes::journal(), (Lines{registered("PDB_PLD_1"), registered("FLOP_1")}));
}

using RegistrationSignal = Registration;

fakes::LogLine received()
{
    return traceLine("[%s]: Received signal and re-registering all CPLDs\n",
                     "CmnUpdateRegSignalHandler");
}

TEST_F(RegistrationSignal, CausesAWholePass)
{
    EXPECT_EQ(CmnUpdateRegSignalHandler(nullptr, &two, nullptr), 0);
    EXPECT_EQ(fakes::journal(), (Lines{registered("PBB_PLD_1"), registered("FLOP_1")}));
    EXPECT_EQ(fakes::platformLog(),
              (Log{received(), calling("PBB_PLD", "PBB_PLD_1"), success("PBB_PLD", 0),
                   calling("FLOP", "FLOP_1"), success("FLOP", 0)}));
}

TEST_F(RegistrationSignal, IsTakenThoughThePassFails)
{
    fakes::coordinator().result = -EHOSTUNREACH;
    EXPECT_EQ(CmnUpdateRegSignalHandler(nullptr, &two, nullptr), 0);
}

TEST_F(RegistrationSignal, OfNobodyIsRefused)
{
    EXPECT_EQ(CmnUpdateRegSignalHandler(nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(fakes::journal(), Lines{});
    EXPECT_EQ(fakes::platformLog(), (Log{received(), errorLine("[%s]: Invalid userdata\n",
                                                               "CmnUpdateRegSignalHandler")}));
}

} // namespace
