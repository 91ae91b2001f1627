#include <cerrno>

#include <boost/weak_ptr.hpp>

#include "DataCacheJobs.h"
#include "FolderStoreFixture.h"
#include "Support/ContractWatch.h"
#include "qelcore/DebugDatabase.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class FolderStoreWriteTest : public FolderStoreTest
{
protected:
    FolderStoreWriteTest() { OpenAndSettle(); }

    std::size_t FilesInFolder()
    {
        std::unique_ptr<Platform::IDirectoryListing> listing;
        EXPECT_EQ(mFiles.List(kFolder, Platform::LinkPolicy::kFollow, listing), 0);
        Platform::DirectoryEntry entry;
        std::size_t count = 0;
        for (bool end = false; listing->Next(entry, end) == 0 && !end;)
            ++count;
        return count;
    }
    void ExpectDropped()
    {
        EXPECT_EQ(FilesInFolder(), 0u) << "also no temporary file";
        EXPECT_THAT(ListOf("a"), IsEmpty());
        EXPECT_EQ(mFiles.OpenHandles(), 0u);
        EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
        EXPECT_EQ(RK::GetQueuedWrites(mStore).bytes, 0u);
    }

    TraceCapture mTrace{"DataCacheInFilesystem", 5};
};

TEST_F(FolderStoreWriteTest, AnItemIsWrittenUnderATemporaryNameAndThenMoved)
{
    Put("a", "b", "text");
    EXPECT_EQ(FilesInFolder(), 0u);
    EXPECT_THAT(ListOf("a"), IsEmpty());
    Write();
    EXPECT_EQ(mFiles.Contents("/c/a.b.rkdc"), "text");
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
    EXPECT_EQ(FilesInFolder(), 1u);
    EXPECT_EQ(mFiles.OpenHandles(), 0u);
    EXPECT_THAT(mFiles.Done(),
                ElementsAre("mkdir /c", StartsWith("create /c/.RK-"), StartsWith("sync /c/.RK-"),
                            testing::MatchesRegex("rename /c/.RK-.*.tmp /c/a.b.rkdc")));
    EXPECT_EQ(ReadBack("a", "b"), "text");
}

TEST_F(FolderStoreWriteTest, AnItemIsWrittenWithoutASubKey)
{
    Put("a", "", "text");
    Write();
    EXPECT_EQ(mFiles.Contents("/c/a.rkdc"), "text");
    EXPECT_THAT(ListOf("a"), ElementsAre(""));
}

TEST_F(FolderStoreWriteTest, AFileThatIsThereKeepsItsBytesAndIsNotEvenListed)
{
    mFiles.AddFile("/c/a.b.rkdc", "old");
    Put("a", "b", "new");
    Write();
    EXPECT_EQ(mFiles.Contents("/c/a.b.rkdc"), "old");
    EXPECT_THAT(ListOf("a"), IsEmpty());
    EXPECT_THAT(mFiles.Done(), ElementsAre("mkdir /c"));
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
}

TEST_F(FolderStoreWriteTest, OfTwoPutsOfOneItemTheFirstWins)
{
    Put("a", "b", "first");
    Put("a", "b", "second");
    Write();
    EXPECT_EQ(mFiles.Contents("/c/a.b.rkdc"), "first");
}

TEST_F(FolderStoreWriteTest, AnotherWriterThatWasFirstWinsAndTheItemIsListed)
{
    mFiles.onWrite = [&] { mFiles.AddFile("/c/a.b.rkdc", "theirs"); };
    Put("a", "b", "mine");
    Write();
    EXPECT_EQ(mFiles.Contents("/c/a.b.rkdc"), "theirs");
    EXPECT_EQ(FilesInFolder(), 1u);
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
}

TEST_F(FolderStoreWriteTest, AFolderThatWasDeletedIsMadeAgain)
{
    mFiles.Vanish("/c");
    Put("a", "b", "text");
    Write();
    EXPECT_EQ(mFiles.Contents("/c/a.b.rkdc"), "text");
}

TEST_F(FolderStoreWriteTest, AFolderReplacedByAFileDropsTheItemAndIsTraced)
{
    mFiles.Vanish("/c");
    mFiles.AddFile("/c", "a file");
    Put("a", "b", "text");
    Write();
    EXPECT_EQ(mFiles.Contents("/c"), "a file");
    EXPECT_THAT(mTrace.Texts(), ElementsAre(HasSubstr("/c")));
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
    EXPECT_EQ(RK::GetQueuedWrites(mStore).bytes, 0u);
}

TEST_F(FolderStoreWriteTest, ATemporaryFileThatCannotBeMadeDropsTheItemInSilence)
{
    mFiles.FailEverywhere(FileOperation::kOpen, EACCES);
    Put("a", "b", "text");
    Write();
    ExpectDropped();
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
}

TEST_F(FolderStoreWriteTest, AVolumeWithoutRoomIsReportedAfterTheTemporaryFileWasMade)
{
    const ContractWatch watch;
    mFiles.volume.freeBytes = 4;
    Put("a", "b", "text");
    Write();
    ExpectDropped();
    ASSERT_EQ(watch.reported.size(), 1u);
    EXPECT_EQ(watch.reported[0].condition, "freeSpace>inBuffer->Size()");
    EXPECT_THAT(mFiles.Done(), ElementsAre("mkdir /c", StartsWith("create /c/.RK-"),
                                           StartsWith("unlink /c/.RK-")));
    mFiles.volume.freeBytes = 5;
    Put("a", "b", "text");
    Write();
    EXPECT_TRUE(Lists("a", "b"));
}

TEST_F(FolderStoreWriteTest, TheReportOfAVolumeWithoutRoomCanBeSilenced)
{
    const ContractWatch watch;
    mFiles.volume.freeBytes = 0;
    RK::sFreeSpaceAssertionSilenced = true;
    Put("a", "b", "text");
    Write();
    RK::sFreeSpaceAssertionSilenced = false;
    ExpectDropped();
    EXPECT_THAT(watch.reported, IsEmpty());
}

TEST_F(FolderStoreWriteTest, AVolumeThatTellsNoFreeSpaceIsAskedByItsPath)
{
    mFiles.FailEverywhere(FileOperation::kVolumeOf, EIO);
    Put("a", "b", "text");
    Write();
    EXPECT_TRUE(Lists("a", "b"));
    mVolumes.Fail(kFolder, EIO);
    Put("a", "c", "text");
    Write();
    EXPECT_FALSE(Lists("a", "c"));
    EXPECT_EQ(FilesInFolder(), 1u);
    EXPECT_THAT(mTrace.Texts(), ElementsAre(HasSubstr("free space")));
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
}

TEST_F(FolderStoreWriteTest, AFailingWriteDropsTheItemInSilence)
{
    mFiles.FailEverywhere(FileOperation::kWrite, ENOSPC);
    Put("a", "b", "text");
    Write();
    ExpectDropped();
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
}

TEST_F(FolderStoreWriteTest, AFailingCloseDropsTheItemSinceItsBytesMayBeLost)
{
    mFiles.FailEverywhere(FileOperation::kClose, EIO);
    Put("a", "b", "text");
    Write();
    ExpectDropped();
}

TEST_F(FolderStoreWriteTest, AFailingMoveIsTracedAndDropsTheItem)
{
    mFiles.FailEverywhere(FileOperation::kRenameNoReplace, EIO);
    Put("a", "b", "text");
    Write();
    ExpectDropped();
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Unexpected error while moving cache file: a00f000f"));
}

TEST_F(FolderStoreWriteTest, ATemporaryFileThatCannotBeDeletedIsLeft)
{
    mFiles.FailEverywhere(FileOperation::kWrite, ENOSPC);
    mFiles.FailEverywhere(FileOperation::kRemoveFile, EIO);
    Put("a", "b", "text");
    Write();
    EXPECT_EQ(FilesInFolder(), 1u);
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
}

TEST_F(FolderStoreWriteTest, PartialTransfersAreContinued)
{
    mFiles.LimitTransfers(3);
    Put("a", "b", "a long text");
    Write();
    EXPECT_EQ(mFiles.Contents("/c/a.b.rkdc"), "a long text");
}

TEST_F(FolderStoreWriteTest, BytesAreSyncedBeforeTheMoveUnlessThatIsTurnedOff)
{
    Put("a", "b", "text");
    Write();
    qelcore::debug::DebugDatabase& settings = qelcore::debug::DebugDatabase::Instance();
    settings.SetEntry("RK.DataCacheInFilesystem.SyncBeforeMove", "false");
    Put("a", "c", "text");
    Write();
    settings.RemoveEntry("RK.DataCacheInFilesystem.SyncBeforeMove");
    EXPECT_THAT(mFiles.Done(),
                ElementsAre("mkdir /c", StartsWith("create"), StartsWith("sync /c/.RK-"),
                            StartsWith("rename"), StartsWith("create"), StartsWith("rename")));
}

TEST_F(FolderStoreWriteTest, AFailingSyncDropsTheItemSinceItsBytesMayBeLost)
{
    mFiles.FailEverywhere(FileOperation::kSyncBytes, EIO);
    Put("a", "b", "text");
    Write();
    ExpectDropped();
}

TEST_F(FolderStoreWriteTest, WhatIsNoItemIsIgnored)
{
    static char sByte = 0;
    const auto owner = boost::make_shared<int>(0);
    const auto sized = [&](std::size_t inSize)
    { return qelcore::utility::RecycledMemory::AdaptAsRecycledMemory(owner, &sByte, inSize); };
    mStore->PutItem(N("a"), N("b"), nullptr);
    mStore->PutItem(N("a"), N("b"), boost::make_shared<qelcore::utility::RecycledMemory>());
    mStore->PutItem(N("a"), N("b"), sized(0));
    mStore->PutItem(N("a"), N("b"), sized(0x7FFFFFFF));
    EXPECT_EQ(mWrites->DueCount(), 0u);
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
    // One byte less is taken. It is not written here, since the bytes are not there.
    mStore->PutItem(N("a"), N("b"), sized(0x7FFFFFFE));
    EXPECT_EQ(mWrites->DueCount(), 1u);
    EXPECT_EQ(RK::GetQueuedWrites(mStore).bytes, 0x7FFFFFFEu);
}

TEST_F(FolderStoreWriteTest, QueuedWritesAreCountedWithTheirBytesUntilTheyAreDone)
{
    Put("a", "b", "1234");
    Put("a", "c", "123456");
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 2u);
    EXPECT_EQ(RK::GetQueuedWrites(mStore).bytes, 10u);
    Touch("a", "b");
    Remove("a", "d");
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 2u);
    mWrites->RunOne(); // written, and waits for its name together with the other
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 2u);
    EXPECT_EQ(RK::GetQueuedWrites(mStore).bytes, 6u);
    Write();
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
    EXPECT_EQ(RK::GetQueuedWrites(mStore).bytes, 0u);
}

TEST_F(FolderStoreWriteTest, AStoreThatWritesAtOnceHasNoQueuedWrites)
{
    EXPECT_EQ(RK::GetQueuedWrites(nullptr).count, 0u);
    EXPECT_EQ(RK::GetQueuedWrites(nullptr).bytes, 0u);
}

TEST_F(FolderStoreWriteTest, ATouchMovesTheAccessTimeAndListsTheItem)
{
    mFiles.AddFile("/c/a.b.rkdc", "text");
    Touch("a", "b");
    EXPECT_THAT(ListOf("a"), IsEmpty());
    Write();
    EXPECT_THAT(mFiles.Done(), ElementsAre("mkdir /c", "touch /c/a.b.rkdc"));
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
}

TEST_F(FolderStoreWriteTest, ATouchOfAFileDeletedFromOutsideUnlistsItAndIsTold)
{
    Put("a", "b", "text");
    Write();
    RemovalCounter counter(mStore->GetStationID());
    mFiles.Vanish("/c/a.b.rkdc");
    Touch("a", "b");
    Write();
    EXPECT_THAT(ListOf("a"), IsEmpty());
    TurnMainThread(1000);
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(FolderStoreWriteTest, ATouchThatFailsIsTracedAndListsNothing)
{
    mFiles.AddFile("/c/a.b.rkdc", "text");
    mFiles.Fail(FileOperation::kTouch, "/c/a.b.rkdc", EIO);
    Touch("a", "b");
    Write();
    EXPECT_THAT(ListOf("a"), IsEmpty());
    EXPECT_THAT(mTrace.Texts(), ElementsAre(HasSubstr("/c/a.b.rkdc")));
}

TEST_F(FolderStoreWriteTest, ARemovalTakesTheItemOffTheListBeforeItsFileAndIsTold)
{
    Put("a", "b", "text");
    Write();
    RemovalCounter counter(mStore->GetStationID());
    bool listed = true;
    mFiles.Before(FileOperation::kRemoveFile, "/c/a.b.rkdc", [&] { listed = Lists("a", "b"); });
    Remove("a", "b");
    EXPECT_TRUE(Lists("a", "b"));
    Write();
    EXPECT_FALSE(listed);
    EXPECT_FALSE(mFiles.Has("/c/a.b.rkdc"));
    TurnMainThread(1000);
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(FolderStoreWriteTest, ARemovalOfWhatIsNotListedDeletesTheFileAndTellsNobody)
{
    mFiles.AddFile("/c/a.b.rkdc", "text");
    RemovalCounter counter(mStore->GetStationID());
    Remove("a", "b");
    Write();
    EXPECT_FALSE(mFiles.Has("/c/a.b.rkdc"));
    TurnMainThread(5000);
    EXPECT_EQ(counter.heard, 0);
}

TEST_F(FolderStoreWriteTest, OneOfAKeysSubKeysIsRemovedAndTheOthersStay)
{
    for (const char* subKey : {"1", "2", "3"})
        Put("a", subKey, "text");
    Remove("a", "2");
    Write();
    EXPECT_THAT(ListOf("a"), ElementsAre("3", "1"));
    EXPECT_TRUE(mFiles.Has("/c/a.1.rkdc"));
    EXPECT_FALSE(mFiles.Has("/c/a.2.rkdc"));
}

TEST_F(FolderStoreWriteTest, PutsTouchesAndRemovalsTakeEffectInTheirOrder)
{
    Put("a", "b", "first");
    Remove("a", "b");
    Put("a", "b", "second");
    Touch("a", "b");
    Write();
    EXPECT_EQ(mFiles.Contents("/c/a.b.rkdc"), "second");
    EXPECT_THAT(mFiles.Done(),
                ElementsAre("mkdir /c", StartsWith("create"), StartsWith("sync"),
                            StartsWith("rename"), "unlink /c/a.b.rkdc", StartsWith("create"),
                            StartsWith("sync"), StartsWith("rename"), "touch /c/a.b.rkdc"));
}

TEST_F(FolderStoreWriteTest, ARemovedItemCanBePutAgain)
{
    Put("a", "b", "first");
    Remove("a", "b");
    Put("a", "b", "second");
    Write();
    EXPECT_EQ(ReadBack("a", "b"), "second");
}

TEST_F(FolderStoreWriteTest, WhatIsQueuedWhenTheStoreGoesIsLostAndTraced)
{
    Put("a", "b", "text");
    Put("a", "c", "text");
    Touch("a", "b");
    Remove("a", "b");
    mStore.reset();
    EXPECT_EQ(FilesInFolder(), 0u);
    EXPECT_THAT(mTrace.Texts(),
                ElementsAre("~DataCacheInFilesystem: shutting down but there were still 2 writes "
                            "in the queue!"));
}

TEST_F(FolderStoreWriteTest, AStoreWithoutQueuedWritesGoesInSilence)
{
    Put("a", "b", "text");
    Write();
    Touch("a", "b");
    mStore.reset();
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
}

TEST_F(FolderStoreWriteTest, TheBufferThatWaitsIsTheCallersOwn)
{
    const DataCache::CacheBuffer buffer = BufferOf("text");
    const auto before = buffer.use_count();
    mStore->PutItem(N("a"), N("b"), buffer);
    EXPECT_EQ(buffer.use_count(), before + 1);
    Write();
    EXPECT_EQ(buffer.use_count(), before);
}

TEST_F(FolderStoreWriteTest, TheLastReferenceMayGoWhileAJobRuns)
{
    const boost::weak_ptr<DataCache> watched = mStore;
    mFiles.onWrite = [&] { mStore.reset(); };
    Put("a", "b", "text");
    mWrites->RunOne();
    EXPECT_TRUE(watched.expired());
    EXPECT_TRUE(mFiles.Has("/c/a.b.rkdc"));
}

TEST_F(FolderStoreWriteTest, WhatIsBegunWhenTheStoreGoesIsLostWithoutATrail)
{
    Put("a", "b", "text");
    Put("a", "c", "text");
    mWrites->RunOne();
    EXPECT_EQ(FilesInFolder(), 1u);
    mStore.reset();
    EXPECT_EQ(FilesInFolder(), 0u);
    EXPECT_EQ(mFiles.OpenHandles(), 0u);
    EXPECT_THAT(mTrace.Texts(),
                ElementsAre("~DataCacheInFilesystem: shutting down but there were still 2 writes "
                            "in the queue!"));
}

TEST_F(FolderStoreWriteTest, OfItemsThatOthersWaitBehindTheOldestIsNamedOnceSixteenAreOnTheirWay)
{
    for (int i = 0; i < 20; ++i)
        Put("a", std::to_string(i), "text");
    for (int i = 0; i < 15; ++i)
        mWrites->RunOne();
    EXPECT_THAT(ListOf("a"), IsEmpty());
    EXPECT_EQ(mFiles.OpenHandles(), 15u);
    mWrites->RunOne();
    EXPECT_THAT(ListOf("a"), ElementsAre("0"));
    EXPECT_EQ(mFiles.OpenHandles(), 15u);
    mWrites->RunOne();
    EXPECT_THAT(ListOf("a"), ElementsAre("1", "0"));
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 18u);
    Write();
    EXPECT_EQ(mFiles.OpenHandles(), 0u);
    EXPECT_EQ(ListOf("a").size(), 20u);
    EXPECT_EQ(FilesInFolder(), 20u);
}

TEST_F(FolderStoreWriteTest, ALotOfBytesIsNamedAtOnceThoughOthersWait)
{
    Put("a", "b", std::string(std::size_t{64} << 20, 'x'));
    Put("a", "c", "text");
    mWrites->RunOne();
    EXPECT_THAT(ListOf("a"), ElementsAre("b"));
}

TEST_F(FolderStoreWriteTest, OneThatCannotBeSyncedIsDroppedAndThoseBesideItAreKept)
{
    int opened = 0;
    mFiles.onOpen = [&](const std::string& inPath)
    {
        if (++opened == 2)
            mFiles.Fail(FileOperation::kSyncBytes, inPath, EIO);
    };
    for (const char* subKey : {"1", "2", "3"})
        Put("a", subKey, "text");
    Write();
    EXPECT_THAT(ListOf("a"), ElementsAre("3", "1"));
    EXPECT_EQ(FilesInFolder(), 2u);
}

TEST_F(FolderStoreWriteTest, ATouchOfAnItemThatWaitsForItsNameFindsIt)
{
    Put("a", "b", "text");
    Put("a", "c", "text");
    Touch("a", "b");
    mWrites->RunOne();
    Write();
    EXPECT_THAT(mFiles.Done(), testing::Contains("touch /c/a.b.rkdc"));
    EXPECT_THAT(ListOf("a"), ElementsAre("c", "b"));
}

TEST_F(FolderStoreWriteTest, AnItemThatIsIgnoredLeavesNobodyWaiting)
{
    mFiles.AddFile("/c/a.c.rkdc", "there");
    Put("a", "b", "text");
    Put("a", "c", "text");
    Write();
    EXPECT_TRUE(mFiles.Has("/c/a.b.rkdc"));
    Put("a", "d", "text");
    Put("../a", "c", "text");
    Write();
    EXPECT_TRUE(mFiles.Has("/c/a.d.rkdc"));
    EXPECT_EQ(RK::GetQueuedWrites(mStore).count, 0u);
}

} // namespace
