#include "RKDataCacheChain.h"

#include <algorithm>

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>

#include "DataCacheBase.h"
#include "ZORMessaging/Listener.h"
#include "qelcore/RecursiveMutex.h"

namespace RK
{

using qelcore::Result;
using qelcore::threads::RecursiveMutex;

namespace
{

// Tells again on the chain's station what it hears on those of the links. It knows the station by name
// alone, so a message that is under way when the chain ends finds no station and is lost.
class DataCacheChainChangeMessageRelay : public ZOR::WeakCountedObject<ZOR::ISafeListener>
{
public:
    explicit DataCacheChainChangeMessageRelay(const ZOR::StationID& inTarget)
        : mTarget(inTarget)
    {
    }

    // The links have limited their rate already.
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        if (inMessage.GetMessageID() == DataCache::ItemsRemovedMessage::GetClassMessageID())
            ZOR::StationUtils::BroadcastMessage(mTarget, DataCache::ItemsRemovedMessage());
    }

private:
    const ZOR::StationID mTarget;
};

using RelayRef = ZOR::InterfaceRef<DataCacheChainChangeMessageRelay, ZOR::ISafeListener>;

} // namespace

// Locks  mLinksLock is held to copy and change links and to set up the relay, never during an operation
//        on items. The links' GetStationID() is called with it held, so it comes ahead of their locks.
class DataCacheChainImpl : public DataCacheBase
{
public:
    DataCacheChainImpl(const DataCachePtr& inFirst, const DataCachePtr& inSecond);
    ~DataCacheChainImpl() override;

    void GetAvailableItems(const CacheKey& inKey,
                           AvailableCachedItemList& outSubKeys) const override;
    bool IsItemAvailable(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;
    Result GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                   const GetItemCompletionFunction& inCompletion,
                   CacheBuffer& outBuffer) const override;
    void PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                 const CacheBuffer& inBuffer) override;
    void TouchItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;
    void RemoveItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;
    ZOR::StationID GetStationID() const override;

    void GetChainLinks(DataCachePtr& outFirst, DataCachePtr& outSecond) const;
    void ReplaceChainLinks(const DataCachePtr& inFirst, const DataCachePtr& inSecond);

private:
    // The links as an operation found them when it began.
    struct Links
    {
        explicit Links(const DataCacheChainImpl& inChain) { inChain.GetChainLinks(first, second); }
        DataCachePtr first, second;
    };

    static void SynchronizeCaches(const GetItemCompletionFunction& inCompletion,
                                  const DataCachePtr& inFirst, Result inResult,
                                  const CacheKey& inKey, const CacheSubKey& inSubKey,
                                  const CacheBuffer& inBuffer);
    void CreateRelay(const ZOR::StationID& inTarget) const RK_REQUIRES(mLinksLock);
    void ReplaceChainLinkListener(const DataCachePtr& inNewLink, ZOR::StationID& ioStation) const
        RK_REQUIRES(mLinksLock);

    DataCachePtr mFirstLink RK_GUARDED_BY(mLinksLock);
    DataCachePtr mSecondLink RK_GUARDED_BY(mLinksLock);
    // Where the relay listens; null where it does not.
    mutable ZOR::StationID mFirstLinkStation RK_GUARDED_BY(mLinksLock);
    mutable ZOR::StationID mSecondLinkStation RK_GUARDED_BY(mLinksLock);
    mutable RecursiveMutex mLinksLock;
    mutable RelayRef mRelay RK_GUARDED_BY(mLinksLock); // null until somebody wants to listen
};

namespace
{

ZOR::StationID ListenTo(const DataCachePtr& inLink, const ZOR::ISafeListenerRef& inListener)
{
    const ZOR::StationID station = inLink->GetStationID();
    if (!station.IsNull())
        ZOR::StationUtils::AddListener(station, inListener);
    return station;
}

void StopListening(const ZOR::StationID& inStation, const ZOR::ISafeListenerRef& inListener)
{
    if (!inStation.IsNull())
        ZOR::StationUtils::RemoveListener(inStation, inListener);
}

} // namespace

DataCacheChainImpl::DataCacheChainImpl(const DataCachePtr& inFirst, const DataCachePtr& inSecond)
    : mFirstLink(inFirst)
    , mSecondLink(inSecond)
{
}

DataCacheChainImpl::~DataCacheChainImpl()
{
    const auto listener = ZOR::QueryInterface<ZOR::ISafeListener>(mRelay);
    if (!listener)
        return;
    StopListening(mFirstLinkStation, listener);
    StopListening(mSecondLinkStation, listener);
}

void DataCacheChainImpl::GetAvailableItems(const CacheKey& inKey,
                                           AvailableCachedItemList& outSubKeys) const
{
    const Links links(*this);
    links.first->GetAvailableItems(inKey, outSubKeys);
    AvailableCachedItemList others;
    links.second->GetAvailableItems(inKey, others);
    for (const CacheSubKey& other : others)
    {
        if (std::find(outSubKeys.begin(), outSubKeys.end(), other) == outSubKeys.end())
            outSubKeys.push_back(other);
    }
}

bool DataCacheChainImpl::IsItemAvailable(const CacheKey& inKey, const CacheSubKey& inSubKey) const
{
    const Links links(*this);
    return links.first->IsItemAvailable(inKey, inSubKey) ||
           links.second->IsItemAvailable(inKey, inSubKey);
}

Result DataCacheChainImpl::GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                                   const GetItemCompletionFunction& inCompletion,
                                   CacheBuffer& outBuffer) const
{
    const Links links(*this);
    const Result result = links.first->GetItem(inKey, inSubKey, inCompletion, outBuffer);
    if (!qelcore::Failed(result))
        return result;
    GetItemCompletionFunction completion;
    if (inCompletion)
        completion =
            boost::bind(&SynchronizeCaches, inCompletion, links.first, boost::placeholders::_1,
                        boost::placeholders::_2, boost::placeholders::_3, boost::placeholders::_4);
    return links.second->GetItem(inKey, inSubKey, completion, outBuffer);
}

// Ahead of the caller's completion function, which then finds the item in the first link.
void DataCacheChainImpl::SynchronizeCaches(const GetItemCompletionFunction& inCompletion,
                                           const DataCachePtr& inFirst, Result inResult,
                                           const CacheKey& inKey, const CacheSubKey& inSubKey,
                                           const CacheBuffer& inBuffer)
{
    try
    {
        if (!qelcore::Failed(inResult))
            inFirst->PutItem(inKey, inSubKey, inBuffer);
    }
    catch (...)
    {
        inCompletion(inResult, inKey, inSubKey, inBuffer); // somebody waits for it
        throw;
    }
    inCompletion(inResult, inKey, inSubKey, inBuffer);
}

void DataCacheChainImpl::PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                                 const CacheBuffer& inBuffer)
{
    const Links links(*this);
    links.first->PutItem(inKey, inSubKey, inBuffer);
    links.second->PutItem(inKey, inSubKey, inBuffer);
}

void DataCacheChainImpl::TouchItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const
{
    const Links links(*this);
    links.first->TouchItem(inKey, inSubKey);
    links.second->TouchItem(inKey, inSubKey);
}

void DataCacheChainImpl::RemoveItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const
{
    const Links links(*this);
    links.first->RemoveItem(inKey, inSubKey);
    links.second->RemoveItem(inKey, inSubKey);
}

ZOR::StationID DataCacheChainImpl::GetStationID() const
{
    const ZOR::StationID station = DataCacheBase::GetStationID();
    RecursiveMutex::ScopedLock lock(mLinksLock, "RK::DataCacheChainImpl::GetStationID");
    if (!mRelay && mFirstLink && mSecondLink)
        CreateRelay(station);
    return station;
}

// mRelay is set last: if a link raises, the relay goes, and the next call tries again.
void DataCacheChainImpl::CreateRelay(const ZOR::StationID& inTarget) const
{
    const RelayRef relay(new DataCacheChainChangeMessageRelay(inTarget));
    const auto listener = ZOR::QueryInterface<ZOR::ISafeListener>(relay);
    mFirstLinkStation = ListenTo(mFirstLink, listener);
    mSecondLinkStation = ListenTo(mSecondLink, listener);
    mRelay = relay;
}

void DataCacheChainImpl::GetChainLinks(DataCachePtr& outFirst, DataCachePtr& outSecond) const
{
    DataCachePtr first, second; // what the arguments held goes without the lock
    {
        RecursiveMutex::ScopedLock lock(mLinksLock, "RK::DataCacheChainImpl::GetChainLinks");
        first = mFirstLink;
        second = mSecondLink;
    }
    outFirst.swap(first);
    outSecond.swap(second);
}

void DataCacheChainImpl::ReplaceChainLinks(const DataCachePtr& inFirst,
                                           const DataCachePtr& inSecond)
{
    // Outlives the lock: a store may wait, at its end, for completions that use the chain.
    DataCachePtr link = inFirst ? inFirst : inSecond;
    if (!link)
        return;
    RecursiveMutex::ScopedLock lock(mLinksLock, "RK::DataCacheChainImpl::ReplaceChainLinks");
    ReplaceChainLinkListener(link, inFirst ? mFirstLinkStation : mSecondLinkStation);
    (inFirst ? mFirstLink : mSecondLink).swap(link);
}

void DataCacheChainImpl::ReplaceChainLinkListener(const DataCachePtr& inNewLink,
                                                  ZOR::StationID& ioStation) const
{
    const auto listener = ZOR::QueryInterface<ZOR::ISafeListener>(mRelay);
    if (!listener)
        return;
    StopListening(ioStation, listener);
    try
    {
        ioStation = ListenTo(inNewLink, listener);
    }
    catch (...)
    {
        ZOR::StationUtils::AddListener(ioStation, listener); // the old link stays
        throw;
    }
}

namespace
{

DataCacheChainImpl& ImplOf(const DataCachePtr& inImpl)
{
    return static_cast<DataCacheChainImpl&>(*inImpl);
}

} // namespace

DataCacheChain::DataCacheChain(const DataCachePtr& inFirst, const DataCachePtr& inSecond)
    : mImpl(boost::make_shared<DataCacheChainImpl>(inFirst, inSecond))
{
}

DataCacheChain::~DataCacheChain() = default;

void DataCacheChain::GetAvailableItems(const CacheKey& inKey,
                                       AvailableCachedItemList& outSubKeys) const
{
    mImpl->GetAvailableItems(inKey, outSubKeys);
}

bool DataCacheChain::IsItemAvailable(const CacheKey& inKey, const CacheSubKey& inSubKey) const
{
    return mImpl->IsItemAvailable(inKey, inSubKey);
}

Result DataCacheChain::GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                               const GetItemCompletionFunction& inCompletion,
                               CacheBuffer& outBuffer) const
{
    return mImpl->GetItem(inKey, inSubKey, inCompletion, outBuffer);
}

void DataCacheChain::PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                             const CacheBuffer& inBuffer)
{
    mImpl->PutItem(inKey, inSubKey, inBuffer);
}

void DataCacheChain::TouchItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const
{
    mImpl->TouchItem(inKey, inSubKey);
}

void DataCacheChain::RemoveItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const
{
    mImpl->RemoveItem(inKey, inSubKey);
}

ZOR::StationID DataCacheChain::GetStationID() const
{
    return mImpl->GetStationID();
}

void DataCacheChain::GetChainLinks(DataCachePtr& outFirst, DataCachePtr& outSecond) const
{
    ImplOf(mImpl).GetChainLinks(outFirst, outSecond);
}

void DataCacheChain::ReplaceChainLinks(const DataCachePtr& inFirst, const DataCachePtr& inSecond)
{
    ImplOf(mImpl).ReplaceChainLinks(inFirst, inSecond);
}

} // namespace RK
