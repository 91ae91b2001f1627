// Folders that come, go and move while they are being watched. At the end every folder must be watched.
#include <atomic>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "FolderEventStreamReader.h"
#include "FolderMutator.h"
#include "Support/TemporaryFolder.h"

namespace
{

namespace fs = std::filesystem;
using namespace Platform;
using Testing::FolderEventStreamReader;
using Testing::TemporaryFolder;

class FolderEventsStress : public testing::TestWithParam<unsigned>
{
protected:
    TemporaryFolder mFolder;
    const std::string mRoot = mFolder.MakeFolder("root");
};

TEST_P(FolderEventsStress, AfterAnyMovesEveryFolderIsWatched)
{
    FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents, 0.005);
    ASSERT_TRUE(reader.Stream().Start());
    EXPECT_EQ("", Testing::MoveFoldersAndFindUnwatched(reader, mRoot, GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Seeds, FolderEventsStress, testing::Range(1u, 7u));

TEST(FolderEventsFlood, WhatTheKernelHasNoRoomForIsToldAsMustScan)
{
    // Whether the reading thread falls behind is up to the machine. Either way nothing may be lost unsaid.
    constexpr int kFiles = 20000;
    const TemporaryFolder folder("/dev/shm"); // a disk would be slower than any reader
    FolderEventStreamReader reader(folder.Path(), kFolderStream_FileEvents, 0.05);
    ASSERT_TRUE(reader.Stream().Start());
    for (int i = 0; i < kFiles; ++i)
        close(open(folder.Path(std::to_string(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    close(open(folder.Path("end").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    while ((reader.Flags("end") & kFolderEvent_ItemCreated) == 0 &&
           (reader.RootFlags() & kFolderEvent_MustScanSubDirs) == 0)
    {
        ASSERT_TRUE(Testing::IsReadable(reader.Stream().Descriptor(), 20000));
        reader.Take();
    }
    if ((reader.RootFlags() & kFolderEvent_MustScanSubDirs) != 0)
    {
        EXPECT_LT(0u, reader.Stream().LossCount());
        return;
    }
    EXPECT_EQ(0u, reader.Stream().LossCount());
    for (int i = 0; i < kFiles; ++i)
        ASSERT_TRUE(reader.Sees(std::to_string(i), kFolderEvent_ItemCreated)) << i;
}

TEST(FolderEventsManyStreams, MayBeginAndEndInAnyThread)
{
    const TemporaryFolder folder;
    folder.MakeFolder("a/b/c");
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(
            [&folder, &failures, i]
            {
                for (int times = 0; times < 20; ++times)
                {
                    FolderEventStreamReader reader(folder.Path(), kFolderStream_FileEvents, 0.001);
                    const std::string name = "a/b/c/" + std::to_string(i);
                    failures += !reader.Stream().Start();
                    fs::create_directory(folder.Path(name));
                    failures += !reader.Sees(name, kFolderEvent_ItemCreated);
                    fs::remove(folder.Path(name));
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, failures);
}

} // namespace
