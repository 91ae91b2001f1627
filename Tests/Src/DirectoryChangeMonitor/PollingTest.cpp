// Storage that gives no events is polled.
#include "MonitorFixture.h"

#include "qelcore/DebugDatabase.h"

namespace RKTests
{
namespace
{

using namespace RK::DirectoryChangeMonitor;
using testing::ElementsAre;
using testing::IsEmpty;

class PollingTest : public DirectoryChangeMonitorTest
{
protected:
    PollingTest()
    {
        mVolumes.Add("/avid", "fuse.myAVIDfs", "server", {});
        mVolumes.Add("/nfs", "nfs4", "host:/share", {});
    }
};

TEST_F(PollingTest, NothingIsPolledWithoutSuchAVolume)
{
    MonitorDirectory(u"/a");
    MonitorDirectory(u"/nfs/a");
    for (int i = 0; i < 5; ++i)
        Advance(5000);
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(PollingTest, EachPathOnSuchAVolumeIsToldEveryFiveSecondsInTheOrderOfPaths)
{
    MonitorDirectory(u"/avid/b");
    MonitorDirectory(u"/avid/a");
    EXPECT_EQ(0, mQueue.threadCount) << "no other watch is made";
    Advance(4999);
    EXPECT_THAT(Told(), IsEmpty());
    Advance(1);
    EXPECT_THAT(Told(), ElementsAre("poll /avid/a", "poll /avid/b"));
    Advance(5000);
    EXPECT_THAT(Told(), ElementsAre("poll /avid/a", "poll /avid/b"));
}

TEST_F(PollingTest, AStopAndAStartWithinAPassLeaveOneLoop)
{
    MonitorDirectory(u"/avid/a");
    Advance(2000);
    StopMonitoringDirectory(u"/avid/a");
    MonitorDirectory(u"/avid/b");
    Advance(3000);
    EXPECT_THAT(Told(), ElementsAre("poll /avid/b"));
    Advance(2000);
    EXPECT_THAT(Told(), IsEmpty()) << "a second loop would be due now";
    Advance(3000);
    EXPECT_THAT(Told(), ElementsAre("poll /avid/b"));
}

TEST_F(PollingTest, AfterAPassThatFoundNothingAnotherPathStartsAFreshLoop)
{
    MonitorDirectory(u"/avid/a");
    StopMonitoringDirectory(u"/avid/a");
    Advance(5000);
    Advance(5000);
    EXPECT_THAT(Told(), IsEmpty());
    MonitorDirectory(u"/avid/b");
    Advance(4000);
    EXPECT_THAT(Told(), IsEmpty());
    Advance(1000);
    EXPECT_THAT(Told(), ElementsAre("poll /avid/b"));
}

TEST_F(PollingTest, ARecursivePathIsPolledToWhileTheLoopRunsButDoesNotStartIt)
{
    MonitorDirectoryRecursively(u"/avid/r");
    EXPECT_EQ(1u, mFolders.Streams().size());
    Advance(5000);
    EXPECT_THAT(Told(), IsEmpty());
    MonitorDirectory(u"/avid/a");
    Advance(5000);
    EXPECT_THAT(Told(), ElementsAre("poll /avid/a", "poll /avid/r"));
}

TEST_F(PollingTest, ARecursiveStreamOnSuchAVolumeGoesOnAfterItsStop)
{
    MonitorDirectoryRecursively(u"/avid/r");
    StopMonitoringDirectoryRecursively(u"/avid/r");
    ASSERT_EQ(1u, mFolders.Streams().size());
    mFolders.Streams()[0]->Deliver({{"/avid/r/", 0x100, 1}});
    EXPECT_THAT(Told(), ElementsAre("changed /avid/r"));
    MonitorDirectoryRecursively(u"/avid/r");
    EXPECT_EQ(2u, mFolders.Streams().size()) << "its entry was gone";
}

TEST_F(PollingTest, AStopUndoesNothingOfTheSystem)
{
    MonitorDirectory(u"/avid/a");
    StopMonitoringDirectory(u"/avid/a");
    EXPECT_THAT(mQueue.writes, IsEmpty());
}

TEST_F(PollingTest, WhenTheVolumeHasGoneItsPathsAreNotToldAndTheLoopEnds)
{
    MonitorDirectory(u"/avid/a");
    mVolumes.Fail("/avid/a", ENOENT);
    Advance(5000);
    EXPECT_THAT(Told(), IsEmpty());
    mVolumes.Fail("/avid/a", 0);
    Advance(10000);
    EXPECT_THAT(Told(), IsEmpty()) << "its return starts no loop";
    MonitorDirectory(u"/avid/b");
    Advance(5000);
    EXPECT_THAT(Told(), ElementsAre("poll /avid/a", "poll /avid/b"));
}

TEST_F(PollingTest, AStopWhileTheVolumeIsGoneIsARequestToAThreadThatNeverRan)
{
    MonitorDirectory(u"/avid/a");
    mVolumes.Fail("/avid/a", ENOENT);
    StopMonitoringDirectory(u"/avid/a");
    ASSERT_EQ(1u, mQueue.writes.size());
    EXPECT_EQ(-1, mQueue.writes[0].first);
}

TEST_F(PollingTest, AfterTheEndTheLoopThatIsDueFindsNothing)
{
    MonitorDirectory(u"/avid/a");
    Terminate();
    Advance(5000);
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(PollingTest, ALoopOfAnEarlierLifeDoesNotPollForTheNext)
{
    MonitorDirectory(u"/avid/a");
    Advance(2000);
    Terminate();
    Initialize();
    MonitorDirectory(u"/avid/b");
    Advance(3000);
    EXPECT_THAT(Told(), IsEmpty());
    Advance(2000);
    EXPECT_THAT(Told(), ElementsAre("poll /avid/b"));
}

class PollingOfServersTest : public PollingTest
{
protected:
    PollingOfServersTest()
    {
        qelcore::debug::DebugDatabase::Instance().SetEntry("RK.PollNetworkVolumes", "true");
    }
    ~PollingOfServersTest() override
    {
        qelcore::debug::DebugDatabase::Instance().RemoveEntry("RK.PollNetworkVolumes");
    }
};

TEST_F(PollingOfServersTest, OnRequestEveryServersVolumeIsPolled)
{
    MonitorDirectory(u"/nfs/a");
    MonitorDirectory(u"/local");
    Advance(5000);
    EXPECT_THAT(Told(), ElementsAre("poll /nfs/a"));
    EXPECT_EQ(1u, mQueue.writes.size()) << "the local one alone has a watch";
    StopMonitoringDirectory(u"/nfs/a");
    EXPECT_EQ(1u, mQueue.writes.size());
    Advance(5000);
    Advance(5000);
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(PollingOfServersTest, ARecursiveStreamOnAServersVolumeEndsWithItsStop)
{
    MonitorDirectoryRecursively(u"/nfs/a");
    StopMonitoringDirectoryRecursively(u"/nfs/a");
    EXPECT_THAT(mFolders.Streams(), IsEmpty());
}

} // namespace
} // namespace RKTests
