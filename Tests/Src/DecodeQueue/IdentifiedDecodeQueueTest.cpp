// Queueing by Guid: the fast path, the slow one, duplicates and how they are completed.
#include "IdentifiedDecodeQueueFixture.h"

using namespace Testing;

namespace
{

using IdentifiedDecodeQueue = IdentifiedDecodeQueueFixture;

TEST_F(IdentifiedDecodeQueue, OneGuidStartsTheWorkOnceAndTheDuplicateHearsWithWhatThePrimaryRetired)
{
    const auto queue = CreateIdentified(1, 1);
    const auto first = WithoutIO(For(kA, "first"));
    first->processResult = -5;
    const auto second = For(kA, "second");
    EXPECT_EQ(RK::kDecodeStatusNoIOPending, queue->QueueIdentifiedRequest(first));
    EXPECT_EQ(0, queue->QueueIdentifiedRequest(second));
    EXPECT_EQ((ItemCount{0, 0, 1, 0}), CountItems(*queue));
    RunAll();
    EXPECT_EQ((Log{"first: initiate", "first: process", "second: completed by first with -5"}),
              mLog);
    EXPECT_EQ((ItemCount{0, 0, 0, 0}), CountItems(*queue));
}

TEST_F(IdentifiedDecodeQueue, WithNoIOChargedTheIOBeginsOnTheCallersThreadWhateverTheLimits)
{
    for (const int limit : {0, 1, 100})
    {
        const auto queue = CreateIdentified(limit, limit);
        const auto request = For(kA, "a", 1000);
        request->initiateResult = 7;
        EXPECT_EQ(7, queue->QueueIdentifiedRequest(request));
        EXPECT_EQ((Log{"a: initiate"}), TakeLog()) << limit;
        EXPECT_EQ((ItemCount{0, 1, 0, 0}), CountItems(*queue));
        request->Complete(0);
        RunAll();
        EXPECT_EQ((Log{"a: process"}), TakeLog());
    }
}

TEST_F(IdentifiedDecodeQueue, ARequestWithoutIOThatStartsAtOnceGoesOnToItsCPUStage)
{
    const auto queue = CreateIdentified(1, 1);
    EXPECT_EQ(RK::kDecodeStatusNoIOPending, queue->QueueIdentifiedRequest(WithoutIO(For(kA, "a"))));
    EXPECT_EQ((ItemCount{0, 0, 1, 0}), CountItems(*queue));
    RunAll();
    EXPECT_EQ((Log{"a: initiate", "a: process"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, TheFastPathReportsAFailureToStartAndHasRetiredTheRequestByThen)
{
    const auto queue = CreateIdentified(1, 1);
    const auto failing = For(kA, "failing");
    failing->initiateResult = -9;
    EXPECT_EQ(-9, queue->QueueIdentifiedRequest(failing));
    EXPECT_EQ((ItemCount{0, 0, 0, 0}), CountItems(*queue));
    EXPECT_EQ(1, failing.use_count());
    // Nothing stayed charged, and the Guid is free.
    EXPECT_EQ(RK::kDecodeStatusNoIOPending,
              queue->QueueIdentifiedRequest(WithoutIO(For(kA, "next"))));
    RunAll();
    EXPECT_EQ((Log{"failing: initiate", "next: initiate", "next: process"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, WithAnyIOChargedTheIOBeginsOnTheExecutor)
{
    const auto queue = CreateIdentified(8, 8);
    const auto charge = ChargeIO(queue);
    EXPECT_EQ(0, queue->QueueIdentifiedRequest(WithoutIO(For(kA, "a"))));
    EXPECT_EQ(Log(), mLog);
    EXPECT_EQ((ItemCount{1, 1, 0, 0}), CountItems(*queue));
    mShared.RunQueued();
    EXPECT_EQ((Log{"a: initiate"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, IOThatIsChargedInTheCPUStageKeepsTheNextRequestOffTheFastPath)
{
    const auto queue = CreateIdentified(8, 8);
    queue->QueueIdentifiedRequest(WithoutIO(For(kA, "a")));
    ASSERT_EQ((ItemCount{0, 0, 1, 0}), CountItems(*queue));
    EXPECT_EQ(0, queue->QueueIdentifiedRequest(For(kB, "b")));
    EXPECT_EQ((Log{"a: initiate"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, RequestsThatCostNothingAllTakeTheFastPath)
{
    const auto queue = CreateIdentified(1, 1);
    for (const Guid& guid : {kA, kB, kC})
        EXPECT_EQ(0, queue->QueueIdentifiedRequest(For(guid, "free", 0)));
    EXPECT_EQ((ItemCount{0, 3, 0, 0}), CountItems(*queue));
}

TEST_F(IdentifiedDecodeQueue, AFailureOnTheSlowPathIsToldToTheDuplicatesOnly)
{
    const auto queue = CreateIdentified(8, 8);
    const auto charge = ChargeIO(queue);
    const auto failing = For(kA, "failing");
    failing->initiateResult = -9;
    EXPECT_EQ(0, queue->QueueIdentifiedRequest(failing));
    EXPECT_EQ(0, queue->QueueIdentifiedRequest(For(kA, "second")));
    RunAll();
    EXPECT_EQ((Log{"failing: initiate", "second: completed by failing with -9"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, AFailedIOIsWhatTheDuplicatesHear)
{
    const auto queue = CreateIdentified(8, 8);
    const auto first = For(kA, "first");
    queue->QueueIdentifiedRequest(first);
    queue->QueueIdentifiedRequest(For(kA, "second"));
    TakeLog();
    first->Complete(-77);
    EXPECT_EQ(Log(), mLog); // not on the thread of the I/O
    RunAll();
    EXPECT_EQ((Log{"second: completed by first with -77"}), mLog);
}

TEST_F(IdentifiedDecodeQueue,
       DuplicatesAreCompletedInTheOrderOfTheirArrivalAfterTheStagesWereScheduled)
{
    const auto queue = CreateIdentified(1, 1);
    const auto first = WithoutIO(For(kA, "first"));
    queue->QueueIdentifiedRequest(first);
    queue->QueueIdentifiedRequest(WithoutIO(For(kB, "waiting")));
    const auto second = For(kA, "second");
    std::size_t due = 0;
    second->onCompleted = [&] { due = mShared.DueCount(); };
    queue->QueueIdentifiedRequest(second);
    queue->QueueIdentifiedRequest(For(kA, "third"));
    ASSERT_EQ(0u, mShared.DueCount());
    RunAll();
    EXPECT_EQ((Log{"first: initiate", "first: process", "second: completed by first with 0",
                   "third: completed by first with 0", "waiting: initiate", "waiting: process"}),
              mLog);
    EXPECT_EQ(1u, due);
}

TEST_F(IdentifiedDecodeQueue, DuplicatesOfOtherGuidsHearNothing)
{
    const auto queue = CreateIdentified(8, 8);
    const auto a = For(kA, "a");
    const auto b = For(kB, "b");
    queue->QueueIdentifiedRequest(a);
    queue->QueueIdentifiedRequest(b);
    queue->QueueIdentifiedRequest(For(kB, "b2"));
    mShared.RunQueued();
    TakeLog();
    a->Complete(0);
    RunAll();
    EXPECT_EQ((Log{"a: process"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, DuplicatesNeverEnterAStageAndCostNothing)
{
    const auto queue = CreateIdentified(8, 2);
    const auto first = For(kA, "first");
    queue->QueueIdentifiedRequest(first);
    for (int i = 0; i < 5; ++i)
        queue->QueueIdentifiedRequest(For(kA, "duplicate", 1000));
    EXPECT_EQ((ItemCount{0, 1, 0, 0}), CountItems(*queue));
    // There is room for one more read.
    queue->QueueIdentifiedRequest(For(kB, "b"));
    mShared.RunQueued();
    EXPECT_EQ((ItemCount{0, 2, 0, 0}), CountItems(*queue));
}

TEST_F(IdentifiedDecodeQueue, AGuidIsFreeAgainOnceItsPrimaryHasRetired)
{
    const auto queue = CreateIdentified(1, 1);
    for (int i = 0; i < 2; ++i)
    {
        queue->QueueIdentifiedRequest(WithoutIO(For(kA, "a")));
        RunAll();
    }
    EXPECT_EQ((Log{"a: initiate", "a: process", "a: initiate", "a: process"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, ADuplicateMayQueueTheSameGuidAgainWhenItIsCompleted)
{
    const auto queue = CreateIdentified(1, 1);
    const auto again = WithoutIO(For(kA, "again"));
    const auto second = For(kA, "second");
    second->onCompleted = [&] { queue->QueueIdentifiedRequest(again); };
    queue->QueueIdentifiedRequest(WithoutIO(For(kA, "first")));
    queue->QueueIdentifiedRequest(second);
    RunAll();
    EXPECT_EQ((Log{"first: initiate", "first: process", "second: completed by first with 0",
                   "again: initiate", "again: process"}),
              mLog);
}

TEST_F(IdentifiedDecodeQueue, TheCompletionOfAFastIOMayRunBeforeTheQueueingReturns)
{
    const auto queue = CreateIdentified(1, 1);
    const auto first = For(kA, "first");
    first->onInitiate = [&]
    {
        queue->QueueIdentifiedRequest(For(kA, "second")); // the Guid is taken already
        first->Complete(-3);
    };
    EXPECT_EQ(0, queue->QueueIdentifiedRequest(first));
    RunAll();
    EXPECT_EQ((Log{"first: initiate", "second: completed by first with -3"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, PrioritiesDecideAmongTheRequestsThatWait)
{
    const auto queue = CreateIdentified(8, 8, true);
    const auto charge = ChargeIO(queue);
    const auto low = For(kA, "low");
    const auto high = For(kB, "high");
    high->priority = 1;
    queue->QueueIdentifiedRequest(low);
    queue->QueueIdentifiedRequest(high);
    mShared.RunQueued();
    EXPECT_EQ((Log{"high: initiate", "low: initiate"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, ADroppedQueueCancelsWhatWaitsAndTellsNoDuplicate)
{
    auto queue = CreateIdentified(8, 8);
    queue->QueueIdentifiedRequest(WithoutIO(For(kA, "a")));
    const auto duplicate = For(kA, "duplicate");
    queue->QueueIdentifiedRequest(duplicate);
    queue->QueueIdentifiedRequest(For(kB, "b"));
    TakeLog();
    queue.reset();
    EXPECT_EQ((Log{"b: cancel queued", "a: cancel queued"}), mLog);
    EXPECT_EQ(1, duplicate.use_count());
}

TEST_F(IdentifiedDecodeQueue, AnIOUnderWayKeepsTheQueueAndItsDuplicatesUntilItEnds)
{
    auto queue = CreateIdentified(8, 8);
    const auto first = For(kA, "first");
    queue->QueueIdentifiedRequest(first);
    queue->QueueIdentifiedRequest(For(kA, "second"));
    queue.reset();
    TakeLog();
    first->Complete(-4);
    RunAll();
    EXPECT_EQ((Log{"second: completed by first with -4"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, FlushingMeetsTheQueuesExecutor)
{
    const auto queue = CreateIdentified(8, 8);
    queue->QueueIdentifiedRequest(WithoutIO(For(kA, "a")));
    EXPECT_EQ(0, queue->FlushAllIdentifiedRequests());
    EXPECT_EQ((Log{"a: initiate", "a: process"}), mLog);
}

TEST_F(IdentifiedDecodeQueue, WithoutAnExecutorTheSharedOneRunsTheCPUStage)
{
    const auto queue = RK::CreateIdentifiedDecodeQueue(nullptr, -1, -1, false);
    queue->QueueIdentifiedRequest(WithoutIO(For(kA, "a")));
    EXPECT_EQ(0u, mOwn->DueCount());
    mShared.RunQueued();
    EXPECT_EQ((Log{"a: initiate", "a: process"}), mLog);
}

} // namespace
