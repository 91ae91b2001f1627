// The times that a queue counts, by the hand-turned clock.
#include "IdentifiedDecodeQueueFixture.h"
#include "Support/FakeClock.h"

using namespace Testing;

namespace
{

constexpr std::uint64_t kMillisecond = 1000000;

using DecodeQueueTimes = IdentifiedDecodeQueueFixture;

TEST_F(DecodeQueueTimes, TheyAreThoseSpentInEachPlaceByAllTogether)
{
    FakeClock clock;
    const auto queue = CreateIdentified(1, 8);
    const auto a = For(kA, "a");
    a->onProcess = [&] { clock.AdvanceMilliseconds(16); };
    queue->QueueIdentifiedRequest(a);
    queue->QueueIdentifiedRequest(For(kA, "parked"));
    queue->QueueIdentifiedRequest(For(kB, "b")); // waits until the executor turns
    clock.AdvanceMilliseconds(1);
    mShared.RunQueued();
    clock.AdvanceMilliseconds(2); // two reads
    a->Complete(0);
    clock.AdvanceMilliseconds(4);
    mOwn->RunQueued();
    const RK::DecodeQueueCounters counters = CountersOf(*queue);
    EXPECT_EQ(1 * kMillisecond, counters.pendingIO.nanoseconds);
    EXPECT_EQ((1 + 2 + 2 + 4 + 16) * kMillisecond, counters.activeIO.nanoseconds);
    EXPECT_EQ(4 * kMillisecond, counters.pendingCPU.nanoseconds);
    EXPECT_EQ(16 * kMillisecond, counters.activeCPU.nanoseconds);
    EXPECT_EQ((1 + 2 + 4 + 16) * kMillisecond, counters.parked.nanoseconds);
    // What is there goes on counting.
    clock.AdvanceMilliseconds(100);
    EXPECT_EQ(125 * kMillisecond, CountersOf(*queue).activeIO.nanoseconds);
    EXPECT_EQ(16 * kMillisecond, CountersOf(*queue).activeCPU.nanoseconds);
}

} // namespace
