#include "ManagerFixture.h"

#include <sstream>

#include "qelcore/Console.h"
#include "qelcore/DebugMonitor.h"
#include "qelcore/NumberText.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK;
using namespace Testing;
using ::testing::ElementsAre;

std::string StatisticsText()
{
    std::ostringstream stream;
    MediaManager::Statistics(stream);
    return stream.str();
}

std::string MemoryText(std::uint64_t inBytes)
{
    return qelcore::utility::UTF16ToNarrow(
        qelcore::utility::NumberToMemoryString(inBytes, 2, false));
}

class Report : public ManagerTest
{
protected:
    /// @return what the console command printed; "(none)" if there is no such command.
    static std::string Command(const std::string& inLine)
    {
        qelcore::oUTF16StringStream stream;
        if (!qelcore::console::CommandRegistry::Execute(qelcore::utility::NarrowToUTF16(inLine),
                                                        stream))
            return "(none)";
        return qelcore::utility::UTF16ToNarrow(stream.str());
    }
    static std::string Monitor()
    {
        qelcore::UTF16StringStream stream;
        if (!qelcore::debug::GenerateDebugMonitorReport("RK.MediaManager", stream))
            return "(none)";
        return qelcore::utility::UTF16ToNarrow(stream.str());
    }
    void LoseOneEvent()
    {
        for (MediaID id = 1; id <= 65536; ++id)
            mManager->TouchMedia(id, mMap->GetUniqueID());
        Remove(1);
        Apply();
    }
};

TEST_F(Report, StatisticsAreAHistogramBySize)
{
    Add(1, 1);
    Add(2, 2);
    Add(3, 3, 0);
    Add(4, 4096);
    Add(5, 2147483647);
    Add(6, 2147483648);
    Add(7, 1ull << 40);
    Apply();

    const std::string kExpected = "----- Media Manager Statistics -----\n"
                                  "Capacity: 2147483648 bytes\n"
                                  "Usage: 1103806599173 bytes\n"
                                  "Usage: 7 items\n"
                                  "0items between 0 bytes and 0 bytes: \n"
                                  "1items between 1 bytes and 1 bytes: \n"
                                  "2items between 2 bytes and 3 bytes: \n"
                                  "0items between 4 bytes and 7 bytes: \n"
                                  "0items between 8 bytes and 15 bytes: \n"
                                  "0items between 16 bytes and 31 bytes: \n"
                                  "0items between 32 bytes and 63 bytes: \n"
                                  "0items between 64 bytes and 127 bytes: \n"
                                  "0items between 128 bytes and 255 bytes: \n"
                                  "0items between 256 bytes and 511 bytes: \n"
                                  "0items between 512 bytes and 1023 bytes: \n"
                                  "0items between 1024 bytes and 2047 bytes: \n"
                                  "0items between 2048 bytes and 4095 bytes: \n"
                                  "1items between 4096 bytes and 8191 bytes: \n"
                                  "0items between 8192 bytes and 16383 bytes: \n"
                                  "0items between 16384 bytes and 32767 bytes: \n"
                                  "0items between 32768 bytes and 65535 bytes: \n"
                                  "0items between 65536 bytes and 131071 bytes: \n"
                                  "0items between 131072 bytes and 262143 bytes: \n"
                                  "0items between 262144 bytes and 524287 bytes: \n"
                                  "0items between 524288 bytes and 1048575 bytes: \n"
                                  "0items between 1048576 bytes and 2097151 bytes: \n"
                                  "0items between 2097152 bytes and 4194303 bytes: \n"
                                  "0items between 4194304 bytes and 8388607 bytes: \n"
                                  "0items between 8388608 bytes and 16777215 bytes: \n"
                                  "0items between 16777216 bytes and 33554431 bytes: \n"
                                  "0items between 33554432 bytes and 67108863 bytes: \n"
                                  "0items between 67108864 bytes and 134217727 bytes: \n"
                                  "0items between 134217728 bytes and 268435455 bytes: \n"
                                  "0items between 268435456 bytes and 536870911 bytes: \n"
                                  "0items between 536870912 bytes and 1073741823 bytes: \n"
                                  "1items between 1073741824 bytes and 2147483647 bytes: \n"
                                  "2items of 2147483648 bytes or more: \n"
                                  "Lost events: 0\n";
    EXPECT_EQ(kExpected, StatisticsText());
}

TEST_F(Report, StatisticsTellTheLostEvents)
{
    LoseOneEvent();
    EXPECT_THAT(StatisticsText(), ::testing::EndsWith("\nLost events: 1\n"));
}

TEST_F(Report, StatisticsAreZeroWhileTheManagerIsNotRunning)
{
    Add(1, 500);
    Apply();
    MediaManager::Shutdown();
    EXPECT_THAT(StatisticsText(),
                ::testing::StartsWith("----- Media Manager Statistics -----\nCapacity: 2147483648 "
                                      "bytes\nUsage: 0 bytes\nUsage: 0 items\n0items between 0 "));
    EXPECT_THAT(StatisticsText(), ::testing::EndsWith("\nLost events: 0\n"));
}

TEST_F(Report, TheCommandPurgesAsManyBytesAsItIsTold)
{
    AddAt(1, 1, 1000);
    AddAt(2, 2, 500);
    EXPECT_EQ("Purged: " + MemoryText(1000) + "\n", Command("RK.PurgeMediaManager 700"));
    EXPECT_THAT(mMap->Flushed(), ElementsAre(1));
}

TEST_F(Report, TheCommandPurgesEverythingWithoutAnArgument)
{
    AddAt(1, 1, 1000);
    AddAt(2, 2, 500, 0);
    EXPECT_EQ("Purged: " + MemoryText(1500) + "\n", Command("RK.PurgeMediaManager"));
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
    EXPECT_EQ("Purged: " + MemoryText(0) + "\n", Command("RK.PurgeMediaManager  "));
}

TEST_F(Report, TheCommandTakesOddNumbersAsTheNearestCount)
{
    AddAt(1, 1, 1000);
    EXPECT_EQ("Purged: " + MemoryText(0) + "\n", Command("RK.PurgeMediaManager -5"));
    EXPECT_EQ("Purged: " + MemoryText(0) + "\n", Command("RK.PurgeMediaManager all"));
    EXPECT_EQ("Purged: " + MemoryText(1000) + "\n",
              Command("RK.PurgeMediaManager 99999999999999999999999"));
}

TEST_F(Report, TheCommandIsThereWhileTheManagerRuns)
{
    bool found = false;
    for (const auto& entry : qelcore::console::CommandRegistry::List())
    {
        if (entry.name != u"RK.PurgeMediaManager")
            continue;
        found = true;
        EXPECT_EQ(u"RK.PurgeMediaManager <bytes> - Purges <bytes> from the media manager or "
                  u"everything if <bytes> is unspecified.",
                  entry.description);
    }
    EXPECT_TRUE(found);

    MediaManager::Shutdown();
    EXPECT_EQ("(none)", Command("RK.PurgeMediaManager"));
    MediaManager::Startup();
    EXPECT_EQ("Purged: " + MemoryText(0) + "\n", Command("RK.PurgeMediaManager"));
}

TEST_F(Report, TheDebugMonitorTellsTheBudgetAndTheLostEvents)
{
    Add(1, 500);
    Add(2, 500, 0);
    Apply();
    mManager->SetReserveSize(1, static_cast<long long>(512 * kMiB));
    EXPECT_EQ("Number Of Entries: 1\nMaximum Space: " + MemoryText(1536 * kMiB) +
                  ", Priority Zero: " + MemoryText(512 * kMiB) + "\nMin Allowed Space: " +
                  MemoryText(512 * kMiB) + "\nMax Allowed Space: " + MemoryText(16 * kGiB) +
                  "\nHas Suff. Memory: True\nLost Events: 0\n",
              Monitor());

    LoseOneEvent();
    EXPECT_THAT(Monitor(), ::testing::EndsWith("\nLost Events: 1\n"));
}

TEST_F(Report, TheDebugMonitorForgetsAManagerThatHasGone)
{
    mManager = nullptr;
    MediaManager::Shutdown();
    EXPECT_EQ("(none)", Monitor());
}

} // namespace
