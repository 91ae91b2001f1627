#include "RiverKit/RKDataCacheChain.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChainFixture.h"
#include "RiverKit/RKInitializer.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr qelcore::Result kReadFailed = static_cast<qelcore::Result>(0xA00F0005u);

// What a completion function was told, in order with what was asked of the links.
class DataCacheChainTest : public ChainFixture
{
protected:
    DataCache::GetItemCompletionFunction Completion()
    {
        return [this](qelcore::Result inResult, const Name& inKey, const Name& inSubKey,
                      const DataCache::CacheBuffer& inBuffer)
        {
            mLog.push_back("completion " + TextOf(inBuffer));
            mResult = inResult;
            EXPECT_EQ(inKey, mKey);
            EXPECT_EQ(inSubKey, mSubKey);
        };
    }
    // A read that the second link has begun, and the chain's answer to it.
    void BeginRead()
    {
        mSecond->answer = RK::kDataCacheResultReadQueued;
        EXPECT_EQ(Get(Completion()), RK::kDataCacheResultReadQueued);
        mLog.clear();
    }
    void EndRead(qelcore::Result inResult, const DataCache::CacheBuffer& inBuffer)
    {
        mSecond->completions.back()(inResult, mKey, mSubKey, inBuffer);
    }

    qelcore::Result mResult = 0;
};

TEST_F(DataCacheChainTest, AHitInTheFirstLinkIsTheAnswerAndTheSecondIsNotAsked)
{
    mFirst->answer = RK::kDataCacheResultItemReturned;
    mFirst->hit = BufferOf("data");
    EXPECT_EQ(Get(Completion()), RK::kDataCacheResultItemReturned);
    EXPECT_EQ(mBuffer, mFirst->hit);
    EXPECT_THAT(mLog, ElementsAre("first.GetItem"));
}

TEST_F(DataCacheChainTest, AReadThatTheFirstLinkBeganIsTheAnswerAndItsDeliveryIsNotPutBack)
{
    mFirst->answer = RK::kDataCacheResultReadQueued;
    EXPECT_EQ(Get(Completion()), RK::kDataCacheResultReadQueued);
    mFirst->completions.back()(RK::kDataCacheResultReadQueued, mKey, mSubKey, BufferOf("data"));
    EXPECT_THAT(mLog, ElementsAre("first.GetItem", "completion data"));
}

TEST_F(DataCacheChainTest, AMissInBothIsTheSecondLinksFailure)
{
    mFirst->answer = RK::kResultFailed;
    mSecond->answer = RK::kDataCacheResultItemNotFound;
    const DataCache::CacheBuffer before = mBuffer = BufferOf("mine");
    EXPECT_EQ(Get(Completion()), RK::kDataCacheResultItemNotFound);
    EXPECT_EQ(mBuffer, before);
    EXPECT_THAT(mLog, ElementsAre("first.GetItem", "second.GetItem"));
}

TEST_F(DataCacheChainTest, WithoutACompletionTheSecondLinkGetsNoneEither)
{
    mSecond->answer = RK::kDataCacheResultReadNeedsCompletion;
    EXPECT_EQ(Get(), RK::kDataCacheResultReadNeedsCompletion);
    ASSERT_EQ(mSecond->completions.size(), 1u);
    EXPECT_TRUE(mSecond->completions[0].empty());
}

TEST_F(DataCacheChainTest, ASynchronousHitInTheSecondLinkIsNotPutIntoTheFirst)
{
    mSecond->answer = RK::kDataCacheResultItemReturned;
    mSecond->hit = BufferOf("data");
    EXPECT_EQ(Get(Completion()), RK::kDataCacheResultItemReturned);
    EXPECT_EQ(mBuffer, mSecond->hit);
    EXPECT_THAT(mLog, ElementsAre("first.GetItem", "second.GetItem"));
}

TEST_F(DataCacheChainTest, WhatTheSecondLinkReadIsInTheFirstBeforeTheCompletionRuns)
{
    BeginRead();
    EndRead(qelcore::kResult_OK, BufferOf("data"));
    EXPECT_THAT(mLog, ElementsAre("first.PutItem data", "completion data"));
    EXPECT_EQ(mResult, qelcore::kResult_OK);
}

TEST_F(DataCacheChainTest, AFailedReadReachesTheCompletionAndNotTheFirstLink)
{
    BeginRead();
    EndRead(kReadFailed, nullptr);
    EXPECT_THAT(mLog, ElementsAre("completion (null)"));
    EXPECT_EQ(mResult, kReadFailed);
}

TEST_F(DataCacheChainTest, BothDeliveriesOfOneFailedReadReachTheCompletion)
{
    BeginRead();
    EndRead(kReadFailed, BufferOf("torn"));
    EndRead(kReadFailed, nullptr);
    EXPECT_THAT(mLog, ElementsAre("completion torn", "completion (null)"));
}

TEST_F(DataCacheChainTest, ACompletionRunsThoughPuttingIntoTheFirstLinkRaisedWhichPassesOn)
{
    BeginRead();
    mFirst->onCall = [](const std::string&) { throw std::runtime_error("no room"); };
    EXPECT_THROW(EndRead(qelcore::kResult_OK, BufferOf("data")), std::runtime_error);
    EXPECT_THAT(mLog, ElementsAre("first.PutItem data", "completion data"));
}

TEST_F(DataCacheChainTest, ACompletionThatRaisesRunsOnce)
{
    mSecond->answer = RK::kDataCacheResultReadQueued;
    int calls = 0;
    Get(
        [&](auto&&...)
        {
            ++calls;
            throw std::runtime_error("the caller's");
        });
    EXPECT_THROW(EndRead(qelcore::kResult_OK, BufferOf("data")), std::runtime_error);
    EXPECT_EQ(calls, 1);
}

TEST_F(DataCacheChainTest, OfSeveralSubKeysTheFirstThatEitherLinkHasIsRead)
{
    mSecond->answer = RK::kDataCacheResultReadQueued;
    EXPECT_EQ(mChain.GetAnyItem(mKey, {mSubKey, N("frame 2")}, Completion(), mBuffer),
              RK::kDataCacheResultReadQueued);
    EXPECT_THAT(mLog, ElementsAre("first.GetItem", "second.GetItem"));
}

TEST_F(DataCacheChainTest, PutsTouchesAndRemovesInTheFirstLinkAndThenInTheSecond)
{
    mChain.PutItem(mKey, mSubKey, BufferOf("data"));
    mChain.TouchItem(mKey, mSubKey);
    mChain.RemoveItem(mKey, mSubKey);
    EXPECT_THAT(mLog, ElementsAre("first.PutItem data", "second.PutItem data", "first.TouchItem",
                                  "second.TouchItem", "first.RemoveItem", "second.RemoveItem"));
}

TEST_F(DataCacheChainTest, WhatTheFirstLinkRaisesPassesOnAndTheSecondIsNotCalled)
{
    mFirst->onCall = [](const std::string&) { throw std::runtime_error("no room"); };
    EXPECT_THROW(mChain.PutItem(mKey, mSubKey, BufferOf("data")), std::runtime_error);
    EXPECT_THROW(mChain.TouchItem(mKey, mSubKey), std::runtime_error);
    EXPECT_THROW(mChain.RemoveItem(mKey, mSubKey), std::runtime_error);
    EXPECT_THROW(Get(), std::runtime_error);
    EXPECT_THAT(mLog, ElementsAre("first.PutItem data", "first.TouchItem", "first.RemoveItem",
                                  "first.GetItem"));
}

TEST_F(DataCacheChainTest, ListsTheFirstLinksSubKeysThenWhatOnlyTheSecondKnows)
{
    mFirst->listed = {"a", "b"};
    mSecond->listed = {"b", "c"};
    EXPECT_THAT(Listed(mChain, mKey), ElementsAre("a", "b", "c"));
}

TEST_F(DataCacheChainTest, ListsWhatTheSecondLinkRepeatsOnceAndTheFirstLinksAsTheyAre)
{
    mFirst->listed = {"b", "b"};
    mSecond->listed = {"c", "a", "c", "b"};
    EXPECT_THAT(Listed(mChain, mKey), ElementsAre("b", "b", "c", "a"));
}

TEST_F(DataCacheChainTest, TheSecondLinkIsAskedForAvailabilityOnlyIfTheFirstSaysNo)
{
    mFirst->available = true;
    EXPECT_TRUE(mChain.IsItemAvailable(mKey, mSubKey));
    EXPECT_THAT(mLog, ElementsAre("first.IsItemAvailable"));
    mFirst->available = false;
    EXPECT_FALSE(mChain.IsItemAvailable(mKey, mSubKey));
    mSecond->available = true;
    EXPECT_TRUE(mChain.IsItemAvailable(mKey, mSubKey));
}

TEST_F(DataCacheChainTest, TwoStoresInMemoryShareWhatIsPutAndTheSecondAnswersForItself)
{
    const RK::Initializer library;
    const auto fast = RK::CreateDataCacheInMemory(), slow = RK::CreateDataCacheInMemory();
    RK::DataCacheChain chain(fast, slow);
    chain.PutItem(mKey, mSubKey, BufferOf("both"));
    slow->PutItem(mKey, N("slow"), BufferOf("slow only"));
    DataCache::CacheBuffer buffer;
    EXPECT_EQ(fast->GetItem(mKey, mSubKey, {}, buffer), RK::kDataCacheResultItemReturned);
    EXPECT_EQ(slow->GetItem(mKey, mSubKey, {}, buffer), RK::kDataCacheResultItemReturned);
    EXPECT_EQ(chain.GetItem(mKey, N("slow"), {}, buffer), RK::kDataCacheResultItemReturned);
    EXPECT_EQ(TextOf(buffer), "slow only");
    EXPECT_FALSE(fast->IsItemAvailable(mKey, N("slow")));
    EXPECT_THAT(Listed(chain, mKey), ElementsAre("frame 1", "slow"));
}

} // namespace
