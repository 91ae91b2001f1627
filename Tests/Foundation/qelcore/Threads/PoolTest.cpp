#include "qelcore/AsyncExecutor.h"

#include <atomic>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Support/FakeClock.h"
#include "Support/Gate.h"
#include "qelcore/Trace.h"

namespace
{

using qelcore::threads::AsyncExecutor;
using qelcore::threads::AsyncExecutorPtr;
using Testing::Gate;

// Real pools, and a clock that only the test turns.
class PoolTest : public ::testing::Test
{
protected:
    /// Holds up every thread of the pool until mGate opens.
    void OccupyAllThreads()
    {
        for (int i = 0; i < mPool->GetParallelism(); ++i)
            mPool->Post([this] { mGate.Pass(); }, 0);
        mGate.WaitUntilCome(mPool->GetParallelism());
    }
    bool Count(int inDelay = 0)
    {
        return mPool->Post([this] { ++mCount; }, inDelay);
    }

    Testing::FakeClock mClock;
    Gate mGate;
    std::atomic<int> mCount{0};
    AsyncExecutorPtr mPool = qelcore::threads::CreateCPUBoundExecutor();
};

TEST_F(PoolTest, FlushWaitsForAllThatWasPostedBefore)
{
    for (int i = 0; i < 1000; ++i)
        EXPECT_TRUE(Count());

    mPool->Flush();

    EXPECT_EQ(1000, mCount.load());
    EXPECT_EQ(0, mPool->GetPendingCount());
}

TEST_F(PoolTest, FlushReturnsAtOnceWhenThereIsNothing)
{
    mPool->Flush();
    Count();
    mPool->Flush();
    mPool->Flush();

    EXPECT_EQ(1, mCount.load());
}

TEST_F(PoolTest, FlushDoesNotWaitForWhatComesLater)
{
    // Each job posts the next one, so there is always one more.
    std::atomic<bool> end{false};
    AsyncExecutor& pool = *mPool; // the reference itself goes at the end, while jobs run
    boost::function<void()> again;
    again = [&]
    {
        ++mCount;
        if (!end)
            pool.Post(again, 0);
    };
    mPool->Post(again, 0);

    mPool->Flush();

    EXPECT_GE(mCount.load(), 1);
    end = true;
    mPool.reset();
}

TEST_F(PoolTest, FlushFromWithinAJobReturnsAtOnce)
{
    mPool->Post(
        [&]
        {
            mPool->Flush();
            ++mCount;
        },
        0);

    mPool->Flush();

    EXPECT_EQ(1, mCount.load());
}

TEST_F(PoolTest, WhatAJobHoldsIsGoneWhenFlushReturns)
{
    const auto held = std::make_shared<int>(1);
    mPool->Post([held] {}, 0);

    mPool->Flush();

    EXPECT_EQ(1, held.use_count());
}

TEST_F(PoolTest, RunsAsManyJobsAtATimeAsItSaysAndNoMore)
{
    OccupyAllThreads(); // would hang if there were fewer
    Count();
    EXPECT_EQ(0, mCount.load());
    EXPECT_EQ(1, mPool->GetPendingCount());

    mGate.Open();
    mPool->Flush();

    EXPECT_EQ(1, mCount.load());
}

TEST_F(PoolTest, AnIOBoundPoolRunsMoreThatWaitThanThereAreProcessors)
{
    const AsyncExecutorPtr io = qelcore::threads::CreateIOBoundExecutor();
    ASSERT_GE(io->GetParallelism(), 16);

    for (int i = 0; i < 16; ++i)
        io->Post([this] { mGate.Pass(); }, 0);
    mGate.WaitUntilCome(16);
    mGate.Open();
    io->Flush();
}

// Each thread that is called calls the next one: if one did not, this would hang.
TEST_F(PoolTest, JobsThatWaitForEachOtherGetAllThreadsOutOfTheirSleep)
{
    const AsyncExecutorPtr io = qelcore::threads::CreateIOBoundExecutor();
    constexpr int kJobs = 16;
    for (int round = 0; round < 50; ++round) // from the second on, the threads are there and sleep
    {
        Gate gate;
        for (int i = 0; i < kJobs; ++i)
            io->Post([&gate] { gate.Pass(); }, 0);
        gate.WaitUntilCome(kJobs);
        gate.Open();
        io->Flush();
    }
}

TEST_F(PoolTest, WorkWithADelayRunsWhenTheClockGetsThereAndNotBefore)
{
    EXPECT_TRUE(Count(50));
    EXPECT_EQ(1, mPool->GetPendingCount());

    mClock.AdvanceMilliseconds(49);
    mPool->Flush();
    EXPECT_EQ(0, mCount.load());

    mClock.AdvanceMilliseconds(1);
    mPool->Flush();
    EXPECT_EQ(1, mCount.load());
    EXPECT_EQ(0, mPool->GetPendingCount());
}

TEST_F(PoolTest, TheTimerRunsDelayedWorkWithoutAFlush)
{
    mPool->Post([this] { mGate.Pass(); }, 50);
    mPool->Post([this] { mGate.Pass(); }, 3600 * 1000);
    mGate.Open();

    mClock.AdvanceMilliseconds(50);
    mGate.WaitUntilCome(1);
    mClock.AdvanceSeconds(3600);
    mGate.WaitUntilCome(2);
}

TEST_F(PoolTest, AShorterDelayPostedLaterRunsFirst)
{
    std::vector<int> order;
    const AsyncExecutorPtr serial = qelcore::threads::CreateSubExecutor(mPool, 1);
    serial->Post([&] { order.push_back(2); }, 20);
    serial->Post([&] { order.push_back(1); }, 10);
    serial->Post([&] { order.push_back(3); }, 20);

    mClock.AdvanceMilliseconds(100);
    serial->Flush();

    EXPECT_EQ((std::vector<int>{1, 2, 3}), order);
}

TEST_F(PoolTest, ANegativeDelayIsNone)
{
    EXPECT_TRUE(Count(-5));
    EXPECT_TRUE(Count(std::numeric_limits<int>::min()));

    mPool->Flush();

    EXPECT_EQ(2, mCount.load());
}

TEST_F(PoolTest, AfterStopNothingIsAcceptedAndWhatWasDueRuns)
{
    OccupyAllThreads();
    Count();

    mPool->Stop();

    EXPECT_TRUE(mPool->IsStopped());
    EXPECT_FALSE(Count());
    EXPECT_FALSE(Count(10));
    mGate.Open();
    mPool->Flush();
    EXPECT_EQ(1, mCount.load());
    mPool->Stop(); // again does no harm
}

TEST_F(PoolTest, StopRunsDelayedWorkThatIsDueAndDropsTheRest)
{
    OccupyAllThreads();
    const auto held = std::make_shared<int>(1);
    Count(10);
    mPool->Post([this, held] { mCount += 100; }, 60);
    mClock.AdvanceMilliseconds(10);

    mPool->Stop();

    EXPECT_EQ(1, held.use_count());
    mGate.Open();
    mPool->Flush();
    mClock.AdvanceMilliseconds(1000);
    mPool->Flush();
    EXPECT_EQ(1, mCount.load());
}

struct PostsAtItsEnd
{
    AsyncExecutorPtr mPool;
    std::atomic<int>* mAnswer;
    ~PostsAtItsEnd()
    {
        *mAnswer = mPool->Post([] {}, 0) ? 1 : 2;
    }
};

TEST_F(PoolTest, ADroppedCallableMayUseThePoolAtItsEnd)
{
    std::atomic<int> answer{0};
    auto held = std::make_shared<PostsAtItsEnd>(PostsAtItsEnd{mPool, &answer});
    answer = 0; // the temporary's end has written it
    mPool->Post([held] {}, 1000);
    held.reset();

    mPool->Stop(); // would hang if it ended with a lock held

    EXPECT_EQ(2, answer.load());
}

TEST_F(PoolTest, AnExceptionOutOfAJobEndsInTheTrace)
{
    mPool->Post([] { throw std::runtime_error("the mark of this test"); }, 0);
    mPool->Post([] { throw 5; }, 0);
    Count();

    mPool->Flush();

    EXPECT_EQ(1, mCount.load());
    int named = 0, unnamed = 0;
    for (const std::string& line : qelcore::debug::RecentTraceLines())
    {
        named += line.find("<AsyncExecutor> <0> ") != std::string::npos &&
                 line.find("the mark of this test") != std::string::npos;
        unnamed += line.find("unknown type") != std::string::npos;
    }
    EXPECT_EQ(1, named);
    EXPECT_EQ(1, unnamed);
}

TEST_F(PoolTest, AnEmptyCallableIsAcceptedAndHarmless)
{
    EXPECT_TRUE(mPool->Post(AsyncExecutor::Callable(), 0));
    Count();

    mPool->Flush();

    EXPECT_EQ(1, mCount.load());
}

TEST_F(PoolTest, ItsEndRunsWhatIsDueAndDropsTheRest)
{
    OccupyAllThreads();
    for (int i = 0; i < 100; ++i)
        Count();
    mPool->Post([this] { mCount += 1000; }, 10);

    mGate.Open();
    mPool.reset();

    EXPECT_EQ(100, mCount.load());
}

// Nobody waits for the threads in the next two tests, so these hold what they use themselves.
TEST_F(PoolTest, ItsLastReferenceMayGoInOneOfItsOwnJobs)
{
    const auto holder = std::make_shared<AsyncExecutorPtr>(mPool);
    const auto begin = std::make_shared<Gate>();
    const auto end = std::make_shared<Gate>();
    mPool->Post(
        [holder, begin, end]
        {
            begin->Pass();
            holder->reset();
            end->Pass();
        },
        0);

    mPool.reset();
    begin->Open();
    end->WaitUntilCome(1);

    EXPECT_EQ(nullptr, *holder);
    end->Open();
}

TEST_F(PoolTest, ItsLastReferenceMayBeHeldByItsOwnJob)
{
    const auto ran = std::make_shared<Gate>();
    ran->Open();
    mPool->Post([pool = mPool, ran] { ran->Pass(); }, 0);

    mPool.reset();

    ran->WaitUntilCome(1);
}

TEST_F(PoolTest, AJobMayPostWithALockThatAnotherJobHolds)
{
    std::mutex clients;
    mPool->Post(
        [&]
        {
            const std::lock_guard<std::mutex> lock(clients);
            mGate.Pass();
        },
        0);
    mGate.WaitUntilCome(1);

    EXPECT_TRUE(Count()); // the job above is in its lock

    mGate.Open();
    mPool->Flush();
}

TEST_F(PoolTest, TheSharedPoolsAreAlwaysTheSame)
{
    EXPECT_EQ(qelcore::threads::GetCPUBoundExecutor(), qelcore::threads::GetCPUBoundExecutor());
    EXPECT_EQ(qelcore::threads::GetIOBoundExecutor(), qelcore::threads::GetIOBoundExecutor());
    EXPECT_NE(qelcore::threads::GetCPUBoundExecutor(), qelcore::threads::GetIOBoundExecutor());
    EXPECT_GE(qelcore::threads::GetCPUBoundExecutor()->GetParallelism(), 1);
    EXPECT_FALSE(qelcore::threads::GetCPUBoundExecutor()->IsStopped());
}

TEST_F(PoolTest, EachLivingThreadHasANumberOfItsOwn)
{
    const std::uint64_t mine = qelcore::threads::GetCurrentThreadID();
    std::uint64_t other = 0;
    std::thread([&] { other = qelcore::threads::GetCurrentThreadID(); }).join();

    EXPECT_NE(mine, other);
    EXPECT_EQ(mine, qelcore::threads::GetCurrentThreadID());
}

TEST(PoolOnTheMachinesClock, ADelayIsWaitedForInRealTime)
{
    Gate gate;
    gate.Open();
    const AsyncExecutorPtr pool = qelcore::threads::CreateCPUBoundExecutor();
    const std::uint64_t before = Platform::Clock().NowNanoseconds();

    pool->Post([&] { gate.Pass(); }, 20);
    gate.WaitUntilCome(1);

    EXPECT_GE(Platform::Clock().NowNanoseconds() - before, 20u * 1000000u);
}

} // namespace
