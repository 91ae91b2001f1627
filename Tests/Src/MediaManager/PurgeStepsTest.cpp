// Each step of a purge by itself.
#include "ManagerFixture.h"

namespace
{

using namespace RK;
using namespace Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};
constexpr double kCircle = 171798.0; // seconds

class PurgeSteps : public ManagerTest
{
};

// --- after a gap of eight hours

TEST_F(PurgeSteps, AGapOfMoreThan8HoursFlushesEverythingNonPurgeableItemsToo)
{
    Add(1, 500, 1, 2);
    Add(2, 300, 0, 1);
    Apply();
    mMap->nonPurgeable = {1, 2};
    GoTo(28800.5);

    EXPECT_EQ(800u, Inside().CheckLastPurgeTime());

    EXPECT_THAT(mMap->Flushed(), ElementsAre(1, 2));
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
    EXPECT_EQ(0u, Inside().HandleCount());
    EXPECT_EQ(0u, mManager->GetNumberOfEntries());
    EXPECT_THAT(Inside().Order(false), IsEmpty());
    EXPECT_THAT(Inside().Order(true), IsEmpty());
    Inside().ExpectConsistent(300); // the priority-zero space stays as it was
    EXPECT_EQ(300u, Inside().PriorityZeroSpace());
}

TEST_F(PurgeSteps, AGapOfExactly8HoursFlushesNothing)
{
    AddAt(0, 1, 500);
    GoTo(28800);
    EXPECT_EQ(0u, Inside().CheckLastPurgeTime());
    EXPECT_EQ(500u, mManager->GetCurrentSpace());
}

TEST_F(PurgeSteps, EachCheckStartsTheGapAnew)
{
    AddAt(0, 1, 500);
    GoTo(20000);
    Inside().CheckLastPurgeTime();
    GoTo(40000);
    EXPECT_EQ(0u, Inside().CheckLastPurgeTime());
    GoTo(68801);
    EXPECT_EQ(500u, Inside().CheckLastPurgeTime());
    EXPECT_EQ(0u, Inside().CheckLastPurgeTime());
}

// --- by timeout

TEST_F(PurgeSteps, TheTimeoutTakesWhatWasNotUsedSince)
{
    AddAt(1, 1, 500);
    AddAt(2, 2, 500);
    AddAt(3, 3, 500);
    GoTo(12);
    EXPECT_EQ(500u, Inside().PurgeForTimeout(false, 10, kNoLimit)); // cutoff 2: 2 is not older
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    Inside().ExpectConsistent();
}

TEST_F(PurgeSteps, TheTimeoutTakesNothingBeforeItHasPassedOnce)
{
    AddAt(0, 1, 200000, 100); // a weight below 0
    GoTo(10);
    EXPECT_EQ(0u, Inside().PurgeForTimeout(false, 10, kNoLimit));
    EXPECT_EQ(0u, Inside().PurgeForTimeout(false, 11, kNoLimit));
    EXPECT_EQ(0, mMap->askedNonPurgeable);
}

TEST_F(PurgeSteps, TheTimeoutGoesByTheTimeOfUseNotByThePriorityOffset)
{
    AddAt(50, 1, 200000, 100); // counts as 120 s older, but was used 10 s ago
    GoTo(60);
    EXPECT_EQ(0u, Inside().PurgeForTimeout(false, 20, kNoLimit));
    EXPECT_EQ(200000u, Inside().PurgeForTimeout(false, 5, kNoLimit));
}

TEST_F(PurgeSteps, TheTimeoutSparesNonPurgeableItems)
{
    AddAt(1, 1, 500);
    AddAt(2, 2, 500);
    mMap->nonPurgeable = {1};
    GoTo(50);
    EXPECT_EQ(500u, Inside().PurgeForTimeout(false, 10, kNoLimit));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(2));
}

TEST_F(PurgeSteps, TheTimeoutSparesPriorityZeroInTheMainMapsOnly)
{
    const Size big = mManager->GetMaxPriorityZeroItemSize();
    AddAt(1, 1, big, 0);
    AddAt(1, 2, 500, 0);
    AddAt(1, 3, 500, 1);
    GoTo(50);
    EXPECT_EQ(500u, Inside().PurgeForTimeout(false, 10, kNoLimit));
    EXPECT_EQ(500u, Inside().PurgeForTimeout(true, 10, kNoLimit));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(3, 2));
}

TEST_F(PurgeSteps, TheTimeoutStopsWhenTheLimitIsReached)
{
    for (MediaID id = 1; id <= 4; ++id)
        AddAt(static_cast<double>(id), id, 500);
    GoTo(50);
    EXPECT_EQ(1000u, Inside().PurgeForTimeout(false, 10, 600));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1, 2));
}

TEST_F(PurgeSteps, TheTimeoutDoesNothingWhenTheLimitWasReachedBefore)
{
    AddAt(1, 1, 500);
    GoTo(50);
    EXPECT_EQ(600u, Inside().PurgeForTimeout(false, 10, 600, 600));
    EXPECT_EQ(700u, Inside().PurgeForTimeout(false, 10, 600, 700));
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

// --- what the wrap of the tick would misplace

TEST_F(PurgeSteps, ItemsOfTheMomentAreNotTakenForOld)
{
    AddAt(1, 1, 500);
    AddAt(2, 2, 500);
    EXPECT_EQ(0u, Inside().PurgeOld()); // the end
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

TEST_F(PurgeSteps, AnItemFromBeforeTheWrapGoesOnceTheTickIsWithinHalfACircleBehindIt)
{
    // Used at tick 3 000 000 000. Half a circle before that is 852 516 353, so at tick 800 000 000
    // of the next turn the item still counts as the oldest, and at 900 000 000 it must go.
    AddAt(120000, 1, 500);
    GoTo(kCircle + 32000);
    EXPECT_EQ(1u, Inside().PurgeOld());
    EXPECT_THAT(mMap->Flushed(), IsEmpty());

    GoTo(kCircle + 36000);
    EXPECT_EQ(0u, Inside().PurgeOld());
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    Inside().ExpectConsistent();
}

TEST_F(PurgeSteps, BothBoundsOfTheRangeAreMet)
{
    AddAt(119.5, 1, 500);               // tick 2 987 500: below the margin at tick 0
    AddAt(120, 2, 500);                 // tick 3 000 000: the lower bound
    AddAt(85899.32, 3, 500);            // tick 2 147 483 000: just below half a circle
    AddAt(85899.34588 + 0.001, 4, 500); // tick 2 147 483 672 or so: at or above 0x7FFFFFFF
    GoTo(kCircle);
    EXPECT_EQ(4u, Inside().PurgeOld());
    EXPECT_THAT(mMap->Flushed(), ElementsAre(2, 3));
    EXPECT_THAT(Inside().Order(), ElementsAre(1, 4));
}

TEST_F(PurgeSteps, WhatIsOldGoesThoughItsMapProtectsIt)
{
    AddAt(1000, 1, 500);
    mMap->nonPurgeable = {1};
    GoTo(kCircle + 1);
    EXPECT_EQ(0u, Inside().PurgeOld());
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    EXPECT_EQ(0, mMap->askedNonPurgeable);
}

TEST_F(PurgeSteps, NothingIsTakenForOldInHighThroughputMode)
{
    AddAt(500, 1, 500);
    AddAt(1000, 2, 500);
    Inside().SetTimeout(5);
    GoTo(kCircle + 1);
    EXPECT_EQ(1u, Inside().PurgeOld()); // the beginning
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

TEST_F(PurgeSteps, TheRangeIsTakenOutOfThePriorityZeroMapsAsWell)
{
    AddAt(1000, 1, 500, 0);
    GoTo(kCircle + 1);
    EXPECT_EQ(0u, Inside().PurgeOld(true));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
    EXPECT_EQ(0u, Inside().PriorityZeroSpace());
}

// --- by size

TEST_F(PurgeSteps, TheSizeTakesTheOldestUntilTheFloorIsReached)
{
    for (MediaID id = 1; id <= 5; ++id)
        AddAt(static_cast<double>(id), id, 500);
    Inside().PurgeForSize(false, 1, 1600);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1, 2));
    Inside().ExpectConsistent();
}

TEST_F(PurgeSteps, TheSizeWalksInACircleFromWhereTheCircleOfTicksBegins)
{
    for (MediaID id = 1; id <= 5; ++id)
        AddAt(static_cast<double>(id), id, 500);
    Inside().PurgeForSize(false, 4, 1000);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(4, 5, 1));
}

TEST_F(PurgeSteps, TheSizeBeginsAtTheBeginningWhenItStartsAtTheEnd)
{
    AddAt(1, 1, 500);
    AddAt(2, 2, 500);
    Inside().PurgeForSize(false, 0, 600);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
}

TEST_F(PurgeSteps, TheSizeLooksAtEachItemOnceAndGivesUp)
{
    for (MediaID id = 1; id <= 3; ++id)
        AddAt(static_cast<double>(id), id, 500);
    mMap->nonPurgeable = {1, 2, 3};
    Inside().PurgeForSize(false, 2, 0);
    EXPECT_EQ(3, mMap->askedNonPurgeable);
    EXPECT_EQ(1500u, mManager->GetCurrentSpace());
}

TEST_F(PurgeSteps, TheSizeDoesNothingToAnEmptyMap)
{
    Inside().PurgeForSize(false, 0, 0);
    Inside().PurgeForSize(true, 0, 0);
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

TEST_F(PurgeSteps, OverTheHandleLimitOnlyItemsWithHandlesGo)
{
    AddAt(1, 1, 500, 1, 0);
    AddAt(2, 2, 500, 1, 100);
    AddAt(3, 3, 500, 1, 0);
    AddAt(4, 4, 500, 1, 201);
    Inside().PurgeForSize(false, 1, 5000);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(2));
    EXPECT_EQ(201u, Inside().HandleCount());
}

TEST_F(PurgeSteps, ExactlyTheHandleLimitIsAllowed)
{
    AddAt(1, 1, 500, 1, 300);
    Inside().PurgeForSize(false, 1, 5000);
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

TEST_F(PurgeSteps, OverTheHandleLimitProtectedItemsStay)
{
    AddAt(1, 1, 500, 1, 200);
    AddAt(2, 2, 500, 1, 200);
    mMap->nonPurgeable = {1};
    Inside().PurgeForSize(false, 1, 5000);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(2));
}

class PriorityZeroBySize : public PurgeSteps
{
protected:
    /// Registers inCount items of priority zero, numbered from 1; 235 of them are within the limit.
    void Fill(MediaID inCount)
    {
        machine.totalPhysical = kGiB; // a budget of 128 MiB, a third of it for small items
        mItem = 190000;
        mLimit = mManager->GetMaxPriorityZeroCacheSize();
        for (MediaID id = 1; id <= inCount; ++id)
            Add(id, mItem, 0);
        Apply();
    }
    Size mItem = 0;
    std::uint64_t mLimit = 0;
};

TEST_F(PriorityZeroBySize, ShrinksToItsOwnLimitThoughTheFloorIsKept)
{
    Fill(300);
    ASSERT_GT(Inside().PriorityZeroSpace(), mLimit);
    Inside().PurgeForSize(true, 1, kNoLimit);
    EXPECT_LE(Inside().PriorityZeroSpace(), mLimit);
    EXPECT_GT(Inside().PriorityZeroSpace() + mItem, mLimit);
    EXPECT_EQ(1u, mMap->Flushed().front());
    Inside().ExpectConsistent();
}

TEST_F(PriorityZeroBySize, IsLeftAloneWithinItsLimit)
{
    Fill(100);
    ASSERT_LT(Inside().PriorityZeroSpace(), mLimit);
    Inside().PurgeForSize(true, 1, kNoLimit);
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

TEST_F(PriorityZeroBySize, GoesBelowItsLimitWhenTheCacheIsOverTheFloor)
{
    Fill(10);
    Inside().PurgeForSize(true, 1, 4 * mItem);
    EXPECT_EQ(4 * mItem, mManager->GetCurrentSpace());
}

TEST_F(PriorityZeroBySize, WithinItsLimitOnlyItemsWithHandlesGoForTheHandleLimit)
{
    Fill(5);
    Add(10, mItem, 0, 301);
    Apply();
    Inside().PurgeForSize(true, 1, kNoLimit);
    EXPECT_THAT(mMap->Flushed(), ElementsAre(10));
}

TEST_F(PriorityZeroBySize, AMainMapIsNotPurgedForTheLimitOfTheOther)
{
    Fill(300);
    Add(1000, 500);
    Apply();
    Inside().PurgeForSize(false, 1000, kNoLimit);
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

} // namespace
