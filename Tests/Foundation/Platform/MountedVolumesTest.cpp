// What needs volumes of its own: each test mounts in a child process with a private mount namespace.
#include <cerrno>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Foundation/Platform/Src/LinuxVolumeTable.h"
#include "Platform/FileSystem.h"
#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Platform;

constexpr int kCannotMount = 98;

class MountedVolumes : public ::testing::Test
{
protected:
    /// Runs inWork in a child with a tmpfs at Volume().
    int WithTmpfs(const char* inOptions, const std::function<int()>& inWork)
    {
        return Testing::RunInChild(
            [&]
            {
                const bool mounted =
                    Testing::EnterPrivateMounts() &&
                    mount("the source", Volume().c_str(), "tmpfs", 0, inOptions) == 0;
                return mounted ? inWork() : kCannotMount;
            });
    }
    const std::string& Volume() const { return mVolume; }

    Testing::TemporaryFolder mFolder;
    const std::string mVolume = mFolder.MakeFolder("a volume");
};

TEST_F(MountedVolumes, APathBelowAMountPointWithABlankFindsItsVolume)
{
    RK_NEEDS_MOUNTS();
    const int answer =
        WithTmpfs("size=64k",
                  [&]
                  {
                      Mount mount;
                      const std::string below = Volume() + "/below";
                      const bool made = FileSystem().MakeDirectory(below) == 0;
                      const bool found = VolumeTable().MountOfPath(below, mount) == 0;
                      return made && found && mount.mountPoint == Volume() &&
                                     mount.type == "tmpfs" && mount.source == "the source"
                                 ? 0
                                 : 1;
                  });
    EXPECT_EQ(0, answer);
}

TEST_F(MountedVolumes, TheSpaceOfAVolumeIsItsOwn)
{
    RK_NEEDS_MOUNTS();
    const int answer = WithTmpfs("size=64k",
                                 [&]
                                 {
                                     VolumeSpace space;
                                     return VolumeTable().Space(Volume(), space) == 0 &&
                                                    space.sizeBytes == 65536 &&
                                                    space.freeBytes == 65536
                                                ? 0
                                                : 1;
                                 });
    EXPECT_EQ(0, answer);
}

TEST_F(MountedVolumes, AFullVolumeTakesWhatFitsAndThenRefuses)
{
    RK_NEEDS_MOUNTS();
    const int answer = WithTmpfs(
        "size=64k",
        [&]
        {
            const std::string bytes(50000, 'x');
            FileHandle file = kNoFile;
            const OpenOptions options = {FileAccess::kWrite, FileCreation::kMustCreate, false};
            std::size_t first = 0, second = 0, third = 0;
            if (FileSystem().Open(Volume() + "/f", options, file) != 0)
                return 1;
            FileSystem().Write(file, bytes.data(), bytes.size(), first);
            FileSystem().Write(file, bytes.data(), bytes.size(), second);
            const int full = FileSystem().Write(file, bytes.data(), bytes.size(), third);
            FileSystem().Close(file);
            return first == 50000 && second == 15536 && full == ENOSPC ? 0 : 2;
        });
    EXPECT_EQ(0, answer);
}

TEST_F(MountedVolumes, AVolumeThatIsReadOnlyRefusesEveryChange)
{
    RK_NEEDS_MOUNTS();
    const int answer = WithTmpfs(
        "size=64k,ro",
        [&]
        {
            FileHandle file = kNoFile;
            const OpenOptions options = {FileAccess::kWrite, FileCreation::kMustCreate, false};
            return FileSystem().Open(Volume() + "/f", options, file) == EROFS &&
                           FileSystem().MakeDirectory(Volume() + "/d") == EROFS &&
                           FileSystem().Touch(Volume()) == EROFS
                       ? 0
                       : 1;
        });
    EXPECT_EQ(0, answer);
}

TEST_F(MountedVolumes, ARenameToAnotherVolumeIsRefused)
{
    RK_NEEDS_MOUNTS();
    const std::string from = mFolder.Write("from", "x");
    const int answer = WithTmpfs(
        "size=64k", [&]
        { return RenameWithoutReplacing(FileSystem(), from, Volume() + "/to") == EXDEV ? 0 : 1; });
    EXPECT_EQ(0, answer);
    EXPECT_EQ("x", mFolder.Read("from"));
}

bool IsReadable(int inDescriptor)
{
    pollfd state = {inDescriptor, POLLIN, 0};
    return poll(&state, 1, 0) == 1;
}

TEST_F(MountedVolumes, AChangeOfTheTableIsToldHoweverOftenItIsLookedForAndUntilItIsCleared)
{
    RK_NEEDS_MOUNTS();
    const int answer = Testing::RunInChild(
        [&]
        {
            if (!Testing::EnterPrivateMounts())
                return kCannotMount;
            const auto changes = VolumeTable().WatchChanges();
            const int loop = epoll_create1(EPOLL_CLOEXEC);
            epoll_event event = {};
            event.events = EPOLLIN;
            if (!changes || epoll_ctl(loop, EPOLL_CTL_ADD, changes->Descriptor(), &event) != 0)
                return 1;
            changes->Clear();
            if (IsReadable(loop) || IsReadable(changes->Descriptor()))
                return 2;
            for (int i = 0; i < 3; ++i)
            {
                const bool came = mount("a", Volume().c_str(), "tmpfs", 0, nullptr) == 0 &&
                                  umount(Volume().c_str()) == 0;
                // Each look at the outer set asks the table too, and must not swallow the word of it.
                if (!came || !IsReadable(loop) || !IsReadable(loop) ||
                    !IsReadable(changes->Descriptor()))
                    return 3;
                changes->Clear();
                if (IsReadable(loop))
                    return 4;
            }
            return 0;
        });
    EXPECT_EQ(0, answer);
}

// A file system in user space whose program never says a word, as a server that is away.
TEST_F(MountedVolumes, ASilentVolumeHoldsNobodyUp)
{
    RK_NEEDS_MOUNTS();
    if (access("/dev/fuse", R_OK | W_OK) != 0)
        GTEST_SKIP() << "needs /dev/fuse";
    const int answer = Testing::RunInChild(
        [&]
        {
            const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
            const std::string options =
                "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0";
            if (!Testing::EnterPrivateMounts() ||
                mount("silent", Volume().c_str(), "fuse.silent", 0, options.c_str()) != 0)
                return kCannotMount;
            LinuxVolumeTable::Options tableOptions = LinuxVolumeTable::RealOptions();
            tableOptions.deadline = std::chrono::milliseconds(500);
            LinuxVolumeTable table(tableOptions);
            VolumeSpace space;
            Mount mount;
            const int first = table.Space(Volume(), space);
            const int second = table.Space(Volume() + "/other", space);
            const int root = table.MountOfPath("/", mount);
            close(device); // ends the questions that are still open
            return first == ETIMEDOUT && second == ETIMEDOUT && root == 0 ? 0 : 1;
        });
    EXPECT_EQ(0, answer);
}

} // namespace
