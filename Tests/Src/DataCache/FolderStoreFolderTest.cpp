// The folder itself: how the store begins, what it finds there, and what it refuses.
#include <cerrno>

#include "DataCacheInFilesystem.h"
#include "DataCacheItemName.h"
#include "FolderStoreFixture.h"
#include "Support/ContractWatch.h"
#include "qelcore/DebugMonitor.h"
#include "qelcore/FileExceptions.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class FolderStoreFolderTest : public FolderStoreTest
{
protected:
    TraceCapture mTrace{"DataCacheInFilesystem", 6};
};

TEST_F(FolderStoreFolderTest, AFolderThatIsMissingIsMadeAndTheScanFindsNothing)
{
    OpenAndSettle(true);
    EXPECT_TRUE(mFiles.Has("/c"));
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Found 0 cache files @ /c"));
}

TEST_F(FolderStoreFolderTest, TheFolderIsManagedForAsLongAsTheStoreLives)
{
    Open();
    ASSERT_NE(mDirectory, nullptr);
    const auto again =
        RK::DiskCacheManager::ManagedDirectory::Create(u"/c", {u".rkdc"}, boost::none);
    EXPECT_EQ(again, mDirectory);
    const boost::weak_ptr<RK::DiskCacheManager::ManagedDirectory> watched = again;
}

TEST_F(FolderStoreFolderTest, TheStoreHoldsTheHandleToo)
{
    Open();
    const boost::weak_ptr<RK::DiskCacheManager::ManagedDirectory> watched = mDirectory;
    mDirectory.reset();
    EXPECT_FALSE(watched.expired());
    mStore.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(FolderStoreFolderTest, AFolderThatCannotBeMadeRaisesAndLeavesTheArgumentAsItWas)
{
    mFiles.AddFile("/c", "a file");
    EXPECT_THROW(Open(), qelcore::filesupport::file_exception);
    EXPECT_EQ(mDirectory, nullptr);
}

TEST_F(FolderStoreFolderTest, AVolumeThatDoesNotAnswerRaises)
{
    mVolumes.Fail(kFolder, ETIMEDOUT);
    EXPECT_THROW(Open(), qelcore::filesupport::file_exception);
    EXPECT_EQ(mDirectory, nullptr);
}

TEST_F(FolderStoreFolderTest, TheScanListsItemsAndNothingElse)
{
    for (const char* name :
         {"a.b.rkdc", "a.b.c.rkdc", "plain.rkdc", "two..rkdc", ".hidden.rkdc", "rkdc", ".rkdc",
          "notes.txt", "upper.b.RKDC", "a.b.rkdc.tmp", "x.rkdc2"})
        mFiles.AddFile(PathOf(name));
    mFiles.AddDirectory(PathOf("folder.y.rkdc"));
    mFiles.AddLink(PathOf("link.to.rkdc"), "/c/a.b.rkdc");
    mFiles.AddFile(PathOf("sub/in.side.rkdc"));
    OpenAndSettle(true);
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
    EXPECT_THAT(ListOf("a.b"), ElementsAre("c"));
    EXPECT_THAT(ListOf("plain"), ElementsAre(""));
    EXPECT_THAT(ListOf("two"), ElementsAre(""));
    EXPECT_THAT(ListOf("link"), ElementsAre("to"));
    for (const char* key : {"", ".hidden", "rkdc", "notes", "upper", "folder", "in", "x"})
        EXPECT_THAT(ListOf(key), IsEmpty()) << key;
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Found 5 cache files @ /c"));
    EXPECT_TRUE(mFiles.Has(PathOf("notes.txt")));
}

TEST_F(FolderStoreFolderTest, AnItemWithoutASubKeyWhoseKeyHasADotIsFoundButListedElsewhere)
{
    mFiles.AddFile(PathOf("a.b.rkdc"), "text");
    OpenAndSettle(true);
    EXPECT_THAT(ListOf("a.b"), IsEmpty());
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
    EXPECT_EQ(ReadBack("a.b", ""), "text");
}

TEST_F(FolderStoreFolderTest, TheScanCountsWhatTheIndexHoldsBesidesAndAddsNothingTwice)
{
    mFiles.AddFile(PathOf("a.b.rkdc"));
    mFiles.AddFile(PathOf("a.c.rkdc"));
    Open(true);
    EXPECT_TRUE(mStore->IsItemAvailable(N("a"), N("b")));
    mReads->RunQueued();
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("b", "c"));
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Found 2 cache files @ /c"));
}

TEST_F(FolderStoreFolderTest, AFolderThatCannotBeListedCountsAsEmpty)
{
    mFiles.AddFile(PathOf("a.b.rkdc"));
    mFiles.Fail(FileOperation::kList, kFolder, EACCES);
    Open(true);
    EXPECT_TRUE(mStore->IsItemAvailable(N("a"), N("b")));
    mReads->RunQueued();
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Found 1 cache files @ /c"));
}

TEST_F(FolderStoreFolderTest, WithoutAScanTheListFillsByUse)
{
    mFiles.AddFile(PathOf("a.b.rkdc"), "text");
    OpenAndSettle(false);
    EXPECT_THAT(ListOf("a"), IsEmpty());
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
    EXPECT_EQ(ReadBack("a", "b"), "text");
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
}

TEST_F(FolderStoreFolderTest, AScanThatHasNotBegunWhenTheStoreGoesDoesNothing)
{
    mFiles.AddFile(PathOf("a.b.rkdc"));
    Open(true);
    mStore.reset();
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
}

TEST_F(FolderStoreFolderTest, AScanStopsAtTheNextEntryWhenTheStoreGoes)
{
    for (const char* name : {"a.1.rkdc", "a.2.rkdc", "a.3.rkdc"})
        mFiles.AddFile(PathOf(name));
    Open(true);
    mFiles.Before(FileOperation::kNext, kFolder,
                  [&] { mFiles.Before(FileOperation::kNext, kFolder, [&] { mStore.reset(); }); });
    mReads->RunQueued();
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Found 1 cache files @ /c"));
}

TEST_F(FolderStoreFolderTest, SubKeysAreListedLatestFirstAndKeepTheirPlaces)
{
    OpenAndSettle();
    for (const char* subKey : {"1", "2", "3", "1"})
        Put("a", subKey, "text");
    Write();
    EXPECT_THAT(ListOf("a"), ElementsAre("3", "2", "1"));
    Touch("a", "1");
    Write();
    EXPECT_THAT(ListOf("a"), ElementsAre("3", "2", "1"));
}

TEST_F(FolderStoreFolderTest, TemporaryFilesThatNobodyWritesToAnyMoreAreRemoved)
{
    const std::string hour = ".RK-0123456789abcdef0123456789abcdef.tmp";
    const std::string young = ".RK-1123456789abcdef0123456789abcdef.tmp";
    const std::string future = ".RK-2123456789abcdef0123456789abcdef.tmp";
    const std::string folder = ".RK-3123456789abcdef0123456789abcdef.tmp";
    const std::string link = ".RK-4123456789abcdef0123456789abcdef.tmp";
    const std::int64_t now = mFiles.Now().seconds;
    for (const bool scan : {false, true})
    {
        mFiles.AddFile(PathOf(hour), "x", {now - 3601, 0});
        mFiles.AddFile(PathOf(young), "x", {now - 3600, 0});
        mFiles.AddFile(PathOf(future), "x", {now + 10, 0});
        mFiles.AddDirectory(PathOf(folder));
        mFiles.AddFile("/elsewhere", "x", {now - 9999, 0});
        mFiles.AddLink(PathOf(link), "/elsewhere");
        mFiles.AddFile(PathOf(".RK-short.tmp"), "x", {now - 9999, 0});
        mFiles.AddFile(PathOf("a.b.rkdc"), "x", {now - 9999, 0});
        Open(scan);
        EXPECT_TRUE(mFiles.Has(PathOf(hour))) << "not on the caller's thread";
        mReads->RunQueued();
        EXPECT_FALSE(mFiles.Has(PathOf(hour)));
        for (const std::string& name :
             {young, future, folder, link, std::string(".RK-short.tmp"), std::string("a.b.rkdc")})
            EXPECT_TRUE(mFiles.Has(PathOf(name))) << name;
        EXPECT_TRUE(mFiles.Has("/elsewhere"));
    }
}

TEST_F(FolderStoreFolderTest, TheReportShowsEachFolderWithItsQueuedWritesForAsLongAsItLives)
{
    OpenAndSettle();
    Put("a", "b", "text");
    Write();
    Put("a", "c", "1234567");
    qelcore::UTF16StringStream report;
    ASSERT_TRUE(qelcore::debug::GenerateDebugMonitorReport("RK.DataCaches", report));
    EXPECT_THAT(qelcore::utility::UTF16ToNarrow(report.str()),
                HasSubstr("/c: 1 items known, 1 writes queued (7"));
    mStore.reset();
    qelcore::UTF16StringStream after;
    qelcore::debug::GenerateDebugMonitorReport("RK.DataCaches", after);
    EXPECT_EQ(after.str().find(u"/c:"), qelcore::UTF16String::npos);
}

struct BadName
{
    std::string key;
    std::string subKey;
    std::string target; // where it would lead; a file is there
};

class FolderStoreRefusal : public FolderStoreTest, public testing::WithParamInterface<BadName>
{
protected:
    Name Key() const { return NameOf(GetParam().key); }
    Name SubKey() const { return NameOf(GetParam().subKey); }

private:
    static Name NameOf(const std::string& inText)
    {
        return Name::CreateDynamic(inText.data(), inText.size());
    }
};

TEST_P(FolderStoreRefusal, NamesThatLeadOutOfTheFolderAreNeverReadWrittenTouchedOrRemoved)
{
    mFiles.AddFile(GetParam().target, "precious");
    mFiles.AddDirectory("/c/sub");
    OpenAndSettle();
    const ContractWatch watch;
    const auto before = mFiles.Done();
    EXPECT_FALSE(mStore->IsItemAvailable(Key(), SubKey()));
    EXPECT_EQ(mStore->GetItem(Key(), SubKey(), Taking(), mBuffer),
              RK::kDataCacheResultItemNotFound);
    EXPECT_EQ(mStore->GetItem(Key(), SubKey(), {}, mBuffer), RK::kDataCacheResultItemNotFound);
    mStore->PutItem(Key(), SubKey(), BufferOf("bad"));
    mStore->TouchItem(Key(), SubKey());
    mStore->RemoveItem(Key(), SubKey());
    Write();
    Read();
    EXPECT_EQ(mFiles.Done(), before);
    EXPECT_EQ(mFiles.Contents(GetParam().target), "precious");
    EXPECT_THAT(watch.reported, IsEmpty());
    EXPECT_THAT(mDelivered, IsEmpty());
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
    DataCache::AvailableCachedItemList list;
    mStore->GetAvailableItems(Key(), list);
    EXPECT_THAT(list, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Names, FolderStoreRefusal,
                         testing::Values(BadName{"../out", "", "/out.rkdc"},
                                         BadName{"sub/../../out", "x", "/out.x.rkdc"},
                                         BadName{"sub/..", "/../out", "/out.rkdc"},
                                         BadName{"", "./../out", "/out.rkdc"},
                                         BadName{"/c/in", "", "/c/in.rkdc"},
                                         BadName{"/etc/passwd", "", "/etc/passwd"},
                                         BadName{std::string("a.rkdc\0b", 8), "", "/c/a.rkdc"},
                                         BadName{"a", std::string("b.rkdc\0", 7), "/c/a.b.rkdc"},
                                         BadName{"k", "/../../out", "/out.rkdc"}));

TEST_F(FolderStoreFolderTest, NamesThatOnlyLookLikeThatAreFine)
{
    OpenAndSettle();
    for (const char* key : {"..", "...", "a..", "..a", "~", "CON", "aux.", "a b", "*?", "\\"})
    {
        Put(key, "s", key);
        Put(key, "", key);
    }
    Write();
    for (const char* key : {"..", "...", "a..", "..a", "~", "CON", "aux.", "a b", "*?", "\\"})
    {
        EXPECT_EQ(ReadBack(key, "s"), key);
        EXPECT_EQ(ReadBack(key, ""), key);
    }
}

TEST_F(FolderStoreFolderTest, ASlashNamesAFolderThatNobodyMakes)
{
    OpenAndSettle();
    Put("sub/a", "b", "text");
    Write();
    EXPECT_THAT(mFiles.Done(), ElementsAre("mkdir /c"));
    EXPECT_FALSE(mStore->IsItemAvailable(N("sub/a"), N("b")));
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
}

TEST_F(FolderStoreFolderTest, ANameThatIsTooLongIsNotKept)
{
    OpenAndSettle();
    const std::string fits(248, 'k');
    Put(fits, "s", "text");
    Put(fits + "k", "s", "text");
    Write();
    EXPECT_EQ(ReadBack(fits, "s"), "text");
    EXPECT_EQ(ReadBack(fits + "k", "s"), "(not found)");
    EXPECT_EQ(mFiles.OpenHandles(), 0u);
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Unexpected error while moving cache file: a00f0009"));
}

TEST(DataCacheItemPath, IsFolderSlashKeyAndSubKeyWithTheExtension)
{
    qelcore::UTF16String path;
    ASSERT_TRUE(RK::AssembleItemPath(u"/tmp/c", N("k"), N(""), path));
    EXPECT_EQ(path, u"/tmp/c/k.rkdc");
    ASSERT_TRUE(RK::AssembleItemPath(u"/tmp/c", N("k"), N("s"), path));
    EXPECT_EQ(path, u"/tmp/c/k.s.rkdc");
    ASSERT_TRUE(RK::AssembleItemPath(u"/tmp/c", N("k"), Name(), path));
    EXPECT_EQ(path, u"/tmp/c/k.rkdc");
    ASSERT_TRUE(RK::AssembleItemPath(u"/tmp/c", N(""), N("s"), path));
    EXPECT_EQ(path, u"/tmp/c/.s.rkdc");
    EXPECT_FALSE(RK::AssembleItemPath(u"/tmp/c", N("../k"), N("s"), path));
    EXPECT_EQ(path, u"/tmp/c/.s.rkdc");
}

TEST(DataCacheItemName, IsTakenApartAtItsLastDots)
{
    const auto parse = [](const std::string& inName)
    {
        const auto narrow = RK::ParseItemName(std::string_view(inName));
        const std::u16string wideName(inName.begin(), inName.end());
        const auto wide = RK::ParseItemName(std::u16string_view(wideName));
        EXPECT_EQ(std::u16string(narrow.key.begin(), narrow.key.end()), wide.key) << inName;
        EXPECT_EQ(std::u16string(narrow.subKey.begin(), narrow.subKey.end()), wide.subKey);
        return std::string(narrow.key) + "|" + std::string(narrow.subKey);
    };
    EXPECT_EQ(parse("a.b.c.rkdc"), "a.b|c");
    EXPECT_EQ(parse("a.b.rkdc"), "a|b");
    EXPECT_EQ(parse("a.rkdc"), "a|");
    EXPECT_EQ(parse("a..rkdc"), "a|");
    EXPECT_EQ(parse("..rkdc"), "|");
    EXPECT_EQ(parse(".rkdc"), "|");
    EXPECT_EQ(parse("rkdc"), "|");
    EXPECT_EQ(parse(""), "|");
    EXPECT_EQ(parse("a.b.RKDC"), "|");
    EXPECT_EQ(parse("a.b.rkd"), "|");
    EXPECT_EQ(parse("a.b.rkdcx"), "|");
    EXPECT_EQ(parse("a.b."), "|");
}

} // namespace
