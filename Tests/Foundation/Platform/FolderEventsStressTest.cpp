// Folders that come, go and move while they are being watched. At the end every folder must be watched.
#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "FolderEventStreamReader.h"
#include "Support/TemporaryFolder.h"

namespace
{

namespace fs = std::filesystem;
using namespace Platform;
using Testing::FolderEventStreamReader;
using Testing::TemporaryFolder;

constexpr int kSteps = 300;

/// Makes, moves, exchanges and removes folders at random.
class Mutator
{
public:
    Mutator(std::string inRoot, unsigned inSeed)
        : mRoot(std::move(inRoot))
        , mRandom(inSeed)
    {
    }

    void operator()()
    {
        for (int step = 0; step < kSteps; ++step)
            Step();
    }

private:
    int Number(int inLimit) { return std::uniform_int_distribution<int>(0, inLimit - 1)(mRandom); }

    std::string Folder()
    {
        std::string path = mRoot;
        for (int depth = Number(4) + 1; depth > 0; --depth)
            path += "/" + std::string(1, static_cast<char>('a' + Number(4)));
        return path;
    }

    void Step()
    {
        std::error_code ignored;
        switch (Number(7))
        {
        case 0:
            fs::create_directory(Folder(), ignored);
            break;
        case 1:
        case 2:
            fs::create_directories(Folder(), ignored);
            break;
        case 3:
        case 4:
            fs::rename(Folder(), Folder(), ignored);
            break;
        case 5:
            renameat2(AT_FDCWD, Folder().c_str(), AT_FDCWD, Folder().c_str(), RENAME_EXCHANGE);
            break;
        default:
            fs::remove_all(Folder(), ignored);
        }
    }

    const std::string mRoot;
    std::mt19937 mRandom;
};

std::vector<std::string> FoldersBelow(const std::string& inRoot)
{
    std::vector<std::string> folders;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(inRoot))
        if (entry.is_directory())
            folders.push_back(entry.path().string());
    return folders;
}

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
    std::thread first{Mutator(mRoot, GetParam())};
    std::thread second{Mutator(mRoot, GetParam() + 1000)};
    first.join();
    second.join();

    const std::vector<std::string> folders = FoldersBelow(mRoot);
    for (const std::string& folder : folders)
        fs::create_directory(folder + "/probe");
    for (const std::string& folder : folders)
        EXPECT_TRUE(
            reader.Sees(folder.substr(mRoot.size() + 1) + "/probe", kFolderEvent_ItemCreated))
            << folder;
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
