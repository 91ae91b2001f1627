#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "FolderReader.h"
#include "RiverKit/RKDiskCacheManager.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/DebugMonitor.h"

namespace
{

using namespace Testing;

// Every item's bytes follow from its name, so a buffer that is no item's is seen at once.
std::string ContentsOf(int inItem)
{
    return std::string(static_cast<std::size_t>(1 + inItem * 701 % 9000),
                       static_cast<char>('a' + inItem % 26));
}

TEST(FolderStoreStress, EveryReadBringsTheWholeItemOrFailsWhileStoresComeAndGo)
{
    constexpr int kThreads = 8;
    constexpr int kItems = 40;
    constexpr int kRounds = 12;
    constexpr int kCallsPerRound = 200;
    const TemporaryFolder folder;
    std::atomic<int> wrong{0};
    std::atomic<int> begun{0};
    std::atomic<int> whole{0};
    std::atomic<int> completed{0};
    const auto check =
        [&](int inItem, qelcore::Result inResult, const DataCache::CacheBuffer& inBuffer)
    {
        ++completed;
        if (qelcore::Failed(inResult))
            return;
        if (TextOf(inBuffer) == ContentsOf(inItem))
            ++whole;
        else
            ++wrong;
    };
    for (int round = 0; round < kRounds; ++round)
    {
        RK::DiskCacheManager::ManagedDirectoryPtr directory;
        RK::DataCachePtr store = RK::CreateDataCacheInFilesystemAndManageDirectory(
            N(folder.Path()), directory, round % 2 == 0);
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int number = 0; number < kThreads; ++number)
        {
            threads.emplace_back(
                [&, number, store]
                {
                    for (int call = 0; call < kCallsPerRound; ++call)
                    {
                        const int item = (number * 7 + call * 13 + round) % kItems;
                        const Name subKey = N(std::to_string(item));
                        DataCache::CacheBuffer unused;
                        switch ((number + call) % 8)
                        {
                        case 0:
                        case 1:
                            store->PutItem(N("s"), subKey, BufferOf(ContentsOf(item)));
                            break;
                        case 2:
                            store->RemoveItem(N("s"), subKey);
                            break;
                        case 3:
                            store->TouchItem(N("s"), subKey);
                            break;
                        case 4:
                            store->IsItemAvailable(N("s"), subKey);
                            Listed(*store, N("s"));
                            RK::GetQueuedWrites(store);
                            break;
                        default:
                            if (!qelcore::Failed(store->GetItem(
                                    N("s"), subKey,
                                    [&, item](qelcore::Result inResult, const Name&, const Name&,
                                              const DataCache::CacheBuffer& inBuffer)
                                    { check(item, inResult, inBuffer); },
                                    unused)))
                                ++begun;
                        }
                    }
                    if (number != 0 || round % 3 == 0)
                        return;
                    WaitUntilWritten(store);
                    for (int item = 0; item < kItems; ++item)
                    {
                        const std::string text = ReadNow(*store, N("s"), N(std::to_string(item)));
                        if (text.front() == '(')
                            continue;
                        ++whole;
                        wrong += text == ContentsOf(item) ? 0 : 1;
                    }
                });
        }
        store.reset(); // the last thread, or one of the store's own jobs, ends it
        qelcore::UTF16StringStream report;
        qelcore::debug::GenerateDebugMonitorReport("RK.DataCaches", report);
        for (std::thread& thread : threads)
            thread.join();
    }
    // A store that ended within a job of its own leaves its last jobs behind.
    WaitUntil([&] { return completed >= begun; });
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(whole, 0);
}

TEST(FolderStoreStress, CompletionsThatDropTheLastReferenceEndTheStore)
{
    const TemporaryFolder folder;
    folder.Write("a.b.rkdc", "text");
    std::atomic<int> done{0};
    constexpr int kStores = 100;
    for (int i = 0; i < kStores; ++i)
    {
        RK::DiskCacheManager::ManagedDirectoryPtr directory;
        auto* const held = new RK::DataCachePtr(
            RK::CreateDataCacheInFilesystemAndManageDirectory(N(folder.Path()), directory, true));
        const RK::DataCachePtr store = *held;
        DataCache::CacheBuffer unused;
        store->PutItem(N("a"), N("c"), BufferOf("more"));
        store->GetItem(
            N("a"), N("b"),
            [held, &done](qelcore::Result, const Name&, const Name&, const DataCache::CacheBuffer&)
            {
                delete held;
                ++done;
            },
            unused);
    }
    WaitUntil([&] { return done == kStores; });
}

} // namespace
