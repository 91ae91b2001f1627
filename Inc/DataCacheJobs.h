#pragma once

#include <cstdint>

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "DataCacheInFilesystem.h"

// The jobs of the store in a folder: all that it does with files of items.
namespace RK
{

// One read, from the call to its completion: made once, and handed on as a whole.
struct DataCacheRead
{
    boost::weak_ptr<const DataCacheInFilesystem> mStore;
    DataCache::CacheKey mKey;
    DataCache::CacheSubKey mSubKey;
    DataCache::GetItemCompletionFunction mCompletion;
    qelcore::UTF16String mPath; // empty: not assembled yet
    // What is delivered, once it was read.
    qelcore::Result mResult = kResultFailed;
    DataCache::CacheBuffer mBuffer;
};

struct DataCacheWrite
{
    boost::weak_ptr<const DataCacheInFilesystem> mStore;
    DataCache::CacheKey mKey;
    DataCache::CacheSubKey mSubKey;
    DataCache::CacheBuffer mBuffer; // null for a touch or a removal
};

/// Items are of 1 byte up to one less than this.
constexpr std::uint64_t kTooLargeForDataCache = 0x7FFFFFFF;

void AsyncRead(const boost::shared_ptr<DataCacheRead>& inRead);
void AsyncWrite(const boost::shared_ptr<DataCacheWrite>& inWrite);
void AsyncTouch(const boost::shared_ptr<DataCacheWrite>& inTouch);
void AsyncRemove(const boost::shared_ptr<DataCacheWrite>& inRemoval);

// Those that bring the index in step with a folder that others delete from, on the shared executor for work
// that waits. Both end quietly if the store has gone.

/// A path in the folder is no more. If its name tells the item, that one leaves the index; anything may have
/// gone otherwise, so all are looked at, in a job of its own.
void NotifyItemsRemoved(const boost::weak_ptr<const DataCacheInFilesystem>& inStore,
                        const qelcore::UTF16String& inPath);
void VerifyIndex(const boost::weak_ptr<const DataCacheInFilesystem>& inStore);

} // namespace RK
