// rkhost keeps a real folder within limits.
#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;

class RkhostCacheManage : public RkhostTest
{
protected:
    void Put(const std::string& inName, std::int64_t inAgeSeconds, std::size_t inBytes = 100) const
    {
        const std::string path = mFolder.Write(inName, std::string(inBytes, 'x'));
        const timespec time = {::time(nullptr) - inAgeSeconds, 0};
        const timespec times[2] = {time, time};
        ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
    }
    std::vector<std::string> Command(std::vector<std::string> inArguments) const
    {
        inArguments.insert(inArguments.begin(),
                           {"cache", "manage", mFolder.Path(), "--extensions", ".rkdc"});
        return inArguments;
    }
    /// Sweeps once, without a say of how full the disk is.
    Ended SweepOnce(std::vector<std::string> inArguments) const
    {
        inArguments.insert(inArguments.end(), {"--once", "--free-percent", "0"});
        return Run(Command(inArguments));
    }
    std::vector<std::string> Left() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(mFolder.Path()))
            names.push_back(std::filesystem::relative(entry.path(), mFolder.Path()).string());
        return names;
    }
};

TEST_F(RkhostCacheManage, ASingleSweepExpiresWhatIsOldAndNothingElse)
{
    Put("old.rkdc", 2 * kDay);
    Put("OLD.RKDC", 2 * kDay);
    Put("younger.rkdc", kHour);
    Put("foreign.mov", 2 * kDay);
    Put(".hidden.rkdc", 2 * kDay);

    const Ended ended = SweepOnce({"--expire", "1d"});

    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(Left(), UnorderedElementsAre("younger.rkdc", "foreign.mov", ".hidden.rkdc"));
}

TEST_F(RkhostCacheManage, TheOldestGoUntilCountAndBytesFit)
{
    for (int i = 1; i <= 5; ++i)
        Put(std::to_string(i) + ".rkdc", i * kHour, 1000);
    EXPECT_EQ(0, SweepOnce({"--max-files", "4"}).mCode);
    EXPECT_THAT(Left(), UnorderedElementsAre("1.rkdc", "2.rkdc", "3.rkdc", "4.rkdc"));
    EXPECT_EQ(0, SweepOnce({"--max-bytes", "2500"}).mCode);
    EXPECT_THAT(Left(), UnorderedElementsAre("1.rkdc", "2.rkdc"));
}

TEST_F(RkhostCacheManage, ADryRunNamesWhatWouldGoAndDeletesNothing)
{
    Put("old.rkdc", 2 * kDay);
    Put("older.rkdc", 3 * kDay);
    Put("young.rkdc", 60);
    Put("strange\n\033name.rkdc", 2 * kDay);
    mFolder.MakeFolder("empty");

    std::vector<std::string> command =
        Command({"--expire", "1d", "--dry-run", "--free-percent", "0", "--delete-empty-folders"});
    // Not even where sweeps would follow each other at once.
    const Ended ended = Run(command, "", {"RK_DEBUG=RKDiskCacheManager.DiskSweepInterval=1"});

    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ(5u, Left().size());
    EXPECT_THAT(ended.mOutput, ContainsRegex("would delete by age, [^\n]*: [^\n]*/old\\.rkdc\n"));
    EXPECT_THAT(ended.mOutput, ContainsRegex("would delete by age, [^\n]*: [^\n]*/older\\.rkdc\n"));
    EXPECT_THAT(ended.mOutput, HasSubstr("/strange\\x0a\\x1bname.rkdc\n"));
    EXPECT_THAT(ended.mOutput, HasSubstr("would delete the empty folder "));
    EXPECT_THAT(ended.mOutput, Not(HasSubstr("young.rkdc")));
    EXPECT_EQ("3 files, 300 B", Row(ended, "  would delete by age"));
}

TEST_F(RkhostCacheManage, TheReportTellsRulesSparedFilesAndLimitsThatAreNotKept)
{
    Put("expired.rkdc", 2 * kDay);
    Put("older.rkdc", 2 * kHour);
    Put("old.rkdc", kHour);
    Put("young.rkdc", 60);
    Put("younger.rkdc", 30);

    const Ended ended = SweepOnce({"--expire", "1d", "--max-files", "1", "--max-bytes", "1K"});

    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("", ended.mError);
    EXPECT_EQ("5 files, 500 B, in 1 folder", Row(ended, "  found"));
    EXPECT_THAT(Row(ended, "  deleted by age"), HasSubstr("1 file,"));
    EXPECT_THAT(Row(ended, "  deleted by count"), HasSubstr("2 files,"));
    EXPECT_THAT(Row(ended, "  left"), HasSubstr("2 files,"));
    EXPECT_EQ("at most 1: still 1 over it", Row(ended, "  limit of files"));
    EXPECT_THAT(ended.mOutput, HasSubstr("used in the last 15 minutes"));
    EXPECT_THAT(ended.mOutput, HasSubstr("at most 1.00 KB: kept"));
}

TEST_F(RkhostCacheManage, EmptyFoldersGoIfThatIsAskedFor)
{
    mFolder.MakeFolder("empty/inner");
    EXPECT_EQ(0, SweepOnce({}).mCode);
    EXPECT_THAT(Left(), UnorderedElementsAre("empty", "empty/inner"));
    EXPECT_EQ(0, SweepOnce({"--delete-empty-folders"}).mCode);
    EXPECT_THAT(Left(), UnorderedElementsAre());
}

TEST_F(RkhostCacheManage, ItStaysAndSweepsUntilItIsToldToEnd)
{
    Put("first.rkdc", 2 * kDay);
    std::vector<std::string> command =
        Command({"--expire", "1d", "--interval", "1s", "--free-percent", "0"});
    command.insert(command.begin(), RKHOST_TEST_PROGRAM);
    const ChildProcess child(command, "", {});
    const auto waitUntilGone = [&](const std::string& inName)
    {
        for (int i = 0; i < 3000 && std::filesystem::exists(mFolder.Path(inName)); ++i)
            usleep(10000);
        EXPECT_FALSE(std::filesystem::exists(mFolder.Path(inName))) << inName;
    };
    waitUntilGone("first.rkdc");
    Put("second.rkdc", 2 * kDay);
    waitUntilGone("second.rkdc");
    child.Signal(SIGTERM);
    child.ReadOutput();
    EXPECT_EQ("", child.ReadError());
    EXPECT_EQ(0, child.Wait());
}

TEST_F(RkhostCacheManage, AFolderThatIsNotThereFails)
{
    const Ended ended = Run({"cache", "manage", mFolder.Path("none"), "--extensions", ".a"});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("none"));
}

TEST_F(RkhostCacheManage, WhatIsDangerousIsRefused)
{
    const Ended root = Run({"cache", "manage", "/", "--extensions", ".rkdc", "--once"});
    EXPECT_EQ(2, root.mCode);
    EXPECT_THAT(root.mError, HasSubstr("whole file system"));
    const Ended unnamed = Run({"cache", "manage", mFolder.Path(), "--once"});
    EXPECT_EQ(2, unnamed.mCode);
    EXPECT_THAT(unnamed.mError, HasSubstr("--extensions"));
}

TEST_F(RkhostTest, CacheTellsItsVerbsAndHelpsWithEach)
{
    const Ended verbs = Run({"cache", "--help"});
    EXPECT_EQ(0, verbs.mCode);
    EXPECT_THAT(verbs.mOutput, HasSubstr("manage DIR"));
    const Ended manage = Run({"cache", "manage", "--help"});
    EXPECT_EQ(0, manage.mCode);
    EXPECT_THAT(manage.mOutput, HasSubstr("--dry-run"));
    EXPECT_EQ(2, Run({"cache"}).mCode);
    const Ended unknown = Run({"cache", "burn"});
    EXPECT_EQ(2, unknown.mCode);
    EXPECT_THAT(unknown.mError, HasSubstr("burn"));
}

} // namespace
} // namespace RKHostTests
