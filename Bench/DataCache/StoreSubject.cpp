#include <atomic>
#include <map>
#include <mutex>
#include <thread>

#include "RKDataCache.h"
#include "RKDiskCacheManager.h"
#include "Subject.h"
#include "qelcore/DebugDatabase.h"

namespace Bench
{
namespace
{

using RK::DataCache;
using Name = qelcore::utility::ImmutableString;

class StoreSubject final : public ISubject
{
public:
    StoreSubject(const std::string& inFolder, bool inSync)
        : mSync(inSync)
        , mStore(RK::CreateDataCacheInFilesystemAndManageDirectory(
              Name::CreateDynamic(inFolder.c_str()), mDirectory, false))
    {
    }
    void Put(const Item& inItem, const Done& inDone) override
    {
        SetSync(mSync);
        mStore->PutItem(Name::CreateDynamic(inItem.key.c_str()),
                        Name::CreateDynamic(inItem.subKey.c_str()), BufferOf(inItem));
        inDone();
    }
    void FinishPuts() override
    {
        while (RK::GetQueuedWrites(mStore).count != 0)
            std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    void Get(const Item& inItem, const Done& inDone) override
    {
        DataCache::CacheBuffer none;
        const qelcore::Result result = mStore->GetItem(
            Name::CreateDynamic(inItem.key.c_str()), Name::CreateDynamic(inItem.subKey.c_str()),
            [inItem, inDone](qelcore::Result inResult, const DataCache::CacheKey&,
                             const DataCache::CacheSubKey&, const DataCache::CacheBuffer& inBuffer)
            {
                Insist(inResult >= 0, "data cache get");
                InsistOn(inItem, inBuffer->Data(), inBuffer->Size());
                inDone();
            },
            none);
        Insist(result == RK::kDataCacheResultReadQueued, "data cache get");
    }

private:
    /// For all stores: they take turns, and each has finished its puts when the next one begins.
    static void SetSync(bool inSync)
    {
        static std::atomic<bool> sSync{true};
        if (sSync.exchange(inSync) != inSync)
            qelcore::debug::DebugDatabase::Instance().SetEntry(
                "RK.DataCacheInFilesystem.SyncBeforeMove", inSync ? "true" : "false");
    }

    /// The caller's buffers are made once: to fill them is no work of the store.
    DataCache::CacheBuffer BufferOf(const Item& inItem)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        DataCache::CacheBuffer& buffer = mBuffers[inItem.bytes];
        if (!buffer)
        {
            buffer = qelcore::utility::RecycledMemory::AdaptAsRecycledMemory(
                boost::shared_ptr<void>(const_cast<void*>(inItem.bytes), [](void*) {}),
                const_cast<void*>(inItem.bytes), inItem.size);
        }
        return buffer;
    }

    const bool mSync;
    RK::DiskCacheManager::ManagedDirectoryPtr mDirectory;
    const RK::DataCachePtr mStore;
    std::mutex mMutex;
    std::map<const void*, DataCache::CacheBuffer> mBuffers;
};

} // namespace

SubjectPtr CreateStore(const std::string& inFolder)
{
    return std::make_unique<StoreSubject>(inFolder, true);
}
SubjectPtr CreateUnsyncedStore(const std::string& inFolder)
{
    return std::make_unique<StoreSubject>(inFolder, false);
}

} // namespace Bench
