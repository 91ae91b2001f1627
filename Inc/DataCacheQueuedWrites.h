#pragma once

#include "RKDataCache.h"

namespace RK
{

// What a store is besides a DataCache, if its writes wait in a queue.
class IDataCacheWithQueuedWrites
{
public:
    virtual ~IDataCacheWithQueuedWrites() = default;
    virtual QueuedWrites GetQueuedWrites() const = 0;
};

} // namespace RK
