#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "DataCacheSupport.h"
#include "ZORMessaging/Station.h"

namespace Testing
{

/// What was asked of several links, in order: "first.GetItem", "second.PutItem data" ...
using CallLog = std::vector<std::string>;

/// A store that answers what it was told to, and notes what it is asked. One thread at a time.
class ScriptedLink : public DataCache
{
public:
    ScriptedLink(std::string inName, CallLog& ioLog)
        : mName(std::move(inName))
        , mLog(ioLog)
    {
    }

    qelcore::Result answer = RK::kDataCacheResultItemNotFound;
    CacheBuffer hit; // given if the answer is that the item is returned
    bool available = false;
    std::vector<std::string> listed;
    bool hasStation = true;
    std::function<void(const std::string&)> onCall; // may throw

    /// What GetItem was given and has not called.
    mutable std::vector<GetItemCompletionFunction> completions;

    const ZOR::StationID& Station() const { return mStation.GetStationID(); }
    void TellItemsRemoved() const
    {
        ZOR::StationUtils::BroadcastMessage(Station(), ItemsRemovedMessage());
    }

    void GetAvailableItems(const CacheKey&, AvailableCachedItemList& outList) const override
    {
        Note("GetAvailableItems");
        outList.clear();
        for (const std::string& name : listed)
            outList.push_back(N(name));
    }
    bool IsItemAvailable(const CacheKey&, const CacheSubKey&) const override
    {
        Note("IsItemAvailable");
        return available;
    }
    qelcore::Result GetItem(const CacheKey&, const CacheSubKey&,
                            const GetItemCompletionFunction& inCompletion,
                            CacheBuffer& outBuffer) const override
    {
        Note("GetItem");
        completions.push_back(inCompletion);
        if (answer == RK::kDataCacheResultItemReturned)
            outBuffer = hit;
        return answer;
    }
    void PutItem(const CacheKey&, const CacheSubKey&, const CacheBuffer& inBuffer) override
    {
        Note("PutItem " + TextOf(inBuffer));
    }
    void TouchItem(const CacheKey&, const CacheSubKey&) const override { Note("TouchItem"); }
    void RemoveItem(const CacheKey&, const CacheSubKey&) const override { Note("RemoveItem"); }
    ZOR::StationID GetStationID() const override
    {
        Note("GetStationID");
        return hasStation ? Station() : ZOR::StationID();
    }

private:
    void Note(const std::string& inCall) const
    {
        mLog.push_back(mName + "." + inCall);
        if (onCall)
            onCall(inCall);
    }

    const std::string mName;
    CallLog& mLog;
    const ZOR::StationUtils::ManagedStation mStation;
};

} // namespace Testing
