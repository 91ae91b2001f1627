#include "qelcore/AsyncExecutor.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

#include "Support/FakeClock.h"
#include "Support/Gate.h"
#include "Support/ManualExecutor.h"

namespace
{

using qelcore::threads::AsyncExecutorPtr;
using qelcore::threads::CreateSubExecutor;
using Testing::Gate;
using Testing::ManualExecutor;

// Views on an executor that the test turns.
class ViewByHandTest : public ::testing::Test
{
protected:
    void Note(const AsyncExecutorPtr& inView, int inNumber, int inDelay = 0)
    {
        EXPECT_TRUE(inView->Post([this, inNumber] { mOrder.push_back(inNumber); }, inDelay));
    }

    boost::shared_ptr<ManualExecutor> mParent = boost::make_shared<ManualExecutor>(4);
    std::vector<int> mOrder;
};

TEST_F(ViewByHandTest, OneTurnOfTheParentRunsOneJobOfTheView)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    Note(serial, 1);
    Note(serial, 2);
    Note(serial, 3);
    EXPECT_EQ(1u, mParent->DueCount()) << "limit 1 has one job at the parent";

    EXPECT_TRUE(mParent->RunOne());
    EXPECT_EQ((std::vector<int>{1}), mOrder);
    EXPECT_EQ(2, serial->GetPendingCount());
    mParent->RunQueued();
    EXPECT_EQ((std::vector<int>{1, 2, 3}), mOrder);
    EXPECT_EQ(3u, mParent->RunCount());
}

TEST_F(ViewByHandTest, WithoutALimitEachJobIsAJobOfTheParent)
{
    const AsyncExecutorPtr view = CreateSubExecutor(mParent, -1);
    for (int i = 0; i < 10; ++i)
        Note(view, i);

    EXPECT_EQ(10u, mParent->DueCount());
    EXPECT_EQ(10u, mParent->RunQueued());
    EXPECT_EQ(10u, mOrder.size());
}

TEST_F(ViewByHandTest, ALimitBoundsTheJobsAtTheParent)
{
    const AsyncExecutorPtr view = CreateSubExecutor(mParent, 3);
    for (int i = 0; i < 10; ++i)
        Note(view, i);

    EXPECT_EQ(3u, mParent->DueCount());
    mParent->RunQueued();
    EXPECT_EQ(10u, mOrder.size());
}

TEST_F(ViewByHandTest, ItsParallelismIsTheLesserOfLimitAndParents)
{
    EXPECT_EQ(1, CreateSubExecutor(mParent, 1)->GetParallelism());
    EXPECT_EQ(3, CreateSubExecutor(mParent, 3)->GetParallelism());
    EXPECT_EQ(4, CreateSubExecutor(mParent, 100)->GetParallelism());
    EXPECT_EQ(4, CreateSubExecutor(mParent, -1)->GetParallelism());
    EXPECT_EQ(4, CreateSubExecutor(mParent, 0)->GetParallelism());
    EXPECT_EQ(2, CreateSubExecutor(CreateSubExecutor(mParent, 2), 3)->GetParallelism());
}

TEST_F(ViewByHandTest, ViewsOnOneParentTakeTurns)
{
    const AsyncExecutorPtr first = CreateSubExecutor(mParent, 1);
    const AsyncExecutorPtr second = CreateSubExecutor(mParent, 1);
    for (int i = 0; i < 3; ++i)
        Note(first, 10 + i);
    for (int i = 0; i < 3; ++i)
        Note(second, 20 + i);

    mParent->RunQueued();

    EXPECT_EQ((std::vector<int>{10, 20, 11, 21, 12, 22}), mOrder);
}

TEST_F(ViewByHandTest, DelaysAreOnTheParentsClock)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    Note(serial, 1, 50);
    Note(serial, 2, 10);
    EXPECT_EQ(2, serial->GetPendingCount());

    mParent->Advance(49);
    EXPECT_EQ((std::vector<int>{2}), mOrder);
    mParent->Advance(1);
    EXPECT_EQ((std::vector<int>{2, 1}), mOrder);
    EXPECT_EQ(0, serial->GetPendingCount());
}

TEST_F(ViewByHandTest, WorkWhoseDelayIsOverQueuesBehindWhatIsDue)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    Note(serial, 9, 10);
    Note(serial, 1);
    Note(serial, 2);

    mParent->Advance(10);

    EXPECT_EQ((std::vector<int>{1, 2, 9}), mOrder);
}

TEST_F(ViewByHandTest, FlushTurnsTheParentAndLeavesDelayedWork)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    const AsyncExecutorPtr nested = CreateSubExecutor(serial, -1);
    Note(serial, 1);
    Note(nested, 2);
    Note(nested, 3, 10);

    nested->Flush();

    EXPECT_EQ((std::vector<int>{1, 2}), mOrder);
}

TEST_F(ViewByHandTest, StopConcernsOnlyItsOwnWork)
{
    const AsyncExecutorPtr stopped = CreateSubExecutor(mParent, 1);
    const AsyncExecutorPtr other = CreateSubExecutor(mParent, 1);
    const auto held = std::make_shared<int>(1);
    Note(stopped, 1);
    stopped->Post([held] {}, 10);
    Note(other, 2);

    stopped->Stop();

    EXPECT_TRUE(stopped->IsStopped());
    EXPECT_FALSE(other->IsStopped());
    EXPECT_FALSE(mParent->IsStopped());
    EXPECT_EQ(1, held.use_count()) << "delayed work is dropped at once";
    EXPECT_FALSE(stopped->Post([] {}, 0));
    EXPECT_FALSE(stopped->Post([] {}, 5));
    Note(other, 3);
    mParent->Advance(20);
    EXPECT_EQ((std::vector<int>{1, 2, 3}), mOrder);
}

TEST_F(ViewByHandTest, ItsEndLetsQueuedWorkRunAndDropsDelayedWork)
{
    AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    const auto held = std::make_shared<int>(1);
    Note(serial, 1);
    Note(serial, 2);
    serial->Post([held] {}, 10);

    serial.reset();

    EXPECT_EQ(1, held.use_count());
    mParent->Advance(20);
    EXPECT_EQ((std::vector<int>{1, 2}), mOrder);
}

TEST_F(ViewByHandTest, AParentThatHasStoppedRefusesAndTheFlushDoesNotHang)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    mParent->Stop();

    EXPECT_FALSE(serial->Post([] {}, 0));
    EXPECT_FALSE(serial->Post([] {}, 10));
    EXPECT_EQ(0, serial->GetPendingCount());
    serial->Flush();
}

TEST_F(ViewByHandTest, WhatWasAcceptedRunsThoughTheParentStopsMeanwhile)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    for (int i = 0; i < 5; ++i)
        Note(serial, i);
    Note(serial, 9, 10);

    mParent->Stop(); // it takes no further drain

    EXPECT_EQ(5, serial->GetPendingCount()) << "the parent has dropped the delayed one";
    serial->Flush();
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4}), mOrder);
}

TEST_F(ViewByHandTest, AnExceptionDoesNotReachTheParentNorTheNextJob)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    serial->Post([] { throw std::runtime_error("out of a job"); }, 0);
    Note(serial, 1);

    EXPECT_NO_THROW(mParent->RunQueued());
    EXPECT_EQ((std::vector<int>{1}), mOrder);
}

TEST_F(ViewByHandTest, FlushFromWithinItsOwnJobReturnsAtOnce)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    const AsyncExecutorPtr nested = CreateSubExecutor(serial, 1);
    nested->Post(
        [&]
        {
            Note(nested, 2);
            nested->Flush();
            serial->Flush();
            mOrder.push_back(1);
        },
        0);

    mParent->RunQueued();

    EXPECT_EQ((std::vector<int>{1, 2}), mOrder);
}

TEST_F(ViewByHandTest, FlushFromWithinAJobOfTheParentRunsTheViewsJobs)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mParent, 1);
    mParent->Post(
        [&]
        {
            Note(serial, 1);
            Note(serial, 2);
            serial->Flush();
            mOrder.push_back(9);
        },
        0);

    mParent->RunQueued();

    EXPECT_EQ((std::vector<int>{1, 2, 9}), mOrder);
}

TEST_F(ViewByHandTest, WorkThatNobodyEverRunsDoesNotKeepTheParentAlive)
{
    const boost::weak_ptr<ManualExecutor> watch(mParent);
    Note(CreateSubExecutor(mParent, 1), 1);

    mParent.reset();

    EXPECT_TRUE(watch.expired());
}

TEST_F(ViewByHandTest, ANullExecutorIsAViolatedContract)
{
    EXPECT_ANY_THROW(CreateSubExecutor(AsyncExecutorPtr(), 1));
}

// Views on a real pool.
class ViewOnPoolTest : public ::testing::Test
{
protected:
    Testing::FakeClock mClock;
    Gate mGate;
    std::atomic<int> mCount{0};
    AsyncExecutorPtr mPool = qelcore::threads::CreateIOBoundExecutor();
};

TEST_F(ViewOnPoolTest, FlushOfAViewWaitsForNobodyElse)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mPool, 1);
    mPool->Post([this] { mGate.Pass(); }, 0);
    mGate.WaitUntilCome(1);
    serial->Post([this] { ++mCount; }, 0);

    serial->Flush(); // would hang

    EXPECT_EQ(1, mCount.load());
    mGate.Open();
}

TEST_F(ViewOnPoolTest, FlushOfAPoolWaitsForItsViewsToo)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mPool, 1);
    const AsyncExecutorPtr nested = CreateSubExecutor(serial, 1);
    for (int i = 0; i < 1000; ++i)
        nested->Post([this] { ++mCount; }, 0);

    mPool->Flush();

    EXPECT_EQ(1000, mCount.load());
}

TEST_F(ViewOnPoolTest, FlushFromWithinTheOnlyThreadOfTheParentDoesNotHang)
{
    const AsyncExecutorPtr only = CreateSubExecutor(mPool, 1);
    const AsyncExecutorPtr view = CreateSubExecutor(only, 1);
    only->Post(
        [&]
        {
            view->Post([this] { ++mCount; }, 0);
            view->Flush();
            mCount += 10;
        },
        0);

    only->Flush();

    EXPECT_EQ(11, mCount.load());
}

TEST_F(ViewOnPoolTest, ItsParallelismIsKeptWhileFlushesHelp)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mPool, 1);
    std::atomic<int> running{0}, most{0};
    const auto job = [&]
    {
        const int now = ++running;
        if (now > most)
            most = now;
        ++mCount;
        --running;
    };
    for (int round = 0; round < 50; ++round)
    {
        mPool->Post(
            [&]
            {
                for (int i = 0; i < 20; ++i)
                    serial->Post(job, 0);
                serial->Flush();
            },
            0);
    }
    mPool->Flush();
    serial->Flush();

    EXPECT_EQ(1000, mCount.load());
    EXPECT_EQ(1, most.load());
}

TEST_F(ViewOnPoolTest, DelaysEndWithTheEdgesClock)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mPool, 1);
    std::vector<int> order;
    for (int i = 0; i < 100; ++i)
        serial->Post([&order, i] { order.push_back(i); }, i + 1);

    mClock.AdvanceMilliseconds(50);
    serial->Flush();
    ASSERT_EQ(50u, order.size());
    mClock.AdvanceMilliseconds(50);
    mPool->Flush();

    ASSERT_EQ(100u, order.size());
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(i, order[static_cast<std::size_t>(i)]);
}

TEST_F(ViewOnPoolTest, AStoppedPoolRunsWhatAViewHadAccepted)
{
    const AsyncExecutorPtr serial = CreateSubExecutor(mPool, 1);
    serial->Post([this] { mGate.Pass(); }, 0);
    mGate.WaitUntilCome(1);
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(serial->Post([this] { ++mCount; }, 0));

    mPool->Stop();
    mGate.Open();
    serial->Flush();

    EXPECT_EQ(100, mCount.load());
    EXPECT_FALSE(serial->Post([] {}, 0));
    serial->Flush();
}

TEST_F(ViewOnPoolTest, ThePoolsEndRunsTheQueuedWorkOfViewsThatHaveGone)
{
    AsyncExecutorPtr serial = CreateSubExecutor(mPool, 1);
    AsyncExecutorPtr nested = CreateSubExecutor(serial, 1);
    nested->Post([this] { mGate.Pass(); }, 0);
    mGate.WaitUntilCome(1);
    for (int i = 0; i < 100; ++i)
        nested->Post([this] { ++mCount; }, 0);

    nested.reset();
    serial.reset();
    mGate.Open();
    mPool.reset();

    EXPECT_EQ(100, mCount.load());
}

TEST_F(ViewOnPoolTest, TheLastViewOnAPoolEndsItAndWaits)
{
    AsyncExecutorPtr serial = CreateSubExecutor(mPool, 1);
    mPool.reset();
    for (int i = 0; i < 100; ++i)
        serial->Post([this] { ++mCount; }, 0);

    serial.reset();

    EXPECT_EQ(100, mCount.load());
}

} // namespace
