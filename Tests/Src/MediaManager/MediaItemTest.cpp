#include "MediaManager/MediaItem.h"

#include <gtest/gtest.h>

namespace
{

using namespace RK;
using qelcore::utility::Guid;

TEST(MediaTick, RunsAt25KilohertzAndCutsOffWhatIsLess)
{
    EXPECT_EQ(0u, MediaTick(0));
    EXPECT_EQ(0u, MediaTick(0.00003999));
    EXPECT_EQ(1u, MediaTick(0.0000400001));
    EXPECT_EQ(25000u, MediaTick(1));
    EXPECT_EQ(37500u, MediaTick(1.5));
}

TEST(MediaTick, StartsAnewAfter171798Seconds)
{
    EXPECT_EQ(4294925000u, MediaTick(171797));
    EXPECT_EQ(4294949999u, MediaTick(171797.99999));
    EXPECT_EQ(0u, MediaTick(171798));
    EXPECT_EQ(12500u, MediaTick(171798.5));
    EXPECT_EQ(25000u, MediaTick(2 * 171798.0 + 1));
}

TEST(MediaPriorityOffset, IsTheFigureOf32BitArithmetic)
{
    // 9, 35, 36, 58 and 61 differ by one tick from what 64-bit arithmetic gives.
    const struct
    {
        Priority priority;
        std::int64_t ticks;
    } kRows[] = {{0, 0},        {1, 300000},   {2, 424264},   {3, 519615},
                 {9, 899999},   {10, 948683},  {25, 1500000}, {33, 1723368},
                 {35, 1774824}, {36, 1799999}, {50, 2121320}, {58, 2284732},
                 {61, 2343075}, {75, 2598076}, {99, 2984962}, {100, 3000000}};
    for (const auto& row : kRows)
        EXPECT_EQ(row.ticks, MediaPriorityOffset(100001, row.priority)) << row.priority;
}

TEST(MediaPriorityOffset, IsZeroForItemsOfAtMost100000Bytes)
{
    EXPECT_EQ(0, MediaPriorityOffset(100000, 100));
    EXPECT_EQ(0, MediaPriorityOffset(1, 100));
    EXPECT_EQ(3000000, MediaPriorityOffset(100001, 100));
}

TEST(MediaPriorityOffset, CountsAPriorityAbove100As100)
{
    EXPECT_EQ(3000000, MediaPriorityOffset(200000, 101));
    EXPECT_EQ(3000000, MediaPriorityOffset(200000, 0xFFFFFFFFu));
}

TEST(MediaItemWeight, RanksAnItemByItsUseLessItsOffset)
{
    MediaItemWeight weight;
    weight.size = 200000;
    weight.priority = 250;

    RankMediaItem(weight, 10);

    EXPECT_EQ(100u, weight.priority);
    EXPECT_EQ(3000000, weight.priorityOffset);
    EXPECT_EQ(250000 - 3000000, weight.weight); // below 0: weights are signed
}

TEST(MediaItemWeight, IsOrderedByWeightThenNumberThenSignedHalvesOfTheMap)
{
    const auto weight = [](std::int64_t inWeight, MediaID inID, const Guid& inMapID)
    {
        MediaItemWeight result;
        result.weight = inWeight;
        result.mediaID = inID;
        result.mapID = inMapID;
        return result;
    };
    EXPECT_LT(weight(-1, 9, {}), weight(0, 1, {}));
    EXPECT_LT(weight(5, 1, Guid(9, 9)), weight(5, 2, {}));
    EXPECT_LT(weight(5, 1, Guid(-1, 0)), weight(5, 1, Guid(0, 0)));
    EXPECT_LT(weight(5, 1, Guid(0, -1)), weight(5, 1, Guid(0, 0)));
    EXPECT_FALSE(weight(5, 1, Guid(1, 1)) < weight(5, 1, Guid(1, 1)));
}

TEST(MediaItemID, IsOrderedByNumberThenSignedHalvesOfTheMap)
{
    const auto id = [](MediaID inID, const Guid& inMapID)
    { return MediaItemID{{}, inID, inMapID}; };
    EXPECT_LT(id(1, Guid(9, 9)), id(2, Guid()));
    EXPECT_LT(id(1, Guid(-1, 0)), id(1, Guid(0, 0)));
    EXPECT_LT(id(1, Guid(0, -1)), id(1, Guid(0, 0)));
    EXPECT_FALSE(id(1, Guid(1, 1)) < id(1, Guid(1, 1)));
}

} // namespace
