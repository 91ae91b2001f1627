// A purge as a whole: its urgency, the order of its steps, and what may happen within.
#include "ManagerFixture.h"

#include <stdexcept>

namespace
{

using namespace RK;
using namespace Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double kCircle = 171798.0; // seconds

class Purging : public ManagerTest
{
protected:
    std::uint64_t PurgeInBackground(std::size_t inSize)
    {
        return mManager->Purge(inSize, kPurgeUrgency_Background);
    }
};

TEST_F(Purging, AppliesTheEventsFirst)
{
    Add(1, 500);
    EXPECT_EQ(500u, PurgeNow(500));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
}

TEST_F(Purging, TakesWholeItemsUntilTheSizeIsReached)
{
    for (MediaID id = 1; id <= 4; ++id)
        AddAt(static_cast<double>(id), id, 500);
    EXPECT_EQ(1000u, PurgeNow(501));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1, 2));
    EXPECT_EQ(1000u, mManager->GetCurrentSpace());
}

TEST_F(Purging, OfNoBytesTakesNothing)
{
    Add(1, 500);
    EXPECT_EQ(0u, PurgeNow(0));
    EXPECT_EQ(500u, mManager->GetCurrentSpace());
}

TEST_F(Purging, TakesBigItemsOfHighPriorityNumbersAsIfTheyWereOlder)
{
    AddAt(10, 1, 200000, 0 + 1);
    AddAt(50, 2, 200000, 100); // counts as 120 s older
    AddAt(50.5, 3, 100000, 100);
    PurgeNow(1);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(2));
    PurgeNow(200001);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(2, 1, 3));
}

TEST_F(Purging, TakesSmallItemsOfPriorityZeroLast)
{
    AddAt(1, 1, 500, 0);
    AddAt(2, 2, 500, 1);
    AddAt(3, 3, 500, 1);
    PurgeNow(kEverything);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(2, 3, 1));
}

TEST_F(Purging, NeverTakesWhatItsMapProtects)
{
    AddAt(1, 1, 500);
    AddAt(2, 2, 500, 0);
    mMap->nonPurgeable = {1, 2};
    EXPECT_EQ(0u, PurgeNow(kEverything));
    EXPECT_EQ(1000u, mManager->GetCurrentSpace());
}

TEST_F(Purging, InTheBackgroundStopsAtHalfOfTheBudget)
{
    for (MediaID id = 1; id <= 5; ++id)
        AddAt(static_cast<double>(id), id, 300 * kMiB);    // 1500 MiB of a budget of 2048
    EXPECT_EQ(600 * kMiB, PurgeInBackground(kEverything)); // 476 MiB are over half
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1, 2));
}

TEST_F(Purging, InTheBackgroundTakesNoMoreThanItsSize)
{
    for (MediaID id = 1; id <= 5; ++id)
        AddAt(static_cast<double>(id), id, 300 * kMiB);
    EXPECT_EQ(300 * kMiB, PurgeInBackground(kMiB));
}

TEST_F(Purging, InTheBackgroundDoesNothingAtHalfOfTheBudget)
{
    AddAt(1, 1, kGiB, 1, 300);
    EXPECT_EQ(0u, PurgeInBackground(kEverything));
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
    EXPECT_FALSE(Inside().Purging());
    GoTo(28900); // the steps behind are left out, the one for a gap of 8 hours too
    EXPECT_EQ(0u, PurgeInBackground(kEverything));
    EXPECT_EQ(kGiB, mManager->GetCurrentSpace());
}

TEST_F(Purging, InTheBackgroundBelowHalfStillShedsHandles)
{
    AddAt(1, 1, 500, 1, 0);
    AddAt(2, 2, 500, 1, 1);
    AddAt(3, 3, 500, 1, 300);
    EXPECT_EQ(500u, PurgeInBackground(kEverything));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(2));
    EXPECT_EQ(300u, Inside().HandleCount());
}

TEST_F(Purging, InTheBackgroundCountsTheReserve)
{
    mManager->SetReserveSize(1, static_cast<long long>(kGiB)); // half of what is left is 512 MiB
    AddAt(1, 1, 300 * kMiB);
    AddAt(2, 2, 300 * kMiB);
    EXPECT_EQ(300 * kMiB, PurgeInBackground(kEverything));
}

TEST_F(Purging, BeginsWithTheGapOf8HoursAndCountsItsBytes)
{
    AddAt(0, 1, 500);
    mMap->nonPurgeable = {1};
    GoTo(28801);
    EXPECT_EQ(500u, PurgeNow(0));
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
}

TEST_F(Purging, DropsOldSmallItemsAbove256MiB)
{
    machine.totalPhysical = 256 * kGiB; // small items may have 4.5 MB each, and 10 GiB together
    for (MediaID id = 1; id <= 70; ++id)
        Add(id, 4 * kMiB, 0);
    Apply();
    ASSERT_EQ(280 * kMiB, Inside().PriorityZeroSpace());
    GoTo(119);
    EXPECT_EQ(0u, PurgeNow(0));
    GoTo(121);
    EXPECT_EQ(24 * kMiB, PurgeNow(0));
    EXPECT_EQ(256 * kMiB, Inside().PriorityZeroSpace());
    EXPECT_EQ(0u, PurgeNow(0)); // exactly 256 MiB may stay
}

TEST_F(Purging, CountsWhatOldSmallItemsGaveTowardsTheSize)
{
    machine.totalPhysical = 256 * kGiB;
    for (MediaID id = 1; id <= 65; ++id)
        Add(id, 4 * kMiB, 0);
    Add(100, 4 * kMiB, 1);
    GoTo(200);
    EXPECT_EQ(4 * kMiB, PurgeNow(4 * kMiB)); // the one above 256 MiB, and nothing else
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
}

TEST_F(Purging, InHighThroughputModeDropsWhatWasNotUsedForTheTimeout)
{
    AddAt(1, 1, 500, 1);
    AddAt(1, 2, mManager->GetMaxPriorityZeroItemSize(), 0);
    AddAt(1, 3, 500, 0);
    AddAt(8, 4, 500, 1);
    Inside().SetTimeout(5);
    GoTo(10);
    EXPECT_EQ(500u, PurgeNow(0));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1)); // neither kind of priority zero
}

TEST_F(Purging, OutsideHighThroughputModeAgeAloneIsNoReason)
{
    AddAt(1, 1, 500);
    GoTo(20000);
    EXPECT_EQ(0u, PurgeNow(0));
}

TEST_F(Purging, AfterAWrapTakesTheItemsFromBeforeItFirst)
{
    KeepPurging(150000);
    AddAt(150000, 1, 500);
    KeepPurging(kCircle + 100);
    AddAt(kCircle + 200, 2, 500);
    AddAt(kCircle + 300, 3, 500);
    ASSERT_THAT(Inside().Order(), ElementsAre(2, 3, 1));

    EXPECT_EQ(500u, PurgeNow(1));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    PurgeNow(1);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1, 2));
}

TEST_F(Purging, AfterAWrapDropsWhatWouldPassForYoung)
{
    KeepPurging(60000);
    AddAt(60000, 1, 500, 1);
    AddAt(60000, 2, 500, 0);
    KeepPurging(kCircle + 30); // neither was used for 31 hours
    EXPECT_THAT(mMap->Flushed(),
                ElementsAre(2, 1)); // the small items' maps come first in this step
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
}

TEST_F(Purging, LeavesTheRecyclersPoolASeventhOfTheBudget)
{
    PurgeNow(0);
    EXPECT_EQ(mManager->GetFixedMaxCacheSize() / 7,
              qelcore::utility::MemoryRecycler::GetPoolLimit());
}

TEST_F(Purging, OfTheRecyclersPoolIsNotCountedIn)
{
    using qelcore::utility::MemoryRecycler;
    std::size_t actual = 0;
    MemoryRecycler::SetPoolLimit(64 * kMiB);
    void* const block = MemoryRecycler::Allocate(8 * kMiB, actual);
    MemoryRecycler::Recycle(block, actual);
    ASSERT_LE(8 * kMiB, MemoryRecycler::GetCurrentPoolSize());

    EXPECT_EQ(0u, PurgeNow(kEverything));
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(Purging, InTheBackgroundThreadFreesWhatLiesUnusedInTheRecyclersPool)
{
    using qelcore::utility::MemoryRecycler;
    std::size_t actual = 0;
    MemoryRecycler::SetPoolLimit(64 * kMiB);
    void* const block = MemoryRecycler::Allocate(kMiB, actual);
    MemoryRecycler::Recycle(block, actual);
    GoTo(7200);
    Background().Advance(14400000);
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(Purging, InTheBackgroundThreadBringsTheRecyclersPoolToItsLimit)
{
    using qelcore::utility::MemoryRecycler;
    const std::uint64_t limit = mManager->GetFixedMaxCacheSize() / 7;
    MemoryRecycler::PurgeBytes(kEverything);
    std::vector<std::pair<void*, std::size_t>> blocks(limit / kMiB + 8);
    for (auto& [block, actual] : blocks)
        block = MemoryRecycler::Allocate(kMiB, actual);
    for (const auto& [block, actual] : blocks)
        MemoryRecycler::Recycle(block, actual);
    ASSERT_LT(limit + kMiB, MemoryRecycler::GetCurrentPoolSize());

    mManager->QueueThreadedPurge();
    Background().Advance(50);

    EXPECT_GE(limit, MemoryRecycler::GetCurrentPoolSize());
    EXPECT_LT(limit - kMiB, MemoryRecycler::GetCurrentPoolSize());
    MemoryRecycler::PurgeBytes(kEverything);
}

TEST_F(Purging, WithinAFlushPurgesAndAppliesNothingMore)
{
    for (MediaID id = 1; id <= 4; ++id)
        AddAt(static_cast<double>(id), id, 500);
    mMap->onFlush = [this](MediaID inID)
    {
        EXPECT_EQ(0u, PurgeNow(kEverything));
        mManager->FlushTo(0);
        Remove(inID + 1); // the very next that the walk would come to
        Apply();
        EXPECT_EQ(0u, Inside().IDs(false).count({nullptr, inID, mMap->GetUniqueID()}));
    };
    EXPECT_EQ(1000u, PurgeNow(1000));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1, 2));

    mMap->onFlush = nullptr;
    Apply(); // now the removes of 2 and 3 take effect
    EXPECT_THAT(Inside().Order(), ElementsAre(4));
    Inside().ExpectConsistent();
}

TEST_F(Purging, AnItemAddedAgainWithinItsFlushIsANewOne)
{
    AddAt(1, 1, 500);
    mMap->onFlush = [this](MediaID) { Add(1, 700); };
    PurgeNow(kEverything);
    mMap->onFlush = nullptr;
    Apply();
    EXPECT_EQ(700u, mManager->GetCurrentSpace());
    Inside().ExpectConsistent();
}

TEST_F(Purging, WithinTheFlushAnItemIsOffTheBooks)
{
    AddAt(1, 1, 500);
    AddAt(2, 2, 300);
    std::vector<std::uint64_t> seen;
    mMap->onFlush = [&](MediaID) { seen.push_back(mManager->GetCurrentSpace()); };
    PurgeNow(kEverything);
    EXPECT_THAT(seen, ElementsAre(300, 0));
}

TEST_F(Purging, AMapMayEndWithItsLastItemAndCallBack)
{
    mMap->onEnd = [this]
    {
        Apply();
        EXPECT_EQ(0u, PurgeNow(kEverything));
    };
    AddAt(1, 1, 500);
    mMap = FakeMapRef(new FakeMap);
    AddAt(2, 2, 500);
    EXPECT_EQ(1000u, PurgeNow(kEverything));
    Inside().ExpectConsistent();
}

TEST_F(Purging, AnExceptionOutOfAFlushEndsAllLaterPurging)
{
    AddAt(1, 1, 500);
    AddAt(2, 2, 500);
    mMap->onFlush = [](MediaID) { throw std::runtime_error("a map broke its promise"); };
    EXPECT_THROW(PurgeNow(kEverything), std::runtime_error);
    mMap->onFlush = nullptr;

    EXPECT_TRUE(Inside().Purging());
    EXPECT_EQ(0u, PurgeNow(kEverything));
    EXPECT_EQ(500u, mManager->GetCurrentSpace());
    Add(3, 100); // but the books go on
    Apply();
    EXPECT_EQ(600u, mManager->GetCurrentSpace());
}

TEST_F(Purging, FlushesEachItemOnceAndOnlyThroughItsOwnMap)
{
    const FakeMapRef other(new FakeMap);
    Add(1, 500);
    mManager->AddMedia(1, 500, 1, 0, other);
    mManager->AddMedia(2, 500, 0, 0, other);
    PurgeNow(kEverything);
    PurgeNow(kEverything);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    EXPECT_THAT(other->Flushed(), ElementsAre(1, 2));
}

TEST_F(Purging, InTheBackgroundThreadComesEvery4Hours)
{
    Add(1, 500);
    Background().Advance(14399999);
    EXPECT_EQ(0u, mManager->GetNumberOfEntries());
    Background().Advance(1);
    EXPECT_EQ(1u, mManager->GetNumberOfEntries());

    Add(2, 500);
    Background().Advance(14400000);
    EXPECT_EQ(2u, mManager->GetNumberOfEntries());
}

} // namespace
