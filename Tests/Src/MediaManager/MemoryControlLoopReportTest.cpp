#include "ManagerFixture.h"

#include "MemoryControlLoopFixture.h"
#include "qelcore/DebugMonitor.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK;
using namespace Testing;
using qelcore::utility::UTF16ToNarrow;

std::string StatisticText(const MemoryStatistic& inStatistic, int inDistance, bool inWithHeaders)
{
    qelcore::UTF16StringStream stream;
    inStatistic.GenerateDebugMonitorReport("Label: ", inDistance, stream, inWithHeaders);
    return UTF16ToNarrow(stream.str());
}

TEST(MemoryControlLoopReport, TellsAStatisticWithOrWithoutHeaders)
{
    MemoryStatistic statistic = Statistic(3 * kGiB, 100 * 1048576.0, 10 * 1048576.0);
    statistic.last = 2 * kGiB;
    EXPECT_EQ("Label: \n"
              "  Current | Last\n"
              "  3.00 GB | 2.00 GB\n"
              "  Change Reactive | Smooth | Last\n"
              "  100.00 MB | 10.00 MB | 1.00 GB\n"
              "  Projection Reactive | Smooth\n"
              "  3.39 GB | 3.04 GB\n",
              StatisticText(statistic, 4, true));
    EXPECT_EQ("Label: \n"
              "  3.00 GB | 2.00 GB\n"
              "  100.00 MB | 10.00 MB | 1.00 GB\n"
              "  3.98 GB | 3.10 GB\n",
              StatisticText(statistic, 10, false));
}

TEST(MemoryControlLoopReport, TellsWhatFallsWithASignAndNothingBelowZero)
{
    MemoryStatistic statistic = Statistic(1024, -300.9, -50.9);
    statistic.last = 3072;
    EXPECT_EQ("Label: \n"
              "  1.00 KB | 3.00 KB\n"
              "  -300 B | -50 B | -2.00 KB\n"
              "  0 B | 515 B\n", // 1024 - 3009; 1024 - 509
              StatisticText(statistic, 10, false));
}

TEST(MemoryControlLoopReport, FormatsDeltas)
{
    EXPECT_EQ(u"0 B", FormatDeltaInBytes(0));
    EXPECT_EQ(u"1.50 KB", FormatDeltaInBytes(1536));
    EXPECT_EQ(u"-1 B", FormatDeltaInBytes(-1));
    EXPECT_EQ(u"-1.50 KB", FormatDeltaInBytes(-1536));
    EXPECT_EQ(u"-8.00 EB", FormatDeltaInBytes(std::numeric_limits<long>::min()));
}

class MemoryControlLoopMonitor : public ManagerTest
{
protected:
    MemoryControlLoopMonitor()
    {
        qelcore::utility::MemoryRecycler::PurgeBytes(kEverything);
        machine.process = 3 * kGiB;
        machine.processCompressed = 1 * kMiB;
        machine.systemCompressed = 5 * kMiB;
    }
    void RunThreadedPurge()
    {
        mManager->QueueThreadedPurge();
        Background().Advance(50);
    }
    static std::string Monitor()
    {
        qelcore::UTF16StringStream stream;
        EXPECT_TRUE(qelcore::debug::GenerateDebugMonitorReport("RK.MediaManager", stream));
        return UTF16ToNarrow(stream.str());
    }
    ScopedSettings settings;
};

constexpr char kManagerLines[] = "Number Of Entries: 500\n"
                                 "Maximum Space: 1.75 GB, Priority Zero: 597.33 MB\n"
                                 "Min Allowed Space: 512.00 MB\n"
                                 "Max Allowed Space: 16.00 GB\n"
                                 "Has Suff. Memory: True\n"
                                 "Lost Events: 0\n";

TEST_F(MemoryControlLoopMonitor, TellsTheLoopFirstNumberForNumber)
{
    mManager->SetReserveSize(1, static_cast<long long>(256 * kMiB));
    for (MediaID id = 1; id <= 400; ++id)
        Add(id, kMiB);
    Add(1000, 100000, 0);
    Apply();
    RunThreadedPurge();
    for (MediaID id = 401; id <= 500; ++id)
        Add(id, kMiB);
    machine.process = 2 * kGiB;
    machine.freePhysical = 7 * kGiB;
    machine.freeActive = 1 * kGiB;
    RunThreadedPurge();

    // Changes of one step: 0.15 of it by the quick average, 0.01 by the smooth one.
    EXPECT_EQ(std::string("Cache: \n"
                          "  Current | Last\n"
                          "  500.10 MB | 400.10 MB\n"
                          "  Change Reactive | Smooth | Last\n"
                          "  15.00 MB | 1.00 MB | 100.00 MB\n"
                          "  Projection Reactive | Smooth\n"
                          "  650.10 MB | 510.10 MB\n"
                          "Hi Prio. Cache: \n"
                          "  97.66 KB | 97.66 KB\n"
                          "  0 B | 0 B | 0 B\n"
                          "  97.66 KB | 97.66 KB\n"
                          "Reserve: \n"
                          "  256.00 MB | 256.00 MB\n"
                          "  0 B | 0 B | 0 B\n"
                          "  256.00 MB | 256.00 MB\n"
                          "Process Mem: \n"
                          "  2.00 GB | 3.00 GB\n"
                          "  -153.60 MB | -10.24 MB | -1.00 GB\n"
                          "  512.00 MB | 1.90 GB\n"
                          "Recycler Pool: \n"
                          "  0 B | 0 B\n"
                          "  0 B | 0 B | 0 B\n"
                          "  0 B | 0 B\n"
                          "Process Compr.: \n"
                          "  1.00 MB | 1.00 MB\n"
                          "  0 B | 0 B | 0 B\n"
                          "  1.00 MB | 1.00 MB\n"
                          "System Compr.: \n"
                          "  5.00 MB | 5.00 MB\n"
                          "  0 B | 0 B | 0 B\n"
                          "  5.00 MB | 5.00 MB\n"
                          "Untracked Mem: \n"
                          "  1.26 GB | 2.36 GB\n"
                          "  -168.60 MB | -11.24 MB | -1.10 GB\n"
                          "  0 B | 1.15 GB\n"
                          "Free Mem: \n"
                          "  7.00 GB | 8.00 GB\n"
                          "  -153.60 MB | -10.24 MB | -1.00 GB\n"
                          "  5.50 GB | 6.90 GB\n"
                          "Free Active Mem: \n"
                          "  1.00 GB | 8.00 GB\n"
                          "  -1.05 GB | -71.68 MB | -7.00 GB\n"
                          "  0 B | 307.20 MB\n"
                          "\n"
                          "CacheLimitPolicy (on): 0 B\n"
                          "MemoryLimitPolic (on): 0 B\n"
                          "CacheGrowthPolic (off): 14.32 MB\n"
                          "FreeMemoryPolicy (on): 0 B\n"
                          "CompressedMemory (off): 20.48 KB\n"
                          "ActiveMemoryPoli (off): 235.33 MB\n"
                          "\n") +
                  kManagerLines,
              Monitor());
}

TEST_F(MemoryControlLoopMonitor, TellsWhichPoliciesCount)
{
    RunThreadedPurge();
    settings.TurnPolicy("FreeMemoryPolicy", false);
    settings.TurnPolicy("CompressedMemoryPolicy", true);
    Inside().SetTimeout(10);
    EXPECT_THAT(Monitor(), ::testing::HasSubstr("\nCacheLimitPolicy (on): 0 B\n"
                                                "MemoryLimitPolic (on): 731.43 MB\n"
                                                "CacheGrowthPolic (on): 0 B\n"
                                                "FreeMemoryPolicy (off): 0 B\n"
                                                "CompressedMemory (on): "));
    EXPECT_THAT(Monitor(), ::testing::HasSubstr("\nActiveMemoryPoli (on): 0 B\n"));
}

TEST_F(MemoryControlLoopMonitor, TellsEveryPolicyOffOnceTheLoopIsTurnedOff)
{
    RunThreadedPurge();
    settings.TurnLoop(false);
    Inside().SetTimeout(10);
    EXPECT_THAT(Monitor(), ::testing::HasSubstr("\nMemoryLimitPolic (off): 731.43 MB\n"));
    EXPECT_THAT(Monitor(), ::testing::Not(::testing::HasSubstr(" (on)")));

    RunThreadedPurge();
    EXPECT_THAT(Monitor(), ::testing::StartsWith("Number Of Entries: 0\n"));
}

TEST_F(MemoryControlLoopMonitor, LooksAsFarAheadAsTheSettingSays)
{
    RunThreadedPurge();
    machine.process = 2 * kGiB;
    RunThreadedPurge();
    settings.Set("RK.MemoryControlLoop.Config.ProjectionDistance", "2");
    EXPECT_THAT(Monitor(), ::testing::HasSubstr("Process Mem: \n"
                                                "  2.00 GB | 3.00 GB\n"
                                                "  -153.60 MB | -10.24 MB | -1.00 GB\n"
                                                "  1.70 GB | 1.98 GB\n"));
}

} // namespace
