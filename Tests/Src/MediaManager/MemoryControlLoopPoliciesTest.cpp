// Each policy by tables of figures worked out by hand. Changes are in bytes a sample.
#include <limits>

#include <gtest/gtest.h>

#include "MediaManager/MediaManager.h"
#include "MemoryControlLoopFixture.h"
#include "Support/FakeMachineFigures.h"

namespace
{

using namespace RK;
using namespace Testing;

constexpr std::uint64_t kMiB = 1ull << 20;
constexpr std::uint64_t kGiB = 1ull << 30;
constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
constexpr auto kMostDistance = std::numeric_limits<int>::max();
constexpr double kHuge = 1e300;
constexpr double kMiBDouble = 1048576.0;

/// Statistics that make a policy which looks at the wrong one ask for something else.
MemoryControlLoopStatistics Misleading()
{
    MemoryControlLoopStatistics statistics;
    for (MemoryStatistic* statistic :
         {&statistics.cache, &statistics.highPriorityCache, &statistics.reserve,
          &statistics.processMemory, &statistics.recyclerPool, &statistics.processCompressed,
          &statistics.systemCompressed, &statistics.untracked, &statistics.freeMemory,
          &statistics.freeActiveMemory})
        *statistic = Statistic(77777777777, 7777777, 777777);
    return statistics;
}

struct LimitRow
{
    std::uint64_t current;
    std::uint64_t limit;
    double reactive;
    int distance;
    std::uint64_t asked;
    const char* why;
};

const LimitRow kLimitRows[] = {
    {1000, 1000, 0, 10, 0, "at the limit"},
    {1100, 1000, 0, 10, 100, "over now"},
    {900, 1000, 10, 10, 0, "at the limit later"},
    {900, 1000, 40, 10, 100, "a third of what will be over"},
    {900, 1000, 40.25, 10, 100, "302 divided by 3"},
    {1000, 1000, 0.29, 10, 0, "2.9 truncated to 2"},
    {1000, 1000, 0.39, 10, 1, "3.9 truncated to 3"},
    {1600, 1000, 10, 10, 600, "over now by more than a third of later"},
    {1100, 1000, 100, 10, 366, "over now by less than a third of later"},
    {1100, 1000, -5, 10, 100, "still over later"},
    {1100, 1000, -20, 10, 100, "no longer over later"},
    {1600, 1000, -160, 10, 600, "falls to nothing"},
    {1500, 1000, -160, 10, 500, "falls by more than there is"},
    {900, 1000, -100, 10, 0, "falls by more than there is, not over"},
    {1100, 1000, 100, 0, 100, "looks at now"},
    {900, 1000, -40, -10, 100, "looks back"},
    {900, 1000, kHuge, 10, 3074457345618258569, "(2^63 - 1 - 100) / 3"},
    {1500, 1000, -kHuge, 10, 500, "falls beyond all numbers"},
    {1500, 1000, std::numeric_limits<double>::quiet_NaN(), 10, 500, "no number"},
    {kMost - 5, kMost - 2, 1, 10, 0, "no room above: a third of 2"},
    {kMost - 5, kMost - 60, 1, 10, 55, "no room above: over now"},
};

TEST(MemoryPolicies, CacheLimitTakesWhatIsOverNowAndAThirdOfWhatWillBe)
{
    for (const LimitRow& row : kLimitRows)
    {
        MemoryControlLoopStatistics statistics = Misleading();
        statistics.cache = Statistic(row.current, row.reactive, 555555);
        const MemoryLimits limits{1, row.limit, false};
        EXPECT_EQ(row.asked, CacheLimitPolicy(limits, row.distance, statistics)) << row.why;
    }
}

TEST(MemoryPolicies, MemoryLimitDoesTheSameByTheProcess)
{
    for (const LimitRow& row : kLimitRows)
    {
        MemoryControlLoopStatistics statistics = Misleading();
        statistics.processMemory = Statistic(row.current, row.reactive, 555555);
        const MemoryLimits limits{row.limit, 1, false};
        EXPECT_EQ(row.asked, MemoryLimitPolicy(limits, row.distance, statistics)) << row.why;
    }
}

TEST(MemoryPolicies, CacheGrowthTakesBackWhatIsBeyondA3000thOfTheLimit)
{
    struct Row
    {
        std::uint64_t limit;
        double reactive;
        double smooth;
        std::uint64_t asked;
        const char* why;
    };
    const Row kRows[] = {
        {3002999, 1200, 1500, 500, "the smooth average is greater"},
        {3002999, 1500, 1200, 500, "the quick average is greater"},
        {3002999, 1500, -5000, 500, "one falls"},
        {3002999, 900, 800, 0, "within"},
        {3002999, 1000, 0, 0, "just within"},
        {3002999, 1001, 0, 1, "just beyond"},
        {3002999, 1001.9, 0, 1, "truncated"},
        {3003000, 1001, 0, 0, "3003000 allows 1001"},
        {3002999, -1500, -1200, 0, "both fall"},
        {2999, -1, -2, 0, "both fall, nothing allowed"},
        {2999, -0.5, -0.5, 0, "truncated to no change"},
        {2999, 1, 0, 1, "nothing allowed"},
        {3002999, kHuge, 0, 9223372036854774807, "2^63 - 1 - 1000"},
    };
    for (const Row& row : kRows)
    {
        MemoryControlLoopStatistics statistics = Misleading();
        statistics.cache = Statistic(888888888, row.reactive, row.smooth);
        const MemoryLimits limits{1, row.limit, true};
        EXPECT_EQ(row.asked, CacheGrowthPolicy(limits, 10, statistics)) << row.why;
        EXPECT_EQ(row.asked, CacheGrowthPolicy(limits, -1, statistics)) << row.why;
    }
}

class FreeMemory : public ::testing::Test
{
protected:
    FreeMemory() { MediaManager::ForgetMachine(); }
    ~FreeMemory() override { MediaManager::ForgetMachine(); }
    static std::uint64_t Ask(std::uint64_t inFree, double inReactive = 0)
    {
        MemoryControlLoopStatistics statistics = Misleading();
        statistics.freeMemory = Statistic(inFree, inReactive, 555555);
        return FreeMemoryPolicy({1, 1, false}, 10, statistics);
    }
    FakeMachineFigures machine; // 16 GiB, and a twentieth of that is 858993459 bytes
};

TEST_F(FreeMemory, IsKeptAtATwentiethOfTheMachine)
{
    EXPECT_EQ(0u, Ask(8 * kGiB));
    EXPECT_EQ(0u, Ask(858993459));
    EXPECT_EQ(1u, Ask(858993458));
    EXPECT_EQ(858993459u, Ask(0));
}

TEST_F(FreeMemory, IsProjected)
{
    EXPECT_EQ(5u, Ask(kGiB, -21474837)); // 1073741824 - 214748370 = 858993454
    EXPECT_EQ(0u, Ask(858993449, 1));
    EXPECT_EQ(1u, Ask(858993448, 1));
    EXPECT_EQ(1u, Ask(858993459, -0.19)) << "1.9 truncated to 1";
    EXPECT_EQ(858993459u - 1, Ask(0, 0.19));
}

TEST_F(FreeMemory, ThatFallsByMoreThanThereIsIsAllLacking)
{
    EXPECT_EQ(858993459u, Ask(100, -10));
    EXPECT_EQ(858993459u, Ask(100, -11));
    EXPECT_EQ(858993459u, Ask(8 * kGiB, -kHuge));
    EXPECT_EQ(0u, Ask(0, kHuge));
}

TEST_F(FreeMemory, IsKeptAt512MiBAtLeast)
{
    machine.totalPhysical = 8 * kGiB;
    EXPECT_EQ(536870912u, Ask(0));

    machine.totalPhysical = 10 * kGiB; // a twentieth is just that
    MediaManager::ForgetMachine();
    EXPECT_EQ(536870912u, Ask(0));

    machine.totalPhysical = 10 * kGiB + 20;
    MediaManager::ForgetMachine();
    EXPECT_EQ(536870913u, Ask(0));
}

TEST_F(FreeMemory, AsksForTheMachinesTwentiethOnce)
{
    EXPECT_EQ(858993459u, Ask(0));
    machine.totalPhysical = 160 * kGiB;
    EXPECT_EQ(858993459u, Ask(0));
}

TEST(MemoryPolicies, CompressedMemoryGivesALittleWhileNothingMoreIsCompressed)
{
    struct Row
    {
        std::uint64_t current;
        std::uint64_t last;
        double reactive;
        double smooth;
        std::uint64_t asked;
        const char* why;
    };
    // Where more is compressed 6000 is asked for: twice the growth of the cache.
    const Row kRows[] = {
        {5049, 5049, 0, 0, 100, "stands still"},
        {5049, 6000, 0, 0, 100, "falls"},
        {5049, 5049, 0.9, 0.9, 100, "less than a byte"},
        {5049, 5049, -500, -500, 100, "has been falling"},
        {0, 0, 0, 0, 0, "nothing is compressed"},
        {5049, 5048, 0, 0, 6000, "rises"},
        {5049, 5049, 1, 0, 6000, "has been rising by the quick average"},
        {5049, 5049, 0, 1, 6000, "has been rising by the smooth average"},
        {5049, 6000, 1, -1, 6000, "falls now, and has been rising"},
        {400000, 300000, 0, 0, 8000, "a 50th of much"},
    };
    for (const Row& row : kRows)
    {
        MemoryControlLoopStatistics statistics = Misleading();
        statistics.processCompressed = Statistic(row.current, row.reactive, row.smooth);
        statistics.processCompressed.last = row.last;
        statistics.cache = Statistic(33000, -7777, 3000);
        EXPECT_EQ(row.asked, CompressedMemoryPolicy({1, 1, true}, 10, statistics)) << row.why;
    }
}

TEST(MemoryPolicies, CompressedMemoryTakesTheGreatestOfThreeWhileMoreIsCompressed)
{
    struct Row
    {
        std::uint64_t compressed;
        std::uint64_t cache;
        double cacheSmooth;
        std::uint64_t asked;
        const char* why;
    };
    const Row kRows[] = {
        {5050, 6600, 300, 600, "twice the growth"},
        {5050, 6600, 300.9, 600, "truncated before it is doubled"},
        {5050, 23132, 300, 700, "a 33rd of the cache: 700.97"},
        {40000, 6600, 300, 800, "a 50th of what is compressed"},
        {5050, 6600, -500, 200, "a cache that shrinks"},
        {5050, 0, -500, 101, "and is empty"},
        {5050, 0, 0, 101, "an empty cache"},
        {5050, 0, kHuge, 9223372036854775806, "growth beyond all numbers"},
        {5050, 0, -kHuge, 101, "a fall beyond all numbers"},
    };
    for (const Row& row : kRows)
    {
        MemoryControlLoopStatistics statistics = Misleading();
        statistics.processCompressed = Statistic(row.compressed);
        statistics.processCompressed.last = row.compressed - 1;
        statistics.cache = Statistic(row.cache, 999999, row.cacheSmooth);
        EXPECT_EQ(row.asked, CompressedMemoryPolicy({1, 1, true}, 10, statistics)) << row.why;
    }
}

TEST(MemoryPolicies, ActiveMemoryKeeps256MiBAndTheGrowthOfTheCacheAtHand)
{
    struct Row
    {
        std::uint64_t active;
        double activeReactive;
        std::uint64_t cache;
        double cacheReactive;
        int distance;
        std::uint64_t asked;
        const char* why;
    };
    const Row kRows[] = {
        {kGiB, 0, kGiB, 0, 10, 0, "plenty"},
        {268435456, 0, kGiB, 0, 10, 0, "all of the 256 MiB"},
        {100 * kMiB, 0, kGiB, 0, 10, 19573418, "(163577856 - 104857600) / 3"},
        {134217728, 0, kGiB, 0, 10, 0, "lacks as much as there is"},
        {134217727, 0, kGiB, 0, 10, 0, "lacks 2 more than there is"},
        {134217726, 0, kGiB, 0, 10, 1, "lacks 4 more than there is"},
        {134217724, 0, kGiB, 0, 10, 2, "lacks 8 more than there is"},
        {kGiB, -80 * kMiBDouble, kGiB, 0, 10, 0, "224 MiB later"},
        {kGiB, -100 * kMiBDouble, kGiB, 0, 10, 72701269, "(243269632 - 25165824) / 3"},
        {100, -11, kGiB, 0, 10, 89478485, "none later: 268435456 / 3"},
        {100 * kMiB, 20 * kMiBDouble, kGiB, 0, 10, 0, "300 MiB later"},
        {kGiB, 0, 0, 40 * kMiBDouble, 10, 61516458, "grows 1200 MiB: 184549376 / 3"},
        {kGiB, 0, 0, 34 * kMiBDouble, 10, 0, "grows 1020 MiB"},
        {kGiB, 0, kGiB, 40 * kMiBDouble, 0, 0, "looks at now"},
        {100 * kMiB, 0, kGiB, 2 * kMiBDouble, 10, 40544938, "(226492416 - 104857600) / 3"},
        {100 * kMiB, 0, kGiB, -1 * kMiBDouble, 10, 9087658, "(132120576 - 104857600) / 3"},
        {100 * kMiB, 0, kGiB, -10 * kMiBDouble, 10, 0, "shrinks by more than is lacking"},
        {100 * kMiB, 0, 10 * kMiB, -1 * kMiBDouble, 10, 16078165, "cannot shrink below 0"},
        {kGiB, 0, 0, 0.19, 10, 0, "5.7 bytes"},
        {0, 0, 0, 0.19, 10, 89478487, "(268435456 + 5) / 3, truncated before"},
        {kGiB, 0, 0, 1, kMostDistance, 1789569705, "(3 * 2147483647 - 1073741824) / 3"},
        {kGiB, 0, 0, kHuge, 10, 3074457345260344661, "(2^63 - 1 - 1073741824) / 3"},
        {0, 0, 0, kHuge, 10, 3074457345707737087, "(2^63 - 1 + 268435456) / 3"},
        {100 * kMiB, 0, kGiB, -kHuge, 10, 0, "shrinks beyond all numbers"},
        {kGiB, kHuge, 0, kHuge, 10, 0, "both grow beyond all numbers"},
    };
    for (const Row& row : kRows)
    {
        MemoryControlLoopStatistics statistics = Misleading();
        statistics.freeActiveMemory = Statistic(row.active, row.activeReactive, 555555);
        statistics.cache = Statistic(row.cache, row.cacheReactive, 555555);
        EXPECT_EQ(row.asked, ActiveMemoryPolicy({1, 1, true}, row.distance, statistics)) << row.why;
    }
}

TEST(MemoryPolicies, ProjectNothingFromAFirstSample)
{
    MemoryControlLoopStatistics statistics;
    FakeMachineFigures machine;
    machine.process = kGiB;
    machine.freeActive = kGiB;
    statistics.Update({kGiB, 0, 0});
    const MemoryLimits limits{kGiB, kGiB, true};
    EXPECT_EQ(0u, CacheLimitPolicy(limits, 10, statistics));
    EXPECT_EQ(0u, MemoryLimitPolicy(limits, 10, statistics));
    EXPECT_EQ(0u, CacheGrowthPolicy(limits, 10, statistics));
    EXPECT_EQ(0u, ActiveMemoryPolicy(limits, 10, statistics));
}

} // namespace
