// What a queue counts, and how the debug monitor shows it.
#include "IdentifiedDecodeQueueFixture.h"
#include "qelcore/DebugMonitor.h"
#include "qelcore/TextConversion.h"

using namespace Testing;

namespace
{

std::string Monitored()
{
    qelcore::UTF16StringStream report;
    EXPECT_TRUE(qelcore::debug::GenerateDebugMonitorReport("RK.DecodeQueues", report));
    return qelcore::utility::UTF16ToNarrow(report.str());
}

using DecodeQueueCounters = IdentifiedDecodeQueueFixture;

TEST_F(DecodeQueueCounters, EachPlaceCountsWhatEnteredItAndWhatIsThere)
{
    const auto queue = CreateIdentified(1, 2);
    const auto a = For(kA, "a");
    queue->QueueIdentifiedRequest(a);
    queue->QueueIdentifiedRequest(For(kA, "a2"));
    queue->QueueIdentifiedRequest(WithoutIO(For(kB, "b")));
    queue->QueueIdentifiedRequest(For(kC, "c"));
    mShared.RunQueued();
    const RK::DecodeQueueCounters counters = CountersOf(*queue);
    EXPECT_EQ(3u, counters.queued);
    EXPECT_EQ(1u, counters.startedAtOnce);
    EXPECT_EQ(2u, counters.pendingIO.entered);
    EXPECT_EQ(1u, counters.pendingIO.present);
    EXPECT_EQ(2u, counters.activeIO.entered);
    EXPECT_EQ(1u, counters.activeIO.present);
    EXPECT_EQ(1u, counters.pendingCPU.entered);
    EXPECT_EQ(1u, counters.pendingCPU.present);
    EXPECT_EQ(0u, counters.activeCPU.entered);
    EXPECT_EQ(1u, counters.parked.entered);
    EXPECT_EQ(1u, counters.parked.present);
    EXPECT_EQ(0u, counters.retired);
    mOwn->RunQueued();
    a->Complete(-1);
    RunAll();
    const RK::DecodeQueueCounters later = CountersOf(*queue);
    EXPECT_EQ(2u, later.retired);
    EXPECT_EQ(1u, later.retiredFailed);
    EXPECT_EQ(1u, later.activeCPU.entered);
    EXPECT_EQ(0u, later.parked.present);
    EXPECT_EQ(0u, later.parked.cancelled);
}

TEST_F(DecodeQueueCounters, CancelsAreCountedInThePlaceTheyMet)
{
    const auto queue = CreateIdentified(1, 3);
    const auto charge = ChargeIO(queue);
    const auto running = WithoutIO(For(kC, "running"));
    running->onProcess = [&]
    {
        queue->QueueIdentifiedRequest(For(kC, "parked"));
        queue->TryToCancelOneIdentifiedRequest(kC);
        queue->TryToCancelOneIdentifiedRequest(kC);
    };
    queue->QueueIdentifiedRequest(running);
    mShared.RunQueued();
    mOwn->RunQueued();
    queue->QueueIdentifiedRequest(For(kA, "pending IO"));
    queue->QueueIdentifiedRequest(For(kA, "parked"));
    queue->TryToCancelAllIdentifiedRequests(kA);
    queue->QueueIdentifiedRequest(WithoutIO(For(kB, "pending CPU")));
    mShared.RunQueued();
    queue->TryToCancelOneIdentifiedRequest(kB);
    queue->TryToCancelOneIdentifiedRequest(charge->guid);
    const RK::DecodeQueueCounters counters = CountersOf(*queue);
    EXPECT_EQ(1u, counters.pendingIO.cancelled);
    EXPECT_EQ(1u, counters.activeIO.cancelled);
    EXPECT_EQ(1u, counters.pendingCPU.cancelled);
    EXPECT_EQ(1u, counters.activeCPU.cancelled);
    EXPECT_EQ(2u, counters.parked.cancelled);
    for (const auto& place : {counters.pendingIO, counters.activeIO, counters.pendingCPU,
                              counters.activeCPU, counters.parked})
        EXPECT_EQ(0u, place.present);
}

TEST_F(DecodeQueueCounters, ACancelOfAllCountsInEachPlace)
{
    const RK::DecodeQueuePtr queue = Create(1, 2);
    queue->QueueRequest(Request("reading"));
    queue->QueueRequest(DecodeQueueFixture::WithoutIO(Request("pending CPU")));
    queue->QueueRequest(Request("pending IO"));
    mShared.RunQueued();
    queue->TryToCancelAllRequests();
    RK::DecodeQueueCounters counters;
    ASSERT_TRUE(RK::GetDecodeQueueCounters(*queue, counters));
    EXPECT_EQ(1u, counters.pendingIO.cancelled);
    EXPECT_EQ(0u, counters.pendingIO.present);
    EXPECT_EQ(1u, counters.activeIO.cancelled);
    EXPECT_EQ(1u, counters.activeIO.present); // told, and going on
    EXPECT_EQ(1u, counters.pendingCPU.cancelled);
    EXPECT_EQ(0u, counters.pendingCPU.present);
}

TEST_F(DecodeQueueCounters, ARequestCancelledInAnIOThatProvesToBeNoneIsCountedInEachPlaceOnce)
{
    const auto queue = CreateIdentified(1, 8);
    const auto a = WithoutIO(For(kA, "a"));
    a->onInitiate = [&] { queue->TryToCancelOneIdentifiedRequest(kA); };
    queue->QueueIdentifiedRequest(a);
    RunAll();
    const RK::DecodeQueueCounters counters = CountersOf(*queue);
    EXPECT_EQ(1u, counters.activeIO.cancelled);
    EXPECT_EQ(0u, counters.activeIO.present);
    EXPECT_EQ(1u, counters.activeCPU.entered);
    EXPECT_EQ(0u, counters.activeCPU.present);
    EXPECT_EQ(1u, counters.retired);
}

TEST_F(DecodeQueueCounters, AQueueOfSomebodyElsesMakingHasNone)
{
    struct Foreign : RK::DecodeQueue
    {
        int QueueRequest(const RK::DecodeRequestPtr&) override { return 0; }
        int TryToCancelRequest(const RK::DecodeRequestPtr&) override { return 0; }
        int TryToCancelAllRequests() override { return 0; }
        int FlushAllRequests() override { return 0; }
    } foreign;
    RK::DecodeQueueCounters counters;
    counters.queued = 7;
    EXPECT_FALSE(RK::GetDecodeQueueCounters(foreign, counters));
    EXPECT_EQ(7u, counters.queued);
}

TEST_F(DecodeQueueCounters, TheMonitorShowsEachQueueUntilItIsDropped)
{
    auto queue = CreateIdentified(3, 7);
    const RK::DecodeQueuePtr plain = Create(4, 8);
    queue->QueueIdentifiedRequest(For(kA, "a"));
    queue->QueueIdentifiedRequest(For(kA, "a2"));
    queue->TryToCancelOneIdentifiedRequest(kA);
    const std::string report = Monitored();
    EXPECT_NE(std::string::npos, report.find("Decode Queues: 2\n")) << report;
    EXPECT_NE(std::string::npos, report.find(", identified, CPU limit 3, I/O limit 7\n")) << report;
    EXPECT_NE(std::string::npos, report.find(", CPU limit 4, I/O limit 8\n")) << report;
    EXPECT_NE(std::string::npos,
              report.find("  Queued: 1, Started At Once: 1, Retired: 0, Failed: 0\n"))
        << report;
    EXPECT_NE(std::string::npos, report.find("  Active I/O: 1 | 1 | 0 | ")) << report;
    EXPECT_NE(std::string::npos, report.find("  Parked: 0 | 1 | 1 | ")) << report;
    queue.reset(); // its I/O is under way, and keeps it
    EXPECT_NE(std::string::npos, Monitored().find("Decode Queues: 2\n"));
}

TEST_F(DecodeQueueCounters, AnIdleQueueThatIsDroppedLeavesTheMonitor)
{
    auto queue = CreateIdentified(3, 7);
    ASSERT_NE(std::string::npos, Monitored().find("Decode Queues: 1\n")) << Monitored();
    queue.reset();
    EXPECT_EQ("Decode Queues: 0\n", Monitored());
}

} // namespace
