#include "qelcore/MainThread.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Support/Descriptors.h"
#include "Support/FakeClock.h"
#include "Support/Gate.h"

namespace
{

using namespace qelcore::threads;
using Testing::Gate;
using Testing::IsReadable;

// The test's thread is the main one, unless the test says otherwise.
class MainThreadTest : public ::testing::Test
{
protected:
    MainThreadTest() { EXPECT_TRUE(RegisterMainThread()); }
    ~MainThreadTest() override
    {
        RegisterMainThread();
        RunMainThreadUntilIdle();
        mMain->Stop(); // drops delayed work
        UnregisterMainThread();
    }

    bool Count(int inDelay = 0)
    {
        return AsyncCallFromMainThread([this] { ++mCount; }, inDelay);
    }

    const AsyncExecutorPtr mMain = GetRegisteredMainThread();
    std::atomic<int> mCount{0};
};

TEST_F(MainThreadTest, RunsNothingByItselfAndEverythingInOrderWhenDispatched)
{
    std::vector<int> order;
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(mMain->Post([&order, i] { order.push_back(i); }, 0));
    EXPECT_EQ(5, mMain->GetPendingCount());
    EXPECT_TRUE(order.empty());

    EXPECT_EQ(5, DispatchMainThread());

    EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4}), order);
    EXPECT_EQ(0, DispatchMainThread());
}

TEST_F(MainThreadTest, IsOneExecutorOfParallelismOne)
{
    EXPECT_EQ(mMain, GetRegisteredMainThread());
    EXPECT_EQ(1, mMain->GetParallelism());
    EXPECT_TRUE(IsMainThread());
    std::thread([] { EXPECT_FALSE(IsMainThread()); }).join();
}

TEST_F(MainThreadTest, ADispatchLeavesWhatItsJobsPostForTheNextOne)
{
    mMain->Post([this] { Count(); }, 0);

    EXPECT_EQ(1, DispatchMainThread());
    EXPECT_EQ(0, mCount.load());
    EXPECT_EQ(1, RunMainThreadUntilIdle());
    EXPECT_EQ(1, mCount.load());
}

TEST_F(MainThreadTest, TheDescriptorIsReadableExactlyWhileSomethingIsDue)
{
    const int descriptor = GetMainThreadDescriptor();
    EXPECT_EQ(descriptor, GetMainThreadDescriptor());
    EXPECT_FALSE(IsReadable(descriptor));

    Count();
    Count();
    EXPECT_TRUE(IsReadable(descriptor));
    DispatchMainThread();
    EXPECT_FALSE(IsReadable(descriptor));
}

TEST_F(MainThreadTest, AForeignLoopIsWokenForDelayedWork)
{
    const int descriptor = GetMainThreadDescriptor();
    Count(20);
    EXPECT_FALSE(IsReadable(descriptor));

    while (mCount == 0)
    {
        ASSERT_TRUE(IsReadable(descriptor, 10000));
        DispatchMainThread();
    }

    EXPECT_FALSE(IsReadable(descriptor));
}

TEST_F(MainThreadTest, AClockTurnedByHandWakesTheLoop)
{
    Testing::FakeClock clock;
    const int descriptor = GetMainThreadDescriptor();
    Count(1000);
    clock.AdvanceMilliseconds(999);
    EXPECT_FALSE(IsReadable(descriptor));
    EXPECT_EQ(0, DispatchMainThread());

    clock.AdvanceMilliseconds(1);

    EXPECT_TRUE(IsReadable(descriptor));
    EXPECT_EQ(1, DispatchMainThread());
}

TEST_F(MainThreadTest, RunForRunsWhatBecomesDueMeanwhile)
{
    Count();
    Count(5);
    Count(3600 * 1000);

    EXPECT_EQ(2, RunMainThreadFor(60));
    EXPECT_EQ(1, mMain->GetPendingCount());
}

TEST_F(MainThreadTest, RunUntilStoppedEndsWhenAnotherThreadSaysSo)
{
    std::thread other;
    const auto untilDriven = [this]
    {
        Count();
        mMain->Flush();
        EXPECT_EQ(1, mCount.load());
        StopMainThread();
    };
    // Begun by a job, so that the main thread is driven by then: a Flush before that waits for nothing.
    mMain->Post([&] { other = std::thread(untilDriven); }, 0);

    EXPECT_EQ(2, RunMainThreadUntilStopped());
    other.join();
}

TEST_F(MainThreadTest, AStopBeforeTheRunEndsThatRunAndOnlyThat)
{
    StopMainThread();
    Count();
    EXPECT_EQ(1, RunMainThreadUntilStopped());

    mMain->Post([] { StopMainThread(); }, 0);
    EXPECT_EQ(1, RunMainThreadUntilStopped());
    EXPECT_FALSE(IsReadable(GetMainThreadDescriptor()));
}

TEST_F(MainThreadTest, AnotherThreadCanNeitherRegisterNorDispatch)
{
    Count();
    std::thread(
        []
        {
            EXPECT_FALSE(RegisterMainThread());
            EXPECT_EQ(0, DispatchMainThread());
            EXPECT_EQ(0, RunMainThreadUntilIdle());
            EXPECT_EQ(0, RunMainThreadFor(1000000));
            EXPECT_EQ(0, RunMainThreadUntilStopped());
            UnregisterMainThread(); // not its own
        })
        .join();

    EXPECT_TRUE(RegisterMainThread()) << "again on the same thread";
    EXPECT_EQ(1, DispatchMainThread());
}

TEST_F(MainThreadTest, AThreadThatEndsMakesRoomForAnother)
{
    UnregisterMainThread();
    std::thread([] { EXPECT_TRUE(RegisterMainThread()); }).join();

    EXPECT_TRUE(RegisterMainThread());
    EXPECT_TRUE(IsMainThread());
}

TEST_F(MainThreadTest, WhatWasPostedWithoutAMainThreadRunsOnTheNext)
{
    UnregisterMainThread();
    EXPECT_TRUE(Count());
    EXPECT_EQ(0, DispatchMainThread());

    RegisterMainThread();

    EXPECT_EQ(1, DispatchMainThread());
}

TEST_F(MainThreadTest, FlushOnTheMainThreadRunsWhatIsDue)
{
    Count();
    Count(3600 * 1000);

    mMain->Flush();

    EXPECT_EQ(1, mCount.load());
}

TEST_F(MainThreadTest, FlushWithoutAHostReturnsWithTheWorkUndone)
{
    Count();
    std::thread([this] { mMain->Flush(); }).join(); // registered, and never driven
    EXPECT_EQ(0, mCount.load());

    UnregisterMainThread();
    mMain->Flush();
    EXPECT_EQ(0, mCount.load());
}

TEST_F(MainThreadTest, FlushOfAViewWithoutAHostReturnsToo)
{
    const AsyncExecutorPtr view = CreateSubExecutor(mMain, 1);
    view->Post([this] { ++mCount; }, 0);
    std::thread([&] { view->Flush(); }).join();
    EXPECT_EQ(0, mCount.load());

    view->Flush(); // on the main thread it runs

    EXPECT_EQ(1, mCount.load());
}

TEST_F(MainThreadTest, AFlushThatWaitsReturnsWhenTheHostLeaves)
{
    DispatchMainThread(); // a foreign loop drives
    Gate flushing;
    Count();
    std::thread other(
        [&]
        {
            flushing.Pass();
            mMain->Flush();
        });
    flushing.WaitUntilCome(1);
    flushing.Open();

    UnregisterMainThread();

    other.join();
}

TEST_F(MainThreadTest, FlushWithinAJobReturnsAtOnce)
{
    mMain->Post(
        [this]
        {
            Count();
            mMain->Flush();
            EXPECT_EQ(0, mCount.load());
        },
        0);

    EXPECT_EQ(1, DispatchMainThread());
}

TEST_F(MainThreadTest, StopHoldsUntilAThreadRegistersAgain)
{
    Count();
    Count(10);
    mMain->Stop();
    EXPECT_TRUE(mMain->IsStopped());
    EXPECT_FALSE(Count());
    EXPECT_EQ(1, mMain->GetPendingCount());
    EXPECT_EQ(1, DispatchMainThread());

    UnregisterMainThread();
    RegisterMainThread();

    EXPECT_FALSE(mMain->IsStopped());
    EXPECT_TRUE(Count());
}

TEST_F(MainThreadTest, AJobThatThrowsDoesNotStopTheLoop)
{
    mMain->Post([] { throw std::runtime_error("out of a job"); }, 0);
    Count();

    EXPECT_EQ(2, DispatchMainThread());
    EXPECT_EQ(1, mCount.load());
}

TEST_F(MainThreadTest, JobsFromManyThreadsAllRun)
{
    constexpr int kThreads = 4;
    constexpr int kEach = 2000;
    std::atomic<int> left{kThreads};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
    {
        threads.emplace_back(
            [&]
            {
                for (int k = 0; k < kEach; ++k)
                    Count(k % 7 == 0 ? 1 : 0);
                if (--left == 0)
                    AsyncCallFromMainThread([] { StopMainThread(); }, 20);
            });
    }

    RunMainThreadUntilStopped();
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(kThreads * kEach, mCount.load());
}

} // namespace
