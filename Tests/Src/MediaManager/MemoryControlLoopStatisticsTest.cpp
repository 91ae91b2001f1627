#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MemoryControlLoopFixture.h"
#include "Support/FakeMachineFigures.h"
#include "qelcore/MemoryRecycler.h"

namespace
{

using namespace RK;
using namespace Testing;

constexpr std::uint64_t kGiB = 1ull << 30;
constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();

TEST(MemoryStatistic, IsNewWithItsTwoFactorsAndZeros)
{
    const MemoryStatistic statistic;
    EXPECT_EQ(0u, statistic.current);
    EXPECT_EQ(0u, statistic.last);
    EXPECT_EQ(0u, statistic.sampleCount);
    EXPECT_EQ(0, statistic.averageChange);
    EXPECT_EQ(0, statistic.reactiveChange);
    EXPECT_EQ(0, statistic.smoothChange);
    EXPECT_EQ(0.15, statistic.reactiveFactor);
    EXPECT_EQ(0.01, statistic.smoothFactor);
}

TEST(MemoryStatistic, ItsFirstSampleIsNoChange)
{
    MemoryStatistic statistic;
    statistic.averageChange = statistic.reactiveChange = statistic.smoothChange = 7;
    statistic.Update(5 * kGiB);
    EXPECT_EQ(5 * kGiB, statistic.current);
    EXPECT_EQ(0u, statistic.last);
    EXPECT_EQ(1u, statistic.sampleCount);
    EXPECT_EQ(0, statistic.averageChange);
    EXPECT_EQ(0, statistic.reactiveChange);
    EXPECT_EQ(0, statistic.smoothChange);
}

TEST(MemoryStatistic, BlendsEachLaterChangeIntoItsAverages)
{
    MemoryStatistic statistic;
    statistic.Update(kGiB);
    statistic.Update(2 * kGiB);
    EXPECT_EQ(2 * kGiB, statistic.current);
    EXPECT_EQ(kGiB, statistic.last);
    EXPECT_EQ(2u, statistic.sampleCount);
    EXPECT_DOUBLE_EQ(0.15, statistic.reactiveChange);
    EXPECT_DOUBLE_EQ(0.01, statistic.smoothChange);
    EXPECT_DOUBLE_EQ(0.5, statistic.averageChange); // one of two samples

    statistic.Update(4 * kGiB);
    EXPECT_EQ(3u, statistic.sampleCount);
    EXPECT_DOUBLE_EQ(0.85 * 0.15 + 0.3, statistic.reactiveChange);
    EXPECT_DOUBLE_EQ(0.99 * 0.01 + 0.02, statistic.smoothChange);
    EXPECT_DOUBLE_EQ(1.0, statistic.averageChange); // 0.5 + 1.5 / 3
}

TEST(MemoryStatistic, TakesAFallAsANegativeChange)
{
    MemoryStatistic statistic;
    statistic.Update(3 * kGiB);
    statistic.Update(kGiB);
    EXPECT_DOUBLE_EQ(-0.3, statistic.reactiveChange);
    EXPECT_DOUBLE_EQ(-0.02, statistic.smoothChange);
    EXPECT_DOUBLE_EQ(-1.0, statistic.averageChange);
}

TEST(MemoryStatistic, TakesTheDifferenceAsSigned64Bits)
{
    MemoryStatistic statistic;
    statistic.Update(0);
    statistic.Update(kMost); // one below 0
    EXPECT_DOUBLE_EQ(-0.15 / 1073741824.0, statistic.reactiveChange);
    statistic.Update(0);
    EXPECT_DOUBLE_EQ((-0.85 * 0.15 + 0.15) / 1073741824.0, statistic.reactiveChange);
}

TEST(MemoryControlLoopArithmetic, TruncatesTowardsZero)
{
    EXPECT_EQ(1, Details::TruncateToBytes(ChangeOf(1.9)));
    EXPECT_EQ(-1, Details::TruncateToBytes(ChangeOf(-1.9)));
    EXPECT_EQ(0, Details::TruncateToBytes(ChangeOf(-0.9)));
    EXPECT_EQ(1073741824, Details::TruncateToBytes(1));
}

TEST(MemoryControlLoopArithmetic, GivesTheNearestNumberForOneOutOfRange)
{
    using Limits = std::numeric_limits<std::int64_t>;
    using Doubles = std::numeric_limits<double>;
    constexpr double kTwoToThe33 = 8589934592.0; // GiB, so 2 to the power 63 bytes
    EXPECT_EQ(Limits::max(), Details::TruncateToBytes(kTwoToThe33));
    EXPECT_EQ(9223372036854774784, Details::TruncateToBytes(kTwoToThe33 - 1.0 / (1 << 20)));
    EXPECT_EQ(Limits::min(), Details::TruncateToBytes(-kTwoToThe33));
    EXPECT_EQ(Limits::min(), Details::TruncateToBytes(-2 * kTwoToThe33));
    EXPECT_EQ(Limits::max(), Details::TruncateToBytes(Doubles::infinity()));
    EXPECT_EQ(Limits::min(), Details::TruncateToBytes(-Doubles::infinity()));
    EXPECT_EQ(0, Details::TruncateToBytes(Doubles::quiet_NaN()));
}

TEST(MemoryControlLoopArithmetic, MovesAFigureWithinItsRangeAndTellsWhetherItStayedThere)
{
    std::uint64_t moved = 1;
    EXPECT_TRUE(Details::Move(100, 50, moved));
    EXPECT_EQ(150u, moved);
    EXPECT_TRUE(Details::Move(100, -100, moved));
    EXPECT_EQ(0u, moved);
    EXPECT_FALSE(Details::Move(100, -101, moved = 1));
    EXPECT_EQ(0u, moved);
    EXPECT_FALSE(Details::Move(100, std::numeric_limits<std::int64_t>::min(), moved = 1));
    EXPECT_EQ(0u, moved);
    EXPECT_TRUE(Details::Move(kMost - 5, 6, moved));
    EXPECT_EQ(kMost, moved);
}

/// Notes which figure was asked for, in order.
class NotingFigures : public FakeMachineFigures
{
public:
    std::vector<std::string> asked;

    std::uint64_t FreePhysicalMemory() override { return Note("free", freePhysical); }
    std::uint64_t FreeActiveMemory() override { return Note("free active", freeActive); }
    std::uint64_t ProcessMemory() override { return Note("process", process); }
    std::uint64_t ProcessCompressedMemory() override
    {
        return Note("process compressed", processCompressed);
    }
    std::uint64_t SystemCompressedMemory() override
    {
        return Note("system compressed", systemCompressed);
    }

private:
    std::uint64_t Note(const char* inName, std::uint64_t inValue)
    {
        asked.push_back(inName);
        return inValue;
    }
};

class MemoryControlLoopSample : public ::testing::Test
{
protected:
    static constexpr std::uint64_t kPooled = 1ull << 20;

    MemoryControlLoopSample()
    {
        EmptyPool();
        std::size_t actual = 0;
        void* const block = qelcore::utility::MemoryRecycler::Allocate(kPooled, actual);
        qelcore::utility::MemoryRecycler::Recycle(block, actual);
    }
    ~MemoryControlLoopSample() override { EmptyPool(); }
    static void EmptyPool()
    {
        qelcore::utility::MemoryRecycler::PurgeBytes(std::numeric_limits<std::size_t>::max());
    }

    NotingFigures machine;
    MemoryControlLoopStatistics statistics;
};

TEST_F(MemoryControlLoopSample, TakesEachFigureFromItsOwnSource)
{
    machine.process = 50 * kGiB;
    machine.processCompressed = 7 * kGiB;
    machine.systemCompressed = 9 * kGiB;
    machine.freePhysical = 11 * kGiB;
    machine.freeActive = 13 * kGiB;
    statistics.Update({2 * kGiB, kGiB, 3 * kGiB});

    EXPECT_EQ(2 * kGiB, statistics.cache.current);
    EXPECT_EQ(kGiB, statistics.highPriorityCache.current);
    EXPECT_EQ(3 * kGiB, statistics.reserve.current);
    EXPECT_EQ(50 * kGiB, statistics.processMemory.current);
    EXPECT_EQ(kPooled, statistics.recyclerPool.current);
    EXPECT_EQ(7 * kGiB, statistics.processCompressed.current);
    EXPECT_EQ(9 * kGiB, statistics.systemCompressed.current);
    EXPECT_EQ(52 * kGiB - kPooled, statistics.untracked.current); // 50 + 7 - 3 - 2, less the pool
    EXPECT_EQ(11 * kGiB, statistics.freeMemory.current);
    EXPECT_EQ(13 * kGiB, statistics.freeActiveMemory.current);
}

TEST_F(MemoryControlLoopSample, AsksTheMachineForEachFigureOnceAndInOrder)
{
    statistics.Update({0, 0, 0});
    EXPECT_THAT(machine.asked, ::testing::ElementsAre("process", "process compressed",
                                                      "system compressed", "free", "free active"));
}

TEST_F(MemoryControlLoopSample, CountsNothingAsUntrackedWhereMoreIsTrackedThanThereIs)
{
    machine.process = 3 * kGiB;
    statistics.Update({2 * kGiB, 0, kGiB}); // the pool is beyond
    EXPECT_EQ(0u, statistics.untracked.current);

    machine.process = 3 * kGiB + kPooled;
    statistics.Update({2 * kGiB, 0, kGiB});
    EXPECT_EQ(0u, statistics.untracked.current);
    machine.process = 3 * kGiB + kPooled + 1;
    statistics.Update({2 * kGiB, 0, kGiB});
    EXPECT_EQ(1u, statistics.untracked.current);
}

TEST_F(MemoryControlLoopSample, IsASampleOfAllTenStatistics)
{
    statistics.Update({0, 0, 0});
    statistics.Update({0, 0, 0});
    for (const MemoryStatistic* statistic :
         {&statistics.cache, &statistics.highPriorityCache, &statistics.reserve,
          &statistics.processMemory, &statistics.recyclerPool, &statistics.processCompressed,
          &statistics.systemCompressed, &statistics.untracked, &statistics.freeMemory,
          &statistics.freeActiveMemory})
        EXPECT_EQ(2u, statistic->sampleCount);
}

TEST(MemoryControlLoopStatistics, AreTenInTheirOrder)
{
    static_assert(sizeof(MemoryControlLoopStatistics) == 10 * sizeof(MemoryStatistic));
    const MemoryControlLoopStatistics statistics;
    const MemoryStatistic* const first = &statistics.cache;
    EXPECT_EQ(first + 1, &statistics.highPriorityCache);
    EXPECT_EQ(first + 2, &statistics.reserve);
    EXPECT_EQ(first + 3, &statistics.processMemory);
    EXPECT_EQ(first + 4, &statistics.recyclerPool);
    EXPECT_EQ(first + 5, &statistics.processCompressed);
    EXPECT_EQ(first + 6, &statistics.systemCompressed);
    EXPECT_EQ(first + 7, &statistics.untracked);
    EXPECT_EQ(first + 8, &statistics.freeMemory);
    EXPECT_EQ(first + 9, &statistics.freeActiveMemory);
}

} // namespace
