#include "case_name.hpp"
#include "hw/port_test.hpp"
#include "service/update_request.hpp"

namespace
{

/** The transfers that switch a kind's port, in their order. */
struct PortTransfers
{
    const char* name;
    std::uint32_t componentId;
    std::vector<std::string> transfers;
    /** The transfer that the port does without; none where it is beyond the last. */
    std::size_t optional;
};

/** Every transfer of opening a port, failing once, twice and for good. */
class PortTransferFailing : public PortTest, public testing::WithParamInterface<PortTransfers>
{
  protected:
    PortTransferFailing() : PortTest("")
    {
        updateRequest().CompId = GetParam().componentId;
        fakes::platformIdentity().standard = 4;
    }

    /** Opens a port with its lock and its version as they are at first. */
    bool openPort()
    {
        fakes::clearJournal();
        device[0x04] = 0x01;
        device[0x03] = 0x00;
        return enable_disable_programingNode(InstanceIndex(1), 1, pbb);
    }

    void failAt(std::size_t transfer, std::size_t failures)
    {
        std::vector<int> answers(transfer, 0);
        answers.insert(answers.end(), failures, EIO);
        device.answerWith(answers);
    }

    /** The whole course of events: one transfer fails a number of times, of three attempts. */
    Lines course(std::size_t failing, std::size_t failures) const
    {
        const auto& transfers = GetParam().transfers;
        Lines events{opened(device)};
        for (std::size_t i = 0; i < transfers.size(); ++i)
        {
            const auto failed = i == failing ? failures : 0;
            for (std::size_t attempt = 1; attempt <= failed; ++attempt)
            {
                events.push_back(transfers[i] + ": EIO");
                if (attempt < 3)
                {
                    events.emplace_back("pause 5 ms");
                }
            }
            if (failed == 3 && i != GetParam().optional)
            {
                break;
            }
            if (failed < 3)
            {
                events.push_back(transfers[i]);
            }
            if (i == 0 && GetParam().componentId == component_id::flop)
            {
                events.emplace_back("ask for the platform identity");
            }
        }
        events.push_back(closed(device));
        return events;
    }
};

TEST_P(PortTransferFailing, OnceOrTwiceIsMadeGood)
{
    for (std::size_t transfer = 0; transfer < GetParam().transfers.size(); ++transfer)
    {
        for (const std::size_t failures : {1U, 2U})
        {
            failAt(transfer, failures);
            EXPECT_TRUE(openPort());
            EXPECT_EQ(fakes::journal(), course(transfer, failures));
        }
    }
}

TEST_P(PortTransferFailing, ThreeTimesEndsTheSwitchUnlessThePortDoesWithoutIt)
{
    for (std::size_t transfer = 0; transfer < GetParam().transfers.size(); ++transfer)
    {
        failAt(transfer, 3);
        EXPECT_EQ(openPort(), transfer == GetParam().optional);
        EXPECT_EQ(fakes::journal(), course(transfer, 3));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PortTransferFailing,
    testing::Values(
        PortTransfers{
            "Pbb", 114678, {"write 04, read 1", "write 04 00, read 0", "write 04, read 1"}, 9},
        PortTransfers{
            "Pdb", 114747, {"write 04, read 1", "write 04 00, read 0", "write 04, read 1"}, 9},
        // The version that cannot be read counts as the oldest one, as it is here.
        PortTransfers{
            "Flop",
            112102,
            {"write 0c, read 2", "write 03, read 1", "write 03 01, read 0", "write 03, read 1"},
            0}),
    CaseName{});

} // namespace
