#include "update/progress.hpp"

#include "service_test.hpp"
#include "update/method_error.hpp"

#include <cerrno>
#include <stdexcept>

namespace
{

using fakes::errorLine;
using fakes::traceLine;

struct StateOfAJob
{
    std::int32_t state;
    std::uint8_t status;
};

class CoordinatorStatus : public testing::TestWithParam<StateOfAJob>
{
};

TEST_P(CoordinatorStatus, BelongsToTheState)
{
    EXPECT_EQ(coordinatorStatus(GetParam().state), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(Table, CoordinatorStatus,
                         testing::Values(StateOfAJob{-2147483648, 18}, StateOfAJob{-1, 18},
                                         StateOfAJob{0, 18}, StateOfAJob{1, 4}, StateOfAJob{2, 4},
                                         StateOfAJob{3, 0}, StateOfAJob{4, 28}, StateOfAJob{5, 18},
                                         StateOfAJob{13, 18}, StateOfAJob{14, 18},
                                         StateOfAJob{100, 18}, StateOfAJob{2147483647, 18}));

TEST(UpdateState, HasTheEnginesNumbers)
{
    EXPECT_EQ(update_state::started, 1);
    EXPECT_EQ(update_state::inProgress, 2);
    EXPECT_EQ(update_state::succeeded, 4);
    EXPECT_EQ(update_state::portNotOpened, 13);
    EXPECT_EQ(update_state::failed, 14);
    EXPECT_EQ(update_state::refused, 100);
}

class Report : public ServiceTest
{
  protected:
    static Log announced(unsigned percentage, int status)
    {
        return {traceLine("Updating the progress to cmnfwupd\n"),
                traceLine("ActivationProgress %d in percent, status %d, FQDD %s\n",
                          static_cast<int>(percentage), status, "CPLD.IOBay.1")};
    }

    /** The announcement of a failure at 0 percent, and what follows it. */
    static Log announcedAnd(std::initializer_list<fakes::LogLine> lines)
    {
        auto log = announced(0, 18);
        log.insert(log.end(), lines);
        return log;
    }

    UpdateRequestData request{"job", "CPLD.IOBay.1", "/tmp", 17, 112102};
};

TEST_F(Report, GoesToTheCoordinator)
{
    reportUpdateStatus(request, 1, 0);
    EXPECT_EQ(fakes::coordinator().address,
              "com.vexa.bevon.cmnfwupd /com/vexa/bevon/cmnfwupd "
              "com.vexa.bevon.cmnfwupd.fw_management cmnfwupd_fw_update_status syuq");
}

TEST_F(Report, NamesDeviceStatusTransactionAndPercentage)
{
    reportUpdateStatus(request, 2, 42);
    EXPECT_EQ(fakes::journal(), Lines{"report CPLD.IOBay.1 status 4, transaction 17, 42 %"});
    EXPECT_EQ(fakes::platformLog(), announced(42, 4));
}

TEST_F(Report, SendsTheLargestTransactionNumber)
{
    request.TransactionId = 4294967295;
    reportUpdateStatus(request, 4, 100);
    EXPECT_EQ(fakes::journal(),
              Lines{"report CPLD.IOBay.1 status 28, transaction 4294967295, 100 %"});
}

TEST_F(Report, CutsThePercentageTo16BitsOnTheBusOnly)
{
    reportUpdateStatus(request, 2, 65537);
    EXPECT_EQ(fakes::journal(), Lines{"report CPLD.IOBay.1 status 4, transaction 17, 1 %"});
    EXPECT_EQ(fakes::platformLog(), announced(65537, 4));
}

TEST_F(Report, WithoutABusIsLoggedAndDropped)
{
    fakes::coordinator().connectResult = -ENOENT;
    reportUpdateStatus(request, 100, 0);
    EXPECT_EQ(fakes::journal(), Lines{});
    EXPECT_EQ(fakes::platformLog(),
              announcedAnd({errorLine("[%s]: Failed to connect to system bus: %s\n",
                                      "reportUpdateStatus", "No such file or directory")}));
}

TEST_F(Report, ThatIsRefusedIsLoggedWithTheErrorsWords)
{
    fakes::coordinator().result = -EHOSTUNREACH;
    fakes::coordinator().errorName = "org.freedesktop.DBus.Error.ServiceUnknown";
    fakes::coordinator().errorMessage = "nobody there";
    reportUpdateStatus(request, 14, 0);
    EXPECT_EQ(
        fakes::platformLog(),
        announcedAnd({errorLine("[%s]: Failed to report ActivationProgress: rc=%d (%s)\n",
                                "reportUpdateStatus", -113, "No route to host"),
                      errorLine("[%s]: DBusError=%s (%s)\n", "reportUpdateStatus",
                                "org.freedesktop.DBus.Error.ServiceUnknown", "nobody there")}));
}

TEST_F(Report, ThatFailsWithoutAnErrorSaysSo)
{
    fakes::coordinator().result = -ETIMEDOUT;
    reportUpdateStatus(request, 14, 0);
    EXPECT_EQ(fakes::platformLog(),
              announcedAnd({errorLine("[%s]: Failed to report ActivationProgress: rc=%d (%s)\n",
                                      "reportUpdateStatus", -110, "Connection timed out"),
                            errorLine("[%s]: DBusError=%s (%s)\n", "reportUpdateStatus", "unknown",
                                      "no message")}));
}

TEST_F(Report, ThatFailsWithAnErrorWithoutWordsSaysSo)
{
    fakes::coordinator().result = -EACCES;
    fakes::coordinator().errorName = "org.example.Error";
    reportUpdateStatus(request, 14, 0);
    EXPECT_EQ(fakes::platformLog().back(),
              errorLine("[%s]: DBusError=%s (%s)\n", "reportUpdateStatus", "org.example.Error",
                        "no message"));
}

TEST_F(Report, IsNotRepeated)
{
    fakes::coordinator().result = -EHOSTUNREACH;
    reportUpdateStatus(request, 4, 100);
    EXPECT_EQ(fakes::journal().size(), 1U);
}

using ProgressCallback = Report;

TEST_F(ProgressCallback, ReportsTheJobInHandAsRunning)
{
    updateRequest() = request;
    StatusUpdate_CB(37);
    EXPECT_EQ(fakes::journal(), Lines{"report CPLD.IOBay.1 status 4, transaction 17, 37 %"});
}

/** The callback's lines with those of its report between them. */
fakes::Log called(const fakes::Log& between)
{
    fakes::Log lines{traceLine("[%s] : UpdateStatus : InProgress, UpdatePercentage : %d\n",
                               "StatusUpdate_CB", 37)};
    lines.insert(lines.end(), between.begin(), between.end());
    return lines;
}

fakes::LogLine exiting()
{
    return traceLine("[%s] : Exiting\n", "StatusUpdate_CB");
}

TEST_F(ProgressCallback, TellsBeginningAndEnd)
{
    updateRequest() = request;
    StatusUpdate_CB(37);
    auto expected = called(announced(37, 4));
    expected.push_back(exiting());
    EXPECT_EQ(fakes::platformLog(), expected);
}

TEST_F(ProgressCallback, LogsABusErrorThatEscapesTheReport)
{
    updateRequest() = request;
    fakes::coordinator().whenTold = [] { throw MethodError("org.example.Error", "no words sent"); };
    EXPECT_NO_THROW(StatusUpdate_CB(37));
    auto expected = called(announced(37, 4));
    expected.push_back(errorLine("[%s] : Exception: %s\n", "StatusUpdate_CB", "no words sent"));
    expected.push_back(exiting());
    EXPECT_EQ(fakes::platformLog(), expected);
}

TEST_F(ProgressCallback, PassesAnyOtherExceptionOn)
{
    updateRequest() = request;
    fakes::coordinator().whenTold = [] { throw std::runtime_error("not the bus's"); };
    EXPECT_THROW(StatusUpdate_CB(37), std::runtime_error);
    EXPECT_EQ(fakes::platformLog(), called(announced(37, 4)));
}

} // namespace
