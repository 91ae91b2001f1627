// "cache manage" within the test's own process, where that can be a user without rights.
#include "CacheManageCommand.h"

#include <csignal>
#include <filesystem>
#include <iostream>
#include <sstream>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <RiverKit/RKInitializer.h>

#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace RKHostTests
{
namespace
{

using testing::ContainsRegex;
using testing::HasSubstr;

constexpr std::int64_t kDay = 86400;

struct Managed
{
    int mCode;
    std::string mOutput;
};

class CacheManageCommand : public testing::Test
{
protected:
    void Put(const std::string& inName) const
    {
        const std::string path = mFolder.Write(inName, "contents");
        const timespec time = {::time(nullptr) - 2 * kDay, 0};
        const timespec times[2] = {time, time};
        ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
    }
    Managed ManageOnce() const
    {
        RKHost::EventLoop loop;
        const RK::Initializer library;
        const std::ostringstream output;
        std::streambuf* const before = std::cout.rdbuf(output.rdbuf());
        Managed managed{RKHost::kExit_Interrupted, std::string()};
        try
        {
            managed.mCode =
                RKHost::RunCacheManage({mFolder.Path(), "--extensions", ".rkdc", "--expire", "1d",
                                        "--free-percent", "0", "--delete-empty-folders", "--once"},
                                       loop);
        }
        catch (const RKHost::Interrupted&)
        {
        }
        std::cout.rdbuf(before);
        managed.mOutput = output.str();
        return managed;
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(CacheManageCommand, WhatCannotBeDeletedIsToldAndIsAFailure)
{
    Put("closed/old.rkdc");
    Put("open.rkdc");
    for (const char* name : {"", "closed", "closed/old.rkdc", "open.rkdc"})
        ASSERT_EQ(0, geteuid() != 0 ? 0 : chown(mFolder.Path(name).c_str(), 65534, 65534));
    ASSERT_EQ(0, chmod(mFolder.Path("closed").c_str(), 0500));

    const int answer = Testing::RunWithoutRights(
        [&]
        {
            const Managed managed = ManageOnce();
            EXPECT_EQ(1, managed.mCode);
            EXPECT_THAT(managed.mOutput, HasSubstr("refused               1 time\n"));
            EXPECT_THAT(managed.mOutput,
                        ContainsRegex("delete [^\n]*/closed/old\\.rkdc: Permission denied\n"));
            return HasFailure() ? 1 : 0;
        });
    chmod(mFolder.Path("closed").c_str(), 0700);

    EXPECT_EQ(0, answer);
    EXPECT_EQ(0, access(mFolder.Path("closed/old.rkdc").c_str(), F_OK));
    EXPECT_NE(0, access(mFolder.Path("open.rkdc").c_str(), F_OK));
}

TEST_F(CacheManageCommand, AFolderWithFilesOfOthersStaysAndIsNoFailure)
{
    mFolder.Write("foreign/photo.jpg", "x");
    const int answer = Testing::RunInChild(
        [&]
        {
            const Managed managed = ManageOnce();
            EXPECT_EQ(0, managed.mCode) << managed.mOutput;
            EXPECT_THAT(managed.mOutput, ContainsRegex("remove folder [^\n]*/foreign: "));
            return HasFailure() ? 1 : 0;
        });
    EXPECT_EQ(0, answer);
    EXPECT_EQ(0, access(mFolder.Path("foreign/photo.jpg").c_str(), F_OK));
}

// The loop hears of the signal at its first turn, and the sweep may have ended by then.
TEST_F(CacheManageCommand, AnInterruptEndsASingleSweepInOrder)
{
    for (int i = 0; i < 100; ++i)
        Put(std::to_string(i) + ".rkdc");
    const int answer = Testing::RunInChild(
        [&]
        {
            sigset_t term;
            sigemptyset(&term);
            sigaddset(&term, SIGTERM);
            sigprocmask(SIG_BLOCK, &term, nullptr); // as the loop will
            raise(SIGTERM);
            const int code = ManageOnce().mCode;
            const auto left =
                std::distance(std::filesystem::directory_iterator(mFolder.Path()), {});
            return code == RKHost::kExit_Interrupted || (code == RKHost::kExit_OK && left == 0) ? 0
                                                                                                : 1;
        });
    EXPECT_EQ(0, answer);
}

} // namespace
} // namespace RKHostTests
