// Watches by the event thread: the requests to it, what it hands to the queue, and what it tells.
#include "MonitorFixture.h"

namespace RKTests
{
namespace
{

using namespace RK::DirectoryChangeMonitor;
using Platform::QueueRecord;
using testing::ElementsAre;
using testing::IsEmpty;

class EventThreadTest : public DirectoryChangeMonitorTest
{
protected:
    std::size_t SubmittedRecords() const { return mQueue.submitted.back().size(); }
};

TEST_F(EventThreadTest, NoThreadAndNoPipeBeforeThereIsSomethingToWatch)
{
    EXPECT_EQ(0, mQueue.threadCount);
    EXPECT_EQ(0, mQueue.pipeCount);
}

TEST_F(EventThreadTest, ARequestIsItsLengthTheOperationThePathAndZero)
{
    MonitorDirectory(u"/ab");
    ASSERT_EQ(1u, mQueue.writes.size());
    const std::uint16_t expected[] = {5, 0, '/', 'a', 'b', 0};
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(expected), sizeof expected),
              mQueue.writes[0].second);
    EXPECT_EQ(Testing::FakeEventQueue::kReadEnd + 1, mQueue.writes[0].first);

    StopMonitoringDirectory(u"/ab");
    const std::uint16_t stop[] = {5, 1, '/', 'a', 'b', 0};
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(stop), sizeof stop),
              mQueue.writes[1].second);
}

TEST_F(EventThreadTest, TheCountOfARequestIsCutToSixteenBits)
{
    const EventQueueThreadRequest request =
        MakeRequest(kOperationStartMonitoringPath, qelcore::UTF16String(65534, u'a'));
    EXPECT_EQ(0u, request[0]);
    EXPECT_EQ(65537u, request.size());
}

TEST_F(EventThreadTest, TheRecordOfThePipeComesFirstAndAllAreArmedOnceWithEachWait)
{
    MonitorDirectory(u"/a");
    mQueue.ThenTakeRequest();
    mQueue.ThenFire("/a");
    mQueue.RunThread();

    ASSERT_EQ(3u, mQueue.submitted.size());
    EXPECT_EQ(1u, mQueue.submitted[0].size());
    for (std::size_t i = 1; i < 3; ++i)
    {
        ASSERT_EQ(2u, mQueue.submitted[i].size()) << "the whole list, each time";
        const QueueRecord& pipe = mQueue.submitted[i][0];
        EXPECT_EQ(40u, pipe.mIdent);
        EXPECT_EQ(Platform::kQueueFilter_Read, pipe.mFilter);
        EXPECT_EQ(21u, pipe.mFlags);
        const QueueRecord& folder = mQueue.submitted[i][1];
        EXPECT_EQ(static_cast<std::uint64_t>(mQueue.IdentOf("/a")), folder.mIdent);
        EXPECT_EQ(Platform::kQueueFilter_Folder, folder.mFilter);
        EXPECT_EQ(21u, folder.mFlags);
        EXPECT_EQ(35u, folder.mNotes);
    }
    EXPECT_EQ(1, mQueue.closedQueueCount);
    EXPECT_THAT(mQueue.closed, IsEmpty()) << "watched folders are not closed when the thread quits";
}

TEST_F(EventThreadTest, AnEventIsPostedAsAChangeOfTheWatchedPathWhateverItsNotes)
{
    MonitorDirectory(u"/a");
    mQueue.ThenTakeRequest();
    mQueue.ThenFire("/a");
    mQueue.RunThread();
    EXPECT_THAT(Told(), ElementsAre("changed /a"));
}

TEST_F(EventThreadTest, OfThePathOfVolumesItIsAVolumeChange)
{
    MonitorVolumeChanges();
    MonitorDirectory(u"/Volumes/");
    mQueue.ThenTakeRequest();
    mQueue.ThenTakeRequest();
    mQueue.ThenFire("/Volumes");
    mQueue.ThenFire("/Volumes/");
    mQueue.RunThread();
    EXPECT_THAT(Told(), ElementsAre("volumes", "changed /Volumes/"));
}

TEST_F(EventThreadTest, VolumeChangesAndTheirPathAreOneWatch)
{
    MonitorVolumeChanges();
    MonitorDirectory(u"/Volumes");
    EXPECT_EQ(1u, mQueue.writes.size());
    StopMonitoringDirectory(u"/Volumes");
    EXPECT_EQ(1u, mQueue.writes.size());
    StopMonitoringVolumeChanges();
    EXPECT_EQ(2u, mQueue.writes.size());
}

TEST_F(EventThreadTest, StartsAreCountedAndTheLastStopEndsTheWatch)
{
    MonitorDirectory(u"/a");
    MonitorDirectory(u"/a");
    StopMonitoringDirectory(u"/a");
    EXPECT_EQ(1u, mQueue.writes.size());
    StopMonitoringDirectory(u"/a");
    EXPECT_EQ(2u, mQueue.writes.size());
    StopMonitoringDirectory(u"/a");
    EXPECT_EQ(2u, mQueue.writes.size()) << "a third stop does nothing";
}

TEST_F(EventThreadTest, TwoSpellingsAreTwoWatches)
{
    MonitorDirectory(u"/a");
    MonitorDirectory(u"/a/");
    EXPECT_EQ(2u, mQueue.writes.size());
}

TEST_F(EventThreadTest, AStoppedPathIsClosedAndTheOthersKeepTheirOrder)
{
    for (const char16_t* path : {u"/a", u"/b", u"/c"})
        MonitorDirectory(path);
    StopMonitoringDirectory(u"/b");
    for (int i = 0; i < 4; ++i)
        mQueue.ThenTakeRequest();
    mQueue.RunThread();
    EXPECT_THAT(mQueue.closed, ElementsAre(mQueue.IdentOf("/b")));
    ASSERT_EQ(3u, SubmittedRecords());
    EXPECT_EQ(static_cast<std::uint64_t>(mQueue.IdentOf("/a")), mQueue.submitted.back()[1].mIdent);
    EXPECT_EQ(static_cast<std::uint64_t>(mQueue.IdentOf("/c")), mQueue.submitted.back()[2].mIdent);
}

TEST_F(EventThreadTest, AStopAndAStartOfOnePathAreTakenInTheirOrder)
{
    MonitorDirectory(u"/a");
    StopMonitoringDirectory(u"/a");
    MonitorDirectory(u"/a");
    for (int i = 0; i < 3; ++i)
        mQueue.ThenTakeRequest();
    mQueue.ThenFire("/a");
    mQueue.RunThread();
    EXPECT_THAT(mQueue.opened, ElementsAre("/a", "/a"));
    EXPECT_THAT(Told(), ElementsAre("changed /a"));
}

TEST_F(EventThreadTest, APathThatDoesNotOpenLeavesAnEmptyRecordBehindForGood)
{
    mQueue.refused = {"/a"};
    MonitorDirectory(u"/a");
    MonitorDirectory(u"/b");
    mQueue.ThenTakeRequest();
    mQueue.ThenTakeRequest();
    mQueue.RunThread();
    ASSERT_EQ(3u, SubmittedRecords());
    const QueueRecord& empty = mQueue.submitted.back()[1];
    EXPECT_EQ(0u, empty.mIdent);
    EXPECT_EQ(Platform::kQueueFilter_None, empty.mFilter);
    EXPECT_EQ(0u, empty.mFlags);
    EXPECT_EQ(0u, empty.mNotes);

    StopMonitoringDirectory(u"/a");
    EXPECT_EQ(3u, mQueue.writes.size()) << "its entry was there";
}

TEST_F(EventThreadTest, AnErrorOfAWatchedPathIsToldTracedAndEndsItsWatch)
{
    const Testing::TraceCapture trace("WDX.DirectoryChangeMonitor", 5);
    MonitorDirectory(u"/a");
    mQueue.ThenTakeRequest();
    mQueue.ThenFire("/a", Platform::kQueueFlag_Error, 9);
    mQueue.RunThread();
    EXPECT_THAT(Told(), ElementsAre("changed /a"));
    EXPECT_THAT(trace.Texts(), ElementsAre("kevent error 9 for \"/a\""));
    EXPECT_THAT(mQueue.closed, ElementsAre(mQueue.IdentOf("/a")));
    EXPECT_EQ(1u, SubmittedRecords());
}

TEST_F(EventThreadTest, AStopOfAPathThatTheThreadHasDroppedIsTraced)
{
    const Testing::TraceCapture trace("WDX.DirectoryChangeMonitor.ALERT", 1);
    MonitorDirectory(u"/a");
    mQueue.ThenTakeRequest();
    mQueue.ThenFire("/a", Platform::kQueueFlag_Error, 9);
    StopMonitoringDirectory(u"/a");
    mQueue.ThenTakeRequest();
    mQueue.RunThread();
    EXPECT_THAT(trace.Texts(),
                ElementsAre("kOperationStopMonitoringPath un-reference cannot locate ident:?? for "
                            "path:/a"));
}

TEST_F(EventThreadTest, AFailedCloseIsTracedAndThePathIsDroppedAllTheSame)
{
    const Testing::TraceCapture trace("WDX.DirectoryChangeMonitor.ALERT", 1);
    mQueue.closeError = EIO;
    MonitorDirectory(u"/a");
    StopMonitoringDirectory(u"/a");
    mQueue.ThenTakeRequest();
    mQueue.ThenTakeRequest();
    mQueue.RunThread();
    EXPECT_THAT(trace.Texts(), ElementsAre("kOperationStopMonitoringPath close(fd:100) failed with "
                                           "errno:5"));
    EXPECT_EQ(1u, SubmittedRecords());
}

TEST_F(EventThreadTest, AnEventOfNobodyIsTraced)
{
    const Testing::TraceCapture error("WDX.DirectoryChangeMonitor", 5);
    MonitorDirectory(u"/a");
    mQueue.Then(
        [](const auto&, QueueRecord& outEvent)
        {
            outEvent.mIdent = 77;
            outEvent.mFlags = Platform::kQueueFlag_Error;
            outEvent.mData = 22;
            return 1;
        });
    mQueue.RunThread();
    EXPECT_THAT(error.Texts(), ElementsAre("kevent error 22 for descriptor ID 77"));
}

TEST_F(EventThreadTest, AnEventOfNobodyWithoutErrorIsALogicError)
{
    const Testing::TraceCapture error("WDX.DirectoryChangeMonitor.LOGICERROR", 1);
    MonitorDirectory(u"/a");
    mQueue.Then(
        [](const auto&, QueueRecord& outEvent)
        {
            outEvent.mIdent = 77;
            return 1;
        });
    mQueue.RunThread();
    EXPECT_THAT(error.Texts(), ElementsAre("Never happen!  Cannot locate ident:77"));
}

TEST_F(EventThreadTest, AWaitWithoutAnEventIsSimplyRepeated)
{
    MonitorDirectory(u"/a");
    mQueue.Then([](const auto&, QueueRecord&) { return 0; });
    mQueue.Then([](const auto&, QueueRecord&) { return -1; });
    mQueue.ThenTakeRequest();
    mQueue.RunThread();
    EXPECT_THAT(mQueue.opened, ElementsAre("/a"));
}

TEST_F(EventThreadTest, AnErrorOfThePipeTakesNoRequest)
{
    MonitorDirectory(u"/a");
    mQueue.Then(
        [](const auto& inChanges, QueueRecord& outEvent)
        {
            outEvent = inChanges[0];
            outEvent.mFlags |= Platform::kQueueFlag_Error;
            return 1;
        });
    mQueue.RunThread();
    EXPECT_THAT(mQueue.opened, IsEmpty());
}

TEST_F(EventThreadTest, ARequestWithoutBytesOrOfAnUnknownKindDoesNothing)
{
    MonitorDirectory(u"/a");
    mQueue.ThenTakeRequest();
    mQueue.ThenTakeRequest(); // nothing is in the pipe
    mQueue.Then(
        [this](const auto& inChanges, QueueRecord& outEvent)
        {
            const std::uint16_t strange[] = {3, 9, 'x', 0};
            mQueue.Write(1, strange, sizeof strange);
            outEvent = inChanges[0];
            return 1;
        });
    mQueue.RunThread();
    EXPECT_THAT(mQueue.opened, ElementsAre("/a"));
}

TEST_F(EventThreadTest, WithoutAQueueTheThreadEndsAndNoOtherIsTried)
{
    mQueue.mustFailQueue = true;
    MonitorDirectory(u"/a");
    mQueue.RunThread();
    MonitorDirectory(u"/b");
    EXPECT_EQ(1, mQueue.threadCount);
    EXPECT_LT(0u, mQueue.BytesInPipe()) << "requests gather unread";
}

TEST_F(EventThreadTest, AThreadThatCannotBeMadeIsTriedAgainWithTheNextPath)
{
    mQueue.threadError = EAGAIN;
    MonitorDirectory(u"/a");
    EXPECT_EQ(1u, mQueue.writes.size()) << "the request is written all the same";
    mQueue.threadError = 0;
    MonitorDirectory(u"/a");
    EXPECT_EQ(1, mQueue.threadCount) << "only a new path tries";
    MonitorDirectory(u"/b");
    EXPECT_EQ(2, mQueue.threadCount);
    EXPECT_EQ(2, mQueue.pipeCount) << "with a new pipe";
    MonitorDirectory(u"/c");
    EXPECT_EQ(2, mQueue.threadCount);
}

TEST_F(EventThreadTest, APipeThatCannotBeMadeLeavesItsEndsAtMinusOne)
{
    mQueue.mustFailPipe = true;
    MonitorDirectory(u"/a");
    EXPECT_TRUE(mQueue.HasThread());
    EXPECT_EQ(-1, mQueue.writes.at(0).first);
    mQueue.RunThread();
    EXPECT_EQ(static_cast<std::uint64_t>(-1), mQueue.submitted[0][0].mIdent);
}

TEST_F(EventThreadTest, ALossIsTracedOnce)
{
    const Testing::TraceCapture trace("WDX.DirectoryChangeMonitor", 1);
    MonitorDirectory(u"/a");
    mQueue.ThenTakeRequest();
    mQueue.Then(
        [this](const auto& inChanges, QueueRecord& outEvent)
        {
            mQueue.lossCount = 3;
            outEvent = inChanges[1];
            return 1;
        });
    mQueue.ThenFire("/a");
    mQueue.RunThread();
    EXPECT_THAT(trace.Texts(),
                ElementsAre("Events were lost, or a directory had no watch: 3 times"));
}

TEST_F(EventThreadTest, AnInvalidPathIsTracedAndChangesNothing)
{
    const Testing::TraceCapture trace("MonitorDirectory", 4);
    mVolumes.Fail("/gone", ENOENT);
    MonitorDirectory(u"/gone");
    EXPECT_THAT(trace.Texts(), ElementsAre("Attempting to monitor an invalid path: /gone"));
    EXPECT_EQ(0, mQueue.threadCount);
    StopMonitoringDirectory(u"/gone");
    EXPECT_THAT(mQueue.writes, IsEmpty());
}

TEST_F(EventThreadTest, APathThatWasValidOnceDoesNotCountWhileItIsNot)
{
    MonitorDirectory(u"/a");
    mVolumes.Fail("/a", ENOENT);
    MonitorDirectory(u"/a");
    StopMonitoringDirectory(u"/a");
    EXPECT_EQ(2u, mQueue.writes.size()) << "the stop took the only reference";
}

TEST_F(EventThreadTest, AfterTheEndNothingHappens)
{
    const Testing::TraceCapture trace("WDX.DirectoryChangeMonitor.ALERT", 1);
    MonitorDirectory(u"/b");
    MonitorDirectory(u"/a");
    MonitorDirectoryRecursively(u"/a");
    Terminate();
    EXPECT_THAT(
        trace.Texts(),
        ElementsAre(
            "DirectoryChangeMonitorImpl dtor unexpectedly still refers to mMonitorInfo[0]:/a",
            "DirectoryChangeMonitorImpl dtor unexpectedly still refers to mMonitorInfo[1]:/a",
            "DirectoryChangeMonitorImpl dtor unexpectedly still refers to mMonitorInfo[2]:/b"));
    EXPECT_THAT(mQueue.closed, ElementsAre(40, 41));
    EXPECT_EQ(2u, mQueue.writes.size()) << "no stop, no quit";
    ASSERT_EQ(1u, mFolders.Streams().size()) << "a stream that is left goes on";
    mFolders.Streams()[0]->Deliver({{"/a/", Platform::kFolderEvent_ItemCreated, 1}});
    EXPECT_THAT(Told(), IsEmpty()) << "and tells nobody";

    MonitorDirectory(u"/c");
    MonitorDirectoryRecursively(u"/c");
    StopMonitoringDirectory(u"/b");
    EXPECT_EQ(2u, mQueue.writes.size());
    mQueue.RunThread(); // what the thread was given must still be there
}

TEST_F(EventThreadTest, ASecondInitializeChangesNothing)
{
    MonitorDirectory(u"/a");
    Initialize();
    StopMonitoringDirectory(u"/a");
    EXPECT_EQ(2u, mQueue.writes.size());
}

} // namespace
} // namespace RKTests
