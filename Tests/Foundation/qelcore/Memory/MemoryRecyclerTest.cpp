#include "qelcore/MemoryRecycler.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "Support/FakeClock.h"

namespace
{

using qelcore::utility::MemoryRecycler;

constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

// Each test begins with an empty pool that keeps 64 MiB by itself.
class MemoryRecyclerTest : public ::testing::Test
{
protected:
    MemoryRecyclerTest()
        : mLimitBefore(MemoryRecycler::GetPoolLimit())
    {
        MemoryRecycler::PurgeBytes(kAll);
        MemoryRecycler::SetReconcileSizeAutomatically(true);
        MemoryRecycler::SetPoolLimit(64 * kMiB);
    }
    ~MemoryRecyclerTest() override
    {
        MemoryRecycler::PurgeBytes(kAll);
        MemoryRecycler::SetReconcileSizeAutomatically(true);
        MemoryRecycler::SetPoolLimit(mLimitBefore);
    }

    /// Puts a block of that many bytes into the pool.
    void* Pool(std::size_t inSize)
    {
        std::size_t actual = 0;
        void* const block = MemoryRecycler::Allocate(inSize, actual);
        MemoryRecycler::Recycle(block, actual);
        return block;
    }
    void PoolApart(std::initializer_list<std::size_t> inSizes)
    {
        std::vector<std::pair<void*, std::size_t>> blocks;
        for (const std::size_t size : inSizes)
        {
            std::size_t actual = 0;
            void* const block = MemoryRecycler::Allocate(size, actual);
            blocks.emplace_back(block, actual);
        }
        for (const auto& block : blocks)
        {
            MemoryRecycler::Recycle(block.first, block.second);
            mClock.AdvanceSeconds(1);
        }
    }

    Testing::FakeClock mClock;
    const std::size_t mLimitBefore;
};

TEST_F(MemoryRecyclerTest, ABlockIsAsLargeAsItSaysAndAtMostAnEighthLargerThanAsked)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{32768},
                                   std::size_t{32769}, std::size_t{65536}, std::size_t{131072},
                                   std::size_t{131073}, std::size_t{1920 * 1080 * 4}, 3 * kMiB + 1})
    {
        std::size_t actual = 0;
        void* const block = MemoryRecycler::Allocate(size, actual);
        EXPECT_GE(actual, size);
        if (size > 32768)
        {
            EXPECT_LE(actual, size + size / 8 + 4096) << size;
            EXPECT_EQ(0u, actual % 4096) << size;
            EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(block) % 4096) << size;
        }
        std::memset(block, 1, actual); // the sanitizer and the kernel watch
        MemoryRecycler::Recycle(block, actual);
    }
}

TEST_F(MemoryRecyclerTest, ABlockGivenBackServesTheNextRequestOfItsRoundedSize)
{
    void* const first = Pool(kMiB);
    ASSERT_EQ(kMiB, MemoryRecycler::GetCurrentPoolSize());

    std::size_t actual = 0;
    void* const second = MemoryRecycler::Allocate(kMiB - 1000, actual);

    EXPECT_EQ(first, second);
    EXPECT_EQ(kMiB, actual);
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
    std::memset(second, 2, actual);
    MemoryRecycler::Recycle(second, actual);
}

TEST_F(MemoryRecyclerTest, SmallBlocksAreNotPooled)
{
    Pool(32768);

    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(MemoryRecyclerTest, RecyclingNullDoesNothing)
{
    MemoryRecycler::Recycle(nullptr, kMiB);

    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(MemoryRecyclerTest, PurgeFreesUpToSoMuchAndNeverMore)
{
    PoolApart({4 * kMiB, kMiB, 2 * kMiB});

    EXPECT_EQ(3 * kMiB, MemoryRecycler::PurgeBytes(3 * kMiB + 500));
    EXPECT_EQ(4 * kMiB, MemoryRecycler::GetCurrentPoolSize());
    EXPECT_EQ(0u, MemoryRecycler::PurgeBytes(4 * kMiB - 1));
    EXPECT_EQ(4 * kMiB, MemoryRecycler::PurgeBytes(kAll));
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(MemoryRecyclerTest, TheLimitIsKeptByItselfAndTheOldestGoFirst)
{
    MemoryRecycler::SetPoolLimit(3 * kMiB);
    PoolApart({kMiB, 2 * kMiB});
    ASSERT_EQ(3 * kMiB, MemoryRecycler::GetCurrentPoolSize());

    Pool(3 * kMiB / 2); // only this one and the one of 1 MiB could stay together

    EXPECT_EQ(3 * kMiB / 2, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(MemoryRecyclerTest, ABlockAboveTheLimitIsNotKept)
{
    MemoryRecycler::SetPoolLimit(kMiB);

    Pool(2 * kMiB);

    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(MemoryRecyclerTest, LoweringTheLimitTakesEffectAtOnceByDefault)
{
    PoolApart({4 * kMiB, 2 * kMiB});

    MemoryRecycler::SetPoolLimit(2 * kMiB);

    EXPECT_EQ(2 * kMiB, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(MemoryRecyclerTest, WithoutTheAutomaticTheCallerBringsThePoolToItsLimit)
{
    MemoryRecycler::SetReconcileSizeAutomatically(false);
    MemoryRecycler::SetPoolLimit(1);
    PoolApart({kMiB, 2 * kMiB});
    EXPECT_EQ(3 * kMiB, MemoryRecycler::GetCurrentPoolSize());

    MemoryRecycler::ReconcileSize();

    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(MemoryRecyclerTest, TurningTheAutomaticOnAgainBringsThePoolToItsLimit)
{
    MemoryRecycler::SetReconcileSizeAutomatically(false);
    MemoryRecycler::SetPoolLimit(kMiB);
    PoolApart({kMiB, 2 * kMiB});

    MemoryRecycler::SetReconcileSizeAutomatically(true);

    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize())
        << "the younger one alone is over the limit";
}

TEST_F(MemoryRecyclerTest, WhatHasLainForAMinuteIsStaleAndNothingElse)
{
    PoolApart({kMiB});
    mClock.AdvanceSeconds(30);
    PoolApart({2 * kMiB});

    mClock.AdvanceSeconds(28); // the first is 60 seconds old, counting those of PoolApart
    MemoryRecycler::ReconcileStaleEntries();

    EXPECT_EQ(2 * kMiB, MemoryRecycler::GetCurrentPoolSize());
    mClock.AdvanceSeconds(31);
    MemoryRecycler::ReconcileStaleEntries();
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(MemoryRecyclerTest, AnImpossibleSizeThrowsAndLeavesTheArgumentAlone)
{
    std::size_t actual = 77;

    EXPECT_THROW(MemoryRecycler::Allocate(kAll, actual), std::bad_alloc);
    EXPECT_THROW(MemoryRecycler::Allocate(std::size_t{1} << 47, actual), std::bad_alloc);
    EXPECT_EQ(77u, actual);
}

TEST_F(MemoryRecyclerTest, ABlockOutOfThePoolHoldsNoOtherBlocksBytes)
{
    std::size_t firstSize = 0, secondSize = 0;
    void* const first = MemoryRecycler::Allocate(kMiB, firstSize);
    void* const second = MemoryRecycler::Allocate(kMiB, secondSize);
    MemoryRecycler::Recycle(first, firstSize);
    MemoryRecycler::Recycle(second, secondSize);

    void* const third = MemoryRecycler::Allocate(kMiB, firstSize);
    void* const fourth = MemoryRecycler::Allocate(kMiB, secondSize);

    EXPECT_NE(third, fourth);
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
    MemoryRecycler::Recycle(third, firstSize);
    MemoryRecycler::Recycle(fourth, secondSize);
}

} // namespace
