// What a decode queue costs per request, beside the plainest thing that does the same job.
//
// One item is one request that does nothing in either stage. It is queued by the measuring thread, goes
// through both stages, and the batch ends when its last request has been decoded; 2000 requests are a
// batch. "NoIO" requests say that they have nothing to read; "Completed" ones complete inside the start
// of their I/O. The limits are one decode a thread and 64 requests between the stages.
// The peer: two pools of plain threads, each a mutex, a deque and a condition variable; the first calls
// a request's first stage and hands it to the second. It knows no costs, no limits and no cancels.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/make_shared.hpp>

#include "RKDecodeQueue.h"

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

class EmptyRequest : public RK::DecodeRequest
{
public:
    EmptyRequest(Latch& ioLatch, bool inHasIO, int inPriority)
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
        return mPriority > static_cast<EmptyRequest&>(*inOther).mPriority;
    }

private:
    Latch& mLatch;
    const bool mHasIO;
    const int mPriority;
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

class PlainPool
{
public:
    explicit PlainPool(unsigned inThreads)
    {
        for (unsigned i = 0; i < inThreads; ++i)
            mThreads.emplace_back([this] { Work(); });
    }
    ~PlainPool()
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mStop = true;
        }
        mWork.notify_all();
        for (std::thread& thread : mThreads)
            thread.join();
    }
    void Post(std::function<void()> inJob)
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mJobs.push_back(std::move(inJob));
        }
        mWork.notify_one();
    }

private:
    void Work()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        for (;;)
        {
            mWork.wait(lock, [this] { return mStop || !mJobs.empty(); });
            if (mJobs.empty())
                return;
            const std::function<void()> job = std::move(mJobs.front());
            mJobs.pop_front();
            lock.unlock();
            job();
            lock.lock();
        }
    }

    std::mutex mMutex;
    std::condition_variable mWork;
    std::deque<std::function<void()>> mJobs;
    bool mStop = false;
    std::vector<std::thread> mThreads;
};

void PlainTwoStagePools(benchmark::State& ioState)
{
    const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    Latch latch;
    std::vector<RK::DecodeRequestPtr> requests;
    for (int i = 0; i < kBatch; ++i)
        requests.push_back(boost::make_shared<EmptyRequest>(latch, false, i));
    PlainPool decoding(threads);
    PlainPool reading(threads);
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
BENCHMARK(PlainTwoStagePools)->UseRealTime();

} // namespace
