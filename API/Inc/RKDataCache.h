#pragma once

#include <cstdint>
#include <vector>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "RKDiskCacheManager.h"
#include "ZORMessaging/Message.h"
#include "qelcore/Export.h"
#include "qelcore/ImmutableString.h"
#include "qelcore/RecycledMemory.h"
#include "qelcore/Result.h"
#include "qelcore/SmallBlockAllocator.h"

namespace RK
{

/// Success: the item was handed over at once, and the completion function will not run.
constexpr qelcore::Result kDataCacheResultItemReturned = 0x20330001;
/// Success: a read is under way, the completion function will run later, and nothing was handed over yet.
constexpr qelcore::Result kDataCacheResultReadQueued = 0x20330002;
/// Failure: there is no such item.
constexpr qelcore::Result kDataCacheResultItemNotFound = static_cast<qelcore::Result>(0xA0330001u);
/// Failure: the item is there, but can only be delivered later, and there is no completion function.
constexpr qelcore::Result kDataCacheResultReadNeedsCompletion =
    static_cast<qelcore::Result>(0xA0330002u);
/// The library's general failure. Here: the read could not be queued, or the cache was gone when its turn
/// came.
constexpr qelcore::Result kResultFailed = qelcore::kResult_GeneralFailure;

// A store of byte buffers by a key and, below it, a sub key. What it holds can be computed again: every
// write may fail in silence, and any item may have gone by the next call.
//
//     RK::DataCache::CacheBuffer histogram;
//     const qelcore::Result result = cache->GetItem(clip, frame, whenRead, histogram);
//     if (result == RK::kDataCacheResultItemReturned)
//         Show(histogram);                             // whenRead is not called
//     else if (result != RK::kDataCacheResultReadQueued) // else whenRead is called later
//         cache->PutItem(clip, frame, Compute());
//
// Names     Compared as interned strings. The sub key may be the empty string.
// Threads   Every operation from any thread. The completion function runs on a thread of the store's
//           choice, with none of its locks held.
// Ownership Buffers are shared and constant: who has put one must not change it any more.
// Messages  That items have gone behind the clients' back is told on GetStationID() by an
//           ItemsRemovedMessage, at most once a second, on the main thread. It does not say which:
//           ask again.
class RK_API DataCache
{
public:
    using CacheKey = qelcore::utility::ImmutableString;
    using CacheSubKey = qelcore::utility::ImmutableString;
    /// Null: no data.
    using CacheBuffer = boost::shared_ptr<const qelcore::utility::RecycledMemory>;
    using AvailableCachedItemList =
        std::vector<qelcore::utility::ImmutableString,
                    qelcore::STLAllocator<qelcore::utility::ImmutableString>>;
    /// May be empty: then nothing is delivered later. Failure codes are those above, or that of the file
    /// operation which failed; on failure the buffer is null.
    using GetItemCompletionFunction = boost::function<void(qelcore::Result, const CacheKey&,
                                                           const CacheSubKey&, const CacheBuffer&)>;
    using DataCachePtr = boost::shared_ptr<DataCache>;

    /// That items have left the cache; it carries nothing.
    class RK_API ItemsRemovedMessage : public ZOR::MessageImpl<ItemsRemovedMessage>
    {
    public:
        ItemsRemovedMessage();
        ItemsRemovedMessage(const ItemsRemovedMessage&);
        ~ItemsRemovedMessage() override;
    };

    virtual ~DataCache();

    /// Lists the sub keys that are known of a key: a hint, in no order of meaning. An item of the list may
    /// have gone, and one that is there may be missing.
    /// @param outSubKeys  cleared first.
    virtual void GetAvailableItems(const CacheKey& inKey,
                                   AvailableCachedItemList& outSubKeys) const = 0;
    /// Whether a read has a chance just now.
    virtual bool IsItemAvailable(const CacheKey& inKey, const CacheSubKey& inSubKey) const = 0;
    /// Reads an item.
    /// @param outBuffer  set only if the answer is kDataCacheResultItemReturned.
    /// @return kDataCacheResultItemReturned or kDataCacheResultReadQueued, or one of the failures above.
    virtual qelcore::Result GetItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                                    const GetItemCompletionFunction& inCompletion,
                                    CacheBuffer& outBuffer) const = 0;
    /// Reads the first of several items that can be had, in the order given; so at most one read begins.
    /// @return the first success; else the last failure, kDataCacheResultItemNotFound for no sub keys.
    virtual qelcore::Result GetAnyItem(const CacheKey& inKey,
                                       const std::vector<CacheSubKey>& inSubKeys,
                                       const GetItemCompletionFunction& inCompletion,
                                       CacheBuffer& outBuffer) const;
    /// Offers a buffer, which the store shares. Null is ignored.
    virtual void PutItem(const CacheKey& inKey, const CacheSubKey& inSubKey,
                         const CacheBuffer& inBuffer) = 0;
    /// Records a use, so that whatever ages the store keeps the item longer.
    virtual void TouchItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const = 0;
    /// Asks the store to forget an item; it need not.
    virtual void RemoveItem(const CacheKey& inKey, const CacheSubKey& inSubKey) const = 0;
    /// Where ItemsRemovedMessage is told; null if this store never tells. The call also says that somebody
    /// means to listen: some stores begin to watch only then.
    virtual ZOR::StationID GetStationID() const;
};

using DataCachePtr = DataCache::DataCachePtr;

/// A store in memory, under the budget of the media manager, which must be running.
///
/// It always answers at once. The first buffer of an item stays until the media manager purges it; it
/// cannot be replaced nor removed. GetAvailableItems() goes on listing what was purged;
/// IsItemAvailable() is exact, and counts as a use. It tells no messages.
/// Errors  PutItem() passes on what the media manager raises, and then nothing was put.
RK_API DataCachePtr CreateDataCacheInMemory();

// A store in a folder, which outlives the process. Each item is one file that holds its bytes and nothing
// else, named "key.subkey.rkdc", or "key.rkdc" for the empty sub key.
//
// Reads     Never at once: GetItem() looks into what it knows, then for a file, and queues the read. The
//           completion function runs on a thread of the shared pool for computing; after a failure, on
//           one of the store's own, also while the last reference to the store is being dropped. It may
//           be called twice for one read that fails halfway: only a result that is no failure brings an
//           item. A file that is empty, or of 2^31 - 1 bytes or more, calls nobody.
// Writes    Queued, and done one by one with touches and removals, in the order of the calls. The first
//           buffer of an item stays until the item is removed. Buffers of 1 to 2^31 - 2 bytes are kept,
//           others ignored. What waits holds memory, without a bound: see GetQueuedWrites(). What waits
//           when the store goes is lost. An item is seen as a whole or not at all, by other processes too.
// Names     Key and sub key become the file's name as they are, so a sub key holds no dot, neither holds
//           a slash, and both together must fit into a file name of the volume (255 bytes on most). What
//           cannot be a file is not kept. A name that would lead out of the folder (a component "..",
//           a slash in front, a NUL) is refused: it is never written, touched or removed, and never there.
// Listing   GetAvailableItems() tells what scan, reads and writes have found, latest first. The store
//           finds files that it does not know of all the same.
// Deletion  Anybody may delete items at any time, and the disk cache manager does. The store notices when
//           a read or a touch fails, and then, as after RemoveItem(), tells it on its station.
// Crashes   Temporary files that a crash has left are removed by the next store on the folder once
//           nobody has written to them for an hour.
// Sharing   Several stores, also of several processes, may work on one folder.

/// Opens a store, and makes its folder if need be.
/// @param inPath        absolute.
/// @param outDirectory  the folder under management, for setting limits; the store holds it too.
/// @param inScanDisk    whether to list in the background what is in the folder. Reads need no scan.
/// @throws qelcore::filesupport::file_exception  if the folder cannot be made, or its volume does not
///                                               answer; then outDirectory is untouched.
RK_API DataCachePtr CreateDataCacheInFilesystemAndManageDirectory(
    const qelcore::utility::ImmutableString& inPath,
    DiskCacheManager::ManagedDirectoryPtr& outDirectory, bool inScanDisk);

/// Puts that wait to be written.
struct QueuedWrites
{
    std::uint64_t count = 0;
    std::uint64_t bytes = 0; ///< of memory that their buffers hold
};

/// What waits in a store, or in all stores of a chain: nothing if it writes at once, or is null. The debug
/// monitor's report "RK.DataCaches" shows the same for each folder. Any thread; takes no time.
RK_API QueuedWrites GetQueuedWrites(const DataCachePtr& inCache);

} // namespace RK
