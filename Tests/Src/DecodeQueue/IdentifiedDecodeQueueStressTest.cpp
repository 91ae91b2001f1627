// Eight clients that ask for few Guids at a time, a thread that ends I/O, and the pools that run stages.
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "RiverKit/RKDecodeQueueCounters.h"
#include "RiverKit/RKIdentifiedDecodeQueue.h"

namespace
{

using qelcore::utility::Guid;

constexpr int kClients = 8;
constexpr int kGuids = 12;
constexpr int kRequestsEach = 600;

struct Shared
{
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<RK::DecodeRequest::CompletionFunction> underWay;
    bool stop = false;
    std::array<std::atomic<int>, kGuids> working{}; // requests between the start of I/O and decoded
    std::atomic<int> mostWorking{0};

    void CompleteIOUntilStopped()
    {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;)
        {
            changed.wait(lock, [this] { return stop || !underWay.empty(); });
            if (underWay.empty())
                return;
            auto completion = std::move(underWay.front());
            underWay.pop_front();
            lock.unlock();
            completion(0);
            completion.clear(); // may be what keeps the request and the queue
            lock.lock();
        }
    }
    void Stop()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stop = true;
        changed.notify_all();
    }
};

struct StressRequest : RK::IdentifiedDecodeRequest
{
    enum Kind
    {
        kLater,
        kAtOnce,
        kNoIO,
        kFailsToStart,
    };
    Shared* shared = nullptr;
    Kind kind = kLater;
    std::size_t guid = 0;
    std::atomic<int> endings{0};
    std::atomic<int> starts{0};
    std::atomic<bool> completed{false};
    // Plain on purpose: what the primary writes its duplicates read, and the queue must order that.
    int result = 0;
    int seen = 0;

    Guid GetGuid() override { return Guid(static_cast<std::int64_t>(guid), 0); }
    void DuplicateCompleted(const RK::DecodeRequestPtr& inPrimary, int inStatus) override
    {
        auto& primary = dynamic_cast<StressRequest&>(*inPrimary);
        EXPECT_EQ(guid, primary.guid);
        EXPECT_EQ(0, starts);
        if (inStatus == 0)
            seen = primary.result;
        completed = true;
        ++endings;
    }
    int InitiateIO(const CompletionFunction& inCompletion) override
    {
        ++starts;
        const int now = ++shared->working[guid];
        for (int most = shared->mostWorking; now > most;)
        {
            if (shared->mostWorking.compare_exchange_weak(most, now))
                break;
        }
        switch (kind)
        {
        case kNoIO:
            return RK::kDecodeStatusNoIOPending;
        case kFailsToStart:
            --shared->working[guid];
            ++endings;
            return -1;
        case kAtOnce:
            inCompletion(0);
            return 0;
        case kLater:
            break;
        }
        const std::lock_guard<std::mutex> lock(shared->mutex);
        shared->underWay.push_back(inCompletion);
        shared->changed.notify_all();
        return 0;
    }
    int GetIOCost() override { return 1; }
    int GetCPUCost() override { return 1; }
    int ProcessCPU() override
    {
        result = 42;
        --shared->working[guid];
        ++endings;
        return 0;
    }
    int CancelQueued() override
    {
        ++endings;
        return 0;
    }
    int CancelDuringCPU() override { return -1; }
    int CancelDuringIO() override { return 0; }
    bool HasPriorityOver(const RK::DecodeRequestPtr& inOther) override
    {
        return guid > dynamic_cast<StressRequest&>(*inOther).guid;
    }
};

using StressRequestPtr = boost::shared_ptr<StressRequest>;

class IdentifiedDecodeQueueStress : public ::testing::TestWithParam<bool>
{
protected:
    Shared mShared;
    const RK::IdentifiedDecodeQueuePtr mQueue =
        RK::CreateIdentifiedDecodeQueue(nullptr, 3, 6, GetParam());
    std::vector<StressRequestPtr> mRequests[kClients];

    StressRequestPtr Make(std::mt19937& ioRandom)
    {
        const auto request = boost::make_shared<StressRequest>();
        request->shared = &mShared;
        request->guid = ioRandom() % kGuids;
        const StressRequest::Kind kinds[] = {StressRequest::kLater, StressRequest::kAtOnce,
                                             StressRequest::kNoIO, StressRequest::kLater,
                                             StressRequest::kFailsToStart};
        request->kind = kinds[ioRandom() % 5];
        return request;
    }
    template <class Disturb>
    void RunClients(const Disturb& inDisturb)
    {
        std::thread completer([this] { mShared.CompleteIOUntilStopped(); });
        std::vector<std::thread> clients;
        for (int client = 0; client < kClients; ++client)
        {
            clients.emplace_back(
                [&, client]
                {
                    std::mt19937 random(static_cast<unsigned>(client));
                    for (int i = 0; i < kRequestsEach; ++i)
                    {
                        mRequests[client].push_back(Make(random));
                        mQueue->QueueIdentifiedRequest(mRequests[client].back());
                        inDisturb(random);
                    }
                });
        }
        for (std::thread& client : clients)
            client.join();
        EXPECT_TRUE(Drained());
        mShared.Stop();
        completer.join();
    }
    RK::DecodeQueueCounters Counters() const
    {
        RK::DecodeQueueCounters counters;
        RK::GetDecodeQueueCounters(*mQueue, counters);
        return counters;
    }
    /// Whether each request has left by the end of a stage or by a cancel between stages.
    bool Drained() const
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(120);
        while (std::chrono::steady_clock::now() < end)
        {
            const RK::DecodeQueueCounters now = Counters();
            if (now.queued == now.retired + now.pendingIO.cancelled + now.pendingCPU.cancelled)
            {
                // Duplicates are completed after the count, by the passes over either stage.
                qelcore::threads::GetCPUBoundExecutor()->Flush();
                mQueue->FlushAllIdentifiedRequests();
                return true;
            }
            mQueue->FlushAllIdentifiedRequests();
            std::this_thread::yield();
        }
        return false;
    }
    void ExpectNothingLeft() const
    {
        const RK::DecodeQueueCounters counters = Counters();
        EXPECT_EQ(static_cast<std::uint64_t>(kClients * kRequestsEach),
                  counters.queued + counters.parked.entered);
        for (const auto& place : {counters.pendingIO, counters.activeIO, counters.pendingCPU,
                                  counters.activeCPU, counters.parked})
            EXPECT_EQ(0u, place.present);
    }
};

TEST_P(IdentifiedDecodeQueueStress,
       WithoutCancelsEachGuidIsWorkedOnByOneAtATimeAndEachRequestEndsOnce)
{
    RunClients([](std::mt19937&) {});
    ExpectNothingLeft();
    EXPECT_EQ(1, mShared.mostWorking);
    std::uint64_t completed = 0;
    for (const auto& mine : mRequests)
    {
        for (const StressRequestPtr& request : mine)
        {
            EXPECT_EQ(1, request->endings);
            EXPECT_TRUE(request->seen == 0 || request->seen == 42);
            completed += request->completed ? 1 : 0;
        }
    }
    EXPECT_EQ(Counters().parked.entered, completed);
    EXPECT_GT(completed, 0u);
}

TEST_P(IdentifiedDecodeQueueStress, UnderCancelsOfAllKindsNoRequestEndsTwiceAndNothingStays)
{
    RunClients(
        [this](std::mt19937& ioRandom)
        {
            const Guid guid(static_cast<std::int64_t>(ioRandom() % kGuids), 0);
            unsigned long counts[4];
            switch (ioRandom() % 16)
            {
            case 0:
            case 1:
                mQueue->TryToCancelOneIdentifiedRequest(guid);
                break;
            case 2:
                mQueue->TryToCancelAllIdentifiedRequests(guid);
                break;
            case 3:
                mQueue->GetItemCount(counts[0], counts[1], counts[2], counts[3]);
                break;
            case 4:
                if (ioRandom() % 20 == 0)
                    mQueue->TryToCancelAllQueuedIdentifiedRequests();
                break;
            default:
                break;
            }
        });
    ExpectNothingLeft();
    for (const auto& mine : mRequests)
    {
        for (const StressRequestPtr& request : mine)
        {
            EXPECT_LE(request->endings, 1);
            EXPECT_LE(request->starts, 1);
            // Only one that was cancelled in its I/O hears of no ending.
            EXPECT_TRUE(request->endings == 1 || request->starts == 1);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(BothOrders, IdentifiedDecodeQueueStress, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& inInfo)
                         { return inInfo.param ? "ByPriority" : "InOrder"; });

} // namespace
