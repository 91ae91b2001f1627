#include "CacheFolderChangeMonitor.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "DataCacheJobs.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/TextConversion.h"

namespace RK
{

using qelcore::UTF16String;
using WeakStore = boost::weak_ptr<const DataCacheInFilesystem>;

namespace
{

constexpr double kLatencySeconds = 1.0;

constinit std::atomic<std::int32_t> sNextNotificationID{0};

// Its lock is a leaf: the main thread looks a store up while another thread adds one.
class NotifiedCaches
{
public:
    void Add(long inID, const WeakStore& inStore)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mStores.emplace(inID, inStore);
    }
    void Remove(long inID)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mStores.erase(inID);
    }
    bool Find(long inID, WeakStore& outStore)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mStores.find(inID);
        if (found == mStores.end())
            return false;
        outStore = found->second;
        return true;
    }

private:
    std::mutex mMutex;
    std::map<long, WeakStore> mStores; // guarded by mMutex
};

// Never destroyed: an event may come while the process ends.
NotifiedCaches& GetNotifiedCaches()
{
    static NotifiedCaches* const sCaches = new NotifiedCaches;
    return *sCaches;
}

} // namespace

CacheFolderChangeMonitor::CacheFolderChangeMonitor(const std::string& inFolder,
                                                   const WeakStore& inStore)
{
    const long id = ++sNextNotificationID;
    // Ahead of the stream, whose first event may come before its making has returned.
    GetNotifiedCaches().Add(id, inStore);
    mStream =
        MainLoopFolderEvents::Create(inFolder, kLatencySeconds, Platform::kFolderStream_FileEvents,
                                     [id](const std::vector<Platform::FolderEvent>& inEvents)
                                     { EventStreamCallback(id, inEvents); });
    if (!mStream)
        GetNotifiedCaches().Remove(id);
}

void CacheFolderChangeMonitor::EventStreamCallback(
    long inNotificationID, const std::vector<Platform::FolderEvent>& inEvents)
{
    for (const Platform::FolderEvent& event : inEvents)
    {
        if ((event.flags & Platform::kFolderEvent_ItemRemoved) == 0)
            continue;
        const UTF16String path = qelcore::utility::FileNameToUTF16(event.path);
        WeakStore store;
        if (!GetNotifiedCaches().Find(inNotificationID, store))
            continue;
        qelcore::threads::GetIOBoundExecutor()->Post([store, path]
                                                     { NotifyItemsRemoved(store, path); }, 0);
    }
}

} // namespace RK
