// Links that are replaced, and the messages that the chain tells again.
#include "RiverKit/RKDataCacheChain.h"

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include <boost/weak_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChainFixture.h"
#include "Support/Gate.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class DataCacheChainLinksTest : public ChainFixture
{
protected:
    const LinkPtr mOther = NewLink("other");
};

TEST_F(DataCacheChainLinksTest, HandsOutTheLinksInPlaceOfWhatTheArgumentsHeld)
{
    DataCachePtr first = mOther, second = mOther;
    mChain.GetChainLinks(first, second);
    EXPECT_EQ(first, mFirst);
    EXPECT_EQ(second, mSecond);
}

TEST_F(DataCacheChainLinksTest, OneCallReplacesOneLinkAndTheFirstGoesAheadOfTheSecond)
{
    mChain.ReplaceChainLinks(mOther, NewLink("ignored"));
    EXPECT_THAT(Links(), Pair(mOther, mSecond));
}

TEST_F(DataCacheChainLinksTest, ANullFirstReplacesTheSecond)
{
    mChain.ReplaceChainLinks(nullptr, mOther);
    EXPECT_THAT(Links(), Pair(mFirst, mOther));
}

TEST_F(DataCacheChainLinksTest, TwoNullsChangeNothing)
{
    mChain.ReplaceChainLinks(nullptr, nullptr);
    EXPECT_THAT(Links(), Pair(mFirst, mSecond));
}

TEST_F(DataCacheChainLinksTest, AReplacementAsksNobodyForAStationBeforeSomebodyListens)
{
    mChain.ReplaceChainLinks(mOther, nullptr);
    mChain.ReplaceChainLinks(nullptr, mOther);
    EXPECT_THAT(mLog, IsEmpty());
}

// So no replacement comes between, and leaves the listener with a link that has gone.
TEST_F(DataCacheChainLinksTest, TheLinksAreAskedForTheirStationsUnderTheLock)
{
    Gate asking;
    mFirst->onCall = mSecond->onCall = [&](const std::string& inCall)
    {
        if (inCall == "GetStationID")
            asking.Pass();
    };
    std::future<void> listening = std::async(std::launch::async, [this] { mChain.GetStationID(); });
    asking.WaitUntilCome(1);
    std::future<void> replacing =
        std::async(std::launch::async, [this] { mChain.ReplaceChainLinks(mOther, nullptr); });
    std::future<void> looking = std::async(std::launch::async, [this] { Links(); });
    EXPECT_EQ(replacing.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_EQ(looking.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);
    asking.Open();
    listening.get();
    replacing.get();
    looking.get();
    EXPECT_THAT(mLog,
                ElementsAre("first.GetStationID", "second.GetStationID", "other.GetStationID"));
}

TEST_F(DataCacheChainLinksTest, AReadPutsBackIntoTheLinkThatWasFirstWhenItBegan)
{
    mSecond->answer = RK::kDataCacheResultReadQueued;
    int completions = 0;
    Get([&](auto&&...) { ++completions; });
    mChain.ReplaceChainLinks(mOther, nullptr);
    mLog.clear();
    mSecond->completions.back()(qelcore::kResult_OK, mKey, mSubKey, BufferOf("data"));
    EXPECT_THAT(mLog, ElementsAre("first.PutItem data"));
    EXPECT_EQ(completions, 1);
}

TEST_F(DataCacheChainLinksTest, AnOperationEndsWithTheLinksThatItBeganWithAndKeepsThemAlive)
{
    boost::weak_ptr<ScriptedLink> second = mSecond;
    mFirst->onCall = [&](const std::string&)
    {
        mChain.ReplaceChainLinks(nullptr, mOther);
        mSecond.reset();
        EXPECT_FALSE(second.expired());
    };
    mChain.PutItem(mKey, mSubKey, BufferOf("data"));
    EXPECT_THAT(mLog, ElementsAre("first.PutItem data", "second.PutItem data"));
    EXPECT_TRUE(second.expired());
}

TEST_F(DataCacheChainLinksTest, LinksCanBeReplacedOnAnotherThreadInTheMiddleOfEachOperation)
{
    int replaced = 0;
    mFirst->onCall = [&](const std::string&)
    {
        std::thread([&] { mChain.ReplaceChainLinks(nullptr, mOther); }).join();
        ++replaced;
    };
    Get();
    mChain.PutItem(mKey, mSubKey, BufferOf("data"));
    mChain.TouchItem(mKey, mSubKey);
    mChain.RemoveItem(mKey, mSubKey);
    mChain.IsItemAvailable(mKey, mSubKey);
    Listed(mChain, mKey);
    EXPECT_EQ(replaced, 6);
}

TEST_F(DataCacheChainLinksTest, ADeliveryThatComesAfterTheChainHasGoneIsPutBackAndCompleted)
{
    int completions = 0;
    mSecond->answer = RK::kDataCacheResultReadQueued;
    {
        RK::DataCacheChain chain(mFirst, mSecond);
        chain.GetItem(mKey, mSubKey, [&](auto&&...) { ++completions; }, mBuffer);
    }
    mLog.clear();
    mSecond->completions.back()(qelcore::kResult_OK, mKey, mSubKey, BufferOf("data"));
    EXPECT_THAT(mLog, ElementsAre("first.PutItem data"));
    EXPECT_EQ(completions, 1);
}

TEST_F(DataCacheChainLinksTest, TheChainCanBeUsedByOthersWhileAReplacedLinkEnds)
{
    struct SlowToEnd : ScriptedLink
    {
        using ScriptedLink::ScriptedLink;
        // As a store does that waits for its reads, whose completions use the chain.
        ~SlowToEnd() override
        {
            std::thread([this] { atEnd(); }).join();
        }
        std::function<void()> atEnd;
    };
    auto link = boost::make_shared<SlowToEnd>("slow", mLog);
    link->atEnd = [&] { Get(); };
    mChain.ReplaceChainLinks(link, nullptr);
    link.reset();
    mChain.ReplaceChainLinks(mOther, nullptr);
    EXPECT_THAT(mLog, ElementsAre("other.GetItem", "second.GetItem"));
}

TEST_F(DataCacheChainLinksTest, TheFirstRequestForTheStationAsksTheLinksForTheirsOnce)
{
    const ZOR::StationID station = mChain.GetStationID();
    EXPECT_FALSE(station.IsNull());
    EXPECT_THAT(mLog, ElementsAre("first.GetStationID", "second.GetStationID"));
    EXPECT_EQ(mChain.GetStationID(), station);
    EXPECT_EQ(mLog.size(), 2u);
}

TEST_F(DataCacheChainLinksTest, TellsWhatEitherLinkTellsAtOnceAndOnTheSameThread)
{
    const StationCounter counter(mChain.GetStationID());
    mFirst->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 1);
    std::thread([&] { mSecond->TellItemsRemoved(); }).join();
    EXPECT_EQ(counter.heard, 2);
}

TEST_F(DataCacheChainLinksTest, PassesNoOtherMessageOn)
{
    class Other : public ZOR::MessageImpl<Other>
    {
    };
    const StationCounter counter(mChain.GetStationID());
    ZOR::StationUtils::BroadcastMessage(mFirst->Station(), Other());
    EXPECT_EQ(counter.heard, 0);
}

TEST_F(DataCacheChainLinksTest, LinksWithoutStationsAreAskedOnceAndTheChainIsSilent)
{
    mFirst->hasStation = mSecond->hasStation = false;
    const StationCounter counter(mChain.GetStationID());
    mChain.GetStationID();
    EXPECT_EQ(mLog.size(), 2u);
    mFirst->TellItemsRemoved();
    mSecond->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 0);
}

TEST_F(DataCacheChainLinksTest, TheNewLinkIsHeardInPlaceOfTheOldOne)
{
    const StationCounter counter(mChain.GetStationID());
    mChain.ReplaceChainLinks(nullptr, mOther);
    mSecond->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 0);
    mOther->TellItemsRemoved();
    mFirst->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 2);
}

TEST_F(DataCacheChainLinksTest, ALinkWithoutAStationGivesWayToOneThatHasOneAndBack)
{
    mFirst->hasStation = false;
    const StationCounter counter(mChain.GetStationID());
    mChain.ReplaceChainLinks(mOther, nullptr);
    mOther->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 1);
    mChain.ReplaceChainLinks(mFirst, nullptr);
    mOther->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(DataCacheChainLinksTest, OneStoreAsBothLinksIsHeardOnceForEachMessageUntilBothAreReplaced)
{
    RK::DataCacheChain chain(mFirst, mFirst);
    const StationCounter counter(chain.GetStationID());
    mFirst->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 1);
    chain.ReplaceChainLinks(mOther, nullptr);
    mFirst->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 2);
    chain.ReplaceChainLinks(nullptr, mSecond);
    mFirst->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 2);
}

TEST_F(DataCacheChainLinksTest, ANullLinkPutsListeningOffUntilItIsThere)
{
    RK::DataCacheChain chain(mFirst, nullptr);
    const StationCounter counter(chain.GetStationID());
    EXPECT_THAT(mLog, IsEmpty());
    chain.ReplaceChainLinks(nullptr, mSecond);
    mSecond->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 0);
    chain.GetStationID();
    mSecond->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(DataCacheChainLinksTest, AStationRequestThatALinkRaisesOutOfIsTriedAgainByTheNextOne)
{
    mSecond->onCall = [](const std::string&) { throw std::runtime_error("no watch"); };
    EXPECT_THROW(mChain.GetStationID(), std::runtime_error);
    mSecond->onCall = nullptr;
    const StationCounter counter(mChain.GetStationID());
    std::thread([&] { Get(); }).join(); // the lock is free
    mFirst->TellItemsRemoved();
    mSecond->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 2);
}

TEST_F(DataCacheChainLinksTest, AReplacementThatRaisesLeavesTheOldLinkHeardAndTheLockFree)
{
    const StationCounter counter(mChain.GetStationID());
    mOther->onCall = [](const std::string&) { throw std::runtime_error("no watch"); };
    EXPECT_THROW(mChain.ReplaceChainLinks(mOther, nullptr), std::runtime_error);
    std::thread([&] { EXPECT_THAT(Links(), Pair(mFirst, mSecond)); }).join();
    mFirst->TellItemsRemoved();
    mOther->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(DataCacheChainLinksTest, TheStationOfAChainAroundAChainMakesTheInnerOneListen)
{
    const auto inner = boost::make_shared<RK::DataCacheChain>(mFirst, mSecond);
    RK::DataCacheChain outer(mOther, inner);
    const StationCounter counter(outer.GetStationID());
    EXPECT_THAT(mLog,
                ElementsAre("other.GetStationID", "first.GetStationID", "second.GetStationID"));
    mSecond->TellItemsRemoved();
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(DataCacheChainLinksTest, AChainThatHasGoneHearsNothingAndItsStationIsDisposedOf)
{
    ZOR::StationID station;
    {
        RK::DataCacheChain chain(mFirst, mSecond);
        station = chain.GetStationID();
    }
    EXPECT_FALSE(ZOR::StationRegistry::DisposeStation(station));
    mFirst->TellItemsRemoved();
    mSecond->TellItemsRemoved();
}

TEST_F(DataCacheChainLinksTest, TheChainSharesItsLinksForItsLife)
{
    boost::weak_ptr<ScriptedLink> first = mFirst;
    {
        RK::DataCacheChain chain(mFirst, mSecond);
        mChain.ReplaceChainLinks(mOther, nullptr);
        mFirst.reset();
        EXPECT_FALSE(first.expired());
    }
    EXPECT_TRUE(first.expired());
}

} // namespace
