#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/weak_ptr.hpp>

#include "MainLoopFolderEvents.h"

namespace RK
{

class DataCacheInFilesystem;

// The watch on the folder of a store: what is removed there goes to NotifyItemsRemoved(), about a second
// later and on the shared executor for work that waits.
//
// The callback has no pointer to the store, but a number under which it finds a weak one: an event may come
// while the store ends. A number's entry stays; it leads to no store any more then.
//
// What was moved out of the folder is not told. Where events were lost, the folder itself is told as removed,
// among other things, and so all items are looked at.
//
// Threads  Made and ended on any thread. The end waits for a callback that is running, and that waits for nothing.
class CacheFolderChangeMonitor
{
public:
    /// A folder that cannot be watched stays unwatched, without an error.
    CacheFolderChangeMonitor(const std::string& inFolder,
                             const boost::weak_ptr<const DataCacheInFilesystem>& inStore);
    CacheFolderChangeMonitor(const CacheFolderChangeMonitor&) = delete;
    CacheFolderChangeMonitor& operator=(const CacheFolderChangeMonitor&) = delete;

    /// On the main thread.
    static void EventStreamCallback(long inNotificationID,
                                    const std::vector<Platform::FolderEvent>& inEvents);

private:
    std::unique_ptr<MainLoopFolderEvents> mStream; // null: the folder is not watched
};

} // namespace RK
