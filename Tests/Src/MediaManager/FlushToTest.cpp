#include "ManagerFixture.h"

namespace
{

using namespace RK;
using namespace Testing;

// The machine has 16 GiB and 8 GiB free, so the budget is 2 GiB, and a hundredth of it 21474836 bytes.
// 858993459 bytes (a twentieth) should be free; the cache may always have 512 MiB.
class FlushTo : public ManagerTest
{
protected:
    /// Registers inCount items of 1 MiB. A purge then takes whole MiB.
    void Fill(std::uint64_t inCount)
    {
        for (MediaID id = 1; id <= inCount; ++id)
            Add(id, kMiB);
        Apply();
    }
    std::uint64_t LeftMiB() { return mManager->GetCurrentSpace() / kMiB; }
};

TEST_F(FlushTo, AboveAHundredPercentIsAContractViolation)
{
    ExpectContractViolation([&] { mManager->FlushTo(101); }, "inPercentage <= 100",
                            "Src/MediaManager/MediaManager", "FlushTo");
}

TEST_F(FlushTo, AHundredPercentKeepsWhatIsWithinTheBudget)
{
    Fill(2000);
    mManager->FlushTo(100);
    EXPECT_EQ(2000u, LeftMiB());
}

TEST_F(FlushTo, TakesWhatIsOverThePercentage)
{
    Fill(2000);
    mManager->FlushTo(50); // 50 * 21474836 = 1073741800 bytes, 24 below 1024 MiB
    EXPECT_EQ(1023u, LeftMiB());
}

TEST_F(FlushTo, CountsTheReserve)
{
    mManager->SetReserveSize(1, static_cast<long long>(512 * kMiB));
    Fill(2000);
    mManager->FlushTo(100); // 2147483600 - 512 MiB, 48 bytes below 1536 MiB
    EXPECT_EQ(1535u, LeftMiB());
}

TEST_F(FlushTo, LeavesTheSmallestAllowedSize)
{
    Fill(1000);
    mManager->FlushTo(0);
    EXPECT_EQ(512u, LeftMiB());
}

TEST_F(FlushTo, BelowTheSmallestAllowedSizeKeepsToThePercentageAlone)
{
    Fill(512);
    machine.freePhysical = 0;
    machine.process = 100 * kGiB;
    mManager->FlushTo(100);
    EXPECT_EQ(512u, LeftMiB());

    mManager->FlushTo(10); // 214748360 bytes
    EXPECT_EQ(204u, LeftMiB());
    mManager->FlushTo(0);
    EXPECT_EQ(0u, LeftMiB());
}

TEST_F(FlushTo, TakesWhatTheMachineLacksOfFreeMemory)
{
    Fill(1000);
    machine.freePhysical = 858993459 - 100 * kMiB;
    mManager->FlushTo(100);
    EXPECT_EQ(900u, LeftMiB());
}

TEST_F(FlushTo, TakesWhatTheMachineLacksBeyondThePercentage)
{
    Fill(1500);
    machine.freePhysical = 858993459 - 100 * kMiB;
    mManager->FlushTo(50); // 1073741800 bytes, less 100 MiB
    EXPECT_EQ(923u, LeftMiB());
}

TEST_F(FlushTo, WantsAtLeast128MiBFree)
{
    machine.totalPhysical = 2 * kGiB; // a twentieth is 102 MiB only
    TQM::SetApplicationType(1);       // a budget of 512 MiB, with a minimum of 256
    MediaManager::ForgetMachine();
    Fill(400);
    machine.freePhysical = 118 * kMiB;
    mManager->FlushTo(100);
    EXPECT_EQ(390u, LeftMiB());
}

TEST_F(FlushTo, TakesWhatTheProcessHasBeyondElevenTenthsOfTheCacheLimit)
{
    Fill(2000);
    // The limit is 2147483600 bytes; eleven tenths of that are 2362231960.
    machine.process = 2362231960 + 100 * kMiB;
    mManager->FlushTo(100);
    EXPECT_EQ(1900u, LeftMiB());
}

TEST_F(FlushTo, SubtractsTheNeedBeforeItLooksAtTheProcess)
{
    Fill(2000);
    machine.freePhysical = 858993459 - 60 * kMiB;
    machine.process = 2362231960 + 100 * kMiB;
    // need 60 MiB; rest 100 - 60 = 40 MiB beyond; together 100 MiB.
    mManager->FlushTo(100);
    EXPECT_EQ(1900u, LeftMiB());
}

TEST_F(FlushTo, LeavesTheProcessAloneWithinElevenTenths)
{
    Fill(2000);
    machine.process = 2362231960;
    mManager->FlushTo(100);
    EXPECT_EQ(2000u, LeftMiB());
}

TEST_F(FlushTo, NeverGoesBelowTheMinimumForTheMachinesSake)
{
    Fill(1000);
    machine.freePhysical = 0;
    machine.process = 100 * kGiB;
    mManager->FlushTo(100);
    EXPECT_EQ(512u, LeftMiB());
}

TEST_F(FlushTo, AsksForTheMachinesTwentiethOnce)
{
    Fill(1000);
    mManager->FlushTo(100);
    machine.totalPhysical = 160 * kGiB; // a twentieth of this would be all that is free
    mManager->FlushTo(100);
    EXPECT_EQ(1000u, LeftMiB());
}

TEST_F(FlushTo, GoesByTheSpaceBeforeItsEventsAreApplied)
{
    Fill(1000);
    Add(5000, 500 * kMiB); // not on the books yet
    mManager->FlushTo(50);
    EXPECT_EQ(1500u, LeftMiB());
    mManager->FlushTo(50);
    EXPECT_EQ(1023u, LeftMiB());
}

} // namespace
