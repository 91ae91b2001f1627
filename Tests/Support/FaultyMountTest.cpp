// What the tests that use a faulty mount rely on.
#include "FaultyMount.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace
{

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

const auto* const sMounts = Testing::UsePrivateMounts();

int ErrorOf(long inResult)
{
    return inResult < 0 ? errno : 0;
}

class MountedFaults : public ::testing::Test
{
protected:
    void SetUp() override { RK_NEEDS_FAULTY_MOUNT(); }

    int Write(const std::string& inPath, const std::string& inBytes, std::size_t& outPut) const
    {
        const int file = open(inPath.c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0644);
        if (file < 0)
            return errno;
        const ssize_t put = write(file, inBytes.data(), inBytes.size());
        const int error = ErrorOf(put);
        outPut = put > 0 ? static_cast<std::size_t>(put) : 0;
        close(file);
        return error;
    }
    std::string Read(const std::string& inPath) const
    {
        char buffer[256];
        const int file = open(inPath.c_str(), O_RDONLY | O_CLOEXEC);
        const ssize_t got = file < 0 ? -1 : read(file, buffer, sizeof(buffer));
        const int error = errno;
        if (file >= 0)
            close(file);
        return got < 0 ? std::strerror(error) : std::string(buffer, static_cast<std::size_t>(got));
    }
    /// The names, and at the end the error if there was one.
    std::vector<std::string> List(const std::string& inPath) const
    {
        std::vector<std::string> names;
        DIR* const folder = opendir(inPath.c_str());
        if (folder == nullptr)
            return {std::strerror(errno)};
        errno = 0;
        while (const dirent* const entry = readdir(folder))
        {
            if (entry->d_name[0] != '.')
                names.push_back(entry->d_name);
        }
        if (errno != 0)
            names.push_back(std::strerror(errno));
        closedir(folder);
        return names;
    }
    int Stat(const std::string& inPath) const
    {
        struct stat status;
        return ErrorOf(lstat(inPath.c_str(), &status));
    }
};

TEST_F(MountedFaults, WithoutAFaultItIsTheFolderBehindIt)
{
    Testing::FaultyMount mount;
    std::size_t put = 0;
    ASSERT_EQ(0, Write(mount.Path("a\xff"), "text", put));
    EXPECT_EQ("text", Read(mount.Behind("a\xff")));
    ASSERT_EQ(0, mkdir(mount.Path("folder").c_str(), 0755));
    ASSERT_EQ(0, rename(mount.Path("a\xff").c_str(), mount.Path("folder/b").c_str()));
    ASSERT_EQ(0, symlink("b", mount.Path("folder/link").c_str()));
    EXPECT_EQ("text", Read(mount.Path("folder/link")));
    ASSERT_EQ(0, Write(mount.Behind("folder/c"), "", put));
    EXPECT_THAT(List(mount.Path("folder")), UnorderedElementsAre("b", "c", "link"));
    EXPECT_EQ(ENOTEMPTY, ErrorOf(rmdir(mount.Path("folder").c_str())));
    ASSERT_EQ(0, unlink(mount.Path("folder/c").c_str()));
    EXPECT_THAT(List(mount.Behind("folder")), UnorderedElementsAre("b", "link"));
}

TEST_F(MountedFaults, AnErrorMeetsTheOperationAndTheNamesItIsMeantFor)
{
    Testing::FaultyMount mount;
    std::size_t put = 0;
    mount.Inject({.operation = "write", .name = "*.bad", .error = ENOSPC});
    EXPECT_EQ(ENOSPC, Write(mount.Path("a.bad"), "text", put));
    EXPECT_EQ(0, Write(mount.Path("a.good"), "text", put));
    mount.Clear();
    EXPECT_EQ(0, Write(mount.Path("a.bad"), "text", put));

    mount.Inject({.operation = "unlink", .error = EROFS});
    EXPECT_EQ(EROFS, ErrorOf(unlink(mount.Path("a.good").c_str())));
    EXPECT_EQ(0, Stat(mount.Path("a.good")));
    mount.Inject({.operation = "getattr", .name = "a.good", .error = EIO});
    EXPECT_EQ(EIO, Stat(mount.Path("a.good")));
    EXPECT_EQ(0, Stat(mount.Path("a.bad")));
    struct statvfs space;
    mount.Inject({.operation = "statfs", .error = EACCES});
    EXPECT_EQ(EACCES, ErrorOf(statvfs(mount.Path().c_str(), &space)));
}

TEST_F(MountedFaults, SomeCallsAreSparedSomeAreMetAndTheRestWorks)
{
    Testing::FaultyMount mount;
    std::size_t put = 0;
    ASSERT_EQ(0, Write(mount.Path("a"), "text", put));
    mount.Inject({.operation = "read", .error = EIO, .after = 1, .times = 2});
    std::vector<std::string> got;
    for (int i = 0; i < 4; ++i)
        got.push_back(Read(mount.Path("a")));

    EXPECT_THAT(got, ElementsAre("text", std::strerror(EIO), std::strerror(EIO), "text"));
    EXPECT_EQ(4, mount.CallCount("read", "a"));
    EXPECT_EQ(0, mount.CallCount("read", "b"));
}

TEST_F(MountedFaults, TransfersAreShortAndStillRight)
{
    Testing::FaultyMount mount;
    mount.Inject({.operation = "write", .most = 3});
    std::size_t put = 0;
    EXPECT_EQ(0, Write(mount.Path("a"), "hello", put));
    EXPECT_EQ(3u, put);
    mount.Inject({.operation = "read", .most = 2});
    EXPECT_EQ("he", Read(mount.Path("a")));
}

TEST_F(MountedFaults, AListingFailsInTheMiddle)
{
    Testing::FaultyMount mount;
    std::size_t put = 0;
    for (const char* name : {"a", "b", "c", "d", "e"})
        ASSERT_EQ(0, Write(mount.Behind(name), "", put));
    mount.Inject({.operation = "readdir", .most = 4, .times = 1}); // "." and ".." may be among them
    mount.Inject({.operation = "readdir", .error = EIO});
    const std::vector<std::string> names = List(mount.Path());

    EXPECT_EQ(std::strerror(EIO), names.back());
    EXPECT_GE(names.size(), 3u);
    EXPECT_LE(names.size(), 5u);
    mount.Clear();
    EXPECT_THAT(List(mount.Path()), UnorderedElementsAre("a", "b", "c", "d", "e"));
}

TEST_F(MountedFaults, ACallHangsUntilItIsReleased)
{
    Testing::FaultyMount mount;
    std::size_t put = 0;
    ASSERT_EQ(0, Write(mount.Path("a"), "text", put));
    mount.Inject({.operation = "read", .name = "a", .error = EINTR, .hangs = true});
    std::string got;
    std::thread reader([&] { got = Read(mount.Path("a")); });
    EXPECT_TRUE(mount.WaitUntilHanging(1));
    EXPECT_EQ(0, Stat(mount.Path("a"))); // others are served meanwhile
    mount.Clear();
    reader.join();
    EXPECT_EQ(std::strerror(EINTR), got);
    EXPECT_EQ(0, mount.HangingCount());
}

TEST_F(MountedFaults, ADeadDaemonFailsAllCallsAlsoThoseThatHang)
{
    Testing::FaultyMount mount;
    std::size_t put = 0;
    ASSERT_EQ(0, Write(mount.Path("a"), "text", put));
    mount.Inject({.operation = "read", .hangs = true});
    std::string got;
    std::thread reader([&] { got = Read(mount.Path("a")); });
    EXPECT_TRUE(mount.WaitUntilHanging(1));
    mount.Kill();
    reader.join();
    EXPECT_EQ(std::strerror(ECONNABORTED), got);
    EXPECT_EQ(ENOTCONN, Stat(mount.Path("a")));
}

} // namespace
