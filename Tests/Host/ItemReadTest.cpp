#include "ItemRead.h"

#include <gtest/gtest.h>

namespace RKHostTests
{
namespace
{

using RK::DataCache;
using Name = DataCache::CacheKey;

// A store that keeps the completion function it is given, for the test to call or to drop.
class HandStore : public DataCache
{
public:
    void GetAvailableItems(const CacheKey&, AvailableCachedItemList&) const override {}
    bool IsItemAvailable(const CacheKey&, const CacheSubKey&) const override { return false; }
    qelcore::Result GetItem(const CacheKey&, const CacheSubKey&,
                            const GetItemCompletionFunction& inCompletion,
                            CacheBuffer& outBuffer) const override
    {
        if (mResult == RK::kDataCacheResultReadQueued)
            mCompletion = inCompletion;
        if (mResult == RK::kDataCacheResultItemReturned)
            outBuffer = mBuffer;
        return mResult;
    }
    void PutItem(const CacheKey&, const CacheSubKey&, const CacheBuffer&) override {}
    void TouchItem(const CacheKey&, const CacheSubKey&) const override {}
    void RemoveItem(const CacheKey&, const CacheSubKey&) const override {}

    qelcore::Result mResult = RK::kDataCacheResultReadQueued;
    const CacheBuffer mBuffer = qelcore::utility::RecycledMemory::Create(1);
    mutable GetItemCompletionFunction mCompletion;
};

class ItemRead : public testing::Test
{
protected:
    void Read()
    {
        RKHost::ReadItem(mStore, mKey, mKey,
                         [this](qelcore::Result inResult, const DataCache::CacheBuffer& inBuffer)
                         {
                             ++mAnswers;
                             mResult = inResult;
                             mBuffer = inBuffer;
                         });
    }

    HandStore mStore;
    const Name mKey = Name::CreateStatic("key");
    int mAnswers = 0;
    qelcore::Result mResult = 0;
    DataCache::CacheBuffer mBuffer;
};

TEST_F(ItemRead, AnItemThatIsThereAtOnceIsTheAnswer)
{
    mStore.mResult = RK::kDataCacheResultItemReturned;
    Read();
    EXPECT_EQ(1, mAnswers);
    EXPECT_EQ(RK::kDataCacheResultItemReturned, mResult);
    EXPECT_EQ(mStore.mBuffer, mBuffer);
}

TEST_F(ItemRead, AMissIsAnsweredOnceWithoutABuffer)
{
    mStore.mResult = RK::kDataCacheResultItemNotFound;
    Read();
    EXPECT_EQ(1, mAnswers);
    EXPECT_EQ(RK::kDataCacheResultItemNotFound, mResult);
    EXPECT_EQ(nullptr, mBuffer);
}

TEST_F(ItemRead, AQueuedReadIsAnsweredWhenItIsDelivered)
{
    Read();
    EXPECT_EQ(0, mAnswers);
    mStore.mCompletion(qelcore::kResult_OK, mKey, mKey, mStore.mBuffer);
    mStore.mCompletion.clear();
    EXPECT_EQ(1, mAnswers);
    EXPECT_EQ(qelcore::kResult_OK, mResult);
    EXPECT_EQ(mStore.mBuffer, mBuffer);
}

TEST_F(ItemRead, AFailedReadThatIsDeliveredTwiceIsAnsweredOnceWithoutItsTornBuffer)
{
    Read();
    mStore.mCompletion(RK::kResultFailed, mKey, mKey, mStore.mBuffer);
    mStore.mCompletion(RK::kResultFailed, mKey, mKey, nullptr);
    EXPECT_EQ(1, mAnswers);
    EXPECT_EQ(RK::kResultFailed, mResult);
    EXPECT_EQ(nullptr, mBuffer);
}

TEST_F(ItemRead, AReadThatIsNeverDeliveredIsAnsweredAsAFailureWhenTheStoreLetsGoOfIt)
{
    Read();
    mStore.mCompletion.clear();
    EXPECT_EQ(1, mAnswers);
    EXPECT_EQ(RK::kResultFailed, mResult);
}

} // namespace
} // namespace RKHostTests
