#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "DataCacheSupport.h"
#include "EmptyStore.h"
#include "RiverKit/RKInitializer.h"
#include "RiverKit/RKMediaManager.h"
#include "Support/FakeClock.h"
#include "qelcore/MainThread.h"

namespace
{

using namespace Testing;
namespace threads = qelcore::threads;

TEST(DataCacheInMemoryStress, EveryHitIsTheWholeBufferOfItsItemWhileOthersPutAndPurge)
{
    constexpr int kItems = 64;
    constexpr int kRounds = 2000;
    const RK::Initializer library;
    const RK::DataCachePtr cache = RK::CreateDataCacheInMemory();
    const Name key = N("clip");
    std::atomic<int> wrong{0};
    const auto work = [&](int inFirst)
    {
        for (int round = 0; round < kRounds; ++round)
        {
            const std::string name = std::to_string((inFirst + round) % kItems);
            DataCache::CacheBuffer buffer;
            if (cache->GetItem(key, N(name), {}, buffer) != RK::kDataCacheResultItemReturned)
                cache->PutItem(key, N(name), BufferOf(name));
            else if (TextOf(buffer) != name)
                ++wrong;
            if (round % 100 == inFirst)
                RK::MM::Purge(~std::size_t{0}, RK::kPurgeUrgency_Immediate);
        }
    };
    std::vector<std::thread> workers;
    workers.reserve(4);
    for (int worker = 0; worker < 4; ++worker)
        workers.emplace_back(work, worker);
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Listed(*cache, key).size(), static_cast<std::size_t>(kItems));
}

class CountingListener : public ZOR::Listener
{
public:
    void ListenToMessage(const ZOR::Message&) override { ++heard; }
    std::atomic<int> heard{0};
};

// Every other store goes at once, so the main thread is now and then in the middle of telling.
TEST(DataCacheBaseStress, StoresReportAndGoOnAnotherThreadWhileTheMainThreadTells)
{
    constexpr int kStores = 500;
    FakeClock clock;
    threads::RegisterMainThread();
    std::atomic<bool> done{false};
    std::atomic<int> told{0};
    std::thread client(
        [&]
        {
            for (int i = 0; i < kStores; ++i)
            {
                auto store = std::make_unique<EmptyStore>();
                CountingListener listener;
                ZOR::StationUtils::AddListener(store->GetStationID(), &listener);
                store->QueueItemsRemovedNotification();
                while (i % 2 == 0 && listener.heard == 0)
                    std::this_thread::yield();
                store.reset();
                EXPECT_LE(listener.heard, 1);
                told += listener.heard;
            }
            done = true;
        });
    while (!done)
    {
        clock.AdvanceMilliseconds(1000);
        threads::DispatchMainThread();
    }
    client.join();
    threads::UnregisterMainThread();
    EXPECT_GE(told, kStores / 2);
}

} // namespace
