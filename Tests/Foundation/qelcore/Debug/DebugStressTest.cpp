#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qelcore/CachedDatabaseValue.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/DebugMonitor.h"
#include "qelcore/Trace.h"

namespace
{

using qelcore::UTF16StringStream;
using qelcore::debug::CachedDatabaseValue;
using qelcore::debug::DebugDatabase;

constexpr int kReaders = 3;

template <class Work>
std::vector<std::thread> RunInThreads(const Work& inWork)
{
    std::vector<std::thread> threads;
    for (int index = 0; index < kReaders; ++index)
        threads.emplace_back(inWork);
    return threads;
}

void Join(std::vector<std::thread>& ioThreads)
{
    for (std::thread& thread : ioThreads)
        thread.join();
}

// Gives whoever takes the callee away time to do it too early.
bool IsAliveAtTheEnd(const std::atomic<bool>& inAlive)
{
    std::this_thread::yield();
    return inAlive;
}

TEST(DebugStress, ACachedValueNeverGoesBackAndEndsAtTheLastSetting)
{
    constexpr int kLast = 20000;
    const CachedDatabaseValue<int> value("Test.Stress", 0);
    std::atomic<bool> done{false};
    std::atomic<int> stepsBack{0};
    std::vector<std::thread> readers = RunInThreads(
        [&]
        {
            int seen = 0;
            while (!done)
            {
                const int read = value.Get();
                stepsBack += read < seen ? 1 : 0;
                seen = read;
            }
        });

    for (int setting = 1; setting <= kLast; ++setting)
        DebugDatabase::Instance().SetEntry("Test.Stress", std::to_string(setting));
    EXPECT_EQ(kLast, value);
    done = true;
    Join(readers);

    EXPECT_EQ(0, stepsBack);
    EXPECT_EQ(kLast, value);
    DebugDatabase::Instance().RemoveEntry("Test.Stress");
}

TEST(DebugStress, ATraceSiteEndsAtTheLastSetting)
{
    constexpr int kRounds = 300;
    std::atomic<bool> done{false};
    std::atomic<int> lines{0};
    const auto site = [&] { RK_TRACE("Test.Stress", 1, ++lines); };
    qelcore::debug::SetTraceSink([](const std::string&) {});
    std::vector<std::thread> tracers = RunInThreads(
        [&]
        {
            while (!done)
                site();
        });

    for (int round = 0; round < kRounds; ++round)
    {
        DebugDatabase::Instance().SetEntry("Trace.Test.Stress", "1");
        const int before = lines;
        while (lines == before) // for ever, if a thread could leave the answer for an older setting
            std::this_thread::yield();
        DebugDatabase::Instance().SetEntry("Trace.Test.Stress", "0");
    }
    done = true;
    Join(tracers);

    const int before = lines;
    site();
    EXPECT_EQ(before, lines);
    qelcore::debug::SetTraceSink(qelcore::debug::TraceSink());
    DebugDatabase::Instance().RemoveEntry("Trace.Test.Stress");
}

TEST(DebugStress, NoReportRunsInASourceThatHasBeenTakenAway)
{
    constexpr int kRounds = 2000;
    std::atomic<bool> done{false};
    std::atomic<int> late{0};
    std::vector<std::thread> askers = RunInThreads(
        [&]
        {
            UTF16StringStream stream;
            while (!done)
                qelcore::debug::GenerateDebugMonitorReport("Test.Stress", stream);
        });

    for (int round = 0; round < kRounds; ++round)
    {
        std::atomic<bool> alive{true};
        qelcore::debug::RegisterDebugMonitorCallback("Test.Stress", [&](UTF16StringStream&)
                                                     { late += IsAliveAtTheEnd(alive) ? 0 : 1; });
        if (round % 2 == 0)
            std::this_thread::yield();
        qelcore::debug::UnregisterDebugMonitorCallback("Test.Stress");
        alive = false;
    }
    done = true;
    Join(askers);

    EXPECT_EQ(0, late);
}

TEST(DebugStress, NoLineReachesASinkThatHasBeenReplaced)
{
    constexpr int kRounds = 2000;
    std::atomic<bool> done{false};
    std::atomic<int> late{0};
    std::vector<std::thread> tracers = RunInThreads(
        [&]
        {
            while (!done)
                qelcore::debug::Trace("line\n");
        });

    for (int round = 0; round < kRounds; ++round)
    {
        std::atomic<bool> alive{true};
        qelcore::debug::SetTraceSink([&](const std::string&)
                                     { late += IsAliveAtTheEnd(alive) ? 0 : 1; });
        qelcore::debug::SetTraceSink(qelcore::debug::TraceSink());
        alive = false;
    }
    done = true;
    Join(tracers);

    EXPECT_EQ(0, late);
}

} // namespace
