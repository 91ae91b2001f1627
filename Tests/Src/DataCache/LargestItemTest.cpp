// Items at the upper bound, with all of their bytes.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <gtest/gtest.h>

#include "FolderReader.h"
#include "RiverKit/RKDiskCacheManager.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Testing;

constexpr std::size_t kLargest = 0x7FFFFFFE;

std::uint64_t FreeMemory()
{
    std::ifstream figures("/proc/meminfo");
    std::string name;
    std::uint64_t kilobytes = 0;
    for (std::string line; std::getline(figures, line);)
    {
        if (line.compare(0, 13, "MemAvailable:") == 0)
            kilobytes = std::stoull(line.substr(13));
    }
    return kilobytes * 1024;
}

TEST(LargestItem, IsWrittenAndReadWhole)
{
    constexpr char kMemoryDisk[] = "/dev/shm"; // a disk would take half a minute
    std::error_code error;
    if (std::filesystem::space(kMemoryDisk, error).available < 2 * kLargest || error)
        GTEST_SKIP() << "needs 4 GiB of /dev/shm";
    if (FreeMemory() < 4 * kLargest)
        GTEST_SKIP() << "needs 8 GiB of free memory";
    const TemporaryFolder folder(kMemoryDisk);
    RK::DiskCacheManager::ManagedDirectoryPtr directory;
    const RK::DataCachePtr store =
        RK::CreateDataCacheInFilesystemAndManageDirectory(N(folder.Path()), directory, false);
    const auto memory = qelcore::utility::RecycledMemory::Create(kLargest);
    auto* const bytes = static_cast<char*>(memory->Data());
    std::memset(bytes, 'x', kLargest);
    for (std::size_t i = 0; i < kLargest; i += 4096)
        std::memcpy(bytes + i, &i, std::min(sizeof(i), kLargest - i));
    store->PutItem(N("a"), N("b"), memory);
    WaitUntilWritten(store);
    ASSERT_EQ(std::filesystem::file_size(folder.Path("a.b.rkdc")), kLargest);

    std::atomic<bool> done{false};
    bool same = false;
    DataCache::CacheBuffer unused;
    ASSERT_EQ(store->GetItem(
                  N("a"), N("b"),
                  [&](qelcore::Result inResult, const Name&, const Name&,
                      const DataCache::CacheBuffer& inBuffer)
                  {
                      same = !qelcore::Failed(inResult) && inBuffer->Size() == kLargest &&
                             std::memcmp(inBuffer->Data(), bytes, kLargest) == 0;
                      done = true;
                  },
                  unused),
              RK::kDataCacheResultReadQueued);
    WaitUntil([&] { return done.load(); });
    EXPECT_TRUE(same);
}

} // namespace
