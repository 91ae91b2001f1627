// What becomes of the index when others delete from the folder.
#include <cerrno>
#include <memory>

#include "DataCacheJobs.h"
#include "FolderStoreFixture.h"
#include "Platform/FolderEvents.h"
#include "qelcore/FileExceptions.h"

namespace
{

using namespace Testing;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class FolderStoreRepairTest : public FolderStoreTest
{
protected:
    FolderStoreRepairTest()
    {
        for (const char* name : {"a.1.rkdc", "a.2.rkdc", "a.rkdc", "b.1.rkdc"})
            mFiles.AddFile(PathOf(name));
        OpenAndSettle(true);
    }

    boost::shared_ptr<const RK::DataCacheInFilesystem> Store()
    {
        return boost::dynamic_pointer_cast<const RK::DataCacheInFilesystem>(mStore);
    }
    void TellRemoved(const std::string& inName)
    {
        const std::string path = PathOf(inName);
        RK::NotifyItemsRemoved(Store(), qelcore::UTF16String(path.begin(), path.end()));
    }

    TraceCapture mTrace{"DataCacheInFilesystem", 5};
};

TEST_F(FolderStoreRepairTest, ARemovedFileWithASubKeyTakesItsItemAloneOffTheIndexAndIsTold)
{
    RemovalCounter counter(mStore->GetStationID());
    mFiles.Vanish(PathOf("a.1.rkdc"));
    mFiles.Vanish(PathOf("b.1.rkdc")); // nobody has told of that one
    TellRemoved("a.1.rkdc");
    EXPECT_EQ(mExecutors.io->DueCount(), 0u) << "no look at all the others";
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("2", ""));
    EXPECT_THAT(ListOf("b"), ElementsAre("1"));
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
    TurnMainThread(1000);
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(FolderStoreRepairTest, ARemovedFileThatIsNotInTheIndexIsToldToNobody)
{
    RemovalCounter counter(mStore->GetStationID());
    TellRemoved("a.unknown.rkdc");
    TurnMainThread(5000);
    EXPECT_EQ(counter.heard, 0);
}

TEST_F(FolderStoreRepairTest, ARemovedFileWithoutASubKeyHasAllLookedAtInAJobOfItsOwn)
{
    mFiles.Vanish(PathOf("a.rkdc"));
    TellRemoved("a.rkdc");
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("1", "2", ""));
    EXPECT_EQ(mExecutors.io->RunQueued(), 1u);
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("1", "2"));
    EXPECT_THAT(mTrace.Texts(), ElementsAre("VerifyIndex removed 1 entries"));
}

TEST_F(FolderStoreRepairTest, AForeignFileHasAllLookedAtAndNothingToldIfAllAreThere)
{
    RemovalCounter counter(mStore->GetStationID());
    TellRemoved("foo.txt");
    mExecutors.io->RunQueued();
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("1", "2", ""));
    EXPECT_THAT(mTrace.Texts(), ElementsAre("VerifyIndex removed 0 entries"));
    TurnMainThread(5000);
    EXPECT_EQ(counter.heard, 0);
}

TEST_F(FolderStoreRepairTest, AMassDeletionIsToldOnce)
{
    RemovalCounter counter(mStore->GetStationID());
    mFiles.Vanish(kFolder);
    TellRemoved("");
    mExecutors.io->RunQueued();
    EXPECT_THAT(ListOf("a"), IsEmpty());
    EXPECT_THAT(ListOf("b"), IsEmpty());
    EXPECT_THAT(mTrace.Texts(), ElementsAre("VerifyIndex removed 4 entries"));
    TurnMainThread(5000);
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(FolderStoreRepairTest, NothingIsAddedToTheIndex)
{
    mFiles.AddFile(PathOf("c.1.rkdc"));
    Store()->VerifyIndex();
    EXPECT_THAT(ListOf("c"), IsEmpty());
}

TEST_F(FolderStoreRepairTest, WhatComesAfterTheStoresEndDoesNothing)
{
    const boost::weak_ptr<const RK::DataCacheInFilesystem> store = Store();
    TellRemoved("foo.txt"); // its job is queued
    mStore.reset();
    mExecutors.io->RunQueued();
    RK::NotifyItemsRemoved(store, u"/c/a.1.rkdc");
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
    EXPECT_EQ(mExecutors.io->DueCount(), 0u);
}

TEST_F(FolderStoreRepairTest, ARenamedFileStaysInTheIndexUntilItIsMet)
{
    ASSERT_EQ(
        mFiles.Rename(PathOf("a.1.rkdc"), PathOf("a.3.rkdc"), Platform::RenameMode::kNoReplace), 0);
    EXPECT_TRUE(Lists("a", "1"));
    Get("a", "1");
    Read();
    EXPECT_FALSE(Lists("a", "1"));
    EXPECT_EQ(ReadBack("a", "3"), "x");
}

// What a job raises goes to its executor, whose contract settles what becomes of it.

class FailingFileSystem : public MemoryFileSystem
{
public:
    int Stat(const std::string& inPath, Platform::LinkPolicy inPolicy,
             Platform::FileStatus& outStatus) override
    {
        if (fails)
            throw qelcore::filesupport::file_exception("Cannot look at", u"/c", EIO);
        return MemoryFileSystem::Stat(inPath, inPolicy, outStatus);
    }
    bool fails = false;
};

struct FailingFolderEvents : Platform::IFolderEvents
{
    std::unique_ptr<Platform::IFolderEventStream> Create(const std::string&, double,
                                                         std::uint32_t) override
    {
        throw qelcore::filesupport::file_exception("Cannot watch", u"/c", EIO);
    }
    const Platform::ScopedFolderEvents mScope{*this};
};

TEST_F(FolderStoreRepairTest, AFailureWhileARemovalIsToldPassesOutOfTheJob)
{
    {
        const FailingFolderEvents events; // the first to tell begins the watch
        EXPECT_THROW(TellRemoved("a.1.rkdc"), qelcore::filesupport::file_exception);
    }
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("2", ""));
    RemovalCounter counter(mStore->GetStationID());
    TellRemoved("a.2.rkdc"); // and the next one works
    TurnMainThread(1000);
    EXPECT_EQ(counter.heard, 1);
}

TEST_F(FolderStoreRepairTest, AFailureInTheLookAtAllPassesOutOfTheJob)
{
    FailingFileSystem files; // in the place of the other one
    files.fails = true;
    TellRemoved("foo.txt");
    EXPECT_THROW(mExecutors.io->RunQueued(), qelcore::filesupport::file_exception);
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
    EXPECT_THAT(ListOf("a"), UnorderedElementsAre("1", "2", ""));

    files.fails = false; // nothing is there
    TellRemoved("foo.txt");
    EXPECT_EQ(mExecutors.io->RunQueued(), 1u);
    EXPECT_THAT(ListOf("a"), IsEmpty());
}

} // namespace
