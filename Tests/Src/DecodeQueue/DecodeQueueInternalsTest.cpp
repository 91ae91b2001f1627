#include <limits>
#include <set>
#include <thread>
#include <tuple>

#include <boost/smart_ptr/bad_weak_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "DecodeQueueFixture.h"
#include "InspectedQueue.h"

using namespace Testing;

namespace
{

class DecodeQueueInternals : public DecodeQueueFixture
{
protected:
    using Retired = std::tuple<std::string, int, bool>;
    std::vector<Retired> mRetired;

    boost::shared_ptr<InspectedQueue> Inspected(int inMaxCPUCost, int inMaxIOCost,
                                                bool inUsePriority = false)
    {
        const auto queue = InspectedQueue::Create(mOwn, inMaxCPUCost, inMaxIOCost, inUsePriority);
        queue->onRetire = [this](const RK::DecodeRequestPtr& inRequest, int inStatus, bool inDone)
        {
            mRetired.emplace_back(dynamic_cast<ScriptedRequest&>(*inRequest).name, inStatus,
                                  inDone);
        };
        return queue;
    }
};

struct Adjusted
{
    qelcore::threads::AsyncExecutorPtr executor;
    std::int32_t cpu;
    std::int32_t io;
};

Adjusted Adjust(qelcore::threads::AsyncExecutorPtr inExecutor, std::int32_t inCPU,
                std::int32_t inIO)
{
    RK::AdjustCreateParams(inExecutor, inCPU, inIO);
    return {inExecutor, inCPU, inIO};
}

TEST_F(DecodeQueueInternals, LimitsOfZeroOrMoreStandAsTheyAre)
{
    for (const int limit : {0, 1, 7, std::numeric_limits<int>::max()})
    {
        EXPECT_EQ(limit, Adjust(mOwn, limit, 1).cpu);
        EXPECT_EQ(limit, Adjust(mOwn, 1, limit).io);
    }
}

TEST_F(DecodeQueueInternals, NegativeLimitsAreMultiplesOfTheExecutorsParallelism)
{
    EXPECT_EQ(16, Adjust(mOwn, -2, 1).cpu);
    EXPECT_EQ(16, Adjust(mOwn, 1, -2).io);
    EXPECT_EQ(8, Adjust(mOwn, -1, 1).cpu);
    EXPECT_EQ(4, Adjust(nullptr, -1, 1).cpu); // of the shared executor
}

TEST_F(DecodeQueueInternals, AMultipleBeyondTheRangeBecomesTheLargestLimit)
{
    const Adjusted adjusted = Adjust(mOwn, std::numeric_limits<int>::min(), -300000000);

    EXPECT_EQ(std::numeric_limits<int>::max(), adjusted.cpu);
    EXPECT_EQ(std::numeric_limits<int>::max(), adjusted.io);
}

TEST_F(DecodeQueueInternals, ACPULimitOfExactlyOneMakesTheExecutorSerial)
{
    const auto mostAtATime = [this](const Adjusted& inAdjusted)
    {
        int depth = 0;
        int most = 0;
        for (int i = 0; i < 4; ++i)
        {
            inAdjusted.executor->Post(
                [&]
                {
                    most = std::max(most, ++depth);
                    mOwn->RunQueued();
                    --depth;
                },
                0);
        }
        mOwn->RunQueued();
        return most;
    };

    EXPECT_EQ(1, mostAtATime(Adjust(mOwn, 1, 5)));
    EXPECT_EQ(4, mostAtATime(Adjust(mOwn, 2, 5)));
    EXPECT_EQ(4, mostAtATime(Adjust(mOwn, 0, 5)));
    EXPECT_EQ(4, mostAtATime(Adjust(mOwn, -1, 1)));
    const auto single = boost::make_shared<ManualExecutor>(1); // -1 gives 1 here
    EXPECT_EQ(1, Adjust(single, -1, 1).cpu);
}

TEST_F(DecodeQueueInternals, ARequestRetiresOnceWithTheStatusOfItsCPUStage)
{
    const auto queue = Inspected(1, 1);
    const auto a = WithoutIO(Request("a"));
    a->processResult = -5;
    queue->QueueRequest(a);

    RunAll();

    EXPECT_EQ(std::vector<Retired>({Retired("a", -5, true)}), mRetired);
}

TEST_F(DecodeQueueInternals, ARequestThatCannotStartItsIORetiresAtOnceWithThatStatus)
{
    const auto queue = Inspected(1, 1);
    const auto a = Request("a");
    a->initiateResult = -6;
    queue->QueueRequest(a);

    mShared.RunOne();

    EXPECT_EQ(std::vector<Retired>({Retired("a", -6, false)}), mRetired);
}

TEST_F(DecodeQueueInternals, AFailedIORetiresOnTheExecutorWithItsStatus)
{
    const auto queue = Inspected(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();

    a->Complete(-8);
    EXPECT_TRUE(mRetired.empty());
    EXPECT_EQ(1u, mOwn->DueCount()); // posted without a delay
    mOwn->RunOne();

    EXPECT_EQ(std::vector<Retired>({Retired("a", -8, false)}), mRetired);
}

TEST_F(DecodeQueueInternals, ARequestCancelledInItsIORetiresAsCancelledWhenTheIOSucceeds)
{
    const auto queue = Inspected(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();
    queue->TryToCancelRequest(a);
    EXPECT_EQ(1, queue->CurrentIOCost());

    a->Complete(0);
    EXPECT_EQ(1, queue->CurrentIOCost());
    RunAll();

    EXPECT_EQ(std::vector<Retired>({Retired("a", RK::kDecodeErrorRequestCancelled, false)}),
              mRetired);
    EXPECT_EQ(0, queue->CurrentIOCost());
}

TEST_F(DecodeQueueInternals, ARequestCancelledInItsIOKeepsItsOwnFailure)
{
    const auto queue = Inspected(1, 1);
    const auto a = Request("a");
    queue->QueueRequest(a);
    RunAll();
    queue->TryToCancelRequest(a);

    a->Complete(-9);
    RunAll();

    EXPECT_EQ(std::vector<Retired>({Retired("a", -9, false)}), mRetired);
}

TEST_F(DecodeQueueInternals, ARequestToldToCancelWithAllOthersKeepsItsOwnStatus)
{
    const auto queue = Inspected(1, 1);
    const auto a = Request("a");
    a->processResult = 3;
    queue->QueueRequest(a);
    RunAll();

    queue->TryToCancelAllRequests();
    EXPECT_EQ(1u, queue->ActiveIO().size());
    a->Complete(0);
    RunAll();

    EXPECT_EQ(std::vector<Retired>({Retired("a", 3, true)}), mRetired);
}

TEST_F(DecodeQueueInternals, CancelledBetweenTheStagesARequestDoesNotRetire)
{
    const auto queue = Inspected(1, 1);
    const auto a = WithoutIO(Request("a"));
    queue->QueueRequest(a);
    mShared.RunQueued();
    EXPECT_EQ(1, queue->CurrentIOCost());

    queue->TryToCancelRequest(a);
    EXPECT_EQ(0, queue->CurrentIOCost());
    RunAll();

    EXPECT_TRUE(mRetired.empty());
}

TEST_F(DecodeQueueInternals, ARetiringRequestSchedulesTheIOStageFirst)
{
    // Both stages on one executor, so that the order shows.
    const auto queue = InspectedQueue::Create(mFactory.cpu, 1, 2, false);
    const auto a = WithoutIO(Request("a"));
    a->onProcess = [&]
    {
        queue->QueueRequest(Request("c"));
        EXPECT_EQ(0u, mShared.DueCount()); // both stages are full
    };
    queue->QueueRequest(a);
    queue->QueueRequest(WithoutIO(Request("b")));

    mShared.RunQueued();

    EXPECT_EQ(Log({"a: initiate", "b: initiate", "a: process", "c: initiate", "b: process"}), mLog);
}

TEST_F(DecodeQueueInternals, AFullCPUStageIsNotScheduledByWhatArrivesThere)
{
    const auto queue = Inspected(1, 3);
    const auto a = WithoutIO(Request("a"));
    const auto b = Request("b");
    std::size_t due = 99;
    a->onProcess = [&]
    {
        queue->QueueRequest(WithoutIO(Request("c")));
        mShared.RunQueued();
        b->Complete(0);
        due = mOwn->DueCount();
    };
    queue->QueueRequest(a);
    queue->QueueRequest(b);
    mShared.RunQueued();

    mOwn->RunOne();

    EXPECT_EQ(0u, due);
    EXPECT_EQ(1u, mOwn->DueCount()); // as of a's retirement
}

TEST_F(DecodeQueueInternals, TheLastRequestToRetireSchedulesNothing)
{
    const auto queue = Inspected(1, 1);
    queue->QueueRequest(WithoutIO(Request("a")));
    mShared.RunQueued();

    mOwn->RunOne();

    EXPECT_EQ(0u, mShared.DueCount());
    EXPECT_EQ(0u, mOwn->DueCount());
}

TEST_F(DecodeQueueInternals, CostsAreChargedFromTheStartOfTheIOUntilTheRequestRetires)
{
    const auto queue = Inspected(10, 10);
    const auto a = Request("a", 3, 4);
    queue->QueueRequest(a);
    EXPECT_EQ(0, queue->CurrentIOCost());

    a->onInitiate = [&] { EXPECT_EQ(3, queue->CurrentIOCost()); };
    mShared.RunQueued();
    a->Complete(0);
    EXPECT_EQ(3, queue->CurrentIOCost());
    EXPECT_EQ(0, queue->CurrentCPUCost());

    a->onProcess = [&]
    {
        EXPECT_EQ(3, queue->CurrentIOCost());
        EXPECT_EQ(4, queue->CurrentCPUCost());
    };
    mOwn->RunQueued();
    EXPECT_EQ(0, queue->CurrentIOCost());
    EXPECT_EQ(0, queue->CurrentCPUCost());
}

TEST_F(DecodeQueueInternals, EachRequestIsInExactlyTheListOfItsStage)
{
    const auto queue = Inspected(1, 2);
    const auto a = Request("a");
    const std::vector<RK::DecodeRequestPtr> none, one{a};
    const auto expect = [&](int inStage)
    {
        EXPECT_EQ(inStage == 1 ? one : none, queue->PendingIO());
        EXPECT_EQ(inStage == 2 ? one : none, queue->ActiveIO());
        EXPECT_EQ(inStage == 3 ? one : none, queue->PendingCPU());
        EXPECT_EQ(inStage == 4 ? one : none, queue->ActiveCPU());
    };
    a->onInitiate = [&] { expect(2); };
    a->onProcess = [&] { expect(4); };

    queue->QueueRequest(a);
    expect(1);
    mShared.RunQueued();
    expect(2);
    a->Complete(0);
    expect(3);
    mOwn->RunQueued();
    expect(5);
    EXPECT_EQ(2u, mLog.size());
}

TEST_F(DecodeQueueInternals, WithoutAnOwnerStartingAndEndingIOThrow)
{
    InspectedQueue queue(mOwn, 1, 1, false);
    const auto a = Request("a");

    EXPECT_THROW(queue.InitiateIO(a), boost::bad_weak_ptr);
    EXPECT_THROW(queue.IOCompleted(a, -1), boost::bad_weak_ptr);
    EXPECT_EQ(Log(), mLog);
}

class CountingExecutor : public ManualExecutor
{
public:
    int flushes = 0;
    void Flush() override { ++flushes; }
};

TEST_F(DecodeQueueInternals, FlushingTellsTheQueuesExecutorToFlush)
{
    const auto executor = boost::make_shared<CountingExecutor>();
    const auto queue = InspectedQueue::Create(executor, 1, 1, false);

    EXPECT_EQ(0, queue->FlushAllRequests());

    EXPECT_EQ(1, executor->flushes);
}

// Looks at the queue's lock from another thread in each of its operations.
class LockProbe : public ScriptedRequest
{
public:
    InspectedQueue* queue = nullptr;
    std::set<std::string> costTags;
    std::set<std::string> compareTags;
    int lockedCalls = 0;
    int unlockedQuestions = 0;
    int calls = 0;

    int InitiateIO(const CompletionFunction& inCompletion) override
    {
        LookWhereNoLockIsAllowed();
        return ScriptedRequest::InitiateIO(inCompletion);
    }
    int GetIOCost() override
    {
        NoteTag(costTags);
        return ScriptedRequest::GetIOCost();
    }
    int GetCPUCost() override
    {
        NoteTag(costTags);
        return ScriptedRequest::GetCPUCost();
    }
    int ProcessCPU() override
    {
        LookWhereNoLockIsAllowed();
        return ScriptedRequest::ProcessCPU();
    }
    int CancelQueued() override
    {
        LookWhereNoLockIsAllowed();
        return ScriptedRequest::CancelQueued();
    }
    int CancelDuringCPU() override
    {
        LookWhereNoLockIsAllowed();
        return ScriptedRequest::CancelDuringCPU();
    }
    int CancelDuringIO() override
    {
        LookWhereNoLockIsAllowed();
        return ScriptedRequest::CancelDuringIO();
    }
    bool HasPriorityOver(const RK::DecodeRequestPtr& inOther) override
    {
        NoteTag(compareTags);
        return ScriptedRequest::HasPriorityOver(inOther);
    }

private:
    void LookWhereNoLockIsAllowed()
    {
        ++calls;
        std::thread([this] { lockedCalls += queue->IsLocked() ? 1 : 0; }).join();
    }
    void NoteTag(std::set<std::string>& ioTags)
    {
        const char* const tag = queue->HolderTag();
        unlockedQuestions += tag ? 0 : 1;
        ioTags.insert(tag ? tag : "");
    }
};

class DecodeQueueLocks : public DecodeQueueInternals
{
protected:
    boost::shared_ptr<InspectedQueue> mQueue = Inspected(2, 4, true);
    int mProbes = 0;

    boost::shared_ptr<LockProbe> Probe(const std::string& inName)
    {
        const auto probe = Made(boost::make_shared<LockProbe>());
        probe->name = inName;
        probe->priority = -mProbes++; // in order of making
        probe->log = &mLog;
        probe->queue = mQueue.get();
        return probe;
    }
    static void Forget(LockProbe& ioProbe)
    {
        ioProbe.costTags.clear();
        ioProbe.compareTags.clear();
    }
    using Tags = std::set<std::string>;
};

TEST_F(DecodeQueueLocks, NoOperationOfARequestButCostsAndPriorityIsCalledUnderTheLock)
{
    const auto a = Probe("a"), b = Probe("b"), c = Probe("c"), d = Probe("d"), e = Probe("e");
    d->initiateResult = RK::kDecodeStatusNoIOPending;
    e->initiateResult = -1;
    for (const auto& probe : {a, b, c, d, e})
        mQueue->QueueRequest(probe);
    mQueue->TryToCancelRequest(a); // queued
    RunAll();
    mQueue->TryToCancelRequest(b); // in its I/O
    b->Complete(0);
    c->onProcess = [&] { mQueue->TryToCancelRequest(c); };
    c->Complete(0);
    RunAll();
    const auto f = Probe("f"), g = Probe("g");
    mQueue->QueueRequest(f);
    mShared.RunQueued();
    mQueue->QueueRequest(g);
    mQueue->TryToCancelAllRequests();
    f->Complete(-1);
    RunAll();

    int calls = 0;
    for (const auto& probe : {a, b, c, d, e, f, g})
    {
        calls += probe->calls;
        EXPECT_EQ(0, probe->lockedCalls) << probe->name;
        EXPECT_EQ(0, probe->unlockedQuestions) << probe->name;
    }
    EXPECT_EQ(static_cast<int>(mLog.size()), calls);
    EXPECT_EQ(Log({"a: cancel queued", "b: initiate", "c: initiate", "d: initiate", "e: initiate",
                   "d: process", "b: cancel during IO", "c: process", "c: cancel during CPU",
                   "f: initiate", "g: cancel queued", "f: cancel during IO"}),
              mLog);
}

TEST_F(DecodeQueueLocks, EachOperationLocksUnderItsOwnTag)
{
    const auto a = Probe("a");
    const auto b = Probe("b");
    mQueue->QueueRequest(a);
    mQueue->QueueRequest(b);
    EXPECT_EQ(Tags({"DecodeQueueImpl::QueueRequest"}), b->compareTags);
    Forget(*a);
    Forget(*b);

    mShared.RunOne();
    mShared.RunOne();
    EXPECT_EQ(Tags({"DecodeQueueImpl::PopIfAllowed"}), a->costTags);

    a->Complete(0);
    Forget(*a);
    Forget(*b);
    b->Complete(0);
    EXPECT_EQ(Tags({"DecodeQueueImpl::IOCompleted"}), b->compareTags);

    Forget(*b);
    mQueue->TryToCancelRequest(b);
    EXPECT_EQ(Tags({"DecodeQueueImpl::TryToCancelRequest"}), b->costTags);

    const auto c = Probe("c");
    c->initiateResult = RK::kDecodeStatusNoIOPending;
    mQueue->QueueRequest(c);
    Forget(*c);
    mShared.RunOne();
    EXPECT_EQ(Tags({"DecodeQueueImpl::ProcessPendingIO1"}), c->compareTags);

    Forget(*a);
    Forget(*c);
    mQueue->TryToCancelAllRequests();
    EXPECT_EQ(Tags({"DecodeQueueImpl::TryToCancelAllRequests"}), c->costTags);
    EXPECT_EQ(Tags({"DecodeQueueImpl::TryToCancelAllRequests"}), a->costTags);
}

TEST_F(DecodeQueueLocks, RetiringLocksUnderTheTagThatAllDecodeQueuesShare)
{
    const auto a = Probe("a");
    mQueue->QueueRequest(a);
    mShared.RunQueued();
    a->onProcess = [&] { Forget(*a); };
    a->Complete(0);

    mOwn->RunQueued();

    EXPECT_EQ(Tags({"IdentifiedDecodeQueueImpl::DecodeQueueImpl"}), a->costTags);
}

TEST_F(DecodeQueueLocks, RequestsAreDestroyedWithoutTheLock)
{
    struct Dying : ScriptedRequest
    {
        InspectedQueue* queue = nullptr;
        int* locked = nullptr;
        int* destroyed = nullptr;
        ~Dying() override
        {
            ++*destroyed;
            std::thread([this] { *locked += queue->IsLocked() ? 1 : 0; }).join();
        }
    };
    int locked = 0;
    int destroyed = 0;
    const auto queueDying = [&](int inInitiateResult)
    {
        const auto request = Made(boost::make_shared<Dying>());
        request->queue = mQueue.get();
        request->locked = &locked;
        request->destroyed = &destroyed;
        request->initiateResult = inInitiateResult;
        mQueue->QueueRequest(request);
    };
    queueDying(RK::kDecodeStatusNoIOPending); // decoded
    queueDying(-1);                           // cannot start
    RunAll();
    queueDying(RK::kDecodeStatusNoIOPending); // cancelled, before the second stage
    mShared.RunQueued();
    queueDying(0); // cancelled, before the first
    mQueue->TryToCancelAllRequests();

    EXPECT_EQ(4, destroyed);
    EXPECT_EQ(0, locked);
}

} // namespace
