#include "ScrubOrder.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

namespace
{

using RKHost::ScrubOrder;

TEST(ScrubOrder, IsTheSameForTheSameSeedOnly)
{
    EXPECT_EQ(ScrubOrder(500, 7), ScrubOrder(500, 7));
    EXPECT_NE(ScrubOrder(500, 7), ScrubOrder(500, 8));
}

TEST(ScrubOrder, AsksForAsManyFramesAsThereAreAndNoOthers)
{
    for (const int count : {1, 2, 3, 17, 1000})
    {
        for (int seed = 1; seed < 50; ++seed)
        {
            const std::vector<int> order = ScrubOrder(count, seed);
            ASSERT_EQ(static_cast<std::size_t>(count), order.size());
            const auto [least, most] = std::minmax_element(order.begin(), order.end());
            ASSERT_GE(*least, 0);
            ASSERT_LT(*most, count);
        }
    }
}

TEST(ScrubOrder, StaysOnMostFramesForAWhile)
{
    const std::vector<int> order = ScrubOrder(1000, 1);
    const auto repeats = std::adjacent_find(order.begin(), order.end());
    EXPECT_NE(order.end(), repeats);
    EXPECT_LT(std::set<int>(order.begin(), order.end()).size(), 500u);
}

TEST(StraightOrder, HasEachFrameOnce)
{
    EXPECT_EQ((std::vector<int>{0, 1, 2}), RKHost::StraightOrder(3));
}

} // namespace
