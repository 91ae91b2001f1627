// Folder events where volumes come and go, and where watches run out: each test in a child process with
// namespaces of its own.
#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include "FewWatches.h"
#include "FolderEventStreamReader.h"
#include "FolderMutator.h"
#include "Support/ChildProcess.h"
#include "Support/RealRights.h"
#include "Support/TemporaryFolder.h"

namespace
{

namespace fs = std::filesystem;
using namespace Platform;
using Testing::FolderEventStreamReader;

constexpr int kCannotMount = 98;

class MountedFolderEvents : public testing::Test
{
protected:
    /// Runs inWork in a child with mounts of its own. @return 0 if it was true.
    static int InPrivateMounts(const std::function<bool()>& inWork)
    {
        return Testing::RunInChild(
            [&] { return !Testing::EnterPrivateMounts() ? kCannotMount
                         : inWork()                     ? 0
                                                        : 1; });
    }
    bool MountMemory(const std::string& inName) const
    {
        return mount("memory", Path(inName).c_str(), "tmpfs", 0, "size=64k") == 0;
    }
    std::string Path(const std::string& inName) const { return mFolder.Path("root/" + inName); }

    Testing::TemporaryFolder mFolder;
    const std::string mRoot = mFolder.MakeFolder("root");
};

TEST_F(MountedFolderEvents, TellAVolumeThatComesAndWhatHappensOnIt)
{
    RK_NEEDS_MOUNTS();
    mFolder.MakeFolder("root/a/volume");
    EXPECT_EQ(0, InPrivateMounts(
                     [this]
                     {
                         FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
                         if (!reader.Stream().Start() || !MountMemory("a/volume") ||
                             !reader.Sees("a/volume", kFolderEvent_Mount))
                             return false;
                         mFolder.Write("root/a/volume/file", "x");
                         if (!reader.Sees("a/volume/file", kFolderEvent_ItemCreated))
                             return false;
                         if (umount(Path("a/volume").c_str()) != 0)
                             return false;
                         return reader.Sees("a/volume", kFolderEvent_Unmount);
                     }));
}

TEST_F(MountedFolderEvents, GoOnInTheFolderThatWasBeneathAVolume)
{
    RK_NEEDS_MOUNTS();
    mFolder.MakeFolder("root/volume");
    EXPECT_EQ(0, InPrivateMounts(
                     [this]
                     {
                         FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
                         if (!MountMemory("volume") || !reader.Stream().Start() ||
                             umount(Path("volume").c_str()) != 0 ||
                             !reader.Sees("volume", kFolderEvent_Unmount))
                             return false;
                         mFolder.Write("root/volume/file", "x");
                         return reader.Sees("volume/file", kFolderEvent_ItemCreated);
                     }));
}

TEST_F(MountedFolderEvents, DoNotMindVolumesElsewhere)
{
    RK_NEEDS_MOUNTS();
    const std::string elsewhere = mFolder.MakeFolder("elsewhere");
    EXPECT_EQ(0, InPrivateMounts(
                     [&]
                     {
                         FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
                         if (!reader.Stream().Start() ||
                             mount("memory", elsewhere.c_str(), "tmpfs", 0, "size=64k") != 0)
                             return false;
                         mFolder.Write("root/file", "x");
                         return reader.Sees("file", kFolderEvent_ItemCreated) &&
                                (reader.RootFlags() & kFolderEvent_Mount) == 0;
                     }));
}

TEST_F(MountedFolderEvents, OfAVolumeOverTheRootAreTheVolumes)
{
    RK_NEEDS_MOUNTS();
    EXPECT_EQ(0, InPrivateMounts(
                     [this]
                     {
                         FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents |
                                                                   kFolderStream_WatchRoot);
                         if (!reader.Stream().Start() ||
                             mount("memory", mRoot.c_str(), "tmpfs", 0, "size=64k") != 0 ||
                             !reader.Sees("", kFolderEvent_RootChanged | kFolderEvent_Mount))
                             return false;
                         mFolder.Write("root/file", "x");
                         return reader.Sees("file", kFolderEvent_ItemCreated);
                     }));
}

TEST_F(MountedFolderEvents, OfAFolderMountedTwiceBelowComeOnce)
{
    RK_NEEDS_MOUNTS();
    mFolder.MakeFolder("root/a/inner");
    mFolder.MakeFolder("root/b");
    EXPECT_EQ(
        0, InPrivateMounts(
               [this]
               {
                   if (mount(Path("a").c_str(), Path("b").c_str(), nullptr, MS_BIND, nullptr) != 0)
                       return false;
                   FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
                   if (!reader.Stream().Start())
                       return false;
                   mFolder.Write("root/a/inner/file", "x");
                   mFolder.Write("root/end", "x");
                   // Which of the two is the first hangs on the order of the listing.
                   return reader.Sees("end", kFolderEvent_ItemCreated) &&
                          (reader.Flags("a/inner/file") == 0) !=
                              (reader.Flags("b/inner/file") == 0);
               }));
}

TEST_F(MountedFolderEvents, DoNotEnterAServersFolderBelow)
{
    RK_NEEDS_MOUNTS();
    if (access("/dev/fuse", R_OK | W_OK) != 0)
        GTEST_SKIP() << "needs /dev/fuse";
    mFolder.MakeFolder("root/server");
    EXPECT_EQ(
        0, InPrivateMounts(
               [this]
               {
                   // Nobody ever answers for it: a look into it would stand still.
                   const int program = open("/dev/fuse", O_RDWR | O_CLOEXEC);
                   char options[64];
                   std::snprintf(options, sizeof options,
                                 "fd=%d,rootmode=40000,user_id=0,group_id=0", program);
                   if (mount("host:/share", Path("server").c_str(), "fuse.sshfs", 0, options) != 0)
                       return false;
                   FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
                   if (!reader.Stream().Start())
                       return false;
                   mFolder.Write("root/file", "x");
                   return reader.Sees("file", kFolderEvent_ItemCreated);
               }));
}

TEST_F(MountedFolderEvents, WithoutEnoughWatchesSayThatTheyAreLostAndLookForThemselves)
{
    for (int i = 0; i < 30; ++i)
        mFolder.MakeFolder("root/" + std::to_string(i));
    const int answer = Testing::RunInChild(
        [this]
        {
            if (!Testing::HaveFewWatches(20))
                return kCannotMount;
            FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
            if (!reader.Stream().Start())
                return 1;
            for (int i = 0; i < 30; ++i)
                close(open(Path(std::to_string(i) + "/file").c_str(),
                           O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
            for (int i = 0; i < 30; ++i)
            {
                // Either the file itself, or the word that its folder must be looked at. The second word
                // comes from the look at what has no watch; the first was of the start.
                const std::string name = std::to_string(i);
                while ((reader.Flags(name + "/file") & kFolderEvent_ItemCreated) == 0 &&
                       (reader.Flags(name) & kFolderEvent_MustScanSubDirs) == 0)
                {
                    if (!Testing::IsReadable(reader.Stream().Descriptor(), 20000))
                        return 2;
                    reader.Take();
                }
            }
            return reader.Stream().LossCount() > 0 ? 0 : 3;
        });
    if (answer == kCannotMount)
        GTEST_SKIP() << "needs user namespaces";
    EXPECT_EQ(0, answer);
}

TEST_F(MountedFolderEvents, BeyondTheLimitOfWatchesAreToldWithoutALossWhereTheProcessMayMarkFolders)
{
    for (int i = 0; i < 30; ++i)
        mFolder.MakeFolder("root/" + std::to_string(i));
    const int answer = Testing::RunInChild(
        [this]
        {
            if (!Testing::HaveFewWatches(10, 1000) || !Testing::CanMarkFolders())
                return kCannotMount;
            FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
            if (!reader.Stream().Start())
                return 1;
            for (int i = 0; i < 30; ++i)
            {
                const std::string file = std::to_string(i) + "/file";
                close(open(Path(file).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
                if (!reader.Sees(file, kFolderEvent_ItemCreated | kFolderEvent_ItemIsFile))
                    return 2;
            }
            return reader.Stream().LossCount() == 0 ? 0 : 3;
        });
    if (answer == kCannotMount)
        GTEST_SKIP() << "needs user namespaces, and fanotify without rights (Linux 5.13)";
    EXPECT_EQ(0, answer);
}

TEST_F(MountedFolderEvents, OfMarkedFoldersFollowThemAndEndWithThem)
{
    mFolder.MakeFolder("root/a/inner");
    mFolder.MakeFolder("root/b");
    const int answer = Testing::RunInChild(
        [this]
        {
            if (!Testing::HaveFewWatches(0, 1000) || !Testing::CanMarkFolders())
                return kCannotMount;
            FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
            if (!reader.Stream().Start())
                return 1;
            std::filesystem::rename(Path("a"), Path("b/a"));
            if (!reader.Sees("b/a", kFolderEvent_ItemRenamed | kFolderEvent_ItemIsDir))
                return 2;
            // Whoever makes it first may be told at the old place.
            while ((reader.Flags("b/a/inner/file") & kFolderEvent_ItemCreated) == 0)
            {
                std::filesystem::remove(Path("b/a/inner/file"));
                close(open(Path("b/a/inner/file").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
                if (!Testing::IsReadable(reader.Stream().Descriptor(), 20000))
                    return 3;
                reader.Take();
            }
            std::filesystem::remove_all(Path("b/a"));
            if (!reader.Sees("b/a", kFolderEvent_ItemRemoved | kFolderEvent_ItemIsDir))
                return 4;
            reader.Forget();
            std::filesystem::create_directories(Path("b/a/inner"));
            if (!reader.Sees("b/a", kFolderEvent_ItemCreated | kFolderEvent_ItemIsDir) ||
                !reader.Sees("b/a/inner", kFolderEvent_ItemCreated | kFolderEvent_ItemIsDir))
                return 5;
            return reader.Stream().LossCount() == 0 ? 0 : 6;
        });
    if (answer == kCannotMount)
        GTEST_SKIP() << "needs user namespaces, and fanotify without rights (Linux 5.13)";
    EXPECT_EQ(0, answer);
}

TEST_F(MountedFolderEvents, OfMarkedFoldersAreOfAllAfterAnyMoves)
{
    const int answer = Testing::RunInChild(
        [this]
        {
            if (!Testing::HaveFewWatches(0, 100000) || !Testing::CanMarkFolders())
                return kCannotMount;
            for (int seed = 1; seed < 7; ++seed)
            {
                const std::string root = mFolder.MakeFolder(std::to_string(seed));
                FolderEventStreamReader reader(root, kFolderStream_FileEvents, 0.005);
                if (!reader.Stream().Start())
                    return 10;
                if (!Testing::MoveFoldersAndFindUnwatched(reader, root, seed).empty())
                    return seed;
                if (reader.Stream().LossCount() != 0)
                    return 10 + seed;
            }
            return 0;
        });
    if (answer == kCannotMount)
        GTEST_SKIP() << "needs user namespaces, and fanotify without rights (Linux 5.13)";
    EXPECT_EQ(0, answer);
}

TEST_F(MountedFolderEvents, OfAFolderWithoutAWatchComeAgainAtEachChange)
{
    mFolder.MakeFolder("root/a");
    const int answer = Testing::RunInChild(
        [this]
        {
            // Enough for the root, but neither for the folder below nor for the way to the root.
            if (!Testing::HaveFewWatches(1))
                return kCannotMount;
            FolderEventStreamReader reader(mRoot, kFolderStream_FileEvents);
            if (!reader.Stream().Start())
                return 1;
            for (int i = 0; i < 2; ++i)
            {
                reader.Forget();
                close(open(Path("a/" + std::to_string(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC,
                           0666));
                if (!reader.Sees("a", kFolderEvent_MustScanSubDirs | kFolderEvent_AnyItem))
                    return 2;
            }
            return 0;
        });
    if (answer == kCannotMount)
        GTEST_SKIP() << "needs user namespaces";
    EXPECT_EQ(0, answer);
}

} // namespace
