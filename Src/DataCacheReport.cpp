// What the stores in folders say about themselves: the debug monitor's report, and the queued writes.
#include "DataCacheReport.h"

#include <algorithm>
#include <vector>

#include <boost/weak_ptr.hpp>

#include "RKDataCacheChain.h"
#include "qelcore/DebugMonitor.h"
#include "qelcore/Mutex.h"
#include "qelcore/NumberText.h"

namespace RK
{

using qelcore::UTF16StringStream;
using qelcore::threads::Lock;
using qelcore::threads::Mutex;

namespace
{

class Report
{
public:
    /// Never destroyed: reports may be asked for during exit.
    static Report& Instance()
    {
        static Report* const sInstance = new Report;
        return *sInstance;
    }

    void Add(const DataCacheFolderPtr& inFolder)
    {
        Lock lock(mMutex);
        mFolders.erase(std::remove_if(mFolders.begin(), mFolders.end(),
                                      [](const auto& folder) { return folder.expired(); }),
                       mFolders.end());
        mFolders.push_back(inFolder);
    }

private:
    Report()
    {
        qelcore::debug::RegisterDebugMonitorCallback(
            "RK.DataCaches", [this](UTF16StringStream& outReport) { Write(outReport); });
    }

    void Write(UTF16StringStream& outReport)
    {
        std::vector<boost::weak_ptr<DataCacheFolder>> folders;
        {
            Lock lock(mMutex);
            folders = mFolders;
        }
        for (const auto& weak : folders)
        {
            const DataCacheFolderPtr folder = weak.lock();
            if (folder && folder->mShuttingDown == 0)
                WriteFolder(*folder, outReport);
        }
    }

    static void WriteFolder(DataCacheFolder& inFolder, UTF16StringStream& outReport)
    {
        outReport << inFolder.mPath << ": " << inFolder.CountItems() << " items known, "
                  << inFolder.mWritesInQueue.load() << " writes queued ("
                  << qelcore::utility::NumberToMemoryString(inFolder.mBytesInQueue, 2, false)
                  << ")\n";
    }

    Mutex mMutex;
    std::vector<boost::weak_ptr<DataCacheFolder>> mFolders RK_GUARDED_BY(mMutex);
};

} // namespace

void ShowInDataCacheReport(const DataCacheFolderPtr& inFolder)
{
    Report::Instance().Add(inFolder);
}

QueuedWrites GetQueuedWrites(const DataCachePtr& inCache)
{
    if (const auto* const chain = dynamic_cast<const DataCacheChain*>(inCache.get()))
    {
        DataCachePtr first, second;
        chain->GetChainLinks(first, second);
        QueuedWrites sum = GetQueuedWrites(first);
        const QueuedWrites more = GetQueuedWrites(second);
        sum.count += more.count;
        sum.bytes += more.bytes;
        return sum;
    }
    const auto* const queue = dynamic_cast<const IDataCacheWithQueuedWrites*>(inCache.get());
    return queue != nullptr ? queue->GetQueuedWrites() : QueuedWrites();
}

} // namespace RK
