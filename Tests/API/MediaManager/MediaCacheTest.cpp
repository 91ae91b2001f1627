#include "RiverKit/MediaManager/MediaCache.h"

#include <limits>
#include <memory>
#include <thread>

#include "MediaTestSupport.h"

using namespace Testing;

namespace
{

using Value = boost::shared_ptr<const RecycledMemory>;

class TestCache : public RK::MediaCache<int, Value>
{
public:
    using MediaCache::MediaCache;
    void SetNextID(RK::MediaID inID)
    {
        const Lock lock(mMutex);
        mNextID = inID;
    }
    qelcore::utility::Guid HelperID() const { return mHelper->GetUniqueID(); }
    qelcore::UTF16String Name() const { return mHelper->Name(); }
    /// As another thread sees it.
    bool IsLocked()
    {
        bool locked = false;
        std::thread(
            [&]
            {
                if (mMutex.TryLock("TestCache::IsLocked"))
                    mMutex.Unlock();
                else
                    locked = true;
            })
            .join();
        return locked;
    }
};

class MediaCacheTest : public FakeManagerFixture
{
protected:
    std::unique_ptr<TestCache> mCache{new TestCache(u"Test", 4, mManager)};

    void Add(int inKey, const Value& inValue = Memory(100))
    {
        mCache->Add(inKey, inValue, 100, mCache->defaultPriority, 0);
    }
    Value Get(int inKey)
    {
        Value value;
        return mCache->Get(value, inKey) ? value : nullptr;
    }
};

TEST_F(MediaCacheTest, ItemsAreNumberedFromOneAndRegisteredAsTheCallerSays)
{
    mCache->Add(7, Memory(1), 100, 4, 0);
    mCache->Add(5, Memory(1), 200, 50, 3);

    EXPECT_EQ(Log({"add 1 size 100 priority 4 handles 0 map 1",
                   "add 2 size 200 priority 50 handles 3 map 1"}),
              TakeLog());
}

TEST_F(MediaCacheTest, TheNameAndThePriorityOfTheConstructorAreKept)
{
    EXPECT_EQ(4u, mCache->defaultPriority);
    EXPECT_EQ(qelcore::UTF16String(u"Test"), mCache->Name());
}

TEST_F(MediaCacheTest, AnExistingKeyKeepsItsValueAndCountsAsAUse)
{
    const Value first = Memory(100);
    Add(7, first);
    TakeLog();

    Add(7, Memory(100));

    EXPECT_EQ(Log({"touch 1 map 1"}), TakeLog());
    EXPECT_EQ(first, Get(7));
}

TEST_F(MediaCacheTest, AHitGivesTheValueAndCountsAsAUse)
{
    const Value stored = Memory(100);
    Add(7, stored);
    TakeLog();

    EXPECT_EQ(stored, Get(7));

    EXPECT_EQ(Log({"touch 1 map 1"}), TakeLog());
}

TEST_F(MediaCacheTest, AMissLeavesTheValueAloneAndTouchesNothing)
{
    const Value before = Memory(1);
    Value value = before;

    EXPECT_FALSE(mCache->Get(value, 7));

    EXPECT_EQ(before, value);
    EXPECT_EQ(Log(), TakeLog());
}

TEST_F(MediaCacheTest, AFlushedItemIsMissedAndItsKeyCanBeAddedAgain)
{
    Add(7);
    Add(8);

    EXPECT_TRUE(mFake->Purge(1));
    EXPECT_FALSE(Get(7));
    EXPECT_TRUE(Get(8));

    TakeLog();
    Add(7);
    EXPECT_EQ(Log({"add 3 size 100 priority 4 handles 0 map 1"}), TakeLog());
    EXPECT_TRUE(Get(7));
}

TEST_F(MediaCacheTest, FlushingAnUnknownIDDoesNothing)
{
    Add(7);

    mCache->Flush(0);
    mCache->Flush(2);
    EXPECT_TRUE(Get(7));

    mCache->Flush(1);
    mCache->Flush(1);
    EXPECT_FALSE(Get(7));
}

TEST_F(MediaCacheTest, NothingInACacheIsEverProtected)
{
    Add(7);

    EXPECT_FALSE(mFake->lastMap->IsNonPurgeable(1));
}

TEST_F(MediaCacheTest, IDsWrapAroundPastZeroAndPastThoseInUse)
{
    Add(1);
    Add(2);
    mCache->SetNextID(std::numeric_limits<RK::MediaID>::max());
    TakeLog();

    Add(3);
    Add(4);
    Add(5);

    EXPECT_EQ(Log({"add 18446744073709551615 size 100 priority 4 handles 0 map 1",
                   "add 3 size 100 priority 4 handles 0 map 1",
                   "add 4 size 100 priority 4 handles 0 map 1"}),
              TakeLog());
}

TEST_F(MediaCacheTest, TheManagerIsCalledInsideTheCachesLock)
{
    int calls = 0;
    int locked = 0;
    mFake->onCall = [&]
    {
        ++calls;
        locked += mCache->IsLocked() ? 1 : 0;
    };

    Add(7);
    Add(7);
    Get(7);

    EXPECT_EQ(3, calls);
    EXPECT_EQ(3, locked);
    mFake->onCall = nullptr;
}

TEST_F(MediaCacheTest, AFlushReleasesTheValueWithTheCachesLockHeld)
{
    bool locked = false;
    Add(7, MemoryThatTells([&] { locked = mCache->IsLocked(); }));

    mCache->Flush(1);

    EXPECT_TRUE(locked);
}

TEST_F(MediaCacheTest, AHitFreesWhatTheCallerHeldOutsideTheCachesLock)
{
    bool locked = true;
    Add(7);
    Value value = MemoryThatTells([&] { locked = mCache->IsLocked(); });

    mCache->Get(value, 7);

    EXPECT_FALSE(locked);
}

TEST_F(MediaCacheTest, ASizeOfZeroViolatesTheManagersContractAndLeavesTheCacheAsItWas)
{
    EXPECT_THROW(mCache->Add(7, Memory(1), 0, 4, 0), FakeMediaManager::ZeroSize);

    EXPECT_FALSE(Get(7));
    EXPECT_FALSE(mCache->IsLocked());
}

TEST_F(MediaCacheTest, ADyingCacheGivesAllItsItemsBackToTheManager)
{
    bool freed = false;
    Add(7, MemoryThatTells([&] { freed = true; }));
    Add(8);
    Add(9);
    mCache->Flush(2);
    TakeLog();

    mCache.reset();

    EXPECT_EQ(Log({"remove 1 map 1", "remove 3 map 1"}), TakeLog());
    EXPECT_TRUE(freed);
}

TEST_F(MediaCacheTest, TheHelperOutlivesTheCacheAndFlushesNothingThen)
{
    Add(7);
    const auto id = mCache->HelperID();

    mCache.reset();

    EXPECT_TRUE(mFake->Purge(1));
    EXPECT_EQ(id, mFake->lastMap->GetUniqueID());
    EXPECT_FALSE(mFake->lastMap->IsNonPurgeable(1));
}

TEST_F(MediaCacheTest, TheManagerSeesTheHelperNotTheCache)
{
    Add(7);

    EXPECT_EQ(mFake->lastMap.get(), ZOR::QueryInterface<RK::IMediaMap>(mFake->lastMap).get());
    EXPECT_EQ(mCache->HelperID(), mFake->lastMap->GetUniqueID());
}

// Overrides Flush, as a cache does that wants to know what it loses.
class WatchingCache : public TestCache
{
public:
    WatchingCache(const RK::IMediaManagerRef& inManager, Log& ioLog)
        : TestCache(u"Watching", 4, inManager)
        , mLog(ioLog)
    {
    }
    void Flush(RK::MediaID inID) override
    {
        mLog.push_back("flush " + std::to_string(inID));
        TestCache::Flush(inID);
    }
    ~WatchingCache() override
    {
        Detach();
        if (onDetached)
            onDetached();
    }
    std::function<void()> onDetached;

private:
    Log& mLog;
};

TEST_F(MediaCacheTest, TheHelperCallsAnOverriddenFlush)
{
    Log log;
    WatchingCache cache(mManager, log);
    cache.Add(7, Memory(1), 100, 4, 0);

    mFake->Purge(1);

    EXPECT_EQ(Log({"flush 1"}), log);
    Value value;
    EXPECT_FALSE(cache.Get(value, 7));
}

TEST_F(MediaCacheTest, ADerivedCacheThatHasDetachedIsNotCalledWhileItDies)
{
    Log log;
    {
        WatchingCache cache(mManager, log);
        cache.Add(7, Memory(1), 100, 4, 0);
        TakeLog();
        cache.onDetached = [&] { mFake->Purge(1); };
    }

    EXPECT_EQ(Log(), log);
    EXPECT_EQ(Log({"remove 1 map 2"}), TakeLog());
}

TEST_F(MediaCacheTest, WithoutAManagerThereIsNoCache)
{
    EXPECT_THROW(TestCache(u"None", 1, RK::IMediaManagerRef()), ZOR::NullInterfaceException);
}

} // namespace
