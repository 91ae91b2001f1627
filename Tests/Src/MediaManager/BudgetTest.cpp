#include "ManagerFixture.h"

#include "Support/TraceCapture.h"

namespace
{

using namespace RK;
using namespace Testing;

class Budget : public ManagerTest
{
};

TEST_F(Budget, IsAShareOfMemoryByApplicationType)
{
    const struct
    {
        std::uint64_t physical, virtualMemory;
        std::int32_t type;
        std::uint32_t blocks;
        std::uint64_t budget;
    } kRows[] = {
        {16 * kGiB, 256 * kGiB, 0, 0, 2 * kGiB},
        {16 * kGiB, 256 * kGiB, 1, 0, 4 * kGiB},
        {16 * kGiB, 256 * kGiB, 2, 0, 2 * kGiB},
        {16 * kGiB, 8 * kGiB, 0, 0, kGiB}, // the lesser of the two totals
        {16 * kGiB, 256 * kGiB, 0, 4, 1920 * kMiB},
        {16 * kGiB, 256 * kGiB, 1, 60, 256 * kMiB},
        {16 * kGiB, 256 * kGiB, 0, 64, 8 * kMiB}, // never less than a share of 64 MiB
        {16 * kGiB, 256 * kGiB, 1, 64, 16 * kMiB},
        {16 * kGiB, 256 * kGiB, 0, 0xFFFFFFFF, 8 * kMiB},
        {32 * kMiB, 256 * kGiB, 0, 0, 8 * kMiB},
        {1000000007, 256 * kGiB, 0, 0, 125000000},
    };
    for (const auto& row : kRows)
    {
        machine.totalPhysical = row.physical;
        machine.totalVirtual = row.virtualMemory;
        TQM::SetApplicationType(row.type);
        registry.Set("MemoryBlocks", row.blocks);
        EXPECT_EQ(row.budget, MediaManager::GetFixedMaxCacheSize())
            << row.physical << ' ' << row.type << ' ' << row.blocks;
    }
}

TEST_F(Budget, IsWholeWhereTheRegistryHoldsNoNumberOfBlocks)
{
    EXPECT_EQ(2 * kGiB, MediaManager::GetFixedMaxCacheSize()); // no key
    registry.Set("SomethingElse", 9);
    EXPECT_EQ(2 * kGiB, MediaManager::GetFixedMaxCacheSize()); // no value
    registry.SetText("MemoryBlocks", "4");
    EXPECT_EQ(2 * kGiB, MediaManager::GetFixedMaxCacheSize()); // no number
    registry.Set("MemoryBlocks", 8);
    EXPECT_EQ(2 * kGiB - 256 * kMiB, MediaManager::GetFixedMaxCacheSize()); // asked anew each time
}

TEST_F(Budget, TracesALineForEachBlockTakenAway)
{
    const TraceCapture trace("Main", 1);
    registry.Set("MemoryBlocks", 3);
    MediaManager::GetFixedMaxCacheSize();
    EXPECT_EQ(3u, trace.Count("GetReducedMemoryForTesting() is assuming we've set aside a block of "
                              "unusable memory."));
    EXPECT_EQ(3u, trace.Lines().size());
}

TEST_F(Budget, HasAnInverseIn32Bits)
{
    EXPECT_EQ(1.0f / 2147483648.0f, MediaManager::GetFixedInverseMaxCacheSize());
}

TEST_F(Budget, HasASmallestAllowedSizeByTheSizeOfTheMachine)
{
    const struct
    {
        std::uint64_t total, minimum;
    } kRows[] = {{2 * kGiB + 1, 512 * kMiB},
                 {2 * kGiB, 256 * kMiB},
                 {kGiB + 1, 256 * kMiB},
                 {kGiB, 128 * kMiB},
                 {1, 128 * kMiB}};
    for (const auto& row : kRows)
    {
        MediaManager::ForgetMachine();
        machine.totalPhysical = row.total;
        EXPECT_EQ(row.minimum, MediaManager::GetMinimumAllowedSize()) << row.total;
    }
}

TEST_F(Budget, AsksForTheSmallestAllowedSizeOnce)
{
    EXPECT_EQ(512 * kMiB, MediaManager::GetMinimumAllowedSize());
    machine.totalPhysical = kGiB;
    EXPECT_EQ(512 * kMiB, MediaManager::GetMinimumAllowedSize());
}

TEST_F(Budget, AllowsAtMostTheWholeMachine)
{
    EXPECT_EQ(16 * kGiB, MediaManager::GetMaximumAllowedSize());
}

TEST_F(Budget, WithoutAReserveIsTheMaximumSize)
{
    EXPECT_EQ(0u, mManager->GetCappedReserveSize());
    EXPECT_EQ(MediaManager::GetFixedMaxCacheSize(), mManager->GetMaximumSize());
    EXPECT_EQ(2 * kGiB, mManager->GetReserveAdjustedMaxSize());
}

TEST_F(Budget, GivesItsReserveAwayButForTheLast256MiB)
{
    const struct
    {
        std::uint64_t total;
        long long reserve;
        std::uint64_t capped, maximum, adjusted;
    } kRows[] = {
        {16 * kGiB, static_cast<long long>(512 * kMiB), 512 * kMiB, 1536 * kMiB, 1536 * kMiB},
        {16 * kGiB, static_cast<long long>(1280 * kMiB), 1280 * kMiB, 768 * kMiB, kGiB},
        {16 * kGiB, static_cast<long long>(9 * kGiB), 1792 * kMiB, 256 * kMiB, kGiB},
        {4 * kGiB, static_cast<long long>(9 * kGiB), 256 * kMiB, 256 * kMiB, 256 * kMiB},
        {3 * kGiB, static_cast<long long>(9 * kGiB), 128 * kMiB, 256 * kMiB, 256 * kMiB},
        {kGiB, static_cast<long long>(9 * kGiB), 0, 128 * kMiB, 256 * kMiB}, // nothing to give
    };
    for (const auto& row : kRows)
    {
        machine.totalPhysical = row.total;
        mManager->SetReserveSize(1, row.reserve);
        EXPECT_EQ(row.capped, mManager->GetCappedReserveSize()) << row.total << ' ' << row.reserve;
        EXPECT_EQ(row.maximum, mManager->GetMaximumSize()) << row.total << ' ' << row.reserve;
        EXPECT_EQ(row.adjusted, mManager->GetReserveAdjustedMaxSize())
            << row.total << ' ' << row.reserve;
    }
}

TEST_F(Budget, GivesSmallItemsOfPriorityZeroAThird)
{
    EXPECT_EQ(2 * kGiB / 3, mManager->GetMaxPriorityZeroCacheSize());
    mManager->SetReserveSize(1, static_cast<long long>(kGiB));
    EXPECT_EQ(kGiB / 3, mManager->GetMaxPriorityZeroCacheSize());
}

TEST_F(Budget, CallsAnItemSmallBelowA7500thButNeverBelow200000)
{
    EXPECT_EQ(2 * kGiB / 7500, mManager->GetMaxPriorityZeroItemSize());
    mManager->SetReserveSize(1, static_cast<long long>(kGiB));
    EXPECT_EQ(200000u, mManager->GetMaxPriorityZeroItemSize()); // a 7500th would be 143165
}

TEST_F(Budget, IsSevenEighthsOfWhatTheBalancerGrants)
{
    const struct
    {
        std::uint64_t total, grant, budget;
    } kRows[] = {
        {16 * kGiB, 8 * kGiB, 7 * kGiB},
        {16 * kGiB, 100 * kGiB, 10752 * kMiB - 1344 * kMiB}, // cut to 0.75 * total - 1.5 GiB
        {2 * kGiB, 100 * kGiB, 512 * kMiB - 64 * kMiB},      // a quarter is more than 0
        {kGiB, 100 * kGiB, 256 * kMiB - 32 * kMiB},          // and more than a negative number
        {16 * kGiB, 100 * kMiB, 512 * kMiB},                 // never below the smallest allowed
        {16 * kGiB, 8 * kGiB + 5, 7 * kGiB + 5},             // the eighth is rounded down
    };
    for (const auto& row : kRows)
    {
        MediaManager::ForgetMachine();
        machine.totalPhysical = row.total;
        mManager->MaxMemoryNotification(row.grant);
        EXPECT_EQ(row.budget, MediaManager::GetFixedMaxCacheSize())
            << row.total << ' ' << row.grant;
    }
}

TEST_F(Budget, ThatTheBalancerGrantedIsNotAShareOfTheMachineAnyMore)
{
    mManager->MaxMemoryNotification(8 * kGiB);
    registry.Set("MemoryBlocks", 8);
    TQM::SetApplicationType(1);
    EXPECT_EQ(7 * kGiB, MediaManager::GetFixedMaxCacheSize());
}

TEST_F(Budget, ThatTheBalancerGrantedAsksForAPurge)
{
    mManager->MaxMemoryNotification(8 * kGiB);
    EXPECT_TRUE(PurgeIsQueued());
}

} // namespace
