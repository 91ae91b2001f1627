#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>

#include "RKDataCache.h"

namespace RK
{

struct DataCacheFolder;
struct DataCacheWrite;

/// Set, a volume without room for an item is no longer reported as an assertion.
inline std::atomic<bool> sFreeSpaceAssertionSilenced{false};

// Writes items into a folder.
//
// An item gets its name only once its bytes have reached the disk, so that a crash of the machine, too, leaves
// whole items or none. To wait for each by itself would cost a disk's answer an item. So an item that others
// wait behind is only begun: several are on their way to the disk at a time, and are waited for, and named, in
// the order in which they came: the oldest when there are enough, all when nobody waits behind them. Begun
// items count as queued.
//
// Threads  One at a time: the write jobs of a store. Whoever looks for an item by its name in a job calls
//          Finish() first.
class DataCacheWriter
{
public:
    explicit DataCacheWriter(DataCacheFolder& inFolder);
    /// Items that are begun are lost.
    ~DataCacheWriter();
    DataCacheWriter(const DataCacheWriter&) = delete;
    DataCacheWriter& operator=(const DataCacheWriter&) = delete;

    /// Writes an item that was counted as queued, unless there is a file of its name.
    void Write(DataCacheWrite& ioWrite);
    /// Waits for the items that are begun, and names them.
    void Finish();

private:
    class Item;

    bool Begin(Item& ioItem);
    void FinishWhatIsDue();
    void FinishOldest();

    DataCacheFolder& mFolder;
    std::deque<std::unique_ptr<Item>> mBegun; // in their order
    std::size_t mBegunBytes = 0;
};

} // namespace RK
