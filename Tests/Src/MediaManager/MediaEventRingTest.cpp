#include "MediaManager/MediaEventRing.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace RK;
using qelcore::utility::Guid;
using testing::ElementsAre;

constexpr Guid kMap(7, -7);

class Ring : public testing::Test
{
protected:
    bool Push(MediaEventRing::Type inType, MediaID inID)
    {
        return mRing.Push(inType, inID, kMap, 0.5, {});
    }
    /// What a drain applies, in its order: a letter for the type, and the number.
    std::vector<std::string> Drained()
    {
        std::vector<std::string> result;
        mRing.Drain(
            [&](const MediaEventRing::Event& inEvent)
            {
                result.push_back((inEvent.type == MediaEventRing::kAdd ? "a" : "r") +
                                 Number(inEvent));
            },
            [&](const MediaEventRing::Event& inEvent) { result.push_back("t" + Number(inEvent)); });
        return result;
    }
    static std::string Number(const MediaEventRing::Event& inEvent)
    {
        return std::to_string(inEvent.mediaID.load());
    }

    MediaEventRing mRing{8};
};

TEST_F(Ring, AppliesAddsAndRemovesInOrderThenTouchesNewestFirst)
{
    Push(MediaEventRing::kTouch, 1);
    Push(MediaEventRing::kAdd, 2);
    Push(MediaEventRing::kTouch, 3);
    Push(MediaEventRing::kRemove, 4);
    Push(MediaEventRing::kAdd, 5);
    Push(MediaEventRing::kTouch, 6);

    EXPECT_THAT(Drained(), ElementsAre("a2", "r4", "a5", "t6", "t3", "t1"));
    EXPECT_THAT(Drained(), ElementsAre());
}

TEST_F(Ring, KeepsThatOrderAcrossTheEndOfTheSlots)
{
    for (MediaID id = 1; id <= 6; ++id)
        Push(MediaEventRing::kAdd, id);
    Drained();
    for (const MediaID id : {10, 11, 12, 13})
    {
        Push(MediaEventRing::kTouch, id);
        Push(MediaEventRing::kAdd, id);
    }

    EXPECT_THAT(Drained(), ElementsAre("a10", "a11", "a12", "a13", "t13", "t12", "t11", "t10"));
}

TEST_F(Ring, RefusesAndCountsWhatAFullRingCannotTakeAndKeepsTheRest)
{
    for (MediaID id = 1; id <= 8; ++id)
        EXPECT_TRUE(Push(MediaEventRing::kAdd, id));
    EXPECT_FALSE(Push(MediaEventRing::kAdd, 9));
    EXPECT_FALSE(Push(MediaEventRing::kTouch, 10));

    EXPECT_EQ(2u, mRing.LostCount());
    EXPECT_THAT(Drained(), ElementsAre("a1", "a2", "a3", "a4", "a5", "a6", "a7", "a8"));
    EXPECT_TRUE(Push(MediaEventRing::kAdd, 11));
    EXPECT_THAT(Drained(), ElementsAre("a11"));
    EXPECT_EQ(2u, mRing.LostCount());
}

TEST_F(Ring, KeepsASlotUntilTheWholeBatchIsThrough)
{
    for (MediaID id = 1; id <= 8; ++id)
        Push(MediaEventRing::kTouch, id);
    bool taken = true;

    mRing.Drain([](const MediaEventRing::Event&) {},
                [&](const MediaEventRing::Event&) { taken = Push(MediaEventRing::kAdd, 9); });

    EXPECT_FALSE(taken);
    EXPECT_TRUE(Push(MediaEventRing::kAdd, 10));
}

TEST_F(Ring, LeavesWhatIsWrittenDuringADrainForTheNext)
{
    Push(MediaEventRing::kAdd, 1);
    int applied = 0;
    mRing.Drain(
        [&](const MediaEventRing::Event&)
        {
            ++applied;
            Push(MediaEventRing::kAdd, 2);
        },
        [](const MediaEventRing::Event&) {});

    EXPECT_EQ(1, applied);
    EXPECT_THAT(Drained(), ElementsAre("a2"));
}

TEST_F(Ring, KnowsTheTouchWrittenLastAndNoOther)
{
    EXPECT_FALSE(mRing.IsLastTouch(0, Guid())); // a free slot is no touch
    Push(MediaEventRing::kTouch, 1);
    EXPECT_TRUE(mRing.IsLastTouch(1, kMap));
    EXPECT_FALSE(mRing.IsLastTouch(2, kMap));
    EXPECT_FALSE(mRing.IsLastTouch(1, Guid(7, 7)));
    EXPECT_FALSE(mRing.IsLastTouch(1, Guid(-7, -7)));

    Push(MediaEventRing::kRemove, 1);
    EXPECT_FALSE(mRing.IsLastTouch(1, kMap));

    Push(MediaEventRing::kTouch, 1);
    Drained();
    EXPECT_FALSE(mRing.IsLastTouch(1, kMap)); // applied and cleared
}

TEST_F(Ring, CarriesEverythingThatAnAddSays)
{
    mRing.Push(MediaEventRing::kAdd, 42, kMap, 3.25, {nullptr, 100, 5, 2});

    mRing.Drain(
        [](const MediaEventRing::Event& inEvent)
        {
            EXPECT_EQ(42u, inEvent.mediaID);
            EXPECT_EQ(kMap, inEvent.MapID());
            EXPECT_EQ(3.25, inEvent.time);
            EXPECT_EQ(100u, inEvent.size);
            EXPECT_EQ(5u, inEvent.priority);
            EXPECT_EQ(2u, inEvent.handleCount);
        },
        [](const MediaEventRing::Event&) { ADD_FAILURE(); });
}

TEST_F(Ring, HasSlotsOfOneCacheLine)
{
    EXPECT_EQ(64u, sizeof(MediaEventRing::Event));
}

} // namespace
