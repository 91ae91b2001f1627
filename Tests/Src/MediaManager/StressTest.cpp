// Real threads on the manager, with what must hold at the end.
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "ManagerFixture.h"

namespace
{

using namespace RK;
using namespace Testing;

/// Counts flushes by number; the item's owner marks what it has removed itself.
class CountingMap : public ZOR::CountedObject<IMediaMap>
{
public:
    explicit CountingMap(std::size_t inItems)
        : mFlushes(inItems)
        , mID(qelcore::utility::Guid::CreateUnique())
    {
    }
    void Flush(MediaID inID) override { mFlushes[inID].fetch_add(1, std::memory_order_relaxed); }
    qelcore::utility::Guid GetUniqueID() const override { return mID; }
    bool IsNonPurgeable(MediaID) override { return false; }

    int Flushes(MediaID inID) const { return mFlushes[inID].load(); }

private:
    std::vector<std::atomic<int>> mFlushes;
    const qelcore::utility::Guid mID;
};
using CountingMapRef = ZOR::InterfaceRef<CountingMap, IMediaMap>;

class Stress : public ::testing::Test
{
protected:
    static constexpr int kThreads = 4;

    Stress()
    {
        // The balancer is the real one, with its thread, in a suite of its own.
        memorybalancer::SetSuiteName(u"RiverKit stress of the media manager");
        MediaManager::ForgetMachine();
        MediaManager::Startup();
        mManager = MediaManager::Running();
    }
    ~Stress() override
    {
        mManager = nullptr;
        MediaManager::Shutdown();
        MediaManager::ForgetMachine();
        memorybalancer::SetSuiteName({});
    }
    template <class Work>
    static void RunThreads(int inCount, const Work& inWork)
    {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < inCount; ++thread)
            threads.emplace_back([&inWork, thread] { inWork(thread); });
        for (std::thread& thread : threads)
            thread.join();
    }
    MediaManagerRef mManager;
};

TEST_F(Stress, EachItemIsFlushedOnceUnlessItsOwnerRemovedIt)
{
    constexpr MediaID kItems = 20000; // of each thread
    std::vector<CountingMapRef> maps;
    for (int thread = 0; thread < kThreads; ++thread)
        maps.emplace_back(new CountingMap(kItems));

    RunThreads(kThreads + 1,
               [&](int inThread)
               {
                   if (inThread == kThreads)
                   {
                       for (int purge = 0; purge < 400; ++purge)
                       {
                           mManager->Purge(5000, purge % 2 == 0 ? kPurgeUrgency_Immediate
                                                                : kPurgeUrgency_Background);
                           mManager->FlushTo(100);
                           mManager->FlushAsyncEvents();
                       }
                       return;
                   }
                   const CountingMapRef& map = maps[static_cast<std::size_t>(inThread)];
                   for (MediaID id = 0; id < kItems; ++id)
                   {
                       mManager->AddMedia(id, 10, id % 3, 0, map);
                       if (id >= 5)
                           mManager->TouchMedia(id - 5, map->GetUniqueID());
                       if (id >= 9 && id % 4 == 1)
                           mManager->RemoveMedia(id - 9, map->GetUniqueID());
                       if (id % 2048 == 0)
                           mManager->FlushAsyncEvents(); // the ring is never full in this test
                   }
               });
    mManager->FlushAsyncEvents();
    MediaManagerProbe(*mManager).ExpectConsistent();
    mManager->Purge(kEverything, kPurgeUrgency_Immediate);

    EXPECT_EQ(0u, mManager->GetLostEventCount());
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
    int wrong = 0;
    for (const CountingMapRef& map : maps)
    {
        for (MediaID id = 0; id < kItems; ++id)
        {
            const bool removed = id % 4 == 0 && id + 9 < kItems; // id + 9 is 1 modulo 4
            const int flushes = map->Flushes(id);
            wrong += removed ? flushes > 1 : flushes != 1;
        }
    }
    EXPECT_EQ(0, wrong) << "items flushed twice, or never";
}

TEST_F(Stress, EveryEventIsEitherAppliedOrCountedAsLostWhenTheRingIsFull)
{
    constexpr MediaID kItems =
        60000; // of each thread: four times that is far more than the ring has
    std::vector<CountingMapRef> maps;
    for (int thread = 0; thread < kThreads; ++thread)
        maps.emplace_back(new CountingMap(kItems));

    RunThreads(kThreads,
               [&](int inThread)
               {
                   const CountingMapRef& map = maps[static_cast<std::size_t>(inThread)];
                   for (MediaID id = 0; id < kItems; ++id)
                       mManager->AddMedia(id, 3, 1, 0, map);
               });
    mManager->FlushAsyncEvents();

    EXPECT_LE(65536u, mManager->GetNumberOfEntries());
    EXPECT_EQ(kThreads * kItems, mManager->GetNumberOfEntries() + mManager->GetLostEventCount());
    EXPECT_EQ(3 * std::uint64_t{mManager->GetNumberOfEntries()}, mManager->GetCurrentSpace());
    MediaManagerProbe(*mManager).ExpectConsistent();
}

TEST_F(Stress, SettingsMayChangeWhileEverythingRuns)
{
    constexpr MediaID kItems = 3000;
    const CountingMapRef map(new CountingMap(kItems));
    RunThreads(kThreads,
               [&](int inThread)
               {
                   for (MediaID id = 0; id < kItems; ++id)
                   {
                       mManager->AddMedia(id, 200000, id % 101, 1, map);
                       switch (id % 50 == 0 ? inThread : -1)
                       {
                       case 0:
                           mManager->EnterHighThroughputMode();
                           mManager->ExitHighThroughputMode();
                           break;
                       case 1:
                           mManager->AdjustReservedMemorySize(7, id % 100 == 0 ? 1000 : -1000);
                           mManager->SetMaximumSize(id);
                           break;
                       case 2:
                           mManager->SetApplicationMemoryRequirements(static_cast<int>(id % 3));
                           mManager->GetMaximumSize();
                           break;
                       case 3:
                       {
                           std::ostringstream text;
                           MediaManager::Statistics(text);
                           MM::Purge(100, kPurgeUrgency_Background);
                           break;
                       }
                       default:
                           break;
                       }
                   }
               });
    mManager->FlushAsyncEvents();
    MediaManagerProbe(*mManager).ExpectConsistent();
}

TEST(StressLife, AJobOfARealPoolMayEndTheManagerAndItsOwnPool)
{
    for (int round = 0; round < 20; ++round)
    {
        std::atomic<bool> ended{false};
        {
            IMediaManagerRef manager = GetMediaManager();
            const FakeMapRef map(new FakeMap);
            // As a map does that keeps its manager: the item's entry keeps both, until a job takes it.
            map->onEnd = [manager, &ended]() mutable
            {
                manager = nullptr;
                ended = true;
            };
            manager->SetReserveSize(1, 1ll << 60); // leaves 256 MiB at most
            manager->AddMedia(1, 300 * kMiB, 1, 0, map);
            manager->FlushAsyncEvents();
        }
        while (!ended)
            std::this_thread::yield();
    }
    while (ZOR::SingletonSupport<MediaManagerRef>::Exists())
        std::this_thread::yield();
}

TEST(StressLife, OwnersWorkOnWhileTheManagerStopsAndStarts)
{
    constexpr MediaID kItems = 1000;
    std::atomic<bool> done{false};
    std::vector<std::thread> owners;
    for (int owner = 0; owner < 2; ++owner)
    {
        owners.emplace_back(
            [&]
            {
                while (!done)
                {
                    const IMediaManagerRef manager = GetMediaManager();
                    const CountingMapRef map(new CountingMap(kItems));
                    for (MediaID id = 0; id < 100; ++id)
                    {
                        manager->AddMedia(id, 1000, 1, 0, map);
                        manager->TouchMedia(id / 2, map->GetUniqueID());
                        MM::GetSize();
                    }
                    for (MediaID id = 0; id < 100; ++id)
                        manager->RemoveMedia(id, map->GetUniqueID());
                    MM::Purge(1000, kPurgeUrgency_Immediate);
                    manager->FlushAsyncEvents(); // this map keeps no entry, and so no manager
                }
            });
    }
    for (int round = 0; round < 60; ++round)
    {
        MediaManager::Startup();
        MM::Purge(1000, kPurgeUrgency_Background);
        MediaManager::Shutdown();
    }
    done = true;
    for (std::thread& owner : owners)
        owner.join();

    MediaManager::Startup();
    MediaManager::Shutdown();
    EXPECT_FALSE(ZOR::SingletonSupport<MediaManagerRef>::Exists());
}

} // namespace
