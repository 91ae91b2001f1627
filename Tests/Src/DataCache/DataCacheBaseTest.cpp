#include "DataCacheBase.h"

#include <functional>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EmptyStore.h"
#include "Support/FakeClock.h"
#include "qelcore/MainThread.h"

namespace
{

using namespace Testing;
using RK::DataCache;
namespace threads = qelcore::threads;

class TestStore : public EmptyStore
{
public:
    mutable int stationRequests = 0;

    ZOR::StationID GetStationID() const override
    {
        ++stationRequests;
        return EmptyStore::GetStationID();
    }
};

class Counter : public ZOR::Listener
{
public:
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        EXPECT_EQ(inMessage.GetMessageID(), DataCache::ItemsRemovedMessage::GetClassMessageID());
        EXPECT_TRUE(threads::IsMainThread());
        ++heard;
        if (then)
            then();
    }
    int heard = 0;
    std::function<void()> then;
};

class DataCacheBaseTest : public testing::Test
{
protected:
    DataCacheBaseTest()
    {
        EXPECT_TRUE(threads::RegisterMainThread());
        ZOR::StationUtils::AddListener(mStation, &mCounter);
    }
    ~DataCacheBaseTest() override
    {
        Turn(10000);
        threads::UnregisterMainThread();
    }

    void Turn(std::uint64_t inMilliseconds)
    {
        mClock.AdvanceMilliseconds(inMilliseconds);
        threads::RunMainThreadUntilIdle();
    }

    FakeClock mClock;
    std::unique_ptr<TestStore> mStore{new TestStore};
    const ZOR::StationID mStation = mStore->DataCacheBase::GetStationID();
    Counter mCounter;
};

TEST_F(DataCacheBaseTest, AThousandRemovalsOnAnotherThreadMakeOneMessageASecondAfterTheFirst)
{
    std::thread(
        [&]
        {
            for (int i = 0; i < 1000; ++i)
                mStore->QueueItemsRemovedNotification();
        })
        .join();
    Turn(999);
    EXPECT_EQ(mCounter.heard, 0);
    Turn(1);
    EXPECT_EQ(mCounter.heard, 1);
    Turn(5000);
    EXPECT_EQ(mCounter.heard, 1);
}

TEST_F(DataCacheBaseTest, ALaterRemovalBeginsAnIntervalOfItsOwn)
{
    mStore->QueueItemsRemovedNotification();
    Turn(1000);
    mStore->QueueItemsRemovedNotification();
    Turn(999);
    EXPECT_EQ(mCounter.heard, 1);
    Turn(1);
    EXPECT_EQ(mCounter.heard, 2);
}

TEST_F(DataCacheBaseTest, ARemovalWhileTheMessageIsToldBeginsAnInterval)
{
    mCounter.then = [&]
    {
        if (mCounter.heard == 1)
            mStore->QueueItemsRemovedNotification();
    };
    mStore->QueueItemsRemovedNotification();
    Turn(1000);
    EXPECT_EQ(mCounter.heard, 1);
    Turn(1000);
    EXPECT_EQ(mCounter.heard, 2);
    Turn(5000);
    EXPECT_EQ(mCounter.heard, 2);
}

TEST_F(DataCacheBaseTest, AStoreThatReportsNothingQueuesNothing)
{
    EXPECT_EQ(threads::GetRegisteredMainThread()->GetPendingCount(), 0);
    EXPECT_EQ(mStore->stationRequests, 0);
}

TEST_F(DataCacheBaseTest, TheFirstReportAsksForTheStationAndOnlyTheFirst)
{
    mStore->QueueItemsRemovedNotification();
    mStore->QueueItemsRemovedNotification();
    EXPECT_EQ(mStore->stationRequests, 1);
}

TEST_F(DataCacheBaseTest, AStoreThatGoesWithinTheSecondTellsNothing)
{
    mStore->QueueItemsRemovedNotification();
    Turn(500);
    mStore.reset();
    Turn(5000);
    EXPECT_EQ(mCounter.heard, 0);
}

TEST_F(DataCacheBaseTest, AListenerMayDestroyTheStore)
{
    mCounter.then = [&] { mStore.reset(); };
    mStore->QueueItemsRemovedNotification();
    Turn(1000);
    EXPECT_EQ(mCounter.heard, 1);
    EXPECT_EQ(mStore, nullptr);
}

TEST_F(DataCacheBaseTest, EachStoreHasAStationOfItsOwnForItsLife)
{
    const TestStore other;
    EXPECT_NE(other.GetStationID(), mStation);
    mStore.reset();
    EXPECT_FALSE(ZOR::StationUtils::AddListener(mStation, &mCounter));
}

} // namespace
