// A tree that is removed again and again while somebody renames what is in it and puts links there.
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/Dir.h"
#include "qelcore/TextConversion.h"

namespace
{

using qelcore::filesupport::Dir;
using qelcore::filesupport::dir_exception;
using qelcore::utility::FileNameToUTF16;

int ErrorOfDelete(const std::string& inPath)
{
    try
    {
        Dir(FileNameToUTF16(inPath)).Delete();
        return 0;
    }
    catch (const dir_exception& failure)
    {
        return failure.ErrorNumber();
    }
}

constexpr int kRounds = 4000;
constexpr int kBranches = 3;

class HostileTree : public ::testing::Test
{
protected:
    // The same names inside and outside: whoever follows a path through a link finds something there.
    void MakeBranches(const std::string& inFolder) const
    {
        for (int i = 0; i < kBranches; ++i)
            mFolder.MakeFolder(inFolder + "/b" + std::to_string(i) + "/c/d");
    }
    /// Changes with each entry that comes or goes, those that come back under the same name included.
    std::vector<std::uint64_t> StampsOf(const std::string& inFolder) const
    {
        std::vector<std::uint64_t> stamps;
        for (int i = 0; i < kBranches; ++i)
        {
            for (const char* level : {"", "/c", "/c/d"})
            {
                struct stat status = {};
                const std::string branch = inFolder + "/b" + std::to_string(i) + level;
                lstat(mFolder.Path(branch).c_str(), &status);
                stamps.push_back(status.st_ino);
                stamps.push_back(static_cast<std::uint64_t>(status.st_mtim.tv_sec) * 1000000000u +
                                 static_cast<std::uint64_t>(status.st_mtim.tv_nsec));
            }
        }
        return stamps;
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(HostileTree, NothingOutsideIsTouchedWhileFoldersAndLinksChangePlaces)
{
    MakeBranches("outside");
    mFolder.Write("outside/file", "x");
    const std::string top = mFolder.Path("top");
    const std::string folder = top + "/a";
    const std::string link = mFolder.Path("link");
    ASSERT_EQ(0, symlink(mFolder.Path("outside").c_str(), link.c_str()));

    const std::vector<std::uint64_t> before = StampsOf("outside");

    std::atomic<bool> end{false};
    std::thread hostile(
        [&]
        {
            const auto exchange = [&]
            {
                return renameat2(AT_FDCWD, folder.c_str(), AT_FDCWD, link.c_str(),
                                 RENAME_EXCHANGE) == 0;
            };
            for (int turn = 0; !end; ++turn)
            {
                // The link is there for short times only: what sees it at the first look gives up.
                if (exchange())
                    exchange();
                // Never by a path through the link: that would be this thread's own doing.
                if (turn % 256 == 0)
                    rename((top + "/x/b0").c_str(), (top + "/aside").c_str());
                if (turn % 256 == 128)
                    rename((top + "/aside").c_str(), (top + "/x/b0").c_str());
                for (int i = 0; i < turn % 32; ++i)
                    access(top.c_str(), F_OK);
            }
        });
    int removed = 0;
    int refused = 0;
    for (int round = 0; round < kRounds; ++round)
    {
        std::error_code ignored;
        std::filesystem::create_directories(folder + "/b0/c/d", ignored);
        std::filesystem::create_directories(top + "/x/b0/c/d", ignored);
        (ErrorOfDelete(top) == 0 ? removed : refused) += 1;
    }
    end = true;
    hostile.join();

    EXPECT_EQ(before, StampsOf("outside"));
    EXPECT_EQ("x", mFolder.Read("outside/file"));
    EXPECT_EQ(kRounds, removed + refused);
    RecordProperty("removed", removed);
    RecordProperty("refused", refused);
}

class MountedTree : public HostileTree
{
protected:
    /// Mounts at top/a/m in a child process. @return what removing top gave, whether all is there
    /// included; 0 if it was refused as a mount point and goes once the volume has gone.
    int RemoveAround(const char* inSource, const char* inType, unsigned long inFlags)
    {
        return Testing::RunInChild(
            [&]
            {
                const std::string point = mFolder.MakeFolder("top/a/m");
                mFolder.MakeFolder("top/z");
                if (!Testing::EnterPrivateMounts() ||
                    mount(inSource, point.c_str(), inType, inFlags, nullptr) != 0)
                    return 98;
                std::filesystem::create_directory(point + "/inner");
                if (ErrorOfDelete(mFolder.Path("top")) != EXDEV)
                    return 1;
                if (ErrorOfDelete(point) != EXDEV)
                    return 2;
                if (!std::filesystem::exists(point + "/inner") ||
                    !std::filesystem::exists(mFolder.Path("top/z")))
                    return 3;
                if (umount(point.c_str()) != 0)
                    return 97;
                return ErrorOfDelete(mFolder.Path("top")) == 0 ? 0 : 4;
            });
    }
};

TEST_F(MountedTree, AnotherVolumeInTheTreeKeepsItWhole)
{
    RK_NEEDS_MOUNTS();
    EXPECT_EQ(0, RemoveAround("none", "tmpfs", 0));
}

TEST_F(MountedTree, AFolderOfTheSameVolumeMountedInTheTreeKeepsItWhole)
{
    RK_NEEDS_MOUNTS();
    const std::string elsewhere = mFolder.MakeFolder("elsewhere");
    EXPECT_EQ(0, RemoveAround(elsewhere.c_str(), nullptr, MS_BIND));
    EXPECT_TRUE(std::filesystem::exists(elsewhere + "/inner"));
}

using TreeRights = HostileTree;

TEST_F(TreeRights, AFolderAboveThatCannotBeListedIsNoHindrance)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs the right to become another user";
    mFolder.MakeFolder("above/top/a");
    ASSERT_EQ(0, chmod(mFolder.Path().c_str(), 0755));
    for (const char* name : {"above", "above/top", "above/top/a"})
        ASSERT_EQ(0, chown(mFolder.Path(name).c_str(), 65534, 65534));
    ASSERT_EQ(0, chmod(mFolder.Path("above").c_str(), 0300)); // to enter and change, not to read

    EXPECT_EQ(0,
              Testing::RunWithoutRights([&] { return ErrorOfDelete(mFolder.Path("above/top")); }));
}

} // namespace
