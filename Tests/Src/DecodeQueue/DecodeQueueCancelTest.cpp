#include <boost/weak_ptr.hpp>

#include "DecodeQueueFixture.h"

using namespace Testing;

namespace
{

class DecodeQueueCancel : public DecodeQueueFixture
{
};

TEST_F(DecodeQueueCancel, ARequestWaitingForItsIOLeavesWithoutHavingBegun)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    a->cancelQueuedResult = 42;
    queue->QueueRequest(a);

    EXPECT_EQ(42, queue->TryToCancelRequest(a));
    RunAll();

    EXPECT_EQ(Log({"a: cancel queued"}), mLog);
    EXPECT_EQ(1, a.use_count());
    EXPECT_EQ(RK::kDecodeErrorRequestNotFound, queue->TryToCancelRequest(a));
}

TEST_F(DecodeQueueCancel, ARequestWaitingForItsCPUStageLeavesAndGivesItsIOCostBackAtOnce)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    a->cancelQueuedResult = -7;
    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));
    mShared.RunQueued();
    a->Complete(0);
    TakeLog();

    EXPECT_EQ(-7, queue->TryToCancelRequest(a));
    EXPECT_EQ(1u, mShared.RunQueued()); // without any help of the CPU stage

    EXPECT_EQ(Log({"a: cancel queued", "b: initiate"}), mLog);
    mOwn->RunQueued();
    EXPECT_EQ(2u, mLog.size()); // and a is not decoded
}

TEST_F(DecodeQueueCancel, ACancelBetweenTheStagesSchedulesNoIOWhereNoneWaits)
{
    const auto queue = Create(1, 1);
    const auto a = WithoutIO(Request("a"));
    queue->QueueRequest(a);
    mShared.RunQueued();

    queue->TryToCancelRequest(a);

    EXPECT_EQ(0u, mShared.DueCount());
}

TEST_F(DecodeQueueCancel, ARequestInItsIOStaysChargedUntilTheIOEndsAndIsNeverDecoded)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    a->cancelDuringIOResult = 9;
    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));
    mShared.RunQueued();
    TakeLog();

    EXPECT_EQ(9, queue->TryToCancelRequest(a));
    RunAll();
    EXPECT_EQ(Log({"a: cancel during IO"}), TakeLog());

    a->Complete(0);
    EXPECT_EQ(0u, mShared.DueCount());
    RunAll();
    EXPECT_EQ(Log({"b: initiate"}), TakeLog());
}

TEST_F(DecodeQueueCancel, ARequestCancelledInItsIOIsNotFoundAgain)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();

    EXPECT_EQ(0, queue->TryToCancelRequest(a));
    EXPECT_EQ(RK::kDecodeErrorRequestNotFound, queue->TryToCancelRequest(a));
    a->Complete(0);
}

TEST_F(DecodeQueueCancel, ARequestCancelledWhileItFindsThatItHasNoIOIsDecodedAllTheSame)
{
    const auto queue = Create(1, 1);
    const auto a = WithoutIO(Request("a"));
    a->onInitiate = [&] { queue->TryToCancelRequest(a); };
    queue->QueueRequest(a);
    queue->QueueRequest(WithoutIO(Request("b")));

    RunAll();

    EXPECT_EQ(
        Log({"a: initiate", "a: cancel during IO", "a: process", "b: initiate", "b: process"}),
        mLog);
}

TEST_F(DecodeQueueCancel, ARequestCancelledWhileItsIOFailsToStartGivesItsCostBackOnce)
{
    const auto queue = Create(1, 2);
    const auto a = Request("a");
    a->initiateResult = -1;
    a->onInitiate = [&] { queue->TryToCancelRequest(a); };
    queue->QueueRequest(a);
    const auto b = Request("b");
    const auto c = Request("c");
    const auto d = Request("d");
    for (const auto& request : {b, c, d})
        queue->QueueRequest(request);

    RunAll();

    EXPECT_EQ(Log({"a: initiate", "a: cancel during IO", "b: initiate", "c: initiate"}), mLog);
}

TEST_F(DecodeQueueCancel, ARequestInItsCPUStageIsToldAndGoesOn)
{
    const auto queue = Create(1, 1);
    const auto a = WithoutIO(Request("a"));
    a->cancelDuringCPUResult = -3;
    int result = 0;
    a->onProcess = [&] { result = queue->TryToCancelRequest(a); };
    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));

    RunAll();

    EXPECT_EQ(-3, result);
    EXPECT_EQ(Log({"a: initiate", "a: process", "a: cancel during CPU", "b: initiate"}), mLog);
}

TEST_F(DecodeQueueCancel, UnknownAndFinishedRequestsAreNotFound)
{
    const auto queue = Create(1, 1);
    const auto done = WithoutIO(Request("done"));
    queue->QueueRequest(done);
    RunAll();
    TakeLog();

    EXPECT_EQ(RK::kDecodeErrorRequestNotFound, queue->TryToCancelRequest(done));
    EXPECT_EQ(RK::kDecodeErrorRequestNotFound, queue->TryToCancelRequest(Request("unknown")));
    EXPECT_EQ(RK::kDecodeErrorRequestNotFound, queue->TryToCancelRequest(nullptr));
    EXPECT_EQ(Log(), mLog);
}

TEST_F(DecodeQueueCancel, RequestsAreToldApartByAddressAlsoIfTheyShareOneOwner)
{
    struct Pair
    {
        ScriptedRequest a, b;
    };
    const auto pair = boost::make_shared<Pair>();
    const ScriptedRequestPtr a = Made(ScriptedRequestPtr(pair, &pair->a));
    const ScriptedRequestPtr b = Made(ScriptedRequestPtr(pair, &pair->b));
    a->name = "a";
    b->name = "b";
    a->log = b->log = &mLog;
    const auto queue = Create(1, 2);
    queue->QueueRequest(a);
    queue->QueueRequest(b);
    RunAll();
    TakeLog();

    queue->TryToCancelRequest(a);
    a->Complete(0);
    b->Complete(0);
    RunAll();

    EXPECT_EQ(Log({"a: cancel during IO", "b: process"}), mLog);
}

TEST_F(DecodeQueueCancel, ACancelFromTheMiddleKeepsTheOrderOfPriorities)
{
    const auto queue = Create(1, 1, true);
    std::vector<ScriptedRequestPtr> requests;
    for (int priority = 1; priority <= 9; ++priority)
    {
        requests.push_back(WithoutIO(Prioritised(priority)));
        queue->QueueRequest(requests.back());
    }
    queue->TryToCancelRequest(requests[8]);
    queue->TryToCancelRequest(requests[4]);
    TakeLog();

    RunAll();

    Log order;
    for (const char* name : {"8", "7", "6", "4", "3", "2", "1"})
    {
        order.push_back(std::string(name) + ": initiate");
        order.push_back(std::string(name) + ": process");
    }
    EXPECT_EQ(order, mLog);
}

TEST_F(DecodeQueueCancel, ACancelFromTheMiddleOfTheCPUStageKeepsTheOrderOfPriorities)
{
    const auto queue = Create(1, 9, true);
    std::vector<ScriptedRequestPtr> requests;
    for (int priority = 1; priority <= 9; ++priority)
    {
        requests.push_back(WithoutIO(Prioritised(priority)));
        queue->QueueRequest(requests.back());
    }
    mShared.RunQueued();
    queue->TryToCancelRequest(requests[8]);
    queue->TryToCancelRequest(requests[4]);
    TakeLog();

    RunAll();

    EXPECT_EQ(Log({"8: process", "7: process", "6: process", "4: process", "3: process",
                   "2: process", "1: process"}),
              mLog);
}

TEST_F(DecodeQueueCancel, CancellingAllOnAnIdleQueueSucceeds)
{
    EXPECT_EQ(0, Create(1, 1)->TryToCancelAllRequests());
}

TEST_F(DecodeQueueCancel, CancellingAllTellsTheWaitingInOrderThenThoseInIOThenThoseInTheCPUStage)
{
    const auto queue = Create(1, 3);
    const auto inCPU = WithoutIO(Request("in CPU"));
    const auto inIO = Request("in IO");
    const auto decodable = Request("decodable");
    const auto waiting1 = Request("waiting 1");
    const auto waiting2 = Request("waiting 2");
    int result = 0;
    inCPU->onProcess = [&]
    {
        decodable->Complete(0);
        TakeLog();
        result = queue->TryToCancelAllRequests();
    };
    for (const auto& request : {inCPU, inIO, decodable, waiting1, waiting2})
        queue->QueueRequest(request);

    mShared.RunQueued();
    mOwn->RunOne();

    EXPECT_EQ(
        Log({"waiting 1: cancel queued", "waiting 2: cancel queued", "decodable: cancel queued",
             "in IO: cancel during IO", "in CPU: cancel during CPU"}),
        mLog);
    EXPECT_EQ(RK::kDecodeErrorCancelIncomplete, result);
}

TEST_F(DecodeQueueCancel, CancellingAllSucceedsIfEveryWaitingRequestDoes)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    a->cancelQueuedResult = 5; // positive is success
    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));

    EXPECT_EQ(0, queue->TryToCancelAllRequests());
    RunAll();

    EXPECT_EQ(Log({"a: cancel queued", "b: cancel queued"}), mLog);
    EXPECT_EQ(RK::kDecodeErrorRequestNotFound, queue->TryToCancelRequest(a));
}

TEST_F(DecodeQueueCancel, CancellingAllIsIncompleteIfOneWaitingRequestRefusesAndStillTellsTheRest)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    a->cancelQueuedResult = -1;
    queue->QueueRequest(a);
    queue->QueueRequest(Request("b"));

    EXPECT_EQ(RK::kDecodeErrorCancelIncomplete, queue->TryToCancelAllRequests());

    EXPECT_EQ(Log({"a: cancel queued", "b: cancel queued"}), mLog);
}

TEST_F(DecodeQueueCancel, CancellingAllIsIncompleteWithARequestInItsIOWhateverThatSays)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();

    EXPECT_EQ(RK::kDecodeErrorCancelIncomplete, queue->TryToCancelAllRequests());
    a->Complete(-1);
}

TEST_F(DecodeQueueCancel, CancellingAllIsIncompleteWithARequestInItsCPUStage)
{
    const auto queue = Create(1, 1);
    const auto a = WithoutIO(Request("a"));
    int result = 0;
    a->onProcess = [&] { result = queue->TryToCancelAllRequests(); };
    queue->QueueRequest(a);

    RunAll();

    EXPECT_EQ(RK::kDecodeErrorCancelIncomplete, result);
}

TEST_F(DecodeQueueCancel, AfterCancellingAllAReadThatSucceedsIsStillDecoded)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();

    queue->TryToCancelAllRequests();
    a->Complete(0);
    RunAll();

    EXPECT_EQ(Log({"a: initiate", "a: cancel during IO", "a: process"}), mLog);
}

TEST_F(DecodeQueueCancel, AfterCancellingAllARequestInItsIOCanBeCancelledAgain)
{
    const auto queue = Create(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();

    queue->TryToCancelAllRequests();
    EXPECT_EQ(0, queue->TryToCancelRequest(a));
    a->Complete(0);
    RunAll();

    EXPECT_EQ(Log({"a: initiate", "a: cancel during IO", "a: cancel during IO"}), mLog);
}

TEST_F(DecodeQueueCancel, CancellingAllGivesBackTheIOCostOfWhatWaitedForTheCPUStage)
{
    const auto queue = Create(1, 2);
    for (const char* name : {"a", "b"})
        queue->QueueRequest(WithoutIO(Request(name)));
    mShared.RunQueued();

    EXPECT_EQ(0, queue->TryToCancelAllRequests());
    TakeLog();
    queue->QueueRequest(Request("whole limit", 2));
    RunAll();

    EXPECT_EQ(Log({"whole limit: initiate"}), mLog);
}

TEST_F(DecodeQueueCancel, TheLastReferenceCancelsWhatWaitsInBothStages)
{
    auto queue = Create(1, 1);
    const auto a = WithoutIO(Request("a"));
    const auto b = Request("b");
    queue->QueueRequest(a);
    queue->QueueRequest(b);
    mShared.RunQueued();
    TakeLog();

    queue.reset();

    EXPECT_EQ(Log({"b: cancel queued", "a: cancel queued"}), mLog);
    EXPECT_EQ(1, a.use_count());
    EXPECT_EQ(1, b.use_count());
}

TEST_F(DecodeQueueCancel, APassThatIsStillScheduledDoesNotKeepTheQueueAlive)
{
    auto queue = Create(1, 2);
    const boost::weak_ptr<RK::DecodeQueue> watch = queue;
    queue->QueueRequest(WithoutIO(Request("a")));
    mShared.RunQueued();
    queue->QueueRequest(Request("b"));
    TakeLog();
    ASSERT_EQ(1u, mShared.DueCount());
    ASSERT_EQ(1u, mOwn->DueCount());

    queue.reset();
    EXPECT_TRUE(watch.expired());
    TakeLog();
    RunAll();

    EXPECT_EQ(Log(), mLog);
}

TEST_F(DecodeQueueCancel, AQueueOutlivesItsLastClientUntilTheIOUnderWayEnds)
{
    auto queue = Create(1, 1);
    const boost::weak_ptr<RK::DecodeQueue> watch = queue;
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();

    queue.reset();
    EXPECT_FALSE(watch.expired());

    a->Complete(0); // the completion was what held the queue
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(Log({"a: initiate", "a: cancel queued"}), mLog);
}

TEST_F(DecodeQueueCancel, AQueueWithoutClientsLivesOnUntilAFailedIOHasRetired)
{
    auto queue = Create(1, 1);
    const boost::weak_ptr<RK::DecodeQueue> watch = queue;
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();
    queue.reset();

    a->Complete(-1);
    EXPECT_FALSE(watch.expired());

    RunAll();
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(1, a.use_count());
}

TEST_F(DecodeQueueCancel, ARunningPassHoldsTheQueueForItsDuration)
{
    auto queue = Create(1, 1);
    const boost::weak_ptr<RK::DecodeQueue> watch = queue;
    const auto a = WithoutIO(Request("a"));
    bool alive = false;
    a->onProcess = [&]
    {
        queue.reset();
        alive = !watch.expired();
    };
    queue->QueueRequest(a);

    RunAll();

    EXPECT_TRUE(alive);
    EXPECT_TRUE(watch.expired());
}

TEST_F(DecodeQueueCancel, ACompletionDroppedUncalledLetsTheQueueGoAndTellsTheRequest)
{
    auto queue = Create(1, 1);
    const boost::weak_ptr<RK::DecodeQueue> watch = queue;
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();
    queue.reset();

    RK::DecodeRequest::CompletionFunction dropped;
    dropped.swap(a->completion);
    dropped.clear();

    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(Log({"a: initiate", "a: cancel during IO"}), mLog);
}

} // namespace
