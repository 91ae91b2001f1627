#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Foundation/Platform/Src/LinuxVolumeTable.h"
#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace std::chrono_literals;
using Platform::IsLocalFileSystem;
using Platform::LinuxVolumeTable;
using Platform::Mount;
using Platform::VolumeSpace;

// A recorded table with volumes that answer when the test lets them.
class VolumeTableTest : public ::testing::Test
{
protected:
    VolumeTableTest()
    {
        mTree.Write("proc/self/mountinfo", "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                           "2 1 0:40 / /mnt/nas rw - nfs4 server:/export rw\n"
                                           "3 1 0:41 / /mnt/a\\040b rw - fuse.something src rw\n");
        mOptions.root = mTree.Path();
        mOptions.deadline = 20s; // far more than an answer takes, so that only silence meets it
        mOptions.mountIDOf = [](const std::string& inPath, std::uint64_t& outID)
        {
            outID = inPath.compare(0, 8, "/mnt/a b") == 0 ? 3 : 1;
            return 0;
        };
        mOptions.spaceOf = [](const std::string&, VolumeSpace& outSpace)
        {
            outSpace = {10, 100};
            return 0;
        };
    }
    ~VolumeTableTest() override
    {
        if (mSilent != nullptr)
            mSilent->set_value();
    }

    /// From now on the volumes do not answer questions about inPath until the test ends.
    void Silence(const std::string& inPath)
    {
        mSilent = std::make_unique<std::promise<void>>();
        const std::shared_future<void> end = mSilent->get_future().share();
        mOptions.deadline = 10ms;
        mOptions.spaceOf =
            [inPath, end, asked = mAsked](const std::string& inAsked, VolumeSpace& outSpace)
        {
            ++*asked;
            if (inAsked == inPath)
                end.wait();
            outSpace = {10, 100};
            return 0;
        };
    }

    /// The deadline may pass before the thread that asks has even begun.
    void WaitUntilAsked(int inTimes)
    {
        while (*mAsked < inTimes)
            std::this_thread::yield();
    }

    Testing::TemporaryFolder mTree;
    LinuxVolumeTable::Options mOptions;
    std::shared_ptr<std::atomic<int>> mAsked = std::make_shared<std::atomic<int>>(0);
    std::unique_ptr<std::promise<void>> mSilent;
    VolumeSpace mSpace;
    Mount mMount;
};

TEST_F(VolumeTableTest, TheMountOfAPathIsTheOneThatTheKernelNames)
{
    LinuxVolumeTable table(mOptions);

    ASSERT_EQ(0, table.MountOfPath("/mnt/a b/file", mMount));
    EXPECT_EQ("/mnt/a b", mMount.mountPoint);
    EXPECT_EQ("fuse.something", mMount.type);
    ASSERT_EQ(0, table.MountOfPath("/home", mMount));
    EXPECT_EQ("/", mMount.mountPoint);
}

TEST_F(VolumeTableTest, AKernelThatNamesNoMountLeavesItToTheText)
{
    mOptions.mountIDOf = [](const std::string&, std::uint64_t&) { return ENOSYS; };
    LinuxVolumeTable table(mOptions);

    ASSERT_EQ(0, table.MountOfPath("/mnt/nas/x", mMount));
    EXPECT_EQ("nfs4", mMount.type);
}

TEST_F(VolumeTableTest, AMountThatCameAfterTheTableWasReadIsLeftToTheText)
{
    mOptions.mountIDOf = [](const std::string&, std::uint64_t& outID)
    {
        outID = 77;
        return 0;
    };
    LinuxVolumeTable table(mOptions);

    ASSERT_EQ(0, table.MountOfPath("/mnt/nas/x", mMount));
    EXPECT_EQ(2u, mMount.id);
}

TEST_F(VolumeTableTest, TheVolumesErrorsArePassedOn)
{
    mOptions.mountIDOf = [](const std::string&, std::uint64_t&) { return EACCES; };
    mOptions.spaceOf = [](const std::string&, VolumeSpace&) { return EIO; };
    LinuxVolumeTable table(mOptions);

    EXPECT_EQ(EACCES, table.MountOfPath("/x", mMount));
    EXPECT_EQ(EIO, table.Space("/x", mSpace));
    EXPECT_EQ(0u, mSpace.sizeBytes);
}

TEST_F(VolumeTableTest, ALabelIsWhatTheVolumeSaysWithinTheDeadline)
{
    mOptions.labelOf = [](const std::string& inPath, std::string& outLabel)
    {
        outLabel = "label of " + inPath;
        return inPath == "/" ? ENOTTY : 0;
    };
    std::string label = "before";
    {
        LinuxVolumeTable table(mOptions);
        EXPECT_EQ(ENOTTY, table.Label("/", label));
        EXPECT_EQ("before", label);
        EXPECT_EQ(0, table.Label("/mnt/a b", label));
        EXPECT_EQ("label of /mnt/a b", label);
    }
    std::promise<void> end;
    const std::shared_future<void> isOver = end.get_future().share();
    mOptions.deadline = 10ms;
    mOptions.labelOf = [isOver](const std::string&, std::string&)
    {
        isOver.wait();
        return 0;
    };
    LinuxVolumeTable table(mOptions);
    EXPECT_EQ(ETIMEDOUT, table.Label("/mnt/a b", label));
    end.set_value();
}

TEST_F(VolumeTableTest, ATableThatIsAnOrdinaryFileCannotBeWatched)
{
    EXPECT_EQ(nullptr, LinuxVolumeTable(mOptions).WatchChanges());
    mOptions.root = "/nowhere";
    EXPECT_EQ(nullptr, LinuxVolumeTable(mOptions).WatchChanges());
}

TEST_F(VolumeTableTest, APathThatIsEmptyOrHoldsANulIsNeverAsked)
{
    Silence("");
    LinuxVolumeTable table(mOptions);

    EXPECT_EQ(ENOENT, table.Space("", mSpace));
    EXPECT_EQ(EINVAL, table.Space(std::string("/a\0b", 4), mSpace));
    EXPECT_EQ(0, *mAsked);
}

TEST_F(VolumeTableTest, WithoutATableTheSpaceIsStillTold)
{
    mOptions.root = "/nowhere";
    LinuxVolumeTable table(mOptions);

    EXPECT_EQ(0, table.Space("/x", mSpace));
    EXPECT_EQ(10u, mSpace.freeBytes);
    EXPECT_EQ(ENOENT, table.MountOfPath("/x", mMount));
}

TEST_F(VolumeTableTest, ASilentVolumeMeetsTheDeadline)
{
    Silence("/mnt/nas/x");
    LinuxVolumeTable table(mOptions);

    EXPECT_EQ(ETIMEDOUT, table.Space("/mnt/nas/x", mSpace));
}

TEST_F(VolumeTableTest, ASilentServerIsNotAskedAgainWhileItOwesAnAnswer)
{
    Silence("/mnt/nas/x");
    LinuxVolumeTable table(mOptions);
    table.Space("/mnt/nas/x", mSpace);
    WaitUntilAsked(1);

    EXPECT_EQ(ETIMEDOUT, table.Space("/mnt/nas/x", mSpace));
    EXPECT_EQ(ETIMEDOUT, table.Space("/mnt/nas/another", mSpace));
    EXPECT_EQ(1, *mAsked);
}

TEST_F(VolumeTableTest, ALinkOnALocalDiskToASilentServerLeavesTheDiskUsable)
{
    Silence("/home/link/x");
    mOptions.deadline = 1s; // the others answer on threads of their own
    LinuxVolumeTable table(mOptions);
    EXPECT_EQ(ETIMEDOUT, table.Space("/home/link/x", mSpace));

    EXPECT_EQ(ETIMEDOUT, table.Space("/home/link/x", mSpace));
    EXPECT_EQ(1, *mAsked);
    EXPECT_EQ(0, table.Space("/home/other", mSpace));
}

TEST_F(VolumeTableTest, AServerThatAnswersAtLastIsAskedAgain)
{
    Silence("/mnt/nas/x");
    LinuxVolumeTable table(mOptions);
    EXPECT_EQ(ETIMEDOUT, table.Space("/mnt/nas/x", mSpace));

    mSilent->set_value();
    mSilent.reset();
    const auto giveUp = std::chrono::steady_clock::now() + 20s;
    int error = ETIMEDOUT;
    while (error == ETIMEDOUT && std::chrono::steady_clock::now() < giveUp)
        error = table.Space("/mnt/nas/y", mSpace);
    EXPECT_EQ(0, error);
}

TEST_F(VolumeTableTest, SilentPathsTakeABoundedNumberOfThreads)
{
    mSilent = std::make_unique<std::promise<void>>();
    const std::shared_future<void> end = mSilent->get_future().share();
    mOptions.deadline = 1ms;
    mOptions.spaceOf = [end, asked = mAsked](const std::string&, VolumeSpace&)
    {
        ++*asked;
        end.wait();
        return 0;
    };
    LinuxVolumeTable table(mOptions);

    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(ETIMEDOUT, table.Space("/links/" + std::to_string(i), mSpace));
    EXPECT_GE(32, *mAsked);
}

TEST(FileSystemTypes, DisksAndMemoryAreLocalAndServersAreNot)
{
    for (const char* type : {"ext4", "xfs", "btrfs", "tmpfs", "vfat"})
        EXPECT_TRUE(IsLocalFileSystem(type)) << type;
    for (const char* type : {"nfs", "nfs4", "cifs", "fuse.sshfs", "overlay", "9p", "", "ext"})
        EXPECT_FALSE(IsLocalFileSystem(type)) << type;
}

TEST(RealVolumeTable, AFileHasNoLabelAndIsNoFolder)
{
    const Testing::TemporaryFolder folder;
    std::string label;
    EXPECT_EQ(ENOTDIR, Platform::VolumeTable().Label(folder.Write("file", "x"), label));
    EXPECT_EQ(ENOENT, Platform::VolumeTable().Label(folder.Path("none"), label));
}

TEST(RealVolumeTable, TheVolumeOfTheTemporaryFolderIsInTheTable)
{
    RK_NEEDS_A_ROOT_VOLUME();
    const Testing::TemporaryFolder folder;
    Mount mount;
    VolumeSpace space;
    std::vector<Mount> mounts;

    ASSERT_EQ(0, Platform::VolumeTable().MountOfPath(folder.Path(), mount));
    ASSERT_EQ(0, Platform::VolumeTable().Mounts(mounts));
    ASSERT_EQ(0, Platform::VolumeTable().Space(folder.Path(), space));
    EXPECT_FALSE(mount.type.empty());
    EXPECT_EQ(0, folder.Path().compare(0, mount.mountPoint.size(), mount.mountPoint));
    EXPECT_LT(0u, mounts.size());
    EXPECT_LE(space.freeBytes, space.sizeBytes);
    EXPECT_EQ(ENOENT, Platform::VolumeTable().MountOfPath(folder.Path("none"), mount));
}

} // namespace
