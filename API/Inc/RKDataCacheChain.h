#pragma once

#include "RKDataCache.h"
#include "qelcore/Export.h"

namespace RK
{

// Two data caches as one: the first link is asked first, and what only the second one delivers is put
// into the first on its way to the caller. Normally a store in memory ahead of one on disk:
//
//     const auto chain = boost::make_shared<RK::DataCacheChain>(RK::CreateDataCacheInMemory(), onDisk);
//
// Reads     A hit in the first link, or a read that it has begun, is the answer. Else the answer is the
//           second link's, and what its read delivers is in the first link before the completion
//           function runs. What the second link returns at once is not put into the first.
// Writes    PutItem(), TouchItem() and RemoveItem() go to the first link, then to the second.
// Listing   GetAvailableItems() lists the first link's sub keys, then what only the second one knows.
// Messages  From the first GetStationID() on, an ItemsRemovedMessage of either link is told again on the
//           chain's own station, at once and on the same thread.
// Threads   Every operation from any thread, ReplaceChainLinks() too. An operation uses the links that it
//           began with to its end and keeps them alive; what its read delivers goes into the link that
//           was first when it began. The last reference to a replaced link goes with no lock held.
// Errors    The chain adds none of its own: what a link raises reaches the caller, and the other link is
//           not called any more. If putting into the first link raises, the completion function runs all
//           the same.
class RK_API DataCacheChain : public DataCache
{
public:
    /// Shares both links. One may be null, but not by the time an item is asked for.
    DataCacheChain(const DataCachePtr& inFirst, const DataCachePtr& inSecond);
    DataCacheChain(const DataCacheChain&) = delete;
    DataCacheChain& operator=(const DataCacheChain&) = delete;
    ~DataCacheChain() override;

    void GetAvailableItems(const CacheKey& inKey,
                           AvailableCachedItemList& outSubKeys) const override;
    bool IsItemAvailable(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;
    qelcore::Result GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                            const GetItemCompletionFunction& inCompletion,
                            CacheBuffer& outBuffer) const override;
    void PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                 const CacheBuffer& inBuffer) override;
    void TouchItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;
    void RemoveItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const override;
    /// The chain's own station. The first call while both links are there asks the links for theirs, so
    /// that a chain nobody listens to makes no store watch its folder.
    ZOR::StationID GetStationID() const override;

    virtual void GetChainLinks(DataCachePtr& outFirst, DataCachePtr& outSecond) const;
    /// Replaces one link, while the chain is in use. Nothing is moved from the old link to the new one.
    /// @param inFirst   replaces the first link. Null leaves it.
    /// @param inSecond  replaces the second link, but only if inFirst is null: to replace both takes two
    ///                  calls. Null leaves it.
    virtual void ReplaceChainLinks(const DataCachePtr& inFirst, const DataCachePtr& inSecond);

private:
    const DataCachePtr mImpl; // a DataCacheChainImpl
};

} // namespace RK
