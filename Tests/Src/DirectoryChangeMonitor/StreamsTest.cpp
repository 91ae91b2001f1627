// Recursive watches: streams, and what they tell.
#include "MonitorFixture.h"

namespace RKTests
{
namespace
{

using namespace RK::DirectoryChangeMonitor;
using testing::ElementsAre;
using testing::IsEmpty;

class StreamsTest : public DirectoryChangeMonitorTest
{
protected:
    Testing::FakeFolderEvents::Stream& Stream(std::size_t inIndex = 0)
    {
        return *mFolders.Streams().at(inIndex);
    }
    void Deliver(std::vector<std::uint32_t> inFlags, const std::string& inPath = "/a/b/")
    {
        std::vector<Platform::FolderEvent> events;
        for (const std::uint32_t flags : inFlags)
            events.push_back({inPath, flags, 1});
        Stream().Deliver(events);
    }
};

TEST_F(StreamsTest, ARecursiveWatchIsAStreamOfOneSecondsLatencyThatWatchesItsRoot)
{
    MonitorDirectoryRecursively(u"/a");
    ASSERT_EQ(1u, mFolders.Streams().size());
    EXPECT_EQ("/a", Stream().root);
    EXPECT_EQ(1.0, Stream().latencySeconds);
    EXPECT_EQ(4u, Stream().flags);
    EXPECT_EQ(0, mQueue.threadCount);
}

TEST_F(StreamsTest, OnAnHfsVolumeTheRootIsNotWatched)
{
    mVolumes.Add("/h", "hfs", "disk", {});
    mVolumes.Add("/H", "HFS", "disk", {});
    MonitorDirectoryRecursively(u"/h/a");
    MonitorDirectoryRecursively(u"/H/a");
    EXPECT_EQ(0u, Stream(0).flags);
    EXPECT_EQ(4u, Stream(1).flags) << "letter for letter";
}

TEST_F(StreamsTest, StartsAreCountedAndTheLastStopEndsTheStream)
{
    MonitorDirectoryRecursively(u"/a");
    MonitorDirectoryRecursively(u"/a");
    StopMonitoringDirectoryRecursively(u"/a");
    EXPECT_EQ(1u, mFolders.Streams().size());
    StopMonitoringDirectoryRecursively(u"/a");
    EXPECT_EQ(0u, mFolders.Streams().size());
    StopMonitoringDirectoryRecursively(u"/a");
}

TEST_F(StreamsTest, TheSamePathWithAndWithoutRecursionAreTwoWatches)
{
    MonitorDirectory(u"/a");
    MonitorDirectoryRecursively(u"/a");
    EXPECT_EQ(1u, mFolders.Streams().size());
    EXPECT_EQ(1u, mQueue.writes.size());
    StopMonitoringDirectory(u"/a");
    EXPECT_EQ(1u, mFolders.Streams().size());
    StopMonitoringDirectoryRecursively(u"/a");
    EXPECT_EQ(0u, mFolders.Streams().size());
}

TEST_F(StreamsTest, AStreamThatCannotBeHadLeavesNoEntry)
{
    mFolders.mustNotStart = true;
    MonitorDirectoryRecursively(u"/a");
    mFolders.mustNotStart = false;
    EXPECT_THAT(mFolders.Streams(), IsEmpty());
    MonitorDirectoryRecursively(u"/a");
    EXPECT_EQ(1u, mFolders.Streams().size()) << "the next start tries again";
}

TEST_F(StreamsTest, TenEventsOfADeliveryAreOneMessageWithTheWatchedPath)
{
    MonitorDirectoryRecursively(u"/a");
    Deliver(std::vector<std::uint32_t>(10, Platform::kFolderEvent_ItemCreated));
    EXPECT_THAT(Told(), ElementsAre("changed /a"));
    Deliver({Platform::kFolderEvent_ItemRemoved});
    EXPECT_THAT(Told(), ElementsAre("changed /a"));
}

TEST_F(StreamsTest, OnlyTheFourFlagsOfItemsAreChanges)
{
    MonitorDirectoryRecursively(u"/a");
    for (std::uint32_t flag = 1; flag != 0; flag <<= 1)
    {
        Deliver({flag});
        const bool isItem = (flag & 0xF00) != 0;
        const bool isMount = (flag & 0xC0) != 0;
        if (isItem)
            EXPECT_THAT(Told(), ElementsAre("changed /a")) << flag;
        else if (isMount)
            EXPECT_THAT(Told(), ElementsAre("volumes")) << flag;
        else
            EXPECT_THAT(Told(), IsEmpty()) << flag;
    }
}

TEST_F(StreamsTest, TenMountsOfADeliveryAreOneMessage)
{
    MonitorDirectoryRecursively(u"/a");
    Deliver(std::vector<std::uint32_t>(10, Platform::kFolderEvent_Mount));
    EXPECT_THAT(Told(), ElementsAre("volumes"));
}

TEST_F(StreamsTest, AnEventThatIsBothIsAChangeFirstAndAMountOnlyOnceThatWasTold)
{
    MonitorDirectoryRecursively(u"/a");
    const std::uint32_t both = Platform::kFolderEvent_ItemCreated | Platform::kFolderEvent_Unmount;
    Deliver({both});
    EXPECT_THAT(Told(), ElementsAre("changed /a"));
    Deliver({both, both});
    EXPECT_THAT(Told(), ElementsAre("changed /a", "volumes"));
}

TEST_F(StreamsTest, OfThePathOfVolumesNoChangeIsEverTold)
{
    MonitorDirectoryRecursively(u"/Volumes");
    Deliver({0xF00, 0xF00 | Platform::kFolderEvent_Mount}, "/Volumes/x/");
    EXPECT_THAT(Told(), ElementsAre("volumes"));
}

TEST_F(StreamsTest, MessagesComeAtOnceOnTheMainThread)
{
    MonitorDirectoryRecursively(u"/a");
    Deliver({0x100});
    qelcore::threads::DispatchMainThread();
    // One turn is enough: nothing is posted for another.
    EXPECT_THAT(Told(), ElementsAre("changed /a"));
}

TEST_F(StreamsTest, AStoppedStreamTellsNothingMore)
{
    MonitorDirectoryRecursively(u"/a");
    Deliver({0x100});
    StopMonitoringDirectoryRecursively(u"/a");
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(StreamsTest, AListenerMayStopItsOwnWatch)
{
    struct Stopper : ZOR::Listener
    {
        void ListenToMessage(const ZOR::Message&) override
        {
            StopMonitoringDirectoryRecursively(u"/a");
        }
    } stopper;
    ZOR::StationUtils::AddListener(ZOR::kStation_DirectoryChange, &stopper);
    MonitorDirectoryRecursively(u"/a");
    Deliver({0x100});
    EXPECT_THAT(Told(), ElementsAre("changed /a"));
    ZOR::StationUtils::RemoveListener(ZOR::kStation_DirectoryChange, &stopper);
    EXPECT_THAT(mFolders.Streams(), IsEmpty());
}

TEST_F(StreamsTest, AnEventOfANumberThatNobodyHasIsPassedOver)
{
    EventStreamCallback(~std::uint64_t{0}, {{"/a/", 0x100, 1}});
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(StreamsTest, WithoutRecursionOnlyEventsOfTheFolderItselfCount)
{
    const std::uint64_t number = Subscribe({u"/a", false});
    EventStreamCallback(number, {{"/a/b", 0x100, 1}, {"/a/bc", 0x100, 2}});
    EXPECT_THAT(Told(), IsEmpty());
    EventStreamCallback(number, {{"/a", 0x100, 1}});
    EventStreamCallback(number, {{"/a/", 0x100, 1}});
    EXPECT_THAT(Told(), ElementsAre("changed /a", "changed /a"));
    EventStreamCallback(number, {{"/", 0x100, 1}});
    EXPECT_THAT(Told(), IsEmpty()) << "a shorter path is far away, since lengths are unsigned";
}

TEST_F(StreamsTest, NumbersAreNeverUsedAgain)
{
    const std::uint64_t first = Subscribe({u"/a", true});
    Terminate();
    Initialize();
    EXPECT_LT(first, Subscribe({u"/a", true}));
}

} // namespace
} // namespace RKTests
