#include "DataCacheBase.h"

#include <utility>

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>

#include "qelcore/MainThread.h"
#include "qelcore/QueueOnlyOnce.h"

namespace RK
{

using qelcore::Result;
using qelcore::threads::QueueOnlyOnce;
using qelcore::threads::RecursiveMutex;

namespace
{

constexpr int kNotificationDelayMilliseconds = 1000;

} // namespace

DataCache::ItemsRemovedMessage::ItemsRemovedMessage() = default;
DataCache::ItemsRemovedMessage::ItemsRemovedMessage(const ItemsRemovedMessage&) = default;
DataCache::ItemsRemovedMessage::~ItemsRemovedMessage() = default;

DataCache::~DataCache() = default;

Result DataCache::GetAnyItem(const CacheKey& inKey, const std::vector<CacheSubKey>& inSubKeys,
                             const GetItemCompletionFunction& inCompletion,
                             CacheBuffer& outBuffer) const
{
    Result result = kDataCacheResultItemNotFound;
    for (const CacheSubKey& subKey : inSubKeys)
    {
        result = GetItem(inKey, subKey, inCompletion, outBuffer);
        if (!qelcore::Failed(result))
            break;
    }
    return result;
}

ZOR::StationID DataCache::GetStationID() const
{
    return ZOR::StationID();
}

// Merges the removals of a second into one message.
class DataCacheBase::DelayedNotifier
{
public:
    static boost::shared_ptr<DelayedNotifier> Create(const ZOR::StationID& inStationID)
    {
        const auto notifier = boost::make_shared<DelayedNotifier>(inStationID);
        // The main thread may be within the call while another one destroys the cache.
        notifier->mQueue = QueueOnlyOnce::Create(
            boost::bind(&DelayedNotifier::NotifyIfAlive,
                        boost::weak_ptr<DelayedNotifier>(notifier)),
            qelcore::threads::GetRegisteredMainThread(), kNotificationDelayMilliseconds, 0);
        return notifier;
    }

    explicit DelayedNotifier(const ZOR::StationID& inStationID)
        : mStationID(inStationID)
    {
    }
    DelayedNotifier(const DelayedNotifier&) = delete;
    DelayedNotifier& operator=(const DelayedNotifier&) = delete;

    void ItemsRemoved()
    {
        RecursiveMutex::ScopedLock lock(mLock, "RK::DelayedNotifier::ItemsRemoved");
        ++mPendingRemovals;
        mQueue->Queue();
    }

private:
    static void NotifyIfAlive(const boost::weak_ptr<DelayedNotifier>& inNotifier)
    {
        const boost::shared_ptr<DelayedNotifier> notifier = inNotifier.lock();
        if (notifier)
            notifier->Notify();
    }

    void Notify()
    {
        {
            RecursiveMutex::ScopedLock lock(mLock, "RK::DelayedNotifier::Notify");
            if (std::exchange(mPendingRemovals, 0) == 0)
                return;
        }
        ZOR::StationUtils::BroadcastMessage(mStationID, ItemsRemovedMessage());
    }

    RecursiveMutex mLock;
    boost::shared_ptr<QueueOnlyOnce> mQueue;                 // set once, by Create
    std::uint64_t mPendingRemovals RK_GUARDED_BY(mLock) = 0; // since the last message
    const ZOR::StationID mStationID;
};

DataCacheBase::DataCacheBase() = default;
DataCacheBase::~DataCacheBase() = default;

ZOR::StationID DataCacheBase::GetStationID() const
{
    return ManagedStation::GetStationID();
}

void DataCacheBase::QueueItemsRemovedNotification() const
{
    RecursiveMutex::ScopedLock lock(mNotifierLock,
                                    "RK::DataCacheBase::QueueItemsRemovedNotification");
    if (!mNotifier)
        mNotifier = DelayedNotifier::Create(GetStationID());
    mNotifier->ItemsRemoved();
}

} // namespace RK
