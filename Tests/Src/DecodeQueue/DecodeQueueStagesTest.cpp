#include <limits>

#include "DecodeQueueFixture.h"

using namespace Testing;

namespace
{

class DecodeQueueStages : public DecodeQueueFixture
{
};

TEST_F(DecodeQueueStages, StatusesKeepTheirValuesAndTheirSigns)
{
    EXPECT_EQ(0x20130001, RK::kDecodeStatusNoIOPending);
    EXPECT_EQ(0xA00F0005u, static_cast<unsigned>(RK::kDecodeErrorRequestNotFound));
    EXPECT_EQ(0xA00F0007u, static_cast<unsigned>(RK::kDecodeErrorRequestCancelled));
    EXPECT_EQ(0xA0130001u, static_cast<unsigned>(RK::kDecodeErrorCancelIncomplete));
    EXPECT_LT(RK::kDecodeErrorRequestNotFound, 0);
    EXPECT_LT(RK::kDecodeErrorRequestCancelled, 0);
    EXPECT_LT(RK::kDecodeErrorCancelIncomplete, 0);
}

TEST_F(DecodeQueueStages, ARequestIsReadThenDecodedThenLetGo)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");

    EXPECT_EQ(0, queue->QueueRequest(a));
    RunAll();
    EXPECT_EQ(Log({"a: initiate"}), TakeLog());

    a->Complete(0);
    RunAll();
    EXPECT_EQ(Log({"a: process"}), TakeLog());
    EXPECT_EQ(1, a.use_count());
}

TEST_F(DecodeQueueStages, QueueingStartsNothingOnTheCallersThread)
{
    const auto queue = Create(1, 1);

    queue->QueueRequest(Request("a"));

    EXPECT_EQ(Log(), mLog);
    EXPECT_EQ(1u, mShared.DueCount());
}

TEST_F(DecodeQueueStages, IOIsStartedOnTheSharedExecutorAndDecodingDoneOnTheGivenOne)
{
    const auto queue = Create(1, 1);
    queue->QueueRequest(WithoutIO(Request("a")));

    EXPECT_EQ(0u, mOwn->RunQueued());
    mShared.RunQueued();
    EXPECT_EQ(Log({"a: initiate"}), TakeLog());

    EXPECT_EQ(0u, mShared.RunQueued());
    mOwn->RunQueued();
    EXPECT_EQ(Log({"a: process"}), TakeLog());
}

TEST_F(DecodeQueueStages, WithoutAnExecutorBothStagesRunOnTheSharedOne)
{
    const auto queue = RK::CreateDecodeQueue(nullptr, 1, 1, false);
    queue->QueueRequest(WithoutIO(Request("a")));

    mShared.RunQueued();

    EXPECT_EQ(Log({"a: initiate", "a: process"}), mLog);
}

TEST_F(DecodeQueueStages, TheCPUStageIsNotRunByTheThreadThatEndsTheIO)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    mShared.RunQueued();

    a->Complete(0);

    EXPECT_EQ(Log({"a: initiate"}), mLog);
    EXPECT_EQ(1u, mOwn->DueCount());
}

TEST_F(DecodeQueueStages, ARequestMayCompleteInsideInitiateIO)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    a->onInitiate = [&] { a->Complete(5); };

    queue->QueueRequest(a);
    RunAll();

    EXPECT_EQ(Log({"a: initiate", "a: process"}), mLog);
}

TEST_F(DecodeQueueStages, ARequestMayFailInsideInitiateIO)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    a->onInitiate = [&] { a->Complete(-5); };

    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));
    RunAll();

    EXPECT_EQ(Log({"a: initiate", "b: initiate"}), mLog);
    EXPECT_EQ(1, a.use_count());
}

TEST_F(DecodeQueueStages, AnyNonNegativeStatusOfInitiateIOMeansThatTheIOIsUnderWay)
{
    for (const int status : {0, 1, 0x20130002, std::numeric_limits<int>::max()})
    {
        const auto queue = Create(1, 1);
        const auto a = Request("a");
        a->initiateResult = status;
        queue->QueueRequest(a);
        RunAll();
        EXPECT_EQ(Log({"a: initiate"}), TakeLog()) << status;

        a->Complete(0);
        RunAll();
        EXPECT_EQ(Log({"a: process"}), TakeLog()) << status;
    }
}

TEST_F(DecodeQueueStages, ARequestThatCannotStartItsIOLeavesAndLetsTheNextOneIn)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    a->initiateResult = -1;

    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));
    mShared.RunQueued(); // alone: the queue's own executor has no part in this

    EXPECT_EQ(Log({"a: initiate", "b: initiate"}), mLog);
    EXPECT_EQ(1, a.use_count());
    EXPECT_EQ(RK::kDecodeErrorRequestNotFound, queue->TryToCancelRequest(a));
}

TEST_F(DecodeQueueStages, ARequestWhoseIOFailsIsNeverDecoded)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();

    a->Complete(-1);
    RunAll();

    EXPECT_EQ(Log({"a: initiate"}), mLog);
    EXPECT_EQ(1, a.use_count());
}

TEST_F(DecodeQueueStages, AFailedIORetiresOnTheQueuesExecutorNotOnTheIOThread)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));
    mShared.RunQueued();

    a->Complete(-1);
    EXPECT_EQ(0u, mShared.RunQueued()); // still charged
    mOwn->RunQueued();
    mShared.RunQueued();

    EXPECT_EQ(Log({"a: initiate", "b: initiate"}), mLog);
}

TEST_F(DecodeQueueStages, AFailedDecodeLeavesAsAnyOther)
{
    const auto queue = Create(1, 1);
    const auto a = WithoutIO(Request("a"));
    a->processResult = -1;

    queue->QueueRequest(a);
    queue->QueueRequest(WithoutIO(Request("b")));
    RunAll();

    EXPECT_EQ(Log({"a: initiate", "a: process", "b: initiate", "b: process"}), mLog);
}

TEST_F(DecodeQueueStages, ManyRequestsScheduleOnePassAndEachPassTakesOne)
{
    const auto queue = Create(1, 3);
    for (const char* name : {"a", "b", "c"})
        queue->QueueRequest(Request(name));
    EXPECT_EQ(1u, mShared.DueCount());

    mShared.RunOne();
    EXPECT_EQ(Log({"a: initiate"}), TakeLog());
    EXPECT_EQ(1u, mShared.DueCount());

    mShared.RunOne();
    EXPECT_EQ(Log({"b: initiate"}), TakeLog());

    mShared.RunOne();
    EXPECT_EQ(Log({"c: initiate"}), TakeLog());
    EXPECT_EQ(0u, mShared.DueCount());
}

TEST_F(DecodeQueueStages, TheNextPassIsScheduledBeforeTheRequestIsCalled)
{
    const auto queue = Create(4, 4);
    const auto a = WithoutIO(Request("a"));
    std::size_t duringIO = 0;
    a->onInitiate = [&] { duringIO = mShared.DueCount(); };
    queue->QueueRequest(a);
    queue->QueueRequest(WithoutIO(Request("b")));
    mShared.RunQueued();
    EXPECT_EQ(1u, duringIO);

    std::size_t duringCPU = 0;
    a->onProcess = [&] { duringCPU = mOwn->DueCount(); };
    mOwn->RunQueued();
    EXPECT_EQ(1u, duringCPU);
}

TEST_F(DecodeQueueStages, WithoutPriorityBothStagesKeepTheOrderOfArrival)
{
    const auto queue = Create(1, 3);
    std::vector<ScriptedRequestPtr> requests;
    for (const int priority : {1, 3, 2})
    {
        requests.push_back(Prioritised(priority));
        queue->QueueRequest(requests.back());
    }
    mShared.RunQueued();
    EXPECT_EQ(Log({"1: initiate", "3: initiate", "2: initiate"}), TakeLog());

    requests[2]->Complete(0);
    requests[0]->Complete(0);
    requests[1]->Complete(0);
    RunAll();
    EXPECT_EQ(Log({"2: process", "1: process", "3: process"}), TakeLog());
    for (const auto& request : requests)
        EXPECT_EQ(0, request->comparisons);
}

TEST_F(DecodeQueueStages, WithPriorityTheOneThatGoesBeforeTheOthersIsReadFirst)
{
    const auto queue = Create(1, 5, true);
    for (const int priority : {2, 5, 1, 4, 3})
        queue->QueueRequest(Prioritised(priority));

    mShared.RunQueued();

    EXPECT_EQ(Log({"5: initiate", "4: initiate", "3: initiate", "2: initiate", "1: initiate"}),
              mLog);
}

TEST_F(DecodeQueueStages, WithPriorityTheOneThatGoesBeforeTheOthersIsDecodedFirst)
{
    const auto queue = Create(1, 5, true);
    std::vector<ScriptedRequestPtr> requests;
    for (const int priority : {2, 5, 1, 4, 3})
    {
        requests.push_back(Prioritised(priority));
        queue->QueueRequest(requests.back());
    }
    mShared.RunQueued();
    TakeLog();

    for (const auto& request : requests)
        request->Complete(0);
    RunAll();

    EXPECT_EQ(Log({"5: process", "4: process", "3: process", "2: process", "1: process"}), mLog);
}

TEST_F(DecodeQueueStages, WithPriorityRequestsWithoutIOAreDecodedByPriorityToo)
{
    const auto queue = Create(1, 3, true);
    const auto low = WithoutIO(Prioritised(1));
    queue->QueueRequest(low);
    mShared.RunQueued();
    queue->QueueRequest(WithoutIO(Prioritised(2)));
    queue->QueueRequest(WithoutIO(Prioritised(3)));
    mShared.RunQueued();
    TakeLog();

    mOwn->RunQueued();

    EXPECT_EQ(Log({"3: process", "2: process", "1: process"}), mLog);
}

TEST_F(DecodeQueueStages, ALaterRequestOfHigherPriorityOvertakesThoseStillWaiting)
{
    const auto queue = Create(1, 1, true);
    queue->QueueRequest(WithoutIO(Prioritised(2)));
    queue->QueueRequest(WithoutIO(Prioritised(1)));
    mShared.RunQueued();
    queue->QueueRequest(WithoutIO(Prioritised(3)));

    RunAll();

    EXPECT_EQ(Log({"2: initiate", "2: process", "3: initiate", "3: process", "1: initiate",
                   "1: process"}),
              mLog);
}

TEST_F(DecodeQueueStages, RequestsMayQueueAndCancelFromWithinTheirOwnOperations)
{
    const auto queue = Create(1, 2);
    const auto a = WithoutIO(Request("a"));
    const auto b = Request("b");
    const auto c = Request("c");
    a->onInitiate = [&] { queue->QueueRequest(b); };
    a->onProcess = [&] { queue->QueueRequest(c); };
    b->onCancel = [&] { queue->TryToCancelRequest(c); };

    queue->QueueRequest(a);
    RunAll();
    queue->TryToCancelRequest(b);

    EXPECT_EQ(Log({"a: initiate", "b: initiate", "a: process", "c: initiate", "b: cancel during IO",
                   "c: cancel during IO"}),
              mLog);
}

} // namespace
