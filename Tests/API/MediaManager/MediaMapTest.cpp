#include "RiverKit/MediaManager/MediaMap.h"

#include <new>

#include "MediaTestSupport.h"

using namespace Testing;

namespace
{

struct TestKey
{
    int number = 0;
    RK::MediaID mediaID = 0;
};

struct ByNumber
{
    bool operator()(const TestKey& a, const TestKey& b) const { return a.number < b.number; }
};

struct TestValue
{
    RecycledMemoryPtr memory;
    RK::PurgeLockCount purgeLock;
};

struct NoSearcher
{
};

using TestMap = RK::MediaMap<TestKey, TestValue, NoSearcher, ByNumber>;
using TestMapRef = ZOR::InterfaceRef<TestMap, RK::IMediaMap>;

class MediaMapTest : public FakeManagerFixture
{
protected:
    TestMapRef mMap{new TestMap(mManager)};

    TestKey Insert(int inNumber, const RecycledMemoryPtr& inMemory)
    {
        TestKey key{inNumber, 0};
        mMap->Insert(key, TestValue{inMemory, {}});
        return key;
    }
    RecycledMemoryPtr Find(int inNumber)
    {
        TestKey key{inNumber, 0};
        TestValue value;
        return mMap->Find(key, value) ? value.memory : nullptr;
    }
    bool Has(int inNumber) { return Find(inNumber) != nullptr; }
};

TEST_F(MediaMapTest, ItemsAreNumberedFromOneAndRegisteredWithTheirSizeAndPriorityOne)
{
    EXPECT_EQ(1u, Insert(7, Memory(100)).mediaID);
    EXPECT_EQ(2u, Insert(5, Memory(200)).mediaID);

    EXPECT_EQ(Log({"add 1 size 100 priority 1 handles 0 map 1",
                   "add 2 size 200 priority 1 handles 0 map 1"}),
              TakeLog());
    EXPECT_EQ(mMap.get(), mFake->lastMap.get());
}

TEST_F(MediaMapTest, EachMapHasAnIdentityOfItsOwn)
{
    const TestMapRef other(new TestMap(mManager));

    EXPECT_EQ(qelcore::utility::Guid(1, 1), mMap->GetUniqueID());
    EXPECT_EQ(qelcore::utility::Guid(1, 2), other->GetUniqueID());
}

TEST_F(MediaMapTest, AnExistingKeyKeepsItsValueAndRegistersNothingButUsesUpAnID)
{
    const auto first = Memory(100);
    Insert(7, first);
    TakeLog();

    EXPECT_EQ(2u, Insert(7, Memory(100)).mediaID);
    EXPECT_EQ(Log(), TakeLog());
    EXPECT_EQ(first, Find(7));

    EXPECT_EQ(3u, Insert(8, Memory(100)).mediaID);
    mMap->Flush(2); // belongs to nobody
    EXPECT_TRUE(Has(7));
}

TEST_F(MediaMapTest, AHitGivesTheValueAndItsIDAndCountsAsAUse)
{
    const auto memory = Memory(100);
    Insert(7, memory);
    TakeLog();

    TestKey key{7, 99};
    TestValue value;
    EXPECT_TRUE(mMap->Find(key, value));

    EXPECT_EQ(memory, value.memory);
    EXPECT_EQ(1u, key.mediaID);
    EXPECT_EQ(Log({"touch 1 map 1"}), TakeLog());
}

TEST_F(MediaMapTest, AMissLeavesTheArgumentsAloneAndTouchesNothing)
{
    const auto before = Memory(1);
    TestKey key{7, 99};
    TestValue value{before, {}};

    EXPECT_FALSE(mMap->Find(key, value));

    EXPECT_EQ(before, value.memory);
    EXPECT_EQ(99u, key.mediaID);
    EXPECT_EQ(Log(), TakeLog());
}

TEST_F(MediaMapTest, AFlushedItemIsMissedAndItsKeyCanBeInsertedAgain)
{
    Insert(7, Memory(100));
    Insert(8, Memory(100));

    EXPECT_TRUE(mFake->Purge(1));
    EXPECT_FALSE(Has(7));
    EXPECT_TRUE(Has(8));

    TakeLog();
    EXPECT_EQ(3u, Insert(7, Memory(50)).mediaID);
    EXPECT_EQ(Log({"add 3 size 50 priority 1 handles 0 map 1"}), TakeLog());
    EXPECT_TRUE(Has(7));
}

TEST_F(MediaMapTest, FlushingAnUnknownIDDoesNothing)
{
    Insert(7, Memory(100));

    mMap->Flush(0);
    mMap->Flush(2);
    EXPECT_TRUE(Has(7));

    mMap->Flush(1);
    mMap->Flush(1);
    EXPECT_FALSE(Has(7));
}

TEST_F(MediaMapTest, ANonPurgeableItemSaysSoToThePurge)
{
    const TestKey key = Insert(7, Memory(100));
    EXPECT_FALSE(mMap->IsNonPurgeable(1));

    mMap->MakeNonPurgeable(key);
    EXPECT_TRUE(mMap->IsNonPurgeable(1));
    EXPECT_FALSE(mFake->Purge(1));
    EXPECT_TRUE(Has(7));

    mMap->MakePurgeable(key);
    EXPECT_FALSE(mMap->IsNonPurgeable(1));
}

TEST_F(MediaMapTest, TwiceNonPurgeableIsUndoneByOncePurgeable)
{
    const TestKey key = Insert(7, Memory(100));

    mMap->MakeNonPurgeable(key);
    mMap->MakeNonPurgeable(key);
    mMap->MakePurgeable(key);

    EXPECT_FALSE(mMap->IsNonPurgeable(1));
}

TEST_F(MediaMapTest, TwicePurgeableIsUndoneByOnceNonPurgeable)
{
    const TestKey key = Insert(7, Memory(100));

    mMap->MakePurgeable(key);
    mMap->MakePurgeable(key);
    mMap->MakeNonPurgeable(key);

    EXPECT_TRUE(mMap->IsNonPurgeable(1));
}

TEST_F(MediaMapTest, AValueMayComeWithItsPurgeLockAndIsFoundWithIt)
{
    TestKey key{7, 0};
    TestValue value{Memory(100), {}};
    value.purgeLock.Increment();
    mMap->Insert(key, value);

    EXPECT_TRUE(mMap->IsNonPurgeable(1));
    TestValue found;
    mMap->Find(key, found);
    EXPECT_EQ(1, found.purgeLock.Get());

    found.purgeLock.Decrement(); // of the copy alone
    EXPECT_TRUE(mMap->IsNonPurgeable(1));
}

TEST_F(MediaMapTest, UnknownItemsAreNotProtectedAndUnknownKeysAreIgnored)
{
    EXPECT_FALSE(mMap->IsNonPurgeable(0));
    EXPECT_FALSE(mMap->IsNonPurgeable(1));

    mMap->MakeNonPurgeable(TestKey{7, 1});
    mMap->MakePurgeable(TestKey{7, 1});
    Insert(7, Memory(100));

    EXPECT_FALSE(mMap->IsNonPurgeable(1));
}

TEST_F(MediaMapTest, AValueWithoutMemoryViolatesTheManagersContractAndStaysInTheMap)
{
    EXPECT_THROW(Insert(7, nullptr), FakeMediaManager::ZeroSize);
    EXPECT_THROW(Insert(8, boost::make_shared<RecycledMemory>()), FakeMediaManager::ZeroSize);

    TestKey key{7, 0};
    TestValue value;
    EXPECT_TRUE(mMap->Find(key, value));
    EXPECT_EQ(1u, key.mediaID);
    EXPECT_TRUE(Has(8));
}

TEST_F(MediaMapTest, AValueWithoutMemoryIsHandedToTheManagerWithSizeZero)
{
    mFake->requireSize = false;

    Insert(7, nullptr);

    EXPECT_EQ(Log({"add 1 size 0 priority 1 handles 0 map 1"}), TakeLog());
}

// A key of which only so many copies can be made: memory runs out.
struct ScarceKey
{
    ScarceKey() = default;
    ScarceKey(const ScarceKey& inOther)
        : mediaID(inOther.mediaID)
    {
        if (sCopiesLeft-- == 0)
            throw std::bad_alloc();
    }
    ScarceKey& operator=(const ScarceKey&) = default;
    RK::MediaID mediaID = 0;
    static int sCopiesLeft;
    friend bool operator<(const ScarceKey&, const ScarceKey&) { return false; } // all are equal
};
int ScarceKey::sCopiesLeft = 0;

TEST_F(MediaMapTest, AnItemThatMemoryIsTooShortForIsNeitherStoredNorRegistered)
{
    using Map = RK::MediaMap<ScarceKey, TestValue, NoSearcher>;
    const ZOR::InterfaceRef<Map, RK::IMediaMap> map(new Map(mManager));
    ScarceKey key;
    for (const int copies : {0, 1})
    {
        ScarceKey::sCopiesLeft = copies;
        EXPECT_THROW(map->Insert(key, TestValue{Memory(100), {}}), std::bad_alloc);
        TestValue found;
        EXPECT_FALSE(map->Find(key, found)) << copies;
    }
    EXPECT_EQ(Log(), TakeLog());
    ScarceKey::sCopiesLeft = 100;
    map->Insert(key, TestValue{Memory(100), {}});
    EXPECT_EQ(1u, TakeLog().size());
}

TEST_F(MediaMapTest, AFlushFreesMemoryOutsideTheMapsLock)
{
    bool could = false;
    Insert(8, Memory(100));
    Insert(7, MemoryThatTells([&] { could = mOther.Could([&] { Has(8); }); }));

    mMap->Flush(2);

    EXPECT_TRUE(could);
}

TEST_F(MediaMapTest, AFlushedValueMayUseTheMapWhileItIsFreed)
{
    bool missed = false;
    Insert(7, MemoryThatTells(
                  [&]
                  {
                      missed = !Has(7);
                      Insert(7, Memory(100));
                  }));

    mMap->Flush(1);

    EXPECT_TRUE(missed);
    EXPECT_TRUE(Has(7));
}

TEST_F(MediaMapTest, AHitFreesWhatTheCallerHeldOutsideTheMapsLock)
{
    bool could = false;
    Insert(7, Memory(100));
    TestKey key{7, 0};
    TestValue value{MemoryThatTells([&] { could = mOther.Could([&] { Has(7); }); }), {}};

    mMap->Find(key, value);

    EXPECT_TRUE(could);
}

TEST_F(MediaMapTest, TheManagerIsCalledOutsideTheMapsLock)
{
    int calls = 0;
    int could = 0;
    mFake->onCall = [&]
    {
        ++calls;
        could += mOther.Could([&] { mMap->IsNonPurgeable(1); }) ? 1 : 0;
    };

    Insert(7, Memory(100));
    Has(7);

    EXPECT_EQ(2, calls);
    EXPECT_EQ(2, could);
}

TEST_F(MediaMapTest, AMapLivesAsLongAsTheManagerHoldsItAndEndsWithoutAWord)
{
    bool freed = false;
    Insert(7, MemoryThatTells([&] { freed = true; }));
    TakeLog();

    mMap.reset();
    EXPECT_FALSE(freed);
    mFake->lastMap.reset();

    EXPECT_TRUE(freed);
    EXPECT_EQ(Log(), TakeLog());
}

TEST_F(MediaMapTest, AMapAnswersToItsInterfaces)
{
    EXPECT_EQ(mMap.get(), ZOR::QueryInterface<RK::IMediaMap>(mMap).get());
    EXPECT_FALSE(ZOR::QueryInterface<RK::IMediaManager>(mMap));
}

TEST_F(MediaMapTest, WithoutAManagerThereIsNoMap)
{
    EXPECT_THROW(TestMapRef(new TestMap(RK::IMediaManagerRef())), ZOR::NullInterfaceException);
}

} // namespace
