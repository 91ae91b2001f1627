#include "CacheManageOptions.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "HostError.h"
#include "Support/TemporaryFolder.h"

namespace RKHostTests
{
namespace
{

using RKHost::CacheManageOptions;
using RKHost::HostError;
using RKHost::ParseCacheManage;

using Arguments = std::vector<std::string>;

template <class Call>
std::string RefusalOf(const Call& inCall, RKHost::ExitCode inCode = RKHost::kExit_Usage)
{
    try
    {
        inCall();
    }
    catch (const HostError& error)
    {
        EXPECT_EQ(inCode, error.Code()) << error.what();
        return error.what();
    }
    return std::string();
}

std::string RefusalOf(const Arguments& inArguments)
{
    return RefusalOf([&] { ParseCacheManage(inArguments); });
}

TEST(CacheManageOptions, NothingIsLimitedThatWasNotAskedFor)
{
    const CacheManageOptions options = ParseCacheManage({"cache", "--extensions", ".a,.B"});
    EXPECT_EQ("cache", options.mFolder);
    EXPECT_EQ((Arguments{".a", ".B"}), options.mExtensions);
    EXPECT_FALSE(options.mMaxBytes || options.mMaxFiles || options.mExpirySeconds ||
                 options.mBoostSeconds || options.mFreePercent || options.mIntervalSeconds);
    EXPECT_FALSE(options.mOnce || options.mDryRun || options.mDeleteEmptyFolders);
}

TEST(CacheManageOptions, EachLimitIsTaken)
{
    const CacheManageOptions options =
        ParseCacheManage({"--max-bytes", "10G", "--max-files=3", "--expire", "7d", "--free-percent",
                          "2.5", "--boost", "2h", "--extensions", ".a", "--once",
                          "--delete-empty-folders", "--interval", "30s", "cache"});
    EXPECT_EQ(std::uint64_t{10} << 30, *options.mMaxBytes);
    EXPECT_EQ(3u, *options.mMaxFiles);
    EXPECT_EQ(7 * 86400, *options.mExpirySeconds);
    EXPECT_EQ(2.5f, *options.mFreePercent);
    EXPECT_EQ(7200, *options.mBoostSeconds);
    EXPECT_EQ(30, *options.mIntervalSeconds);
    EXPECT_TRUE(options.mOnce);
    EXPECT_TRUE(options.mDeleteEmptyFolders);
    EXPECT_FALSE(options.mDryRun);
}

TEST(CacheManageOptions, ADryRunIsASingleOne)
{
    EXPECT_TRUE(ParseCacheManage({"c", "--extensions=.a", "--dry-run"}).mOnce);
}

TEST(CacheManageOptions, AFolderAndItsExtensionsMustBeNamed)
{
    EXPECT_NE(std::string::npos, RefusalOf({"--extensions", ".a"}).find("folder"));
    EXPECT_NE(std::string::npos, RefusalOf({"c"}).find("--extensions"));
    EXPECT_NE(std::string::npos, RefusalOf({"c", "--extensions="}).find("--extensions"));
    EXPECT_NE(std::string::npos, RefusalOf({"c", "d", "--extensions", ".a"}).find("'d'"));
}

TEST(CacheManageOptions, WhatNoFileCanHaveIsNoExtension)
{
    for (const char* wrong : {"a", "*", ".", ".a,", ",.a", ".a,,.b", ".a, .b", ".tar.gz", ".a/b"})
        EXPECT_NE("", RefusalOf({"c", "--extensions", wrong})) << wrong;
}

TEST(CacheManageOptions, ValuesThatMakeNoSenseAreRefusedByName)
{
    for (const Arguments& wrong :
         {Arguments{"--max-bytes", "0"}, Arguments{"--max-bytes", "-1"},
          Arguments{"--max-files", "0"}, Arguments{"--max-files", "many"},
          Arguments{"--expire", "7"}, Arguments{"--expire", "7 days"}, Arguments{"--boost", "-1h"},
          Arguments{"--free-percent", "101"}, Arguments{"--free-percent", "nan"},
          Arguments{"--free-percent", "-1"}, Arguments{"--interval", "0s"},
          Arguments{"--interval", "8d"}, Arguments{"--delete", "everything"}})
    {
        Arguments arguments = {"c", "--extensions", ".a"};
        arguments.insert(arguments.end(), wrong.begin(), wrong.end());
        EXPECT_NE(std::string::npos, RefusalOf(arguments).find(wrong[0])) << wrong[1];
    }
}

std::string RefusalOfFolder(const std::string& inFolder, RKHost::ExitCode inCode,
                            const std::string& inHome = "")
{
    return RefusalOf([&] { RKHost::FolderToManage(inFolder, inHome); }, inCode);
}

TEST(FolderToManage, LinksAreFollowedOnce)
{
    const Testing::TemporaryFolder folder;
    const std::string cache = folder.MakeFolder("cache");
    std::filesystem::create_symlink(cache, folder.Path("link"));
    EXPECT_EQ(std::filesystem::canonical(cache),
              RKHost::FolderToManage(folder.Path("link") + "/", ""));
}

TEST(FolderToManage, WhatIsNoFolderFails)
{
    const Testing::TemporaryFolder folder;
    const std::string file = folder.Write("file", "");
    EXPECT_NE("", RefusalOfFolder(folder.Path("none"), RKHost::kExit_Failure));
    EXPECT_NE("", RefusalOfFolder(file, RKHost::kExit_Failure));
}

TEST(FolderToManage, WhatIsNoCacheIsRefused)
{
    const Testing::TemporaryFolder folder;
    std::filesystem::create_symlink("/", folder.Path("root"));
    for (const std::string& dangerous :
         {std::string("/"), std::string("//.."), folder.Path("root"), std::string("/usr"),
          std::string("/usr/lib"), std::string("/etc/"), std::string("/tmp"), std::string("/dev"),
          std::string("/proc/self/fd")})
        EXPECT_NE("", RefusalOfFolder(dangerous, RKHost::kExit_Usage)) << dangerous;
}

TEST(FolderToManage, AHomeAndWhatHoldsItIsRefusedButNotWhatIsBelow)
{
    const Testing::TemporaryFolder folder;
    const std::string cache = folder.MakeFolder("homes/me/cache");
    const std::string home = folder.Path("homes/me");
    EXPECT_NE("", RefusalOfFolder(home, RKHost::kExit_Usage, home));
    EXPECT_NE("", RefusalOfFolder(folder.Path("homes"), RKHost::kExit_Usage, home));
    EXPECT_EQ("", RefusalOfFolder(cache, RKHost::kExit_Usage, home));
}

} // namespace
} // namespace RKHostTests
