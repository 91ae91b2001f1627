// A store whose folder is watched by the real system.
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DataCacheSupport.h"
#include "FolderReader.h"
#include "RiverKit/RKDiskCacheManager.h"
#include "Support/TemporaryFolder.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/MainThread.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
namespace fs = std::filesystem;

class RemovalsHeard : public ZOR::Listener
{
public:
    explicit RemovalsHeard(const ZOR::StationID& inStation)
        : mStation(inStation)
    {
        ZOR::StationUtils::AddListener(mStation, this);
    }
    ~RemovalsHeard() override { ZOR::StationUtils::RemoveListener(mStation, this); }
    void ListenToMessage(const ZOR::Message&) override { ++heard; }
    /// Turns the main thread's loop until it was told so often, for 30 s at most.
    bool Await(int inTimes) const
    {
        for (int i = 0; i < 3000 && heard < inTimes; ++i)
            qelcore::threads::RunMainThreadFor(10);
        return heard >= inTimes;
    }
    int heard = 0;

private:
    const ZOR::StationID mStation;
};

class WatchedFolderStoreTest : public testing::Test
{
protected:
    WatchedFolderStoreTest() { qelcore::threads::RegisterMainThread(); }

    RK::DataCachePtr Open(const std::string& inName)
    {
        RK::DiskCacheManager::ManagedDirectoryPtr directory;
        return RK::CreateDataCacheInFilesystemAndManageDirectory(N(mFolder.Path(inName)), directory,
                                                                 false);
    }

    TemporaryFolder mFolder;
};

TEST_F(WatchedFolderStoreTest, WhatOthersDeleteLeavesTheListAndIsTold)
{
    const RK::DataCachePtr store = Open("cache");
    for (const char* name : {"1", "2", "3"})
        store->PutItem(N("clip"), N(name), BufferOf("x"));
    store->PutItem(N("whole"), N(""), BufferOf("x"));
    WaitUntilWritten(store);
    const RemovalsHeard removals(store->GetStationID());

    fs::remove(mFolder.Path("cache/clip.2.rkdc"));
    ASSERT_TRUE(removals.Await(1));
    EXPECT_THAT(Listed(*store, N("clip")), testing::UnorderedElementsAre("1", "3"));

    fs::remove(mFolder.Path("cache/whole.rkdc"));
    ASSERT_TRUE(removals.Await(2));
    EXPECT_THAT(Listed(*store, N("whole")), testing::IsEmpty());

    fs::remove_all(mFolder.Path("cache"));
    ASSERT_TRUE(removals.Await(3));
    EXPECT_THAT(Listed(*store, N("clip")), testing::IsEmpty());
}

// The last reference goes on any thread, while events of the folder are on their way.
TEST_F(WatchedFolderStoreTest, StoresMayEndOnAnyThreadWhileTheirFilesAreDeleted)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(
            [this, i]
            {
                const std::string name = "cache" + std::to_string(i);
                for (int times = 0; times < 10; ++times)
                {
                    const RK::DataCachePtr store = Open(name);
                    store->GetStationID();
                    store->PutItem(N("clip"), N("1"), BufferOf("x"));
                    WaitUntilWritten(store);
                    fs::remove(mFolder.Path(name + "/clip.1.rkdc"));
                }
            });
    for (int i = 0; i < 50; ++i)
        qelcore::threads::RunMainThreadFor(10);
    for (std::thread& thread : threads)
        thread.join();
    qelcore::threads::RunMainThreadFor(100);
    const RK::DataCachePtr store = Open("cache0");
    store->PutItem(N("clip"), N("1"), BufferOf("x"));
    WaitUntilWritten(store);
    EXPECT_THAT(Listed(*store, N("clip")), ElementsAre("1")) << "no event of those before";
}

} // namespace
