// Real threads: clients that queue and cancel, a thread that ends I/O, and the pools that run stages.
#include <atomic>
#include <condition_variable>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "RiverKit/RKDecodeQueue.h"

namespace
{

constexpr int kMaxCPUCost = 3;
constexpr int kMaxIOCost = 8;

// Counts what is in a stage at a time, and remembers the most.
class Gauge
{
public:
    void Add(int inCost)
    {
        const int now = mNow += inCost;
        int most = mMost.load();
        while (now > most && !mMost.compare_exchange_weak(most, now))
        {
        }
    }
    void Subtract(int inCost) { mNow -= inCost; }
    int Most() const { return mMost; }
    int Now() const { return mNow; }

private:
    std::atomic<int> mNow{0};
    std::atomic<int> mMost{0};
};

struct Shared;

struct StressRequest : RK::DecodeRequest
{
    enum Kind
    {
        kLater,
        kLaterFails,
        kAtOnce,
        kNoIO,
        kFailsToStart,
    };
    Shared* shared = nullptr;
    Kind kind = kLater;
    int ioCost = 1;
    int cpuCost = 1;
    std::atomic<int> reads{0};
    std::atomic<int> decodes{0};
    std::atomic<int> queuedCancels{0};
    std::atomic<bool> cancelledInIO{false};
    // Plain on purpose: the stages must be ordered by the queue, which the thread sanitizer sees.
    int stages = 0;

    int InitiateIO(const CompletionFunction& inCompletion) override;
    int GetIOCost() override { return ioCost; }
    int GetCPUCost() override { return cpuCost; }
    int ProcessCPU() override;
    int CancelQueued() override;
    int CancelDuringCPU() override { return 0; }
    int CancelDuringIO() override
    {
        cancelledInIO = true;
        return 0;
    }
    bool HasPriorityOver(const RK::DecodeRequestPtr& inOther) override
    {
        const auto* const other = dynamic_cast<StressRequest*>(inOther.get());
        return !other || cpuCost > other->cpuCost; // the last request goes last
    }
};

struct Shared
{
    Gauge reading;
    Gauge decoding;

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::pair<StressRequest*, RK::DecodeRequest::CompletionFunction>> underWay;
    int ended = 0; // requests that will not be heard of any more
    bool stop = false;

    void End()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ++ended;
        changed.notify_all();
    }
    void CompleteIOUntilStopped()
    {
        std::mt19937 random(7);
        std::unique_lock<std::mutex> lock(mutex);
        for (;;)
        {
            changed.wait(lock, [this] { return stop || !underWay.empty(); });
            if (underWay.empty())
                return;
            const std::size_t index = random() % underWay.size(); // I/O ends in any order
            std::swap(underWay[index], underWay.back());
            auto [request, completion] = std::move(underWay.back());
            underWay.pop_back();
            lock.unlock();
            Complete(*request, completion);
            completion.clear(); // may be what keeps the request and the queue
            lock.lock();
        }
    }
    void Complete(StressRequest& ioRequest,
                  const RK::DecodeRequest::CompletionFunction& inCompletion)
    {
        const bool fails = ioRequest.kind == StressRequest::kLaterFails;
        ++ioRequest.stages;
        reading.Subtract(ioRequest.ioCost);
        inCompletion(fails ? -1 : 0);
        // A single cancel took it out: it will not be decoded. Whether it came too late shows only in
        // the end, so those are counted by the test.
        if (fails)
            End();
    }
};

int StressRequest::InitiateIO(const CompletionFunction& inCompletion)
{
    ++reads;
    ++stages;
    if (kind == kNoIO)
        return RK::kDecodeStatusNoIOPending;
    if (kind == kFailsToStart)
    {
        shared->End();
        return -1;
    }
    shared->reading.Add(ioCost);
    if (kind == kAtOnce)
    {
        shared->Complete(*this, inCompletion);
        return 0;
    }
    const std::lock_guard<std::mutex> lock(shared->mutex);
    shared->underWay.emplace_back(this, inCompletion);
    shared->changed.notify_all();
    return 0;
}

int StressRequest::ProcessCPU()
{
    ++decodes;
    ++stages;
    shared->decoding.Add(cpuCost);
    std::this_thread::yield();
    shared->decoding.Subtract(cpuCost);
    shared->End();
    return 0;
}

int StressRequest::CancelQueued()
{
    ++queuedCancels;
    shared->End();
    return 0;
}

/// Takes the whole of both limits, so that it runs only if nothing has stayed charged.
struct LastRequest : RK::DecodeRequest
{
    std::promise<void> done;
    int InitiateIO(const CompletionFunction&) override { return RK::kDecodeStatusNoIOPending; }
    int GetIOCost() override { return kMaxIOCost; }
    int GetCPUCost() override { return kMaxCPUCost; }
    int ProcessCPU() override
    {
        done.set_value();
        return 0;
    }
    int CancelQueued() override { return 0; }
    int CancelDuringCPU() override { return 0; }
    int CancelDuringIO() override { return 0; }
    bool HasPriorityOver(const RK::DecodeRequestPtr&) override { return false; }
};

using StressRequestPtr = boost::shared_ptr<StressRequest>;

class DecodeQueueStress : public ::testing::TestWithParam<bool>
{
protected:
    Shared mShared;

    StressRequestPtr Make(std::mt19937& ioRandom)
    {
        const auto request = boost::make_shared<StressRequest>();
        request->shared = &mShared;
        const StressRequest::Kind kinds[] = {
            StressRequest::kLater,  StressRequest::kLater, StressRequest::kLaterFails,
            StressRequest::kAtOnce, StressRequest::kNoIO,  StressRequest::kFailsToStart};
        request->kind = kinds[ioRandom() % 6];
        request->ioCost = 1 + static_cast<int>(ioRandom() % 4);
        request->cpuCost = 1 + static_cast<int>(ioRandom() % 3);
        return request;
    }
};

TEST_P(DecodeQueueStress, EveryRequestEndsOnceAndNothingStaysChargedUnderCancelsFromAllSides)
{
    constexpr int kClients = 3;
    constexpr int kRequestsEach = 1500;
    const RK::DecodeQueuePtr queue =
        RK::CreateDecodeQueue(nullptr, kMaxCPUCost, kMaxIOCost, GetParam());
    std::vector<StressRequestPtr> requests[kClients];
    std::thread completer([this] { mShared.CompleteIOUntilStopped(); });
    std::vector<std::thread> clients;
    for (int client = 0; client < kClients; ++client)
    {
        clients.emplace_back(
            [&, client]
            {
                std::mt19937 random(static_cast<unsigned>(client));
                std::vector<StressRequestPtr>& mine = requests[client];
                for (int i = 0; i < kRequestsEach; ++i)
                {
                    mine.push_back(Make(random));
                    queue->QueueRequest(mine.back());
                    if (random() % 4 == 0)
                        queue->TryToCancelRequest(
                            mine[mine.size() - 1 -
                                 random() % std::min<std::size_t>(mine.size(), 16)]);
                    if (random() % 400 == 0)
                        queue->TryToCancelAllRequests();
                    if (random() % 100 == 0)
                        queue->FlushAllRequests();
                }
            });
    }
    for (std::thread& client : clients)
        client.join();

    // The queue takes requests in order of arrival or priority, and this one comes last in both.
    const auto last = boost::make_shared<LastRequest>();
    std::future<void> done = last->done.get_future();
    queue->QueueRequest(last);
    ASSERT_EQ(std::future_status::ready, done.wait_for(std::chrono::seconds(120)));
    {
        const std::lock_guard<std::mutex> lock(mShared.mutex);
        mShared.stop = true;
        mShared.changed.notify_all();
    }
    completer.join();

    int decoded = 0;
    for (const auto& mine : requests)
    {
        for (const StressRequestPtr& request : mine)
        {
            EXPECT_LE(request->reads, 1);
            EXPECT_LE(request->decodes, 1);
            EXPECT_LE(request->decodes + request->queuedCancels, 1);
            EXPECT_TRUE(request->reads == 1 || request->queuedCancels == 1); // nothing lost
            const bool fails = request->kind == StressRequest::kLaterFails ||
                               request->kind == StressRequest::kFailsToStart;
            EXPECT_FALSE(fails && request->decodes != 0);
            EXPECT_TRUE(fails || request->cancelledInIO ||
                        request->decodes + request->queuedCancels == 1);
            EXPECT_TRUE(request->kind != StressRequest::kNoIO || request->queuedCancels == 1 ||
                        request->decodes == 1);
            decoded += request->decodes;
        }
    }
    EXPECT_GT(decoded, 0);
    EXPECT_LE(mShared.reading.Most(), kMaxIOCost);
    EXPECT_LE(mShared.decoding.Most(), kMaxCPUCost);
    EXPECT_EQ(0, mShared.reading.Now());
    EXPECT_EQ(0, mShared.decoding.Now());
}

INSTANTIATE_TEST_SUITE_P(BothOrders, DecodeQueueStress, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& inInfo)
                         { return inInfo.param ? "ByPriority" : "InOrder"; });

TEST(DecodeQueueLifetimeStress, QueuesMayBeDroppedByTheirClientsWhileIOIsUnderWay)
{
    Shared shared;
    std::thread completer([&] { shared.CompleteIOUntilStopped(); });
    std::vector<StressRequestPtr> requests;
    for (int i = 0; i < 300; ++i)
    {
        RK::DecodeQueuePtr queue = RK::CreateDecodeQueue(nullptr, 2, 4, false);
        for (int j = 0; j < 6; ++j)
        {
            requests.push_back(boost::make_shared<StressRequest>());
            requests.back()->shared = &shared;
            requests.back()->kind = j % 2 ? StressRequest::kLater : StressRequest::kLaterFails;
            queue->QueueRequest(requests.back());
        }
    }
    // Each of them is told that it waited, fails, or is decoded.
    {
        std::unique_lock<std::mutex> lock(shared.mutex);
        const bool all =
            shared.changed.wait_for(lock, std::chrono::seconds(120), [&]
                                    { return shared.ended == static_cast<int>(requests.size()); });
        EXPECT_TRUE(all) << shared.ended << " of " << requests.size();
        shared.stop = true;
        shared.changed.notify_all();
    }
    completer.join();
    for (const StressRequestPtr& request : requests)
        EXPECT_LE(request->decodes + request->queuedCancels, 1);
}

} // namespace
