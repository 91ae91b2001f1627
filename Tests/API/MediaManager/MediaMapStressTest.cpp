// Real threads against the promises of the three maps. The thread sanitizer is half of the test.
#include <atomic>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "RiverKit/MediaManager/MediaCache.h"
#include "RiverKit/MediaManager/MediaMap.h"
#include "RiverKit/MediaManager/MediaVector.h"

#include "MediaTestSupport.h"

using namespace Testing;

namespace
{

// Remembers what was added, whether it was removed since or not, and flushes it with its lock held:
// what the real manager does with events that are still in its ring, only more often.
class ForgetfulManager : public FakeMediaManager
{
public:
    void AddMedia(RK::MediaID inID, RK::Size, RK::Priority, RK::HandleCount,
                  const RK::IMediaMapRef& inSourceMapRef) override
    {
        const std::lock_guard<std::mutex> lock(mAddedMutex);
        mAdded.emplace_back(inID, inSourceMapRef);
    }
    void TouchMedia(RK::MediaID, qelcore::utility::Guid) override {}
    void RemoveMedia(RK::MediaID, qelcore::utility::Guid) override {}

    /// @return whether there was anything.
    bool PurgeAll()
    {
        const std::lock_guard<std::recursive_mutex> purging(mutex);
        std::vector<std::pair<RK::MediaID, RK::IMediaMapRef>> added;
        {
            const std::lock_guard<std::mutex> lock(mAddedMutex);
            added.swap(mAdded);
        }
        for (const auto& [id, map] : added)
        {
            if (!map->IsNonPurgeable(id))
                map->Flush(id);
        }
        return !added.empty();
    }

private:
    std::mutex mAddedMutex;
    std::vector<std::pair<RK::MediaID, RK::IMediaMapRef>> mAdded;
};

// Runs inFunction on a thread of its own again and again, until it goes.
class Repeatedly
{
public:
    template <class Function>
    explicit Repeatedly(Function inFunction)
        : mThread(
              [this, inFunction]
              {
                  while (!mStop)
                      inFunction();
              })
    {
    }
    ~Repeatedly()
    {
        mStop = true;
        mThread.join();
    }

private:
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

/// Counts those that live. Its field is not atomic: who reaches a dead one races with its end.
struct Counted
{
    explicit Counted(std::atomic<int>& ioAlive)
        : alive(ioAlive)
    {
        ++alive;
    }
    ~Counted()
    {
        number = -1;
        --alive;
    }
    std::atomic<int>& alive;
    int number = 0;
};

using CountedPtr = boost::shared_ptr<Counted>;

// Overrides Flush and touches its own fields there, which are gone when the base's destructor runs.
class OverridingCache : public RK::MediaCache<int, CountedPtr>
{
public:
    explicit OverridingCache(const RK::IMediaManagerRef& inManager)
        : MediaCache(u"Overriding", 4, inManager)
        , mFlushed(new int(0))
    {
    }
    void Flush(RK::MediaID inID) override
    {
        ++*mFlushed;
        MediaCache::Flush(inID);
    }
    ~OverridingCache() override { Detach(); }

private:
    std::unique_ptr<int> mFlushed;
};

template <class Cache>
void LetCachesDieWhilePurgesRun(const std::function<Cache*(const RK::IMediaManagerRef&)>& inMake)
{
    const ZOR::InterfaceRef<ForgetfulManager, RK::IMediaManager> forgetful(new ForgetfulManager);
    std::atomic<int> alive{0};
    {
        const RK::IMediaManagerRef manager(forgetful);
        const Repeatedly purging([&] { forgetful->PurgeAll(); });
        std::vector<std::thread> owners;
        for (int owner = 0; owner < 3; ++owner)
        {
            owners.emplace_back(
                [&]
                {
                    for (int i = 0; i < 1500; ++i)
                    {
                        const std::unique_ptr<Cache> cache(inMake(manager));
                        for (int key = 0; key < 8; ++key)
                            cache->Add(key, boost::make_shared<Counted>(alive), 100, 4, 0);
                        CountedPtr value;
                        cache->Get(value, i % 8);
                    }
                });
        }
        for (std::thread& owner : owners)
            owner.join();
    }
    forgetful->PurgeAll();
    EXPECT_EQ(0, alive.load());
}

TEST(MediaCacheStress, CachesMayDieWhilePurgesRun)
{
    using Cache = RK::MediaCache<int, CountedPtr>;
    LetCachesDieWhilePurgesRun<Cache>([](const RK::IMediaManagerRef& inManager)
                                      { return new Cache(u"Dying", 4, inManager); });
}

TEST(MediaCacheStress, CachesThatOverrideFlushMayDieWhilePurgesRun)
{
    LetCachesDieWhilePurgesRun<OverridingCache>([](const RK::IMediaManagerRef& inManager)
                                                { return new OverridingCache(inManager); });
}

TEST(MediaCacheStress, ADyingCacheWaitsForTheFlushUnderWay)
{
    FakeMediaManager* const fake = new FakeMediaManager;
    const RK::IMediaManagerRef manager(fake);
    std::promise<void> flushing;
    std::promise<void> dead;
    bool deadDuringFlush = true;
    using Cache = RK::MediaCache<int, RecycledMemoryPtr>;
    auto cache = std::make_unique<Cache>(u"Dying", 4, manager);
    cache->Add(1,
               MemoryThatTells(
                   [&]
                   {
                       flushing.set_value();
                       // Long enough for a destructor that does not wait; a slow machine only makes
                       // the test weaker.
                       deadDuringFlush =
                           dead.get_future().wait_for(std::chrono::milliseconds(200)) ==
                           std::future_status::ready;
                   }),
               100, 4, 0);
    std::thread purging([&] { fake->Purge(1); });
    flushing.get_future().wait();

    cache.reset();
    dead.set_value();

    purging.join();
    EXPECT_FALSE(deadDuringFlush);
    fake->lastMap.reset();
}

TEST(MediaCacheStress, ClientsAndPurgesMayWorkAtTheSameTime)
{
    const ZOR::InterfaceRef<ForgetfulManager, RK::IMediaManager> forgetful(new ForgetfulManager);
    const RK::IMediaManagerRef manager(forgetful);
    std::atomic<int> alive{0};
    std::atomic<int> wrong{0};
    {
        RK::MediaCache<int, CountedPtr> cache(u"Busy", 4, manager);
        const Repeatedly purging([&] { forgetful->PurgeAll(); });
        std::vector<std::thread> clients;
        for (unsigned client = 0; client < 3; ++client)
        {
            clients.emplace_back(
                [&, client]
                {
                    std::mt19937 random(client);
                    for (int i = 0; i < 20000; ++i)
                    {
                        const int key = static_cast<int>(random() % 50);
                        CountedPtr value;
                        if (cache.Get(value, key))
                        {
                            wrong += value->number == key ? 0 : 1;
                            continue;
                        }
                        value = boost::make_shared<Counted>(alive);
                        value->number = key;
                        cache.Add(key, value, 100, 4, 0);
                    }
                });
        }
        for (std::thread& client : clients)
            client.join();
    }
    forgetful->PurgeAll();
    EXPECT_EQ(0, wrong.load());
    EXPECT_EQ(0, alive.load());
}

struct Key
{
    int number = 0;
    RK::MediaID mediaID = 0;
};

struct Less
{
    bool operator()(const Key& a, const Key& b) const { return a.number < b.number; }
};

struct Block
{
    RecycledMemoryPtr memory;
    RK::PurgeLockCount purgeLock;
};

using Map = RK::MediaMap<Key, Block, void, Less>;

TEST(MediaMapStress, ClientsAndPurgesMayWorkAtTheSameTimeAndProtectedItemsStay)
{
    const ZOR::InterfaceRef<ForgetfulManager, RK::IMediaManager> forgetful(new ForgetfulManager);
    const RK::IMediaManagerRef manager(forgetful);
    const ZOR::InterfaceRef<Map, RK::IMediaMap> map(new Map(manager));
    constexpr int kProtected = 1000;
    Key kept{kProtected, 0};
    map->Insert(kept, Block{Memory(8), {}});
    map->MakeNonPurgeable(kept);
    std::atomic<int> wrong{0};
    {
        const Repeatedly purging([&] { forgetful->PurgeAll(); });
        std::vector<std::thread> clients;
        for (unsigned client = 0; client < 3; ++client)
        {
            clients.emplace_back(
                [&, client]
                {
                    std::mt19937 random(client);
                    for (int i = 0; i < 20000; ++i)
                    {
                        Key key{static_cast<int>(random() % 50), 0};
                        Block block;
                        if (map->Find(key, block))
                        {
                            wrong += *static_cast<int*>(block.memory->Data()) == key.number ? 0 : 1;
                            if (random() % 2 == 0)
                                map->MakeNonPurgeable(key);
                            else
                                map->MakePurgeable(key);
                            continue;
                        }
                        block.memory = Memory(sizeof(int));
                        *static_cast<int*>(block.memory->Data()) = key.number;
                        map->Insert(key, block);
                    }
                });
        }
        for (std::thread& client : clients)
            client.join();
    }
    forgetful->PurgeAll(); // forgets the protected one too, though it stays
    EXPECT_EQ(0, wrong.load());
    Block block;
    EXPECT_TRUE(map->Find(kept, block));
}

// Counts what the manager knows of each slot, as far as the vector has told.
class BalancingManager : public FakeMediaManager
{
public:
    explicit BalancingManager(std::size_t inCount)
        : mRegistered(inCount)
    {
    }
    std::atomic<int> wrong{0};
    void AddMedia(RK::MediaID inID, RK::Size, RK::Priority, RK::HandleCount,
                  const RK::IMediaMapRef&) override
    {
        wrong += mRegistered[inID].fetch_add(1) == 0 ? 0 : 1;
    }
    void TouchMedia(RK::MediaID, qelcore::utility::Guid) override {}
    void RemoveMedia(RK::MediaID inID, qelcore::utility::Guid) override
    {
        wrong += mRegistered[inID].fetch_sub(1) == 1 ? 0 : 1;
    }
    int Registered(RK::MediaID inID) const { return mRegistered[inID]; }

private:
    std::vector<std::atomic<int>> mRegistered;
};

struct Slot
{
    std::atomic<int> value{0};
    std::atomic<int> writers{0};
    int plain = 0; // written only by writers, who must be alone and in order
};

class InspectedVector : public RK::MediaVector<Slot>
{
public:
    using MediaVector::MediaVector;
    unsigned State(std::size_t inIndex) const { return mSlots[inIndex].mState.load(); }
};

void StressVector(const ZOR::InterfaceRef<InspectedVector, RK::IMediaMap>& inVector,
                  bool inWithFlushes, std::atomic<int>& outWrong)
{
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&, thread]
            {
                std::mt19937 random(thread);
                for (int i = 0; i < 40000; ++i)
                {
                    const RK::MediaID index = random() % inVector->Count();
                    const int number = static_cast<int>(index);
                    if (random() % 4 == 0)
                        inVector->Clear(index);
                    else if (inWithFlushes && random() % 4 == 0)
                        inVector->Flush(index);
                    else if (!inVector->Read(index,
                                             [&](Slot& inSlot)
                                             {
                                                 const int value = inSlot.value;
                                                 outWrong += value == 0 || value == number ? 0 : 1;
                                             }))
                        inVector->Write(index, 3,
                                        [&](Slot& outSlot)
                                        {
                                            outWrong += ++outSlot.writers == 1 ? 0 : 1;
                                            outSlot.value = number;
                                            ++outSlot.plain;
                                            --outSlot.writers;
                                            return RK::Size(100);
                                        });
                }
            });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(MediaVectorStress, AddsAndRemovesOfASlotAlternateAndNobodyIsLeftAtWork)
{
    constexpr std::size_t kSlots = 4; // few, so that they meet
    BalancingManager* const balancing = new BalancingManager(kSlots);
    const RK::IMediaManagerRef manager(balancing);
    const ZOR::InterfaceRef<InspectedVector, RK::IMediaMap> vector(
        new InspectedVector(kSlots, manager));
    std::atomic<int> wrong{0};

    StressVector(vector, false, wrong);

    EXPECT_EQ(0, wrong.load());
    EXPECT_EQ(0, balancing->wrong.load());
    for (std::size_t i = 0; i < kSlots; ++i)
        EXPECT_EQ(balancing->Registered(i) == 1 ? 0x80000000u : 0u, vector->State(i));
}

TEST(MediaVectorStress, OfManyWhoClearASlotAtATimeOneTellsTheManager)
{
    BalancingManager* const balancing = new BalancingManager(1);
    const RK::IMediaManagerRef manager(balancing);
    const ZOR::InterfaceRef<InspectedVector, RK::IMediaMap> vector(new InspectedVector(1, manager));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < 200000; ++i)
                {
                    vector->Write(0, 3, [](Slot&) { return RK::Size(100); });
                    vector->Clear(0);
                }
            });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(0, balancing->wrong.load());
    EXPECT_EQ(0u, vector->State(0));
    EXPECT_EQ(0, balancing->Registered(0));
}

TEST(MediaVectorStress, OneWriterAtATimeFillsASlotAlsoUnderFlushes)
{
    constexpr std::size_t kSlots = 4;
    const RK::IMediaManagerRef manager(new BalancingManager(kSlots));
    const ZOR::InterfaceRef<InspectedVector, RK::IMediaMap> vector(
        new InspectedVector(kSlots, manager));
    std::atomic<int> wrong{0};

    StressVector(vector, true, wrong);

    EXPECT_EQ(0, wrong.load());
    for (std::size_t i = 0; i < kSlots; ++i)
        EXPECT_EQ(0u, vector->State(i) & 0x7FFFFFFFu);
}

} // namespace
