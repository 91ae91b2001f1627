// When the folder of a store is watched, and what of it reaches the index.
#include "FolderStoreFixture.h"
#include "Support/FakeFolderEvents.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::uint32_t kRemovedFile =
    Platform::kFolderEvent_ItemRemoved | Platform::kFolderEvent_ItemIsFile;

class FolderStoreWatchTest : public FolderStoreTest
{
protected:
    FolderStoreWatchTest()
    {
        for (const char* name : {"a.1.rkdc", "a.2.rkdc", "a.rkdc"})
            mFiles.AddFile(PathOf(name));
        OpenAndSettle(true);
    }
    // Ends ahead of the source of its events.
    ~FolderStoreWatchTest() override { mStore.reset(); }

    FakeFolderEvents::Stream& Stream(std::size_t inAt = 0) { return *mEvents.Streams().at(inAt); }
    void Tell(const std::string& inPath, std::uint32_t inFlags)
    {
        Stream().Deliver({{inPath, inFlags, 1}});
        TurnMainThread(0);
    }
    /// Others remove the file; the event is told and worked on.
    void RemoveBehindItsBack(const std::string& inName)
    {
        mFiles.Vanish(PathOf(inName));
        Tell(PathOf(inName), kRemovedFile);
        mExecutors.io->RunQueued(); // the event
        mExecutors.io->RunQueued(); // the look at all, if it asks for one
    }

    FakeFolderEvents mEvents;
    TraceCapture mTrace{"DataCacheInFilesystem", 5};
};

TEST_F(FolderStoreWatchTest, WithoutAnyoneWhoAsksForTheStationThereIsNoWatch)
{
    mFiles.Vanish(PathOf("a.1.rkdc"));
    TurnMainThread(10000);
    mExecutors.io->RunQueued();
    EXPECT_THAT(mEvents.Streams(), IsEmpty());
    EXPECT_TRUE(Lists("a", "1"));
}

TEST_F(FolderStoreWatchTest, ADeletionWithoutAWatchIsMetByATouchAndThatBeginsOne)
{
    mFiles.Vanish(PathOf("a.1.rkdc"));
    Touch("a", "1");
    Write();
    EXPECT_FALSE(Lists("a", "1"));
    EXPECT_EQ(mEvents.Streams().size(), 1u) << "a reported removal asks for the station";
}

TEST_F(FolderStoreWatchTest, TheFirstAskingForTheStationAloneBeginsTheWatch)
{
    const ZOR::StationID station = mStore->GetStationID();
    EXPECT_FALSE(station.IsNull());
    EXPECT_EQ(mStore->GetStationID(), station);
    ASSERT_EQ(mEvents.Streams().size(), 1u);
    EXPECT_TRUE(Stream().isRunning);
    EXPECT_EQ(Stream().root, kFolder);
    EXPECT_EQ(Stream().latencySeconds, 1.0);
    EXPECT_EQ(Stream().flags, Platform::kFolderStream_FileEvents);
}

TEST_F(FolderStoreWatchTest, AnOutsideRemovalLeavesTheIndexAndIsToldASecondLater)
{
    RemovalCounter counter(mStore->GetStationID());
    RemoveBehindItsBack("a.1.rkdc");
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("2", ""));
    TurnMainThread(999);
    EXPECT_EQ(counter.heard, 0);
    TurnMainThread(1);
    EXPECT_EQ(counter.heard, 1);
    TurnMainThread(10000);
    EXPECT_EQ(counter.heard, 1);
    EXPECT_THAT(mTrace.Texts(), IsEmpty()) << "the others were not looked at";
}

TEST_F(FolderStoreWatchTest, TheWorkIsDoneByTheSharedExecutorAndNotOnTheMainThread)
{
    mStore->GetStationID();
    Tell(PathOf("a.1.rkdc"), kRemovedFile);
    EXPECT_TRUE(Lists("a", "1"));
    EXPECT_EQ(mReads->DueCount() + mWrites->DueCount() + mExecutors.cpu->DueCount(), 0u);
    EXPECT_EQ(mExecutors.io->RunQueued(), 1u);
    EXPECT_FALSE(Lists("a", "1"));
}

TEST_F(FolderStoreWatchTest, EachRemovalOfADeliveryIsAJobOfItsOwnInOrder)
{
    mStore->GetStationID();
    Stream().Deliver({{PathOf("a.1.rkdc"), kRemovedFile, 1},
                      {PathOf("a.rkdc"), kRemovedFile, 2},
                      {PathOf("a.2.rkdc"), kRemovedFile, 3}});
    TurnMainThread(0);
    EXPECT_EQ(mExecutors.io->DueCount(), 3u);
}

TEST_F(FolderStoreWatchTest, TheRemovalOfAnItemWithoutASubKeyHasAllLookedAt)
{
    mStore->GetStationID();
    RemoveBehindItsBack("a.rkdc");
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("1", "2"));
    EXPECT_THAT(mTrace.Texts(), ElementsAre("VerifyIndex removed 1 entries"));
}

TEST_F(FolderStoreWatchTest, TheRemovalOfAForeignFileHasAllLookedAtAndNothingTold)
{
    RemovalCounter counter(mStore->GetStationID());
    RemoveBehindItsBack("foo.txt");
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("1", "2", ""));
    EXPECT_THAT(mTrace.Texts(), ElementsAre("VerifyIndex removed 0 entries"));
    TurnMainThread(10000);
    EXPECT_EQ(counter.heard, 0);
}

TEST_F(FolderStoreWatchTest, EventsThatWereLostHaveAllLookedAt)
{
    RemovalCounter counter(mStore->GetStationID());
    mFiles.Vanish(PathOf("a.1.rkdc"));
    mFiles.Vanish(PathOf("a.rkdc"));
    Tell(kFolder, Platform::kFolderEvent_MustScanSubDirs | Platform::kFolderEvent_AnyItem |
                      Platform::kFolderEvent_KernelDropped);
    mExecutors.io->RunQueued();
    mExecutors.io->RunQueued();
    EXPECT_THAT(ListOf("a"), ElementsAre("2"));
    EXPECT_THAT(mTrace.Texts(), ElementsAre("VerifyIndex removed 2 entries"));
    TurnMainThread(1000);
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(FolderStoreWatchTest, EventsOfAnyOtherKindHaveNoMeaning)
{
    mStore->GetStationID();
    for (const std::uint32_t flags :
         {Platform::kFolderEvent_ItemCreated, Platform::kFolderEvent_ItemRenamed,
          Platform::kFolderEvent_ItemModified, Platform::kFolderEvent_ItemInodeMetaMod,
          Platform::kFolderEvent_MustScanSubDirs, Platform::kFolderEvent_RootChanged,
          Platform::kFolderEvent_Unmount})
        Tell(PathOf("a.1.rkdc"), flags | Platform::kFolderEvent_ItemIsFile);
    EXPECT_EQ(mExecutors.io->DueCount(), 0u);
}

TEST_F(FolderStoreWatchTest, ARenamedFileStaysInTheIndexUntilItIsMet)
{
    mStore->GetStationID();
    ASSERT_EQ(
        mFiles.Rename(PathOf("a.1.rkdc"), PathOf("b.1.rkdc"), Platform::RenameMode::kNoReplace), 0);
    Tell(PathOf("a.1.rkdc"),
         Platform::kFolderEvent_ItemRenamed | Platform::kFolderEvent_ItemIsFile);
    EXPECT_EQ(mExecutors.io->DueCount(), 0u);
    EXPECT_TRUE(Lists("a", "1"));
    Touch("a", "1");
    Write();
    EXPECT_FALSE(Lists("a", "1"));
}

TEST_F(FolderStoreWatchTest, AnItemThatTheStoreRemovedItselfIsToldOnce)
{
    RemovalCounter counter(mStore->GetStationID());
    Remove("a", "1");
    Write();
    TurnMainThread(1000);
    EXPECT_EQ(counter.heard, 1);
    RemoveBehindItsBack("a.1.rkdc"); // the event of it
    TurnMainThread(10000);
    EXPECT_EQ(counter.heard, 1);
}

// What is told says that the file was removed at some time within the second.
TEST_F(FolderStoreWatchTest,
       ARemovalThatIsToldOnceTheItemWasPutAgainTakesItOffTheListUntilItIsAskedFor)
{
    mStore->GetStationID();
    Tell(PathOf("a.1.rkdc"), kRemovedFile | Platform::kFolderEvent_ItemCreated);
    mExecutors.io->RunQueued();
    EXPECT_FALSE(Lists("a", "1"));
    EXPECT_TRUE(mStore->IsItemAvailable(N("a"), N("1")));
    EXPECT_TRUE(Lists("a", "1"));
}

TEST_F(FolderStoreWatchTest, WhereTheFolderCannotBeWatchedTheStationWorksAndNoSecondAttemptIsMade)
{
    mEvents.mustNotStart = true;
    EXPECT_FALSE(mStore->GetStationID().IsNull());
    EXPECT_THAT(mEvents.Streams(), IsEmpty());
    mEvents.mustNotStart = false;
    mStore->GetStationID();
    EXPECT_THAT(mEvents.Streams(), IsEmpty());
}

TEST_F(FolderStoreWatchTest, TheWatchEndsWithTheStore)
{
    mStore->GetStationID();
    Stream().Deliver({{PathOf("a.1.rkdc"), kRemovedFile, 1}});
    mStore.reset();
    EXPECT_THAT(mEvents.Streams(), IsEmpty());
    TurnMainThread(0);
    EXPECT_EQ(mExecutors.io->DueCount(), 0u);
}

TEST_F(FolderStoreWatchTest, AnEventThatIsWorkedOnAfterTheStoresEndDoesNothing)
{
    mStore->GetStationID();
    Tell(PathOf("foo.txt"), kRemovedFile);
    mStore.reset();
    EXPECT_EQ(mExecutors.io->RunQueued(), 1u);
    EXPECT_EQ(mExecutors.io->DueCount(), 0u) << "no look at all the items";
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
}

TEST_F(FolderStoreWatchTest, AnEventReachesTheStoreOfItsStreamAlone)
{
    mFiles.AddFile("/d/a.1.rkdc");
    RK::DiskCacheManager::ManagedDirectoryPtr directory;
    const std::size_t before = mExecutors.createdIO.size();
    const RK::DataCachePtr other =
        RK::CreateDataCacheInFilesystemAndManageDirectory(N("/d"), directory, true);
    mExecutors.createdIO.at(before)->RunQueued();
    mStore->GetStationID();
    other->GetStationID();
    ASSERT_EQ(Stream(1).root, "/d");
    Stream(1).Deliver({{"/d/a.1.rkdc", kRemovedFile, 1}});
    TurnMainThread(0);
    mExecutors.io->RunQueued();
    EXPECT_TRUE(Lists("a", "1"));
    EXPECT_THAT(Listed(*other, N("a")), IsEmpty());
}

TEST_F(FolderStoreWatchTest, NamesOfAnyScriptLeadToTheirItem)
{
    mFiles.AddFile(PathOf("Größe.日本.rkdc"));
    ASSERT_TRUE(mStore->IsItemAvailable(N("Größe"), N("日本")));
    mStore->GetStationID();
    RemoveBehindItsBack("Größe.日本.rkdc");
    DataCache::AvailableCachedItemList list;
    mStore->GetAvailableItems(N("Größe"), list);
    EXPECT_TRUE(list.empty());
}

} // namespace
