// The public face, over a real disk: what a client of the library sees.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <boost/optional/optional_io.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "RealSweepFixture.h"
#include "RiverKit/RKDiskCacheManager.h"
#include "RiverKit/RKInitializer.h"
#include "Support/ChildProcess.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK::DiskCacheManager;
using boost::posix_time::hours;
using boost::posix_time::time_duration;
using qelcore::utility::FileNameToUTF16;
using Testing::kDay;
using Testing::kExtensions;
using Testing::RealSweep;
using ::testing::UnorderedElementsAre;

using Bytes = boost::optional<std::uint64_t>;

// Each in a child process with a manager of its own. They come first: once this process has a manager, a
// child would inherit it without its threads.
class RealManagerLife : public RealSweep
{
};

TEST_F(RealManagerLife, AFolderWithoutRightsCountsAsEmptyAndTheOthersAreSwept)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs the right to become another user";
    Put("open/a.rkdc", kDay);
    Put("closed/b.rkdc", kDay);
    for (const char* name : {"", "open", "open/a.rkdc", "closed", "closed/b.rkdc"})
        ASSERT_EQ(0, chown(mFolder.Path(name).c_str(), 65534, 65534));
    ASSERT_EQ(0, chmod(mFolder.Path("closed").c_str(), 0));
    const int answer = Testing::RunWithoutRights(
        [&]
        {
            const ManagedDirectoryPtr handle = Manage();
            handle->SetMaxUsedBytes(std::uint64_t{0});
            WaitForSweep();
            return 0;
        });

    EXPECT_EQ(0, answer);
    EXPECT_FALSE(std::filesystem::exists(mFolder.Path("open/a.rkdc")));
    EXPECT_TRUE(std::filesystem::exists(mFolder.Path("closed/b.rkdc")));
}

TEST_F(RealManagerLife, TheManagerStartsWithTheFirstUseAndNotWhenItsStationIsAskedFor)
{
    const int answer = Testing::RunInChild(
        [&]
        {
            Shutdown();
            if (!GetStationID().IsNull())
                return 1;
            const ManagedDirectoryPtr handle = Manage();
            return GetStationID().IsNull() ? 2 : 0;
        });
    EXPECT_EQ(0, answer);
}

TEST_F(RealManagerLife, AFailedStartIsTriedAgain)
{
    const int answer = Testing::RunInChild(
        [&]
        {
            try
            {
                ManagedVolume::Create(u"/no/such/place", kExtensions);
                return 1;
            }
            catch (const qelcore::filesupport::file_exception&)
            {
            }
            return Manage() ? 0 : 2;
        });
    EXPECT_EQ(0, answer);
}

TEST_F(RealManagerLife, TheStopOfTheLibraryEndsAllSweeps)
{
    const int answer = Testing::RunInChild(
        [&]
        {
            ManagedDirectoryPtr handle;
            {
                const RK::Initializer library;
                handle = Manage();
                handle->SetMaxFileCount(std::uint64_t{5});
                WaitForSweep();
            }
            Put("late.rkdc", kDay);
            handle->SetMaxFileCount(std::uint64_t{0}); // kept, and nobody sweeps
            return handle->GetMaxFileCount() == Bytes(0) ? 0 : 1;
        });
    EXPECT_EQ(0, answer);
    EXPECT_THAT(Left(), UnorderedElementsAre("late.rkdc"));
}

// A file system in user space whose program never says a word, as a server that is away.
TEST_F(RealManagerLife, ASilentVolumeDoesNotKeepTheOthersFromBeingSwept)
{
    RK_NEEDS_MOUNTS();
    if (access("/dev/fuse", R_OK | W_OK) != 0)
        GTEST_SKIP() << "needs /dev/fuse";
    const std::string silent = mFolder.MakeFolder("a silent one"); // comes first
    const std::string other = mFolder.MakeFolder("other");
    Put("other/a.rkdc", kDay);
    const int answer = Testing::RunInChild(
        [&]
        {
            if (!Testing::EnterPrivateMounts())
                return 98;
            std::vector<ManagedDirectoryPtr> handles;
            for (const std::string& path : {silent, other})
                handles.push_back(
                    ManagedDirectory::Create(FileNameToUTF16(path), kExtensions, boost::none));
            const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
            const std::string options =
                "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0";
            if (mount("silent", silent.c_str(), "fuse.silent", 0, options.c_str()) != 0)
                return 97;
            for (const ManagedDirectoryPtr& handle : handles)
                handle->SetMaxFileCount(std::uint64_t{0});
            WaitForSweep();
            close(device); // ends the question that is still open
            return 0;
        });

    EXPECT_EQ(0, answer);
    EXPECT_FALSE(std::filesystem::exists(mFolder.Path("other/a.rkdc")));
}

TEST_F(RealManagerLife, AProcessThatNeverStopsTheManagerEndsInOrder)
{
    const int answer = Testing::RunInChild(
        [&]() -> int
        {
            const ManagedDirectoryPtr handle = Manage();
            handle->SetMaxFileCount(std::uint64_t{5});
            std::exit(7); // with static destructors, and sweeps under way
        });
    EXPECT_EQ(7, answer);
}

TEST_F(RealSweep, FilesGoByTheirAgeAndNamesThatAreNoTextWithThem)
{
    Put("new.rkdc", 60);
    Put("read.rkdc", 0);
    Put("old.rkdc", 10 * kDay);
    Put("\xff\xfe old.rkdc", 10 * kDay);
    Put(std::string(250, 'n') + ".rkdc", 10 * kDay);
    Put("\xff foreign.mov", 10 * kDay);
    Put(".hidden.rkdc", 10 * kDay);
    ASSERT_EQ(0, symlink("/etc/hostname", mFolder.Path("link.rkdc").c_str()));
    Age("link.rkdc", 10 * kDay);
    mFolder.MakeFolder("empty/inner");
    const timespec times[2] = {{::time(nullptr), 0}, {::time(nullptr) - 10 * kDay, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, mFolder.Path("read.rkdc").c_str(), times, 0));

    const ManagedDirectoryPtr handle = Manage();
    handle->SetAutomaticExpiryDuration(time_duration(hours(24)));
    handle->SetDeleteEmptySubDirectories(true);
    WaitForSweep();

    EXPECT_THAT(Left(), UnorderedElementsAre("new.rkdc", "read.rkdc", "\xff foreign.mov",
                                             ".hidden.rkdc", "link.rkdc"));
}

TEST_F(RealSweep, TimesBeyondTheCalendarDoNotEndASweep)
{
    Put("ancient.rkdc", 0);
    Put("plain.rkdc", kDay);
    const timespec ancient[2] = {{-20000000000, 0}, {-20000000000, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, mFolder.Path("ancient.rkdc").c_str(), ancient, 0));
    Put("future.rkdc", 0);
    const timespec future[2] = {{300000000000, 0}, {300000000000, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, mFolder.Path("future.rkdc").c_str(), future, 0));

    const ManagedDirectoryPtr handle = Manage();
    handle->SetMaxFileCount(0);
    WaitForSweep();
    EXPECT_THAT(Left(), UnorderedElementsAre("future.rkdc"));
}

TEST_F(RealSweep, HandlesForwardEveryLimit)
{
    const ManagedDirectoryPtr directory = Manage();
    EXPECT_EQ(directory, Manage());
    directory->DisableRepeatDiskSweep();
    directory->AddFileExtensionsAllowedToDelete({u".tmp"});
    directory->SetMaxUsedBytes(std::uint64_t{1});
    directory->SetMaxFileCount(std::uint64_t{2});
    directory->SetPriorityBoost(time_duration(hours(3)));
    directory->SetAutomaticExpiryDuration(time_duration(hours(4)));
    directory->SetDeleteEmptySubDirectories(true);
    EXPECT_EQ(Bytes(1), directory->GetMaxUsedBytes());
    EXPECT_EQ(Bytes(2), directory->GetMaxFileCount());
    EXPECT_TRUE(directory->GetPriorityBoost() == time_duration(hours(3)));
    EXPECT_TRUE(directory->GetAutomaticExpiryDuration() == time_duration(hours(4)));
    EXPECT_TRUE(directory->GetDeleteEmptySubDirectories());

    const ManagedVolumePtr volume =
        ManagedVolume::Create(FileNameToUTF16(mFolder.Path()), kExtensions);
    EXPECT_EQ(boost::optional<float>(10.0f), volume->GetFreeSpacePercentage());
    volume->SetFreeSpacePercentage(5.0f);
    volume->SetFreeSpaceBytes(std::uint64_t{6});
    volume->SetMaxUsedBytes(std::uint64_t{7});
    EXPECT_EQ(boost::optional<float>(5.0f), volume->GetFreeSpacePercentage());
    EXPECT_EQ(Bytes(6), volume->GetFreeSpaceBytes());
    EXPECT_EQ(Bytes(7), volume->GetMaxUsedBytes());
    EXPECT_TRUE(volume->IsCloseToFull());
}

} // namespace
