#pragma once

#include <utility>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "RiverKit/RKDataCacheChain.h"
#include "ScriptedLink.h"

namespace Testing
{

/// A chain of two scripted links, and what was asked of them.
class ChainFixture : public testing::Test
{
protected:
    using DataCachePtr = RK::DataCachePtr;
    using LinkPtr = boost::shared_ptr<ScriptedLink>;

    LinkPtr NewLink(const std::string& inName)
    {
        return boost::make_shared<ScriptedLink>(inName, mLog);
    }
    qelcore::Result Get(const DataCache::GetItemCompletionFunction& inCompletion = {})
    {
        return mChain.GetItem(mKey, mSubKey, inCompletion, mBuffer);
    }
    std::pair<DataCachePtr, DataCachePtr> Links() const
    {
        std::pair<DataCachePtr, DataCachePtr> links;
        mChain.GetChainLinks(links.first, links.second);
        return links;
    }

    CallLog mLog;
    LinkPtr mFirst = NewLink("first"), mSecond = NewLink("second");
    RK::DataCacheChain mChain{mFirst, mSecond};
    const Name mKey = N("clip"), mSubKey = N("frame 1");
    DataCache::CacheBuffer mBuffer;
};

/// Hears a station for its life.
class StationCounter : public ZOR::Listener
{
public:
    explicit StationCounter(const ZOR::StationID& inStation)
        : mStation(inStation)
    {
        ZOR::StationUtils::AddListener(mStation, this);
    }
    ~StationCounter() override { ZOR::StationUtils::RemoveListener(mStation, this); }
    StationCounter(const StationCounter&) = delete;
    StationCounter& operator=(const StationCounter&) = delete;

    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        EXPECT_EQ(inMessage.GetMessageID(), DataCache::ItemsRemovedMessage::GetClassMessageID());
        ++heard;
    }
    int heard = 0;

private:
    const ZOR::StationID mStation;
};

} // namespace Testing
