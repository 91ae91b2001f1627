// What clients of the store in a folder see, on a real disk and with real threads.
#include <filesystem>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include "DataCacheSupport.h"
#include "FolderReader.h"
#include "RiverKit/RKDiskCacheManager.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Testing;
using testing::UnorderedElementsAre;
namespace fs = std::filesystem;

class FolderStoreOnDiskTest : public testing::Test
{
protected:
    RK::DataCachePtr Open(bool inScan = false)
    {
        RK::DiskCacheManager::ManagedDirectoryPtr directory;
        return RK::CreateDataCacheInFilesystemAndManageDirectory(N(mFolder.Path("cache")),
                                                                 directory, inScan);
    }
    std::set<std::string> Files() const
    {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(mFolder.Path("cache")))
            names.insert(entry.path().filename().string());
        return names;
    }

    TemporaryFolder mFolder;
};

TEST_F(FolderStoreOnDiskTest, AnItemIsAFileOfItsBytesThatTheNextStoreFinds)
{
    {
        const RK::DataCachePtr store = Open();
        store->PutItem(N("clip"), N("12"), BufferOf("histogram"));
        store->PutItem(N("clip"), N(""), BufferOf("x"));
        WaitUntilWritten(store);
    }
    EXPECT_THAT(Files(), UnorderedElementsAre("clip.12.rkdc", "clip.rkdc"));
    EXPECT_EQ(mFolder.Read("cache/clip.12.rkdc"), "histogram");
    const RK::DataCachePtr store = Open();
    EXPECT_EQ(ReadNow(*store, N("clip"), N("12")), "histogram");
    EXPECT_EQ(ReadNow(*store, N("clip"), N("")), "x");
    EXPECT_EQ(ReadNow(*store, N("clip"), N("13")), "(not found)");
}

TEST_F(FolderStoreOnDiskTest, BuffersOfManySizesComeBackWhole)
{
    const RK::DataCachePtr store = Open();
    const std::size_t sizes[] = {1,    2,    511,  512,   2047,  2048,  2049,     4095,
                                 4096, 4097, 8191, 65535, 65536, 65537, 1u << 20, (1u << 22) + 1};
    const auto contents = [](std::size_t inSize)
    {
        std::string text(inSize, '\0');
        for (std::size_t i = 0; i < inSize; ++i)
            text[i] = static_cast<char>(i * 131 + inSize);
        return text;
    };
    for (const std::size_t size : sizes)
        store->PutItem(N("size"), N(std::to_string(size)), BufferOf(contents(size)));
    WaitUntilWritten(store);
    for (const std::size_t size : sizes)
        EXPECT_EQ(ReadNow(*store, N("size"), N(std::to_string(size))), contents(size)) << size;
}

TEST_F(FolderStoreOnDiskTest, NamesOfAnyScriptAreKeptAsTheyAreAlsoByTheScan)
{
    const Name keys[] = {N("Größe"),   N("日本語"), N("\U0001F3AC"),
                         N("e\u0301"), N("\u00e9"), N("a b*?\\\"'$|;&")};
    {
        const RK::DataCachePtr store = Open();
        for (const Name& key : keys)
            store->PutItem(key, N("ü"), BufferOf("text"));
        WaitUntilWritten(store);
    }
    EXPECT_EQ(Files().count("Größe.ü.rkdc"), 1u);
    EXPECT_EQ(Files().size(), std::size(keys));
    const RK::DataCachePtr store = Open(true);
    for (const Name& key : keys)
    {
        WaitUntil([&] { return Listed(*store, key).size() == 1; });
        DataCache::AvailableCachedItemList list;
        store->GetAvailableItems(key, list);
        ASSERT_EQ(list.size(), 1u);
        EXPECT_EQ(list[0], N("ü"));
        EXPECT_EQ(ReadNow(*store, key, N("ü")), "text");
    }
}

TEST_F(FolderStoreOnDiskTest, AFileWhoseNameIsNoUTF8IsListedByAKeyThatReadsIt)
{
    mFolder.Write("cache/\xff\xfe.b.rkdc", "text");
    const RK::DataCachePtr store = Open(true);
    const Name key = Name::CreateDynamic(qelcore::UTF16String(u"\xDCFF\xDCFE"));
    WaitUntil([&] { return !Listed(*store, key).empty(); });
    EXPECT_EQ(ReadNow(*store, key, N("b")), "text");
}

TEST_F(FolderStoreOnDiskTest, APipeOfAnItemsNameHoldsUpNobody)
{
    mFolder.MakeFolder("cache");
    ASSERT_EQ(mkfifo(mFolder.Path("cache/a.pipe.rkdc").c_str(), 0600), 0);
    mFolder.Write("cache/a.b.rkdc", "text");
    RK::DataCachePtr store = Open();
    DataCache::CacheBuffer buffer;
    EXPECT_EQ(store->GetItem(
                  N("a"), N("pipe"),
                  [](qelcore::Result, const Name&, const Name&, const DataCache::CacheBuffer&)
                  { ADD_FAILURE() << "an empty file calls nobody"; }, buffer),
              RK::kDataCacheResultReadQueued);
    EXPECT_EQ(ReadNow(*store, N("a"), N("b")), "text");
    store.reset(); // waits for the reads
}

TEST_F(FolderStoreOnDiskTest, TheScanPassesOverSocketsAsOverFolders)
{
    mFolder.MakeFolder("cache/a.folder.rkdc");
    ASSERT_EQ(mknod(mFolder.Path("cache/a.socket.rkdc").c_str(), S_IFSOCK | 0600, 0), 0);
    ASSERT_EQ(mkfifo(mFolder.Path("cache/a.pipe.rkdc").c_str(), 0600), 0);
    mFolder.Write("cache/a.b.rkdc", "text");
    const RK::DataCachePtr store = Open(true);
    WaitUntil([&] { return Listed(*store, N("a")).size() >= 2; });
    EXPECT_THAT(Listed(*store, N("a")), UnorderedElementsAre("b", "pipe"));
}

TEST_F(FolderStoreOnDiskTest, ATouchMovesTheAccessTimeAndNotThatOfTheContents)
{
    const std::string path = mFolder.Write("cache/a.b.rkdc", "text");
    const timespec longAgo[2] = {{1000, 0}, {2000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), longAgo, 0), 0);
    const RK::DataCachePtr store = Open();
    store->TouchItem(N("a"), N("b"));
    struct stat status = {};
    WaitUntil([&] { return stat(path.c_str(), &status) == 0 && status.st_atim.tv_sec > 1000; });
    EXPECT_GT(status.st_atim.tv_sec, 1000000000);
    EXPECT_EQ(status.st_mtim.tv_sec, 2000);
}

TEST_F(FolderStoreOnDiskTest, TwoStoresOnOneFolderSeeEachOthersItems)
{
    const RK::DataCachePtr one = Open();
    const RK::DataCachePtr two = Open();
    one->PutItem(N("a"), N("b"), BufferOf("text"));
    WaitUntilWritten(one);
    EXPECT_EQ(ReadNow(*two, N("a"), N("b")), "text");
    two->RemoveItem(N("a"), N("b"));
    WaitUntil([&] { return Files().empty(); });
    EXPECT_EQ(ReadNow(*one, N("a"), N("b")), "(failed)");
    EXPECT_EQ(ReadNow(*one, N("a"), N("b")), "(not found)");
}

TEST_F(FolderStoreOnDiskTest, QueuedWritesAreToldUntilTheyAreDone)
{
    const RK::DataCachePtr store = Open();
    for (int i = 0; i < 50; ++i)
        store->PutItem(N("a"), N(std::to_string(i)), BufferOf(std::string(1000, 'x')));
    const RK::QueuedWrites queued = RK::GetQueuedWrites(store);
    EXPECT_LE(queued.count, 50u);
    EXPECT_LE(queued.bytes, 50000u);
    WaitUntilWritten(store);
    EXPECT_EQ(RK::GetQueuedWrites(store).bytes, 0u);
    EXPECT_EQ(Files().size(), 50u);
}

TEST_F(FolderStoreOnDiskTest, NothingTellsOfAnOutsideDeletionUntilAReadMeetsIt)
{
    mFolder.Write("cache/a.b.rkdc", "text");
    const RK::DataCachePtr store = Open();
    EXPECT_FALSE(store->GetStationID().IsNull());
    EXPECT_TRUE(store->IsItemAvailable(N("a"), N("b")));
    fs::remove(mFolder.Path("cache/a.b.rkdc"));
    EXPECT_TRUE(store->IsItemAvailable(N("a"), N("b")));
    EXPECT_EQ(ReadNow(*store, N("a"), N("b")), "(failed)");
    EXPECT_FALSE(store->IsItemAvailable(N("a"), N("b")));
}

} // namespace
