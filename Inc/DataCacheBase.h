#pragma once

#include <boost/shared_ptr.hpp>

#include "RKDataCache.h"
#include "ZORMessaging/Station.h"
#include "qelcore/RecursiveMutex.h"

namespace RK
{

// Base of the stores whose items can go behind their clients' back: a station, and a notifier that tells
// of it at most once a second.
//
// Locks  mNotifierLock, then the notifier's. A derived class calls QueueItemsRemovedNotification() with no
//        lock of its own held: the first call runs the virtual GetStationID().
class RK_API DataCacheBase : public DataCache, public ZOR::StationUtils::ManagedStation
{
public:
    DataCacheBase();
    DataCacheBase(const DataCacheBase&) = delete;
    DataCacheBase& operator=(const DataCacheBase&) = delete;
    /// An interval that is still open ends without a message.
    ~DataCacheBase() override;

    ZOR::StationID GetStationID() const override;
    /// Reports that at least one item has gone. All reports of a second make one message, on the main
    /// thread, a second after the first. Any thread, any number of times.
    void QueueItemsRemovedNotification() const;

private:
    class DelayedNotifier;

    mutable qelcore::threads::RecursiveMutex mNotifierLock;
    // Null until the first report.
    mutable boost::shared_ptr<DelayedNotifier> mNotifier RK_GUARDED_BY(mNotifierLock);
};

} // namespace RK
