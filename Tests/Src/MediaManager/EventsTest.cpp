// What owners tell the manager, and what it notes of it.
#include "ManagerFixture.h"

#include <stdexcept>

namespace
{

using namespace RK;
using namespace Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Events : public ManagerTest
{
};

TEST_F(Events, TakeEffectOnlyWhenTheyAreApplied)
{
    Add(1, 500, 3, 2);
    EXPECT_EQ(0u, mManager->GetNumberOfEntries());
    EXPECT_EQ(0u, mManager->GetCurrentSpace());

    Apply();
    EXPECT_EQ(1u, mManager->GetNumberOfEntries());
    EXPECT_EQ(500u, mManager->GetCurrentSpace());
    EXPECT_EQ(2u, Inside().HandleCount());
}

TEST_F(Events, RegisterTheTimeOfTheCallNotOfTheBookkeeping)
{
    GoTo(10);
    Add(1, 200000, 25);
    GoTo(50);
    Apply();

    const auto item = Inside().Item(1);
    EXPECT_EQ(10.0, item.time);
    EXPECT_EQ(1500000, item.priorityOffset);
    EXPECT_EQ(250000 - 1500000, item.weight);
}

TEST_F(Events, StoreAPriorityOfAtMost100)
{
    AddAt(1, 1, 500, 7000);
    EXPECT_EQ(100u, Inside().Item(1).priority);
}

TEST_F(Events, OfTwoAddsOfOneItemTheFirstStands)
{
    Add(1, 500, 1, 3);
    GoTo(1);
    Add(1, 900, 1, 7);
    Apply();

    EXPECT_EQ(500u, mManager->GetCurrentSpace());
    EXPECT_EQ(3u, Inside().HandleCount());
    EXPECT_EQ(500u, Inside().Item(1).size);
    Inside().ExpectConsistent();
}

TEST_F(Events, OfTwoAddsOfOneItemInOneMomentTheFirstStands)
{
    Add(1, 500); // the very same rank as the next
    Add(1, 900);
    Apply();

    EXPECT_EQ(500u, mManager->GetCurrentSpace());
    Inside().ExpectConsistent();
}

TEST_F(Events, AnItemIsNeverRegisteredAsBothKinds)
{
    Add(1, 500, 0);
    Add(1, 900, 1);
    Add(2, 700, 1);
    Add(2, 300, 0);
    Apply();

    EXPECT_THAT(Inside().Order(true), ElementsAre(1));
    EXPECT_THAT(Inside().Order(false), ElementsAre(2));
    EXPECT_EQ(1200u, mManager->GetCurrentSpace());
    Inside().ExpectConsistent();
}

TEST_F(Events, TheSameNumberInTwoMapsIsTwoItems)
{
    const FakeMapRef other(new FakeMap);
    Add(1, 500);
    mManager->AddMedia(1, 700, 1, 0, other);
    Apply();
    EXPECT_EQ(2u, mManager->GetNumberOfEntries());

    mManager->RemoveMedia(1, other->GetUniqueID());
    Apply();
    EXPECT_EQ(500u, mManager->GetCurrentSpace());
}

TEST_F(Events, SmallItemsOfPriorityZeroAreKeptApartAndNotCountedAsEntries)
{
    const Size limit = mManager->GetMaxPriorityZeroItemSize();
    Add(1, limit - 1, 0);
    Add(2, limit, 0);
    Add(3, limit - 1, 1);
    Apply();

    EXPECT_THAT(Inside().Order(true), ElementsAre(1));
    EXPECT_THAT(Inside().Order(false), ElementsAre(3, 2)); // 3 counts as a little older
    EXPECT_EQ(2u, mManager->GetNumberOfEntries());
    EXPECT_EQ(3 * limit - 2, mManager->GetCurrentSpace());
    EXPECT_EQ(limit - 1, Inside().PriorityZeroSpace());
}

TEST_F(Events, ATouchMovesAnItemYounger)
{
    AddAt(1, 1, 500);
    AddAt(2, 2, 500);
    GoTo(3);
    Touch(1);
    GoTo(4);
    Apply();

    EXPECT_THAT(Inside().Order(), ElementsAre(2, 1));
    EXPECT_EQ(75000, Inside().Item(1).weight);
    EXPECT_EQ(3.0, Inside().Item(1).time);
    Inside().ExpectConsistent();
}

TEST_F(Events, ATouchOfASmallItemOfPriorityZeroCountsAsUseWhenItIsNoted)
{
    AddAt(1, 1, 500, 0);
    GoTo(3);
    Touch(1);
    GoTo(4);
    Apply();

    EXPECT_EQ(75000, Inside().Item(1, true).weight);
    EXPECT_EQ(4.0, Inside().Item(1, true).time);
}

TEST_F(Events, ATouchKeepsSizeAndHandlesAndOffset)
{
    AddAt(1, 1, 200000, 25, 6);
    GoTo(100);
    Touch(1);
    Apply();

    const auto item = Inside().Item(1);
    EXPECT_EQ(200000u, item.size);
    EXPECT_EQ(6u, item.handleCount);
    EXPECT_EQ(25u, item.priority);
    EXPECT_EQ(2500000 - 1500000, item.weight);
    EXPECT_EQ(6u, Inside().HandleCount());
}

TEST_F(Events, AnOlderTouchBehindANewerOneDoesNotMakeAnItemOlder)
{
    AddAt(0, 1, 500);
    Add(2, 500); // between the two, so that the second touch is no repeated one
    GoTo(5);
    Touch(1);
    Touch(2);
    GoTo(9);
    Touch(1);
    Apply();
    EXPECT_EQ(9.0, Inside().Item(1).time);
}

TEST_F(Events, ATouchInTheMomentOfTheAddChangesNothing)
{
    Add(1, 500, 0);
    Touch(1);
    GoTo(4);
    Apply();
    EXPECT_EQ(0.0, Inside().Item(1, true).time); // would be 4 if it had been taken for a newer one
}

TEST_F(Events, ATouchOfAnItemAddedInTheSameBatchTakesEffect)
{
    GoTo(2);
    Touch(1);
    GoTo(3);
    Add(1, 500);
    GoTo(5);
    Add(2, 500);
    Touch(1);
    Apply();
    EXPECT_THAT(Inside().Order(), ElementsAre(1, 2));
    EXPECT_EQ(5.0, Inside().Item(1).time);
}

TEST_F(Events, ARemoveAndATouchInOneBatchLeaveNothingWhateverTheirOrder)
{
    AddAt(0, 1, 500);
    AddAt(0, 2, 500);
    GoTo(1);
    Touch(1);
    Remove(1);
    Remove(2);
    Touch(2);
    Apply();

    EXPECT_EQ(0u, mManager->GetNumberOfEntries());
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
    Inside().ExpectConsistent();
}

TEST_F(Events, AnItemRemovedAndAddedAgainInOneBatchIsTheNewOne)
{
    AddAt(0, 1, 500, 1, 1);
    Remove(1);
    Add(1, 900, 1, 4);
    Apply();
    EXPECT_EQ(900u, mManager->GetCurrentSpace());
    EXPECT_EQ(4u, Inside().HandleCount());
}

TEST_F(Events, ARemoveTakesAnItemOffTheBooksWithoutCallingItsMap)
{
    Add(1, 500, 1, 4);
    Add(2, 300, 0, 1);
    Apply();
    Remove(1);
    Remove(2);
    Apply();

    EXPECT_EQ(0u, mManager->GetCurrentSpace());
    EXPECT_EQ(0u, Inside().PriorityZeroSpace());
    EXPECT_EQ(0u, Inside().HandleCount());
    EXPECT_THAT(mMap->Flushed(), IsEmpty());
}

TEST_F(Events, TouchesAndRemovesOfUnknownItemsDoNothing)
{
    Add(1, 500);
    Touch(8);
    Remove(9);
    mManager->RemoveMedia(1, qelcore::utility::Guid::CreateUnique());
    Apply();
    EXPECT_THAT(Inside().Order(), ElementsAre(1));
}

TEST_F(Events, ARepeatedTouchIsDroppedAtTheSource)
{
    Touch(1);
    Touch(1);
    Touch(1);
    EXPECT_EQ(1, Inside().PendingEventCount());

    Touch(2);
    Touch(1);
    EXPECT_EQ(3, Inside().PendingEventCount());
}

TEST_F(Events, ATouchAfterAnAddOrARemoveOfTheSameItemIsNoRepeatedOne)
{
    Add(1, 500);
    Touch(1);
    EXPECT_EQ(1, Inside().PendingEventCount());
    Remove(1);
    Touch(1);
    EXPECT_EQ(3, Inside().PendingEventCount());
}

TEST_F(Events, MoreThan10MiBAddedAskForAPurge)
{
    Add(1, 10485760);
    EXPECT_FALSE(PurgeIsQueued());
    EXPECT_EQ(10485760u, Inside().PendingBytes());

    Add(2, 1);
    EXPECT_TRUE(PurgeIsQueued());
    EXPECT_EQ(0u, Inside().PendingBytes());
}

TEST_F(Events, MoreThanHalfARingOfTouchesAskForAPurge)
{
    for (MediaID id = 1; id <= 32768; ++id)
        Touch(id);
    EXPECT_FALSE(PurgeIsQueued());
    EXPECT_EQ(32768, Inside().PendingEventCount());

    Touch(40000);
    EXPECT_TRUE(PurgeIsQueued());
    EXPECT_EQ(0, Inside().PendingEventCount());
}

TEST_F(Events, MoreThan100RemovesAskForAPurgeAndKeepAsking)
{
    for (MediaID id = 1; id <= 100; ++id)
        Remove(id);
    EXPECT_FALSE(PurgeIsQueued());

    Remove(101);
    EXPECT_TRUE(PurgeIsQueued());
    EXPECT_EQ(101, Inside().PendingEventCount()); // not reset

    Background().Advance(50);
    EXPECT_EQ(0, Inside().PendingEventCount());
    EXPECT_FALSE(PurgeIsQueued());
}

TEST_F(Events, TouchesCountTowardsTheRemoveTrigger)
{
    for (MediaID id = 1; id <= 100; ++id)
        Touch(id);
    EXPECT_FALSE(PurgeIsQueued());
    Remove(1);
    EXPECT_TRUE(PurgeIsQueued());
}

TEST_F(Events, ThePurgeThatWasAskedForComesOnceAfter50Milliseconds)
{
    Add(1, 11 * kMiB);
    Add(2, 11 * kMiB);
    EXPECT_EQ(0u, Background().Advance(49));
    EXPECT_EQ(0u, mManager->GetNumberOfEntries());

    Background().Advance(1);
    EXPECT_EQ(2u, mManager->GetNumberOfEntries());
    EXPECT_EQ(0u, Inside().PendingBytes());
}

TEST_F(Events, ApplyingThemResetsBothCounters)
{
    Add(1, 500);
    Remove(2);
    Apply();
    EXPECT_EQ(0u, Inside().PendingBytes());
    EXPECT_EQ(0, Inside().PendingEventCount());
}

TEST_F(Events, AFullRingRefusesCountsAndAsksForAPurge)
{
    for (MediaID id = 1; id <= 65536; ++id)
        Add(id, 1);
    EXPECT_FALSE(PurgeIsQueued());
    EXPECT_EQ(0u, mManager->GetLostEventCount());

    Add(70000, 1);
    Touch(1);
    Remove(1);
    EXPECT_EQ(3u, mManager->GetLostEventCount());
    EXPECT_TRUE(PurgeIsQueued());

    Background().Advance(50);
    EXPECT_EQ(65536u, mManager->GetNumberOfEntries());
    EXPECT_EQ(65536u, mManager->GetCurrentSpace());
    Add(70000, 1);
    Apply();
    EXPECT_EQ(65537u, mManager->GetNumberOfEntries());
    EXPECT_EQ(3u, mManager->GetLostEventCount());
}

TEST_F(Events, AMapThatThrowsItsIdentityRegistersNothingAndLeavesTheRingWhole)
{
    mMap->onGetUniqueID = [] { throw std::runtime_error("no identity"); };
    EXPECT_THROW(Add(1, 500), std::runtime_error);
    mMap->onGetUniqueID = nullptr;

    Add(2, 700);
    Apply();
    EXPECT_THAT(Inside().Order(), ElementsAre(2));
}

TEST_F(Events, AnAddOfNoBytesIsAContractViolation)
{
    ExpectContractViolation([&] { Add(1, 0); }, "inSize > 0", "Src/MediaManager/MediaManager",
                            "AddMedia");
    Apply();
    EXPECT_EQ(0u, mManager->GetNumberOfEntries());
}

TEST_F(Events, AnAddWithoutAMapIsAContractViolation)
{
    ExpectContractViolation([&] { mManager->AddMedia(1, 5, 0, 0, nullptr); },
                            "inSourceMapRef != NULL", "Src/MediaManager/MediaManager", "AddMedia");
}

TEST_F(Events, HoldTheMapUntilItsLastItemIsOffTheBooks)
{
    bool ended = false;
    mMap->onEnd = [&] { ended = true; };
    const auto id = mMap->GetUniqueID();
    Add(1, 500);
    mMap = FakeMapRef(new FakeMap);
    EXPECT_FALSE(ended); // held by the event

    Apply();
    EXPECT_FALSE(ended); // held by the books

    mManager->RemoveMedia(1, id);
    Apply();
    EXPECT_TRUE(ended);
}

TEST_F(Events, AMapThatEndsWhileEventsAreAppliedMayCallTheManager)
{
    const auto id = mMap->GetUniqueID();
    mMap->onEnd = [this]
    {
        mManager->FlushAsyncEvents();
        PurgeNow(kEverything);
        mManager->RemoveMedia(77, qelcore::utility::Guid());
    };
    Add(1, 500);
    mMap = FakeMapRef(new FakeMap);
    Add(2, 600);
    Apply();
    mManager->RemoveMedia(1, id);
    Add(3, 700);
    Apply();

    EXPECT_THAT(mMap->Flushed(), ElementsAre(2)); // the add of 3 came behind the remove
    EXPECT_THAT(Inside().Order(), ElementsAre(3));
    Inside().ExpectConsistent();
}

} // namespace
