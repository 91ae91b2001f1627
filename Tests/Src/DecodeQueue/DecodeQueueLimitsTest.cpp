#include <limits>

#include "DecodeQueueFixture.h"

using namespace Testing;

namespace
{

// CPU stages that run at the same time are nested here: a stage turns the executor before it returns.
class DecodeQueueLimits : public DecodeQueueFixture
{
protected:
    std::vector<ScriptedRequestPtr> mRequests;

    void QueueMany(const RK::DecodeQueuePtr& inQueue, int inCount, int inIOCost = 1,
                   int inCPUCost = 1)
    {
        for (int i = 0; i < inCount; ++i)
        {
            mRequests.push_back(Request(std::to_string(mRequests.size()), inIOCost, inCPUCost));
            inQueue->QueueRequest(mRequests.back());
        }
    }
    int CountReads()
    {
        RunAll();
        int count = 0;
        for (const auto& request : mRequests)
            count += request->completion.empty() ? 0 : 1;
        return count;
    }
    /// The most CPU stages of inRequests that ran at a time.
    int MostNested(const std::vector<ScriptedRequestPtr>& inRequests)
    {
        int depth = 0;
        int most = 0;
        for (const auto& request : inRequests)
        {
            request->onProcess = [&]
            {
                most = std::max(most, ++depth);
                mOwn->RunQueued();
                --depth;
            };
        }
        RunAll();
        return most;
    }
};

TEST_F(DecodeQueueLimits, AFourthReadWaitsWhileThreeRequestsAreAnywhereBetweenReadAndDecoded)
{
    const auto queue = Create(1, 3);
    QueueMany(queue, 4);
    EXPECT_EQ(3, CountReads());
    TakeLog();

    for (int i = 0; i < 3; ++i)
        mRequests[i]->Complete(0); // all three in the pending CPU stage now
    EXPECT_EQ(0u, mShared.RunQueued());
    EXPECT_EQ(Log(), mLog);

    mOwn->RunOne();
    mShared.RunQueued();
    EXPECT_EQ(Log({"0: process", "3: initiate"}), mLog);
}

TEST_F(DecodeQueueLimits, IOCostStaysChargedThroughTheCPUStage)
{
    const auto queue = Create(1, 1);
    const auto a = WithoutIO(Request("a"));
    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));
    a->onProcess = [&]
    {
        mShared.RunQueued();
        EXPECT_EQ(Log({"a: initiate", "a: process"}), mLog);
    };

    RunAll();

    EXPECT_EQ(Log({"a: initiate", "a: process", "b: initiate"}), mLog);
}

TEST_F(DecodeQueueLimits, CostsMayReachTheIOLimitExactlyButNotPassIt)
{
    const auto queue = Create(1, 6);
    QueueMany(queue, 4, 2);

    EXPECT_EQ(3, CountReads());
}

TEST_F(DecodeQueueLimits, CostsMayReachTheCPULimitExactlyButNotPassIt)
{
    const auto queue = Create(6, 100);
    std::vector<ScriptedRequestPtr> requests;
    for (int i = 0; i < 8; ++i)
    {
        requests.push_back(WithoutIO(Request("r", 1, 2)));
        queue->QueueRequest(requests.back());
    }
    mShared.RunQueued();

    EXPECT_EQ(3, MostNested(requests));
    EXPECT_EQ(16u, mLog.size()); // each was read and decoded
}

TEST_F(DecodeQueueLimits, ARequestDearerThanTheIOLimitRunsAloneAndEverythingElseWaits)
{
    const auto queue = Create(1, 3);
    QueueMany(queue, 1, 10);
    QueueMany(queue, 2);
    EXPECT_EQ(1, CountReads());

    mRequests[0]->Complete(0);
    EXPECT_EQ(2, CountReads());
}

TEST_F(DecodeQueueLimits, ARequestDearerThanTheIOLimitWaitsUntilNothingIsCharged)
{
    const auto queue = Create(1, 3);
    QueueMany(queue, 2);
    QueueMany(queue, 1, 10);
    EXPECT_EQ(2, CountReads());

    mRequests[0]->Complete(0);
    EXPECT_EQ(1, CountReads());
    EXPECT_TRUE(mRequests[2]->completion.empty());

    mRequests[1]->Complete(0);
    EXPECT_EQ(1, CountReads());
    EXPECT_FALSE(mRequests[2]->completion.empty());
}

TEST_F(DecodeQueueLimits, ARequestDearerThanTheCPULimitRunsAlone)
{
    const auto queue = Create(2, 100);
    std::vector<ScriptedRequestPtr> requests;
    for (const int cost : {9, 1, 9, 1, 1})
    {
        requests.push_back(WithoutIO(Request(std::to_string(cost), 1, cost)));
        queue->QueueRequest(requests.back());
    }
    mShared.RunQueued();
    TakeLog();
    std::vector<int> running;
    int dearest = 0;
    for (const auto& request : requests)
    {
        request->onProcess = [&, request]
        {
            running.push_back(request->cpuCost);
            if (running.size() > 1)
                dearest = std::max(dearest, *std::max_element(running.begin(), running.end()));
            mOwn->RunQueued();
            running.pop_back();
        };
    }
    RunAll();

    EXPECT_EQ(1, dearest); // only the cheap ones shared the stage
    EXPECT_EQ(Log({"9: process", "1: process", "9: process", "1: process", "1: process"}), mLog);
}

TEST_F(DecodeQueueLimits, WithAnIOLimitOfZeroRequestsAreReadOneAtATime)
{
    const auto queue = Create(1, 0);
    QueueMany(queue, 2);
    EXPECT_EQ(1, CountReads());

    mRequests[0]->Complete(0);
    EXPECT_EQ(1, CountReads());
    EXPECT_FALSE(mRequests[1]->completion.empty());
}

TEST_F(DecodeQueueLimits, WithACPULimitOfZeroRequestsAreDecodedOneAtATime)
{
    const auto queue = Create(0, 10);
    std::vector<ScriptedRequestPtr> requests;
    for (const char* name : {"a", "b", "c"})
    {
        requests.push_back(WithoutIO(Request(name)));
        queue->QueueRequest(requests.back());
    }
    mShared.RunQueued();
    TakeLog();

    EXPECT_EQ(1, MostNested(requests));
    EXPECT_EQ(Log({"a: process", "b: process", "c: process"}), mLog);
}

TEST_F(DecodeQueueLimits, WithLimitsOfZeroACompletedReadIsDecodedAndACancelLetsTheNextOneIn)
{
    const auto queue = Create(0, 0);
    QueueMany(queue, 3);
    EXPECT_EQ(1, CountReads());

    mRequests[0]->Complete(0);
    queue->TryToCancelRequest(mRequests[0]); // it waits for the CPU stage
    EXPECT_EQ(1, CountReads());
    mRequests[1]->Complete(0);
    EXPECT_EQ(1, CountReads());

    EXPECT_EQ(Log({"0: initiate", "0: cancel queued", "1: initiate", "1: process", "2: initiate"}),
              mLog);
}

TEST_F(DecodeQueueLimits, ANegativeIOLimitIsAMultipleOfTheParallelism)
{
    const auto queue = Create(1, -2); // of eight
    QueueMany(queue, 20);

    EXPECT_EQ(16, CountReads());
}

TEST_F(DecodeQueueLimits, ANegativeCPULimitIsAMultipleOfTheParallelism)
{
    const auto queue = Create(-2, 100);
    std::vector<ScriptedRequestPtr> requests;
    for (int i = 0; i < 20; ++i)
    {
        requests.push_back(WithoutIO(Request("r")));
        queue->QueueRequest(requests.back());
    }
    mShared.RunQueued();

    EXPECT_EQ(16, MostNested(requests));
}

TEST_F(DecodeQueueLimits, WithoutAnExecutorTheParallelismIsThatOfTheSharedOne)
{
    const auto queue = RK::CreateDecodeQueue(nullptr, 1, -1, false);
    QueueMany(queue, 10);

    EXPECT_EQ(4, CountReads());
}

TEST_F(DecodeQueueLimits, ACheaperRequestNeverOvertakesTheFront)
{
    const auto queue = Create(1, 3);
    QueueMany(queue, 1, 2);
    QueueMany(queue, 1, 2);
    QueueMany(queue, 1, 1); // would fit

    EXPECT_EQ(1, CountReads());
    EXPECT_FALSE(mRequests[0]->completion.empty());
}

TEST_F(DecodeQueueLimits, ARefusedPassSchedulesNothing)
{
    const auto queue = Create(1, 3);
    QueueMany(queue, 2, 2);
    RunAll();

    EXPECT_EQ(0u, mShared.DueCount());
    EXPECT_EQ(0u, mOwn->DueCount());
}

TEST_F(DecodeQueueLimits, AFullStageIsNotScheduledByNewRequests)
{
    const auto queue = Create(1, 2);
    QueueMany(queue, 2);
    RunAll();

    QueueMany(queue, 1);

    EXPECT_EQ(0u, mShared.DueCount());
}

TEST_F(DecodeQueueLimits, RequestsWithoutCostAreNotHeldBackBelowTheLimit)
{
    const auto queue = Create(1, 1);
    QueueMany(queue, 50, 0);

    EXPECT_EQ(50, CountReads());
}

TEST_F(DecodeQueueLimits, CostsNearTheEndOfTheRangeDoNotOverflow)
{
    constexpr int kLargest = std::numeric_limits<int>::max();
    const auto queue = Create(1, kLargest);
    QueueMany(queue, 3, kLargest - 1);
    EXPECT_EQ(1, CountReads());

    mRequests[0]->Complete(-1);
    EXPECT_EQ(1, CountReads());
}

} // namespace
