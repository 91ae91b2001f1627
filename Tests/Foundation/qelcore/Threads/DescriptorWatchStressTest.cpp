#include "qelcore/DescriptorWatch.h"

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Support/Descriptors.h"
#include "qelcore/MainThread.h"

namespace
{

using namespace qelcore::threads;
using Testing::EventDescriptor;

constexpr int kThreads = 4;

// Runs inWork on threads while the test's thread is the main one and loops until all have come back.
template <class Work>
void WhileTheMainThreadRuns(const Work& inWork)
{
    ASSERT_TRUE(RegisterMainThread());
    std::atomic<int> left{kThreads};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
    {
        threads.emplace_back(
            [&]
            {
                inWork();
                if (--left == 0)
                    StopMainThread();
            });
    }
    RunMainThreadUntilStopped();
    for (std::thread& thread : threads)
        thread.join();
    UnregisterMainThread();
}

TEST(DescriptorWatchStress, AnEndedWatchIsNeverCalledAgainAndNeverRunning)
{
    std::atomic<int> called{0};
    WhileTheMainThreadRuns(
        [&]
        {
            for (int round = 0; round < 500; ++round)
            {
                const EventDescriptor event;
                bool ended = false; // read by the callback: no two at a time, by the promise alone
                DescriptorWatch watch = WatchDescriptor(event.Get(), kDescriptorEvent_Readable,
                                                        [&](unsigned)
                                                        {
                                                            ++called;
                                                            EXPECT_FALSE(ended);
                                                            event.Take();
                                                        });
                event.Signal();
                if (round % 3 == 0)
                    std::this_thread::yield();
                watch.End();
                ended = true;
            }
        });

    EXPECT_LE(called.load(), kThreads * 500);
}

TEST(DescriptorWatchStress, NoEventIsLostWhileWatchesComeAndGo)
{
    constexpr int kSignals = 1000;
    std::atomic<int> taken{0};
    WhileTheMainThreadRuns(
        [&]
        {
            const EventDescriptor event;
            std::atomic<int> own{0};
            const DescriptorWatch watch = WatchDescriptor(event.Get(), kDescriptorEvent_Readable,
                                                          [&](unsigned)
                                                          {
                                                              const int count = event.Take();
                                                              own += count;
                                                              taken += count;
                                                          });
            for (int i = 0; i < kSignals; ++i)
            {
                event.Signal();
                const DescriptorWatch passing =
                    WatchDescriptor(event.Get(), kDescriptorEvent_Priority, [](unsigned) {});
            }
            while (own < kSignals)
                std::this_thread::yield();
        });

    EXPECT_EQ(kThreads * kSignals, taken.load());
}

} // namespace
