// The store in memory: what stays and what goes is the media manager's to say.
#include "RKDataCache.h"

#include <algorithm>
#include <utility>

#include <boost/make_shared.hpp>

#include "DataCacheIndex.h"
#include "MediaManager/MediaCache.h"
#include "qelcore/RecursiveMutex.h"

namespace RK
{

namespace
{

using qelcore::threads::RecursiveMutex;

constexpr unsigned int kPriority = 4;

// Locks  mIndexLock is held around the index alone, never while the media cache is called.
class DataCacheInMemory : public DataCache
{
public:
    void GetAvailableItems(const CacheKey& inKey,
                           AvailableCachedItemList& outSubKeys) const override
    {
        outSubKeys.clear();
        RecursiveMutex::ScopedLock lock(mIndexLock, "RK::DataCacheInMemory::GetAvailableItems");
        const auto range = mKeyToSubKeys.equal_range(inKey);
        for (auto entry = range.first; entry != range.second; ++entry)
            outSubKeys.push_back(entry->second);
    }

    bool IsItemAvailable(const CacheKey& inKey, const CacheSubKey& inSubKey) const override
    {
        CacheBuffer unused;
        return !qelcore::Failed(GetItem(inKey, inSubKey, GetItemCompletionFunction(), unused));
    }

    qelcore::Result GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                            const GetItemCompletionFunction&, CacheBuffer& outBuffer) const override
    {
        return mCache.Get(outBuffer, {inKey, inSubKey}) ? kDataCacheResultItemReturned
                                                        : kDataCacheResultItemNotFound;
    }

    // The cache first: an item may be readable and not listed for a moment, never the other way.
    void PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                 const CacheBuffer& inBuffer) override
    {
        if (!inBuffer)
            return;
        // The manager books no item of 0 bytes.
        const std::size_t size = std::max<std::size_t>(inBuffer->Data() ? inBuffer->Size() : 0, 1);
        mCache.Add({inKey, inSubKey}, inBuffer, size, mCache.defaultPriority, 0);
        RecursiveMutex::ScopedLock lock(mIndexLock, "RK::DataCacheInMemory::PutItem");
        DataCacheIndex::InsertWithoutDuplicatePairs(mKeyToSubKeys, inKey, inSubKey);
    }

    void TouchItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const override
    {
        CacheBuffer unused;
        mCache.Get(unused, {inKey, inSubKey});
    }

    // By design: an item goes when the media manager purges it, and not before.
    void RemoveItem(const CacheKey&, const CacheSubKey&) const override {}

private:
    mutable MediaCache<std::pair<CacheKey, CacheSubKey>, CacheBuffer> mCache{u"DataCache",
                                                                             kPriority};
    // It only grows: nobody tells the store what was purged.
    DataCacheIndex::KeyToSubKeysMap mKeyToSubKeys RK_GUARDED_BY(mIndexLock);
    mutable RecursiveMutex mIndexLock;
};

} // namespace

DataCachePtr CreateDataCacheInMemory()
{
    return boost::make_shared<DataCacheInMemory>();
}

} // namespace RK
