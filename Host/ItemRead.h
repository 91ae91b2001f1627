#pragma once

#include <functional>

#include <RiverKit/RKDataCache.h>

namespace RKHost
{

/// How a read ended. kDataCacheResultItemReturned: it was there at once; any other success: it was read.
/// After a failure the buffer is null. Must not throw.
using ItemAnswer = std::function<void(qelcore::Result, const RK::DataCache::CacheBuffer&)>;

/// Reads an item, and answers exactly once: within this call, or on a thread of the store's.
///
/// A store calls twice for a read that fails halfway, of which the first call is the answer; and it calls
/// nobody for a file that is empty, which is answered with kResultFailed once the store lets go of it.
void ReadItem(const RK::DataCache& inCache, const RK::DataCache::CacheKey& inKey,
              const RK::DataCache::CacheSubKey& inSubKey, const ItemAnswer& inAnswer);

/// The same, and waits for the answer.
/// @param outBuffer  null after a failure.
qelcore::Result ReadItemNow(const RK::DataCache& inCache, const RK::DataCache::CacheKey& inKey,
                            const RK::DataCache::CacheSubKey& inSubKey,
                            RK::DataCache::CacheBuffer& outBuffer);

} // namespace RKHost
