#include "ManagerFixture.h"

#include <cerrno>
#include <string>
#include <thread>

#include "Support/TraceCapture.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/MainThread.h"

namespace
{

using namespace Testing;
using namespace RK;
using qelcore::debug::DebugDatabase;
using qelcore::threads::DispatchMainThread;

const std::string kKey = "RK.MemoryPressureEvents";

// The test's thread is the main one, which drives its loop by hand.
class MemoryPressureEvents : public ManagerTest
{
protected:
    MemoryPressureEvents() { EXPECT_TRUE(qelcore::threads::RegisterMainThread()); }
    ~MemoryPressureEvents() override
    {
        DebugDatabase::Instance().RemoveEntry(kKey);
        qelcore::threads::UnregisterMainThread();
    }

    /// An event, and what the main thread makes of it. @return whether a purge is queued then.
    bool EventQueuesAPurge()
    {
        pressure.Signal();
        DispatchMainThread();
        return PurgeIsQueued();
    }
    void RunPurge() { Background().Advance(50); }
};

TEST_F(MemoryPressureEvents, AnEventBringsAThreadedPurgeForward)
{
    Add(1, 100);
    EXPECT_FALSE(PurgeIsQueued());

    EXPECT_TRUE(EventQueuesAPurge());
    EXPECT_EQ(0u, mManager->GetNumberOfEntries()) << "in the background, not on the main thread";
    RunPurge();

    EXPECT_EQ(1u, mManager->GetNumberOfEntries()) << "the purge applied what was waiting";
    EXPECT_EQ(1u, Inside().PressureEventCount());
    EXPECT_FALSE(PurgeIsQueued());
}

TEST_F(MemoryPressureEvents, OneWindowBringsOnePurge)
{
    EXPECT_TRUE(EventQueuesAPurge());
    RunPurge();

    clock.AdvanceSeconds(1.999);
    EXPECT_FALSE(EventQueuesAPurge());
    clock.AdvanceSeconds(0.001);
    EXPECT_TRUE(EventQueuesAPurge());
    EXPECT_EQ(3u, Inside().PressureEventCount());
}

TEST_F(MemoryPressureEvents, TheKeyIsReadAtEachEvent)
{
    DebugDatabase::Instance().SetEntry(kKey, "false");
    EXPECT_FALSE(EventQueuesAPurge());
    EXPECT_EQ(1u, Inside().PressureEventCount());

    DebugDatabase::Instance().SetEntry(kKey, "true");
    EXPECT_TRUE(EventQueuesAPurge());
    EXPECT_EQ(2u, Inside().PressureEventCount());
}

TEST_F(MemoryPressureEvents, WithoutAMainThreadTheyWaitAndThePurgesOfOtherReasonsComeAllTheSame)
{
    qelcore::threads::UnregisterMainThread();
    EXPECT_FALSE(EventQueuesAPurge());
    EXPECT_EQ(0u, Inside().PressureEventCount());
    Add(1, 11 * kMiB);
    EXPECT_TRUE(PurgeIsQueued());
    RunPurge();
    EXPECT_EQ(1u, mManager->GetNumberOfEntries());

    qelcore::threads::RegisterMainThread();
    DispatchMainThread();
    EXPECT_TRUE(PurgeIsQueued());
}

TEST_F(MemoryPressureEvents, AreHeardFromStartToStop)
{
    EXPECT_EQ(1u, pressure.ListenerCount());
    executors.lastCreatedCPU->RunQueued();
    MediaManager::Shutdown();
    EXPECT_EQ(0u, pressure.ListenerCount());
    EXPECT_EQ(0, DispatchMainThread());

    MediaManager::Startup(); // the same manager, which the fixture holds
    EXPECT_EQ(1u, pressure.ListenerCount());
    EXPECT_TRUE(EventQueuesAPurge());
}

TEST_F(MemoryPressureEvents, WhereTheSystemHasNoneItIsTracedOnceAndTheManagerGoesOn)
{
    executors.lastCreatedCPU->RunQueued();
    MediaManager::Shutdown();
    const TraceCapture trace("RK.MediaManager");
    pressure.failure = ENOENT;
    MediaManager::Startup();

    EXPECT_EQ(0u, pressure.ListenerCount());
    ASSERT_EQ(1u, trace.Texts().size());
    EXPECT_EQ(0u, trace.Texts()[0].find("No memory pressure events: the system has none: "));
    Add(1, 11 * kMiB);
    EXPECT_TRUE(PurgeIsQueued());
    RunPurge();
    EXPECT_EQ(1u, mManager->GetNumberOfEntries());
    EXPECT_EQ(1u, trace.Texts().size());
}

} // namespace
