// Reservations, the balancer's figures, priorities and high-throughput mode.
#include "ManagerFixture.h"

#include "qelcore/ClientName.h"
#include "qelcore/MixHash.h"

namespace
{

using namespace RK;
using namespace Testing;
using qelcore::utility::Guid;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr Guid kID(1, 2);

class Reserve : public ManagerTest
{
protected:
    std::uint64_t Total() { return Inside().TotalReserve(); }
};

TEST_F(Reserve, SumsUpWhatEachHolds)
{
    mManager->SetReserveSize(kID, 100);
    mManager->SetReserveSize(Guid(1, 3), 50);
    EXPECT_EQ(150u, Total());

    mManager->SetReserveSize(kID, 30);
    EXPECT_EQ(80u, Total());
}

TEST_F(Reserve, OfZeroOrLessEndsAnEntry)
{
    mManager->SetReserveSize(kID, 100);
    mManager->SetReserveSize(kID, 0);
    EXPECT_EQ(0u, Total());
    EXPECT_EQ(0u, Inside().ReserveCount());

    mManager->SetReserveSize(kID, 100);
    mManager->SetReserveSize(Guid(1, 3), 500);
    mManager->SetReserveSize(kID, -70);
    EXPECT_EQ(1u, Inside().ReserveCount());
    EXPECT_EQ(430u, Total()); // by the whole of what was asked, 70 below nothing
}

TEST_F(Reserve, OfZeroOrLessForAnUnknownIDDoesNothing)
{
    mManager->SetReserveSize(kID, 0);
    mManager->SetReserveSize(kID, -5);
    mManager->AdjustReservedMemorySize(7, -5);
    EXPECT_EQ(0u, Total());
    EXPECT_EQ(0u, Inside().ReserveCount());
    EXPECT_FALSE(PurgeIsQueued());
}

TEST_F(Reserve, ThatChangesAsksForAPurge)
{
    mManager->SetReserveSize(kID, 100);
    EXPECT_TRUE(PurgeIsQueued());
}

TEST_F(Reserve, ThatStaysTheSameAsksForNone)
{
    mManager->SetReserveSize(kID, 100);
    Background().Advance(50);
    mManager->SetReserveSize(kID, 100);
    mManager->AdjustReservedMemorySize(7, 0);
    EXPECT_FALSE(PurgeIsQueued());
    EXPECT_EQ(100u, Total());
}

TEST_F(Reserve, IsAdjustedByDifferences)
{
    mManager->AdjustReservedMemorySize(7, 100);
    mManager->AdjustReservedMemorySize(7, 20);
    mManager->AdjustReservedMemorySize(7, -50);
    EXPECT_EQ(70u, Total());
    EXPECT_EQ(1u, Inside().ReserveCount());
}

TEST_F(Reserve, AdjustedBelowZeroEndsTheEntryAndTheTotalFallsByTheWholeDifference)
{
    mManager->SetReserveSize(kID, 1000);
    mManager->SetReserveSize(7, 100);
    mManager->AdjustReservedMemorySize(7, -150);
    EXPECT_EQ(1u, Inside().ReserveCount());
    EXPECT_EQ(950u, Total());

    mManager->AdjustReservedMemorySize(7, 150); // who gave back too much takes it again
    EXPECT_EQ(1100u, Total());
}

TEST_F(Reserve, AdjustedToZeroEndsTheEntry)
{
    mManager->SetReserveSize(7, 100);
    mManager->AdjustReservedMemorySize(7, -100);
    EXPECT_EQ(0u, Inside().ReserveCount());
    EXPECT_EQ(0u, Total());
}

TEST_F(Reserve, OfAPluginIsThatOfTheIdentityMadeFromItsNumber)
{
    const std::string seed = "Generated MediaMapID for a pluginID";
    ASSERT_EQ(35u, seed.size());
    qelcore::utility::MixHash::HashValue state = {0, 0, 0, 35};
    qelcore::utility::MixHash::MixInData(state, seed.data(), seed.size());
    state[3] += 4;
    const unsigned char number[4] = {0x04, 0x03, 0x02, 0x01};
    qelcore::utility::MixHash::MixInData(state, number, 4);
    const Guid id(
        state[0], static_cast<std::uint16_t>(state[1] >> 16), static_cast<std::uint16_t>(state[1]),
        static_cast<std::uint8_t>(state[2] >> 24), static_cast<std::uint8_t>(state[2] >> 16),
        static_cast<std::uint8_t>(state[2] >> 8), static_cast<std::uint8_t>(state[2]),
        static_cast<std::uint8_t>(state[3] >> 24), static_cast<std::uint8_t>(state[3] >> 16),
        static_cast<std::uint8_t>(state[3] >> 8), static_cast<std::uint8_t>(state[3]));

    mManager->SetReserveSize(0x01020304, 100);
    mManager->SetReserveSize(id, 40);
    EXPECT_EQ(1u, Inside().ReserveCount());
    EXPECT_EQ(40u, Total());
}

TEST_F(Reserve, OfTwoPluginsIsTwoEntries)
{
    mManager->SetReserveSize(1, 100);
    mManager->SetReserveSize(-1, 100);
    EXPECT_EQ(2u, Inside().ReserveCount());
}

std::vector<std::pair<Guid, long long>> sTold;
void TakeReservation(const Guid& inID, long long inBytes)
{
    sTold.emplace_back(inID, inBytes);
}

TEST_F(Reserve, WithAFunctionSetIsSomebodyElsesBusiness)
{
    sTold.clear();
    mManager->SetReserveSize(Guid(9, 9), 10);
    SetReserveSizeFunction(&TakeReservation);

    mManager->SetReserveSize(kID, 100);
    mManager->SetReserveSize(kID, 300);
    mManager->SetReserveSize(kID, 0);
    mManager->SetReserveSize(kID, 0);
    EXPECT_THAT(sTold, ElementsAre(Pair(kID, 100), Pair(kID, 300), Pair(kID, 0), Pair(kID, 0)));
    EXPECT_EQ(10u, Total());
    EXPECT_EQ(1u, Inside().ReserveCount()); // entries are kept all the same

    SetReserveSizeFunction(nullptr);
    mManager->SetReserveSize(Guid(9, 9), 30);
    EXPECT_EQ(30u, Total());
    EXPECT_EQ(4u, sTold.size());
}

class Balance : public ManagerTest
{
protected:
    /// Another manager in place of the first, in an application of that type.
    void Restart(std::int32_t inApplicationType)
    {
        mManager = nullptr;
        executors.lastCreatedCPU->RunQueued();
        MediaManager::Shutdown();
        TQM::SetApplicationType(inApplicationType);
        MediaManager::Startup();
        mManager = MediaManager::Running();
    }
};

TEST_F(Balance, HasABalancerInTheClientsNameThatIsToldNothingYet)
{
    EXPECT_NE(nullptr, mManager->GetMemoryBalancer());
    EXPECT_EQ(qelcore::config::GetClientName(), memberships.lastName);
    EXPECT_TRUE(memberships.told.empty());
}

TEST_F(Balance, HasNoBalancerInApplicationsOfType1)
{
    Restart(1);
    EXPECT_EQ(nullptr, mManager->GetMemoryBalancer());
    mManager->SetApplicationMemoryRequirements(3);
    EXPECT_TRUE(memberships.told.empty());
}

TEST_F(Balance, ToldRequirementsTellsTheBalancerTheFiguresOfTheProcess)
{
    machine.process = 3 * kGiB;
    mManager->SetMaximumSize(5 * kGiB);
    EXPECT_TRUE(memberships.told.empty()); // what was set is told with the next update
    mManager->SetApplicationMemoryRequirements(4);

    ASSERT_EQ(1u, memberships.told.size());
    EXPECT_EQ(512 * kMiB, memberships.told[0].minimum);
    EXPECT_EQ(5 * kGiB, memberships.told[0].maximum);
    EXPECT_EQ(3 * kGiB, memberships.told[0].used);
    EXPECT_EQ(4, memberships.told[0].priority);
}

TEST_F(Balance, TellsTheBalancerNothingMoreOnceTheApplicationIsOfType1)
{
    TQM::SetApplicationType(1);
    mManager->SetApplicationMemoryRequirements(2);
    EXPECT_TRUE(memberships.told.empty());
}

TEST_F(Balance, FollowsWhatTheBalancerGrants)
{
    memberships.lastCallback(8 * kGiB);
    EXPECT_EQ(7 * kGiB, mManager->GetMaximumSize());
    memberships.lastCallback(4 * kGiB);
    EXPECT_EQ(3584 * kMiB, mManager->GetMaximumSize());
    EXPECT_TRUE(PurgeIsQueued());
}

TEST_F(Balance, TellsTheBalancerOfPurgesWithEachUpdate)
{
    memberships.lastCallback(8 * kGiB);
    GoTo(60);
    machine.process = 2 * kGiB;
    Add(1, 500);
    PurgeNow(0);
    Background().Advance(0);
    ASSERT_EQ(1u, memberships.told.size());
    EXPECT_EQ(2 * kGiB, memberships.told[0].used);
}

TEST_F(Balance, EndsWithTheManagerUnlessSomebodyHoldsTheBalancer)
{
    auto balancer = mManager->GetMemoryBalancer();
    Restart(0);
    EXPECT_EQ(2, memberships.living);
    balancer.reset();
    EXPECT_EQ(1, memberships.living);
}

TEST_F(Balance, ThatAnEndedManagersBalancerTellsReachesNobody)
{
    const auto balancer = mManager->GetMemoryBalancer();
    const auto callback = memberships.lastCallback;
    Restart(0);
    callback(8 * kGiB);
    EXPECT_EQ(2 * kGiB, mManager->GetMaximumSize()); // not the new one's either
}

TEST_F(Balance, IsToldTheFiguresOfTheProcess)
{
    machine.process = 3 * kGiB;
    const auto figures = mManager->GetBalanceFigures();
    EXPECT_EQ(512 * kMiB, figures.minimum);
    EXPECT_EQ(16 * kGiB, figures.maximum);
    EXPECT_EQ(3 * kGiB, figures.used);
    EXPECT_EQ(1, figures.priority);
}

TEST_F(Balance, IsToldTheMaximumThatWasSetButTheBudgetIsNot)
{
    mManager->SetMaximumSize(5 * kGiB);
    EXPECT_EQ(5 * kGiB, mManager->GetBalanceFigures().maximum);
    EXPECT_EQ(2 * kGiB, mManager->GetMaximumSize());
    mManager->SetMaximumSize(0);
    EXPECT_EQ(16 * kGiB, mManager->GetBalanceFigures().maximum);
}

TEST_F(Balance, IsNotUpdatedBeforeABalancerHasGrantedAnything)
{
    AddAt(1, 1, 500);
    PurgeNow(kEverything);
    EXPECT_FALSE(Inside().BalancePending());
}

TEST_F(Balance, IsUpdatedWhenAPurgeHasChangedTheSpaceAtMostOnceIn5Seconds)
{
    GoTo(2);
    mManager->MaxMemoryNotification(8 * kGiB);
    Background().Advance(50); // the purge that this asked for
    Add(1, 500);
    PurgeNow(kEverything); // adds and takes the same: nothing has changed
    EXPECT_FALSE(Inside().BalancePending());

    Add(1, 500);
    PurgeNow(0);
    EXPECT_TRUE(Inside().BalancePending());
    Background().Advance(2999); // the last update was at second 0
    EXPECT_TRUE(Inside().BalancePending());
    Background().Advance(1);
    EXPECT_FALSE(Inside().BalancePending());

    GoTo(6.5);
    Add(2, 500);
    PurgeNow(0);
    Background().Advance(499); // and now at second 2
    EXPECT_TRUE(Inside().BalancePending());
    Background().Advance(1);
    EXPECT_FALSE(Inside().BalancePending());

    GoTo(60);
    Add(3, 500);
    PurgeNow(0);
    EXPECT_TRUE(Inside().BalancePending());
    Background().Advance(0); // long after the last one: at once
    EXPECT_FALSE(Inside().BalancePending());
}

class AppPriority : public ManagerTest
{
protected:
    void Fill(MediaID inCount)
    {
        for (MediaID id = 1; id <= inCount; ++id)
            Add(id, kMiB);
        Apply();
        Background().Advance(50);
    }
};

TEST_F(AppPriority, ThatFallsShrinksTheCacheToTheMinimum)
{
    Fill(1000);
    mManager->SetApplicationMemoryRequirements(0);
    EXPECT_EQ(1000 * kMiB, mManager->GetCurrentSpace()); // not on the caller's thread
    Background().RunQueued();
    EXPECT_EQ(512 * kMiB, mManager->GetCurrentSpace());
    EXPECT_EQ(0, mManager->GetBalanceFigures().priority);
}

TEST_F(AppPriority, ThatFallsKeepsAQuarterOfTheBudgetWhereThatIsLessThanTheMinimum)
{
    mManager->SetReserveSize(kID, static_cast<long long>(300 * kMiB));
    Fill(1000);
    mManager->SetApplicationMemoryRequirements(0);
    Background().RunQueued();
    EXPECT_EQ(212 * kMiB, mManager->GetCurrentSpace()); // 2048 / 4 - 300
}

TEST_F(AppPriority, ThatFallsKeepsNoMoreThanTheMainItemsHave)
{
    Add(1, 100 * kMiB);
    Add(2, 200000, 0);
    Apply();
    Background().Advance(50);
    mManager->SetApplicationMemoryRequirements(-3);
    Background().RunQueued();
    EXPECT_THAT(mMap->Flushed(),
                ElementsAre(1)); // asked for 200000 bytes, the oldest main item went
}

TEST_F(AppPriority, ThatFallsWithNothingToKeepPurgesNothing)
{
    Add(2, 200000, 0);
    Apply();
    mManager->SetApplicationMemoryRequirements(0);
    Background().RunQueued();
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

TEST_F(AppPriority, ThatRisesOrStaysShrinksNothing)
{
    Fill(1000);
    mManager->SetApplicationMemoryRequirements(1);
    mManager->SetApplicationMemoryRequirements(5);
    EXPECT_EQ(0u, Background().RunQueued());
    EXPECT_EQ(5, mManager->GetBalanceFigures().priority);
}

TEST_F(AppPriority, ThatFallsInHighThroughputModeShrinksNothing)
{
    Fill(1000);
    Inside().SetTimeout(5);
    mManager->SetApplicationMemoryRequirements(0);
    EXPECT_EQ(0u, Background().RunQueued());
    EXPECT_EQ(0, mManager->GetBalanceFigures().priority);
}

class HighThroughput : public ManagerTest
{
};

TEST_F(HighThroughput, HasATimeoutOf2SecondsForEachGiBFrom5To15)
{
    const struct
    {
        std::uint64_t total;
        double timeout;
    } kRows[] = {{16 * kGiB, 5}, {20 * kGiB, 5}, {24 * kGiB, 6}, {60 * kGiB, 15}, {64 * kGiB, 15}};
    for (const auto& row : kRows)
    {
        machine.totalPhysical = row.total;
        mManager->EnterHighThroughputMode();
        EXPECT_EQ(row.timeout, Inside().Timeout()) << row.total;
    }
    mManager->ExitHighThroughputMode();
    EXPECT_EQ(0, Inside().Timeout());
}

TEST_F(HighThroughput, IsEnteredWithAPurgeInTheBackground)
{
    AddAt(0, 1, 600 * kMiB);
    Background().Advance(50);
    GoTo(20);
    mManager->EnterHighThroughputMode();
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
    Background().RunQueued();
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
}

} // namespace
