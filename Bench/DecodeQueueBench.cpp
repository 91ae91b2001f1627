// What a decode queue costs per request, beside the plainest thing that does the same job.
//
// One item is one request that does nothing in either stage. It is queued by the measuring thread, goes
// through both stages, and the batch ends when its last request has been decoded; 2000 requests are a
// batch. "NoIO" requests say that they have nothing to read; "Completed" ones complete inside the start
// of their I/O. The limits are one decode a thread and 64 requests between the stages.
// "Identified" ones are the same through the queue that knows work by Guid, each with a Guid of its own; the
// plain queue beside it is the peer. In "Duplicates" one request is read and 1999 for its Guid are parked
// meanwhile: an item is the joining and completing of one of them.
// The plain queue's peer: two pools of plain threads, each a mutex, a deque and a condition variable; the first calls
// a request's first stage and hands it to the second. It knows no costs, no limits and no cancels.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/make_shared.hpp>

#include "PlainPool.h"
#include "RKDecodeQueue.h"
#include "RKIdentifiedDecodeQueue.h"

namespace
{

constexpr int kBatch = 2000;

class Latch
{
public:
    void CountDown()
    {
        if (--mCount == 0)
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mDone.notify_all();
        }
    }
    void Reset(int inCount) { mCount = inCount; }
    void Wait()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mDone.wait(lock, [this] { return mCount <= 0; });
    }

private:
    std::atomic<int> mCount{0};
    std::mutex mMutex;
    std::condition_variable mDone;
};

template <class Base>
class EmptyRequestOf : public Base
{
public:
    using CompletionFunction = RK::DecodeRequest::CompletionFunction;
    EmptyRequestOf(Latch& ioLatch, bool inHasIO, int inPriority)
        : mLatch(ioLatch)
        , mHasIO(inHasIO)
        , mPriority(inPriority)
    {
    }
    int InitiateIO(const CompletionFunction& inCompletion) override
    {
        if (!mHasIO)
            return RK::kDecodeStatusNoIOPending;
        inCompletion(0);
        return 0;
    }
    int GetIOCost() override { return 1; }
    int GetCPUCost() override { return 1; }
    int ProcessCPU() override
    {
        mLatch.CountDown();
        return 0;
    }
    int CancelQueued() override { return 0; }
    int CancelDuringCPU() override { return 0; }
    int CancelDuringIO() override { return 0; }
    bool HasPriorityOver(const RK::DecodeRequestPtr& inOther) override
    {
        return mPriority > static_cast<EmptyRequestOf&>(*inOther).mPriority;
    }

protected:
    Latch& mLatch;
    const bool mHasIO;
    const int mPriority;
};

using EmptyRequest = EmptyRequestOf<RK::DecodeRequest>;

class EmptyIdentifiedRequest : public EmptyRequestOf<RK::IdentifiedDecodeRequest>
{
public:
    EmptyIdentifiedRequest(Latch& ioLatch, bool inHasIO, int inGuid)
        : EmptyRequestOf(ioLatch, inHasIO, 0)
        , mGuid(inGuid, inGuid)
    {
    }
    qelcore::utility::Guid GetGuid() override { return mGuid; }
    void DuplicateCompleted(const RK::DecodeRequestPtr&, int) override { mLatch.CountDown(); }

private:
    const qelcore::utility::Guid mGuid;
};

/// Its I/O ends when it is told to.
class WaitingRequest : public EmptyIdentifiedRequest
{
public:
    using EmptyIdentifiedRequest::EmptyIdentifiedRequest;
    int InitiateIO(const CompletionFunction& inCompletion) override
    {
        mCompletion = inCompletion;
        return 0;
    }
    void EndIO()
    {
        CompletionFunction once;
        once.swap(mCompletion);
        once(0);
    }

private:
    CompletionFunction mCompletion;
};

void Run(benchmark::State& ioState, bool inHasIO, bool inUsePriority)
{
    const RK::DecodeQueuePtr queue = RK::CreateDecodeQueue(nullptr, -1, 64, inUsePriority);
    Latch latch;
    std::vector<RK::DecodeRequestPtr> requests;
    for (int i = 0; i < kBatch; ++i)
        requests.push_back(boost::make_shared<EmptyRequest>(latch, inHasIO, i * 7919 % kBatch));
    for (auto _ : ioState)
    {
        latch.Reset(kBatch);
        for (const RK::DecodeRequestPtr& request : requests)
            queue->QueueRequest(request);
        latch.Wait();
        // The last ones may still be on their way out, and must not be queued again before that.
        while (queue->TryToCancelAllRequests() != 0)
            std::this_thread::yield();
    }
    ioState.SetItemsProcessed(ioState.iterations() * kBatch);
}

void DecodeQueueNoIO(benchmark::State& ioState)
{
    Run(ioState, false, false);
}
void DecodeQueueCompleted(benchmark::State& ioState)
{
    Run(ioState, true, false);
}
void DecodeQueueCompletedByPriority(benchmark::State& ioState)
{
    Run(ioState, true, true);
}

/// Whether nothing is in the queue any more.
bool IsIdle(const RK::IdentifiedDecodeQueue& inQueue)
{
    unsigned long count[4];
    inQueue.GetItemCount(count[0], count[1], count[2], count[3]);
    return count[0] + count[1] + count[2] + count[3] == 0;
}

void RunIdentified(benchmark::State& ioState, bool inHasIO)
{
    const auto queue = RK::CreateIdentifiedDecodeQueue(nullptr, -1, 64, false);
    Latch latch;
    std::vector<RK::IdentifiedDecodeRequestPtr> requests;
    for (int i = 0; i < kBatch; ++i)
        requests.push_back(boost::make_shared<EmptyIdentifiedRequest>(latch, inHasIO, i));
    for (auto _ : ioState)
    {
        latch.Reset(kBatch);
        for (const auto& request : requests)
            queue->QueueIdentifiedRequest(request);
        latch.Wait();
        while (!IsIdle(*queue))
            std::this_thread::yield();
    }
    ioState.SetItemsProcessed(ioState.iterations() * kBatch);
}

void IdentifiedDecodeQueueNoIO(benchmark::State& ioState)
{
    RunIdentified(ioState, false);
}
void IdentifiedDecodeQueueCompleted(benchmark::State& ioState)
{
    RunIdentified(ioState, true);
}

void IdentifiedDecodeQueueDuplicates(benchmark::State& ioState)
{
    const auto queue = RK::CreateIdentifiedDecodeQueue(nullptr, -1, 64, false);
    Latch latch;
    const auto primary = boost::make_shared<WaitingRequest>(latch, true, 1);
    std::vector<RK::IdentifiedDecodeRequestPtr> duplicates;
    for (int i = 1; i < kBatch; ++i)
        duplicates.push_back(boost::make_shared<EmptyIdentifiedRequest>(latch, true, 1));
    for (auto _ : ioState)
    {
        latch.Reset(kBatch);
        queue->QueueIdentifiedRequest(primary);
        for (const auto& duplicate : duplicates)
            queue->QueueIdentifiedRequest(duplicate);
        primary->EndIO();
        latch.Wait();
    }
    ioState.SetItemsProcessed(ioState.iterations() * kBatch);
}

void PlainTwoStagePools(benchmark::State& ioState)
{
    const int threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    Latch latch;
    std::vector<RK::DecodeRequestPtr> requests;
    for (int i = 0; i < kBatch; ++i)
        requests.push_back(boost::make_shared<EmptyRequest>(latch, false, i));
    Bench::PlainPool decoding(threads);
    Bench::PlainPool reading(threads);
    for (auto _ : ioState)
    {
        latch.Reset(kBatch);
        for (const RK::DecodeRequestPtr& request : requests)
        {
            reading.Post(
                [&decoding, request]
                {
                    if (request->InitiateIO([](int) {}) >= 0)
                        decoding.Post([request] { request->ProcessCPU(); });
                });
        }
        latch.Wait();
    }
    ioState.SetItemsProcessed(ioState.iterations() * kBatch);
}

BENCHMARK(DecodeQueueNoIO)->UseRealTime();
BENCHMARK(DecodeQueueCompleted)->UseRealTime();
BENCHMARK(DecodeQueueCompletedByPriority)->UseRealTime();
BENCHMARK(IdentifiedDecodeQueueNoIO)->UseRealTime();
BENCHMARK(IdentifiedDecodeQueueCompleted)->UseRealTime();
BENCHMARK(IdentifiedDecodeQueueDuplicates)->UseRealTime();
BENCHMARK(PlainTwoStagePools)->UseRealTime();

} // namespace
