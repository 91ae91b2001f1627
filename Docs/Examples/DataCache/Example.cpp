// Keeps what an analysis of frames has found: in memory for as long as there is room, and in a folder for
// the next run. Run it twice with the same folder.
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>

#include <boost/make_shared.hpp>

#include <RiverKit/RKDataCache.h>
#include <RiverKit/RKDataCacheChain.h>
#include <RiverKit/RKDiskCacheManager.h>
#include <RiverKit/RKInitializer.h>

namespace
{

using Buffer = RK::DataCache::CacheBuffer;
using Name = qelcore::utility::ImmutableString;

constexpr int kFrames = 200;
constexpr std::size_t kThumbnailBytes = 160 * 90 * 3;

struct Counts
{
    int fromMemory = 0;
    int fromFolder = 0;
    int computed = 0;
};

/// What takes long in a real program.
Buffer Analyse(int inFrame)
{
    const auto buffer = qelcore::utility::RecycledMemory::Create(kThumbnailBytes);
    std::memset(buffer->Data(), inFrame % 256, buffer->Size());
    return buffer;
}

/// Gets an item, and waits for it. A real program goes on, and is called.
/// @return null if it has to be computed.
Buffer Get(const RK::DataCache& inCache, const Name& inKey, const Name& inSubKey, bool& outAtOnce)
{
    // Shared with the call that comes later, which must not refer to this function's own variables
    // once it has given up.
    struct Delivery
    {
        std::mutex mutex;
        std::condition_variable come;
        bool isHere = false;
        Buffer buffer;
    };
    const auto delivery = boost::make_shared<Delivery>();
    Buffer buffer;
    const qelcore::Result result = inCache.GetItem(
        inKey, inSubKey,
        [delivery](qelcore::Result inResult, const Name&, const Name&, const Buffer& inBuffer)
        {
            const std::lock_guard<std::mutex> lock(delivery->mutex);
            if (inResult >= 0) // a read that fails may call twice, the first time with a buffer
                delivery->buffer = inBuffer;
            delivery->isHere = true;
            delivery->come.notify_one();
        },
        buffer);
    outAtOnce = result == RK::kDataCacheResultItemReturned;
    if (result != RK::kDataCacheResultReadQueued)
        return buffer; // of the call itself; null after a failure
    std::unique_lock<std::mutex> lock(delivery->mutex);
    // Not for ever: for a file that somebody has emptied nobody is called.
    delivery->come.wait_for(lock, std::chrono::seconds(5), [&] { return delivery->isHere; });
    return delivery->buffer;
}

void GetOrCompute(RK::DataCache& ioCache, int inFrame, Counts& ioCounts)
{
    static const Name sClip = Name::CreateStatic("clip-7f3a.v1"); // content and kind of analysis
    const Name frame = Name::CreateDynamic(std::to_string(inFrame).c_str());
    bool atOnce = false;
    if (Get(ioCache, sClip, frame, atOnce))
    {
        ++(atOnce ? ioCounts.fromMemory : ioCounts.fromFolder);
        return;
    }
    ++ioCounts.computed;
    ioCache.PutItem(sClip, frame, Analyse(inFrame));
}

} // namespace

int main(int inCount, char** inArguments)
{
    if (inCount != 2)
    {
        std::cerr << "usage: data_cache_example FOLDER\n";
        return 2;
    }
    const RK::Initializer library;
    RK::DiskCacheManager::ManagedDirectoryPtr folder;
    const RK::DataCachePtr onDisk = RK::CreateDataCacheInFilesystemAndManageDirectory(
        Name::CreateDynamic(inArguments[1]), folder, true);
    folder->SetMaxUsedBytes(std::uint64_t{2} << 30);
    folder->SetAutomaticExpiryDuration(boost::posix_time::hours(24 * 30));
    const auto cache =
        boost::make_shared<RK::DataCacheChain>(RK::CreateDataCacheInMemory(), onDisk);

    Counts counts;
    for (int pass = 0; pass < 2; ++pass)
    {
        for (int frame = 0; frame < kFrames; ++frame)
            GetOrCompute(*cache, frame, counts);
    }
    // What still waits to be written when the last reference goes is lost.
    while (RK::GetQueuedWrites(onDisk).count != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));

    std::cout << "computed " << counts.computed << ", from memory " << counts.fromMemory
              << ", from the folder " << counts.fromFolder << "\n";
    return counts.computed + counts.fromMemory + counts.fromFolder == 2 * kFrames ? 0 : 1;
}
