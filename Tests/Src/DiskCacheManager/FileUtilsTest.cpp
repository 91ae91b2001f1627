#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/make_shared.hpp>

#include "DiskCacheFixture.h"
#include "DiskCacheManagerTree.h"
#include "Support/ContractWatch.h"
#include "Support/TraceCapture.h"

namespace
{

using namespace RK::DiskCacheManager;
using ::testing::ElementsAre;
using Testing::FileOperation;
using ::testing::IsEmpty;
using Testing::kNow;
using ::testing::UnorderedElementsAre;

std::string Narrow(const qelcore::UTF16String& inText)
{
    return qelcore::utility::UTF16ToFileName(inText);
}

class DiskCacheFiles : public ::testing::Test
{
protected:
    std::vector<std::string> List(const qelcore::UTF16String& inPath)
    {
        mFound.clear();
        mFolders.clear();
        GetDirectoryListing(boost::make_shared<Path>(inPath), mAbort, mExtensions, mFolders, mFound,
                            mUsed);
        return FoundPaths();
    }
    std::vector<std::string> ListAll(const qelcore::UTF16String& inPath,
                                     const PathSet& inExcluded = {})
    {
        mFound.clear();
        mFolders.clear();
        GetFlattenedDirectoryListing(boost::make_shared<Path>(inPath), inExcluded, mAbort,
                                     mExtensions, mFound, mUsed, mFolders, mIsEmpty);
        return FoundPaths();
    }
    std::vector<std::string> FoundPaths() const
    {
        std::vector<std::string> paths;
        for (const FileRecord& file : mFound)
            paths.push_back(Narrow(*file.mDirectory) + "/" + Narrow(file.mName));
        return paths;
    }
    std::vector<std::string> FolderPaths() const
    {
        std::vector<std::string> paths;
        for (const SubDirectoryRecord& folder : mFolders)
            paths.push_back(Narrow(*folder.mDirectory) + "/" + Narrow(folder.mName));
        return paths;
    }
    FileRecord Record(const qelcore::UTF16String& inName)
    {
        return {boost::make_shared<Path>(u"/c"), 1, inName, {}};
    }
    std::string TimeOf(Platform::FileTime inAccessed, Platform::FileTime inModified)
    {
        mFiles.AddSizedFile("/c/t.rkdc", 1, inAccessed, inModified);
        List(u"/c");
        return boost::posix_time::to_simple_string(mFound.at(0).mTime);
    }

    Testing::MemoryFileSystem mFiles;
    const Extensions mExtensions = {u".rkdc", u".tmp"};
    qelcore::threads::AtomicInt mAbort{0};
    std::vector<FileRecord> mFound;
    std::vector<SubDirectoryRecord> mFolders;
    std::uint64_t mUsed = 0;
    bool mIsEmpty = true;
};

TEST_F(DiskCacheFiles, ARecordTakesSixtyFourBytesAndWhatItsNameNeeds)
{
    // The folder's path is shared, and a name of up to 7 units lies within the record.
    EXPECT_LE(sizeof(FileRecord), 64u);
    EXPECT_EQ(sizeof(FileRecord), sizeof(PathPtr) + sizeof(std::uint64_t) +
                                      sizeof(qelcore::UTF16String) +
                                      sizeof(boost::posix_time::ptime));
    mFiles.AddFile("/c/a.rkdc");
    mFiles.AddFile("/c/b.rkdc");
    List(u"/c");
    ASSERT_EQ(2u, mFound.size());
    EXPECT_EQ(mFound[0].mDirectory, mFound[1].mDirectory);
}

TEST_F(DiskCacheFiles, AFileOfASweepTakesThirtyTwoBytesAndItsName)
{
    EXPECT_EQ(32u, sizeof(TreeFile));
    for (int i = 10; i < 30; ++i)
        mFiles.AddFile("/c/" + std::to_string(i) + ".rkdc");
    SweepWatch watch(std::make_shared<qelcore::threads::AtomicInt>(0));
    ManagedTree tree(u"/c");
    std::vector<TreeFile> files;
    const auto ignore = [](SweepStep, const std::string&, int) {};
    ASSERT_EQ(0, tree.List({ExtensionMatcher(mExtensions), {}, watch, ignore}, files));

    ASSERT_EQ(20u, files.size());
    EXPECT_STREQ("10.rkdc", files[0].name);
    for (std::size_t i = 1; i < files.size(); ++i)
        EXPECT_EQ(8, files[i].name - files[i - 1].name); // one behind another, each with its NUL
}

TEST_F(DiskCacheFiles, NamesMatchAsBytesJustAsTheyDoAsText)
{
    const std::vector<Extensions> lists = {
        {u".rkdc"}, {u".RkDc", u".x"}, {u".r\u212a"}, {u"rkdc"}, {}, {u""}};
    const std::vector<std::string> names = {
        "a.rkdc",    "a.RKDC",     "a.rkdc.bak", "a.rkd",           "a.rkdcx", "a",
        ".rkdc",     "a.x",        "..",         "...rkdc",         "a.rk",    "a.r\xe2\x84\xaa",
        "\xff.rkdc", "a.rkdc\xff", "a.",         "a.R\xe2\x84\xaa", "a.b.X"};
    for (const Extensions& list : lists)
    {
        const ExtensionMatcher matcher(list);
        for (const std::string& name : names)
            EXPECT_EQ(MatchExtension(qelcore::utility::FileNameToUTF16(name), list),
                      matcher.Matches(name))
                << name;
    }
}

TEST_F(DiskCacheFiles, AFolderListsWhatIsClaimedAndItsFoldersOnly)
{
    mFiles.AddFile("/c/one.rkdc", "12345");
    mFiles.AddFile("/c/two.TMP", "123");
    mFiles.AddFile("/c/foreign.txt", "1234567");
    mFiles.AddFile("/c/rkdc", "1");
    mFiles.AddFile("/c/folder/inner.rkdc");

    EXPECT_THAT(List(u"/c"), UnorderedElementsAre("/c/one.rkdc", "/c/two.TMP"));
    EXPECT_THAT(FolderPaths(), ElementsAre("/c/folder"));
    EXPECT_EQ(8u, mUsed);
}

TEST_F(DiskCacheFiles, HiddenFilesFoldersAndLinksAreNotListed)
{
    mFiles.AddFile("/c/.hidden.rkdc");
    mFiles.AddFile("/c/.hidden/inner.rkdc");
    mFiles.AddFile("/elsewhere/real.rkdc");
    mFiles.AddLink("/c/link.rkdc", "/elsewhere/real.rkdc");
    mFiles.AddLink("/c/linked", "/elsewhere");

    EXPECT_THAT(ListAll(u"/c"), IsEmpty());
    EXPECT_THAT(FolderPaths(), IsEmpty());
    EXPECT_EQ(0u, mUsed);
}

TEST_F(DiskCacheFiles, TheTimeIsTheLaterOneInWholeSeconds)
{
    EXPECT_EQ("2023-Nov-14 22:13:20", TimeOf({kNow, 999999999}, {kNow - 5, 0}));
    EXPECT_EQ("2023-Nov-14 22:13:20", TimeOf({kNow - 5, 0}, {kNow, 1}));
}

TEST_F(DiskCacheFiles, AWildTimeIsTheNearestThatThereIs)
{
    EXPECT_EQ("1400-Jan-01 00:00:00", TimeOf({-30000000000, 0}, {-40000000000, 0}));
    const std::int64_t wild = std::int64_t{1} << 60; // beyond the year 2 to the power of 35
    EXPECT_EQ("9999-Dec-31 23:59:59.999999", TimeOf({0, 0}, {wild, 0}));
}

TEST_F(DiskCacheFiles, AFolderThatCannotBeReadListsNothing)
{
    mFiles.AddFile("/c/sub/a.rkdc");
    mFiles.AddFile("/c/b.rkdc");
    mFiles.Fail(FileOperation::kOpenFolder, "/c/sub", EACCES);
    EXPECT_THAT(ListAll(u"/c"), ElementsAre("/c/b.rkdc"));

    mFiles.Fail(FileOperation::kList, "/c", EACCES);
    EXPECT_THAT(ListAll(u"/c"), IsEmpty());
    EXPECT_THAT(ListAll(u"/none"), IsEmpty());
}

TEST_F(DiskCacheFiles, AnEntryThatCannotBeLookedAtIsPassedOver)
{
    mFiles.AddFile("/c/a.rkdc");
    mFiles.AddFile("/c/b.rkdc");
    mFiles.Fail(FileOperation::kStat, "/c/a.rkdc", EACCES);

    EXPECT_THAT(List(u"/c"), ElementsAre("/c/b.rkdc"));
}

TEST_F(DiskCacheFiles, AFolderThatVanishesInMidListingEndsItsListing)
{
    for (const char* name : {"/c/v/1.rkdc", "/c/v/2.rkdc", "/c/v/3.rkdc", "/c/w/4.rkdc"})
        mFiles.AddFile(name);
    mFiles.VanishAfter("/c/v", 1);

    EXPECT_THAT(ListAll(u"/c"), ElementsAre("/c/v/1.rkdc", "/c/w/4.rkdc"));
}

TEST_F(DiskCacheFiles, AFolderThatBecameALinkMeanwhileIsNotFollowed)
{
    mFiles.AddFile("/c/sub/a.rkdc");
    mFiles.AddFile("/elsewhere/b.rkdc");
    mFiles.Before(FileOperation::kOpenFolder, "/c/sub",
                  [&]
                  {
                      mFiles.Vanish("/c/sub");
                      mFiles.AddLink("/c/sub", "/elsewhere");
                  });

    EXPECT_THAT(ListAll(u"/c"), IsEmpty());
}

TEST_F(DiskCacheFiles, AManagedFolderThatIsALinkIsFollowed)
{
    mFiles.AddFile("/real/a.rkdc");
    mFiles.AddLink("/c", "/real");

    EXPECT_THAT(ListAll(u"/c"), ElementsAre("/c/a.rkdc"));
}

TEST_F(DiskCacheFiles, TheFlagEndsAListingAtTheNextEntry)
{
    for (const char* name : {"/c/1.rkdc", "/c/2.rkdc", "/c/3.rkdc"})
        mFiles.AddFile(name);
    mFiles.AddFile("/c/z/4.rkdc");
    mFiles.Before(FileOperation::kStat, "/c/2.rkdc", [&] { mAbort = 1; });

    EXPECT_THAT(ListAll(u"/c"), ElementsAre("/c/1.rkdc", "/c/2.rkdc"));
}

TEST_F(DiskCacheFiles, TheFlagEndsTheWalkBeforeTheNextFolder)
{
    mFiles.AddFile("/c/a/1.rkdc");
    mFiles.AddFile("/c/b/2.rkdc");
    mFiles.AddFile("/c/last.rkdc");
    mFiles.Before(FileOperation::kStat, "/c/last.rkdc", [&] { mAbort = 1; });

    EXPECT_THAT(ListAll(u"/c"), ElementsAre("/c/last.rkdc"));
    EXPECT_THAT(FolderPaths(), IsEmpty()); // what was not looked into is not empty
}

TEST_F(DiskCacheFiles, AParentOfADeepFileIsNoCandidateAndItsEmptySiblingIs)
{
    mFiles.AddFile("/c/full/deep/deeper/a.rkdc");
    mFiles.AddDirectory("/c/full/deep/empty");
    mFiles.AddDirectory("/c/sibling");

    EXPECT_THAT(ListAll(u"/c"), ElementsAre("/c/full/deep/deeper/a.rkdc"));
    EXPECT_THAT(FolderPaths(), UnorderedElementsAre("/c/full/deep/empty", "/c/sibling"));
    EXPECT_FALSE(mIsEmpty);
}

TEST_F(DiskCacheFiles, NestedEmptyFoldersGiveTheTopmostAlone)
{
    mFiles.AddDirectory("/c/a/b/d");

    ListAll(u"/c");
    EXPECT_THAT(FolderPaths(), ElementsAre("/c/a"));
    EXPECT_TRUE(mIsEmpty);
}

TEST_F(DiskCacheFiles, AFolderOfForeignOrHiddenFilesCountsAsEmpty)
{
    mFiles.AddFile("/c/a/foreign.txt");
    mFiles.AddFile("/c/b/.hidden.rkdc");

    ListAll(u"/c");
    EXPECT_THAT(FolderPaths(), UnorderedElementsAre("/c/a", "/c/b"));
}

TEST_F(DiskCacheFiles, AnExcludedFolderIsNotListedAndKeepsTheFoldersAboveIt)
{
    mFiles.AddFile("/c/a/own/x.rkdc");
    mFiles.AddDirectory("/c/a/empty");

    EXPECT_THAT(ListAll(u"/c", {u"/c/a/own"}), IsEmpty());
    EXPECT_THAT(FolderPaths(), ElementsAre("/c/a/empty"));
    EXPECT_EQ(0u, mUsed);
    EXPECT_FALSE(mIsEmpty);
}

TEST_F(DiskCacheFiles, ExtensionsMatchWithoutRegardToCaseAndWithTheirDot)
{
    EXPECT_TRUE(MatchExtension(u"a.RKDC", {u".rkdc"}));
    EXPECT_TRUE(MatchExtension(u"a.rkdc", {u".x", u".RkDc"}));
    EXPECT_FALSE(MatchExtension(u"a.rkdc", {u"rkdc"}));
    EXPECT_FALSE(MatchExtension(u"a.rkdc.bak", {u".rkdc"}));
    EXPECT_FALSE(MatchExtension(u".rkdc", {u".rkdc"})); // a name, and no extension
    EXPECT_FALSE(MatchExtension(u"a.rkdc", {}));
}

TEST_F(DiskCacheFiles, OnlyAClaimedExtensionIsDeletedWhateverTheRecordSays)
{
    mFiles.AddFile("/c/a.txt");
    mFiles.AddFile("/c/b.rkdc");

    EXPECT_FALSE(DeleteFile(Record(u"a.txt"), mExtensions));
    EXPECT_TRUE(DeleteFile(Record(u"b.rkdc"), mExtensions));
    EXPECT_THAT(mFiles.Done(), ElementsAre("unlink /c/b.rkdc"));
}

TEST_F(DiskCacheFiles, WithAnEmptyListNothingIsDeletedAndThatIsReported)
{
    const Testing::ContractWatch watch;
    mFiles.AddFile("/c/b.rkdc");

    EXPECT_FALSE(DeleteFile(Record(u"b.rkdc"), {}));
    ASSERT_EQ(watch.reported.size(), 1u);
    EXPECT_EQ(watch.reported[0].condition, "!inFileExtensionsAllowedToDelete.empty()");
    EXPECT_TRUE(mFiles.Has("/c/b.rkdc"));
}

TEST_F(DiskCacheFiles, AFileThatHasGoneCountsAsDeletedAndOneThatStaysDoesNot)
{
    mFiles.AddFile("/c/b.rkdc");
    mFiles.Fail(FileOperation::kRemoveFile, "/c/b.rkdc", EACCES);

    EXPECT_TRUE(DeleteFile(Record(u"gone.rkdc"), mExtensions));
    EXPECT_FALSE(DeleteFile(Record(u"b.rkdc"), mExtensions));
}

TEST_F(DiskCacheFiles, NamesThatAreNoTextAreListedAndDeletedByTheirBytes)
{
    const std::vector<std::string> names = {"\xff\xfe.rkdc", "\xc3(.rkdc",
                                            std::string(250, 'n') + ".rkdc", "\xed\xa0\x80.rkdc"};
    for (const std::string& name : names)
        mFiles.AddFile("/c/" + name);
    mFiles.AddFile("/c/\xff\xfe.txt");

    EXPECT_EQ(names.size(), List(u"/c").size());
    for (const FileRecord& file : mFound)
        EXPECT_TRUE(DeleteFile(file, mExtensions));
    EXPECT_EQ(names.size(), mFiles.Done().size());
    for (const std::string& name : names)
        EXPECT_FALSE(mFiles.Has("/c/" + name));
    EXPECT_TRUE(mFiles.Has("/c/\xff\xfe.txt"));
}

TEST_F(DiskCacheFiles, AFolderWithForeignFilesStaysAndATraceLineSaysSo)
{
    Testing::TraceCapture trace("RK::DiskCacheManager", 5);
    mFiles.AddFile("/c/a/foreign.txt");
    mFiles.AddDirectory("/c/b/inner");

    DeleteSubDirectory({boost::make_shared<Path>(u"/c"), u"a", {}});
    DeleteSubDirectory({boost::make_shared<Path>(u"/c"), u"b", {}});
    EXPECT_THAT(trace.Texts(), ElementsAre("Unable to delete subdirectory: /c/a"));
    EXPECT_TRUE(mFiles.Has("/c/a/foreign.txt"));
    EXPECT_FALSE(mFiles.Has("/c/b"));
}

TEST_F(DiskCacheFiles, BelowLevelFiveAFailureIsNotTraced)
{
    Testing::TraceCapture trace("RK::DiskCacheManager", 4);
    mFiles.AddFile("/c/a/foreign.txt");

    DeleteSubDirectory({boost::make_shared<Path>(u"/c"), u"a", {}});
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

} // namespace
