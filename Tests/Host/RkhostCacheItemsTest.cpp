// rkhost reads, writes, lists and removes items of a real cache folder.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>

#include <sys/stat.h>

#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class RkhostCacheItems : public RkhostTest
{
protected:
    static Ended Cache(std::vector<std::string> inArguments, const std::string& inInput = "")
    {
        inArguments.insert(inArguments.begin(), "cache");
        return Run(inArguments, inInput);
    }
    Ended Put(const std::vector<std::string>& inNames, const std::string& inInput) const
    {
        std::vector<std::string> arguments = {"put", mCache};
        arguments.insert(arguments.end(), inNames.begin(), inNames.end());
        return Cache(arguments, inInput);
    }
    /// Every name below the folder of the test.
    std::vector<std::string> Everything() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(mFolder.Path()))
            names.push_back(fs::relative(entry.path(), mFolder.Path()).string());
        return names;
    }
    static std::string EachByte()
    {
        std::string bytes(256, '\0');
        std::iota(bytes.begin(), bytes.end(), '\0');
        return bytes;
    }
    static std::string ContentOf(const std::string& inPath)
    {
        std::ifstream file(inPath, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const std::string mCache = mFolder.Path("cache");
};

TEST_F(RkhostCacheItems, WhatIsPutComesBackByteForByte)
{
    const std::string bytes = EachByte() + EachByte();
    EXPECT_EQ(0, Put({"clip", "frame"}, bytes).mCode);
    EXPECT_EQ(bytes, ContentOf(mCache + "/clip.frame.rkdc"));
    const Ended got = Cache({"get", mCache, "clip", "frame"});
    EXPECT_EQ(0, got.mCode) << got.mError;
    EXPECT_EQ(bytes, got.mOutput);
    EXPECT_EQ("", got.mError);
}

TEST_F(RkhostCacheItems, AnItemWithoutASubKeyIsAnotherOne)
{
    Put({"clip"}, "alone");
    Put({"clip", "frame"}, "with");
    EXPECT_EQ("alone", Cache({"get", mCache, "clip"}).mOutput);
    EXPECT_EQ("with", Cache({"get", mCache, "clip", "frame"}).mOutput);
}

TEST_F(RkhostCacheItems, LargeItemsGoFromFileToFile)
{
    std::string bytes;
    while (bytes.size() < 5000001)
        bytes += EachByte() + std::to_string(bytes.size());
    const std::string from = mFolder.Write("from", bytes), to = mFolder.Path("to");
    EXPECT_EQ(0, Cache({"put", mCache, "clip", "--input", from}).mCode);
    EXPECT_EQ(0, Cache({"get", mCache, "clip", "--output", to}).mCode);
    EXPECT_TRUE(bytes == ContentOf(to));
}

TEST_F(RkhostCacheItems, AnItemThatIsThereIsNotReplaced)
{
    Put({"clip"}, "first");
    const Ended ended = Put({"clip"}, "second");
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("item 'clip' is there already"));
    EXPECT_EQ("first", Cache({"get", mCache, "clip"}).mOutput);
}

TEST_F(RkhostCacheItems, ARemovedItemIsGoneAndCanBePutAgain)
{
    Put({"clip", "frame"}, "first");
    const Ended removed = Cache({"rm", mCache, "clip", "frame"});
    EXPECT_EQ(0, removed.mCode) << removed.mError;
    EXPECT_FALSE(fs::exists(mCache + "/clip.frame.rkdc"));
    EXPECT_EQ(0, Put({"clip", "frame"}, "second").mCode);
    EXPECT_EQ("second", Cache({"get", mCache, "clip", "frame"}).mOutput);
}

TEST_F(RkhostCacheItems, AnItemThatIsNotThereIsAFailure)
{
    Put({"other"}, "x");
    for (const char* verb : {"get", "rm"})
    {
        const Ended ended = Cache({verb, mCache, "clip", "frame"});
        EXPECT_EQ(1, ended.mCode);
        EXPECT_THAT(ended.mError, HasSubstr("item 'clip' 'frame' is not there"));
        EXPECT_EQ("", ended.mOutput);
    }
}

TEST_F(RkhostCacheItems, OnlyAPutMakesAFolder)
{
    for (const char* verb : {"get", "rm", "ls"})
    {
        const Ended ended = Cache({verb, mCache, "clip"});
        EXPECT_EQ(1, ended.mCode);
        EXPECT_THAT(ended.mError, ContainsRegex("^rkhost: cannot [a-z]+ the cache folder '"));
        EXPECT_FALSE(fs::exists(mCache));
    }
}

TEST_F(RkhostCacheItems, AnEmptyItemIsNotPut)
{
    const Ended ended = Put({"clip"}, "");
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("nothing came in"));
}

TEST_F(RkhostCacheItems, AnEmptyFileInTheFolderIsAFailureAndNoHang)
{
    Put({"other"}, "x");
    std::ofstream(mCache + "/clip.rkdc").flush();
    const Ended ended = Cache({"get", mCache, "clip"});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("cannot be read"));
}

TEST_F(RkhostCacheItems, ANameThatLeadsOutOfTheFolderIsNeitherWrittenNorReadNorRemoved)
{
    mFolder.Write("secret.rkdc", std::string("secret"));
    mFolder.Write("k.x.rkdc", std::string("secret"));
    Put({"ok"}, "x");
    const auto before = Everything();
    const std::vector<std::vector<std::string>> names = {{"../secret"},
                                                         {"../new"},
                                                         {mFolder.Path("secret")},
                                                         {mFolder.Path("new")},
                                                         {"../k", "x"},
                                                         {"k", "/../../secret"},
                                                         {"a/b"}};
    for (const auto& name : names)
    {
        EXPECT_EQ(1, Put(name, "mine").mCode) << name[0];
        for (const char* verb : {"get", "rm"})
        {
            std::vector<std::string> arguments = {verb, mCache};
            arguments.insert(arguments.end(), name.begin(), name.end());
            const Ended ended = Cache(arguments);
            EXPECT_EQ(1, ended.mCode) << verb << " " << name[0];
            EXPECT_EQ("", ended.mOutput) << verb << " " << name[0];
        }
    }
    EXPECT_THAT(Everything(), testing::UnorderedElementsAreArray(before));
    EXPECT_EQ("secret", ContentOf(mFolder.Path("secret.rkdc")));
}

TEST_F(RkhostCacheItems, NamesOfAnyBytesComeBack)
{
    const std::string key = "caf\xc3\xa9 \xff\x01";
    EXPECT_EQ(0, Put({key, "\xe6\x97\xa5"}, "x").mCode);
    EXPECT_TRUE(fs::exists(mCache + "/" + key + ".\xe6\x97\xa5.rkdc"));
    EXPECT_EQ("x", Cache({"get", mCache, key, "\xe6\x97\xa5"}).mOutput);
    EXPECT_THAT(Cache({"ls", mCache}).mOutput, HasSubstr("caf\xc3\xa9 \xff\\x01  \xe6\x97\xa5\n"));
}

TEST_F(RkhostCacheItems, ANameThatIsTooLongForAFileIsAFailure)
{
    const Ended ended = Put({std::string(300, 'k')}, "x");
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("could not be put"));
}

TEST_F(RkhostCacheItems, AFolderThatCannotBeMadeIsAFailure)
{
    const Ended ended = Cache({"put", mFolder.Write("file", std::string("x")), "clip"}, "x");
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("cannot open the cache folder"));
}

TEST_F(RkhostCacheItems, ListsKeysSubKeysSizesAndAges)
{
    Put({"b", "2"}, std::string(3 << 20, 'x').substr(0, 60000));
    Put({"a", "1"}, "xyz");
    Put({"alone"}, "x");
    mFolder.Write("cache/notes.txt", std::string("no item"));
    mFolder.Write("cache/.hidden.rkdc", std::string("no item"));
    const timespec old[2] = {{::time(nullptr) - 3 * 86400, 0}, {::time(nullptr) - 3 * 86400, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, (mCache + "/a.1.rkdc").c_str(), old, 0));
    const Ended ended = Cache({"ls", mCache});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput,
                ContainsRegex("^ +3 B +3 d  a  1\n +1 B +[0-9]+ s  alone\n +58.59 KB +[0-9]+ s  b  "
                              "2\n3 items, 58.6[0-9] KB\n$"));
    EXPECT_THAT(Cache({"ls", mCache, "a"}).mOutput,
                ContainsRegex("^ +3 B +3 d  a  1\n1 item, 3 B"));
}

TEST_F(RkhostCacheItems, ListsAnEmptyFolder)
{
    EXPECT_EQ("0 items, 0 B\n", Cache({"ls", mFolder.Path()}).mOutput);
}

TEST_F(RkhostCacheItems, AClosedStandardInputIsAFailureOfAPutAndNothingToTheOthers)
{
    const auto shell = [this](const std::string& inVerb)
    {
        return RunCommand(
            {"/bin/sh", "-c",
             "exec " + std::string(RKHOST_TEST_PROGRAM) + " cache " + inVerb + " \"$0\" clip <&-",
             mCache});
    };
    const Ended put = shell("put");
    EXPECT_EQ(1, put.mCode);
    EXPECT_THAT(put.mError, HasSubstr("standard input cannot be read"));
    Put({"clip"}, "data");
    EXPECT_EQ("data", shell("get").mOutput);
    EXPECT_EQ(0, shell("ls").mCode);
    EXPECT_EQ(0, shell("rm").mCode);
}

TEST_F(RkhostCacheItems, AClosedStandardOutputIsAFailureOfAGet)
{
    Put({"clip"}, "data");
    const Ended ended = RunCommand(
        {"/bin/sh", "-c", "exec " + std::string(RKHOST_TEST_PROGRAM) + " cache get \"$0\" clip >&-",
         mCache});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("standard output cannot be written"));
    EXPECT_EQ("data", ContentOf(mCache + "/clip.rkdc"));
}

TEST_F(RkhostCacheItems, APutThatWaitsForItsInputCanBeInterrupted)
{
    const std::string pipe = mFolder.Path("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    const ChildProcess child({RKHOST_TEST_PROGRAM, "cache", "put", mCache, "clip", "--input", pipe},
                             "", {});
    const int writer = open(pipe.c_str(), O_WRONLY | O_CLOEXEC); // returns once it reads
    EXPECT_EQ(1, write(writer, "x", 1));
    child.Signal(SIGINT);
    EXPECT_EQ("", child.ReadOutput());
    EXPECT_EQ("rkhost: interrupted\n", child.ReadError());
    EXPECT_EQ(130, child.Wait());
    close(writer);
    EXPECT_FALSE(fs::exists(mCache + "/clip.rkdc"));
}

TEST_F(RkhostCacheItems, WhatMakesNoSenseIsRefused)
{
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"get"},
                                               {"get", mCache},
                                               {"get", "", "clip"},
                                               {"get", mCache, ""},
                                               {"put", mCache, "a", "b", "c"},
                                               {"rm", mCache, "a", "--output", "x"},
                                               {"ls", mCache, "a", "b"},
                                               {"fill"},
                                               {"fill", mCache, "b"},
                                               {"fill", mCache, "--size", "2G"},
                                               {"fill", mCache, "--size", "64K-4K"},
                                               {"fill", mCache, "--threads", "0"}})
    {
        const Ended ended = Cache(arguments);
        EXPECT_EQ(2, ended.mCode) << arguments[0];
        EXPECT_THAT(ended.mError, ContainsRegex("^rkhost: .*--help tells what there is\\)\n$"));
    }
    EXPECT_FALSE(fs::exists(mCache));
}

TEST_F(RkhostCacheItems, EachVerbHasItsHelp)
{
    for (const std::string verb : {"get", "put", "ls", "rm", "fill"})
    {
        EXPECT_THAT(Cache({verb, "--help"}).mOutput, HasSubstr("rkhost cache " + verb + " DIR"));
        EXPECT_THAT(Cache({"--help"}).mOutput, HasSubstr("\n  " + verb + " DIR"));
    }
}

TEST_F(RkhostCacheItems, FillPutsAsManyItemsOfTheSizesAskedForAndTellsHowFast)
{
    const Ended ended =
        Cache({"fill", mCache, "--count", "100", "--size", "1K-8K", "--threads", "4"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, ContainsRegex("100/100 items  "));
    EXPECT_THAT(ended.mOutput,
                ContainsRegex("\n100 items, [0-9.]+ KB, in [0-9.]+ s: [0-9.]+ items/s, [0-9.]+ "
                              "[KMG]B/s\n$"));
    EXPECT_EQ(std::string::npos, ended.mOutput.find_first_of("\r\033"));
    std::size_t count = 0, least = ~std::size_t{0}, most = 0;
    for (const auto& entry : fs::directory_iterator(mCache))
    {
        EXPECT_EQ(".rkdc", entry.path().extension());
        least = std::min<std::size_t>(least, entry.file_size());
        most = std::max<std::size_t>(most, entry.file_size());
        ++count;
    }
    EXPECT_EQ(100u, count);
    EXPECT_GE(least, 1024u);
    EXPECT_LE(most, 8192u);
    EXPECT_LT(least, most);
}

TEST_F(RkhostCacheItems, ASecondFillAddsItems)
{
    for (int run = 1; run <= 2; ++run)
    {
        EXPECT_EQ(0, Cache({"fill", mCache, "--count", "10", "--size", "100"}).mCode);
        EXPECT_THAT(Cache({"ls", mCache}).mOutput,
                    HasSubstr("\n" + std::to_string(10 * run) + " items, "));
    }
}

TEST_F(RkhostCacheItems, FillEndsAfterTheSecondsAskedFor)
{
    const Ended ended =
        Cache({"fill", mCache, "--count", "2000000000", "--size", "1K", "--seconds", "0.2"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, ContainsRegex("\n[0-9]+ items, "));
}

TEST_F(RkhostCacheItems, FillCanBeInterrupted)
{
    const ChildProcess child(
        {RKHOST_TEST_PROGRAM, "cache", "fill", mCache, "--count", "2000000000", "--size", "1K"}, "",
        {});
    child.ReadLine(); // of the progress
    child.Signal(SIGTERM);
    child.ReadOutput();
    EXPECT_EQ("rkhost: interrupted\n", child.ReadError());
    EXPECT_EQ(130, child.Wait());
}

} // namespace
} // namespace RKHostTests
