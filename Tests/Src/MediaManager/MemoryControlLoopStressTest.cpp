// The memory control loop while its switches are thrown and others purge, flush and look.
#include <atomic>
#include <string>
#include <thread>

#include "ManagerFixture.h"

#include "MemoryControlLoopFixture.h"
#include "qelcore/DebugMonitor.h"

namespace
{

using namespace RK;
using namespace Testing;

/// Counts what it was told to flush, by number.
class TallyMap : public ZOR::CountedObject<IMediaMap>
{
public:
    explicit TallyMap(std::size_t inItems)
        : mFlushes(inItems)
    {
    }
    void Flush(MediaID inID) override { mFlushes[inID].fetch_add(1, std::memory_order_relaxed); }
    qelcore::utility::Guid GetUniqueID() const override { return mID; }
    int Flushes(MediaID inID) const { return mFlushes[inID].load(); }

private:
    std::vector<std::atomic<int>> mFlushes;
    const qelcore::utility::Guid mID = qelcore::utility::Guid::CreateUnique();
};

class MemoryControlLoopStress : public ::testing::Test
{
protected:
    static constexpr MediaID kItems = 30000;
    static constexpr unsigned kLeastRounds = 300; // of each thread

    MemoryControlLoopStress()
    {
        MediaManager::ForgetMachine();
        MediaManager::Startup();
        mManager = MediaManager::Running();
        machine.freePhysical = kGiB;
    }
    ~MemoryControlLoopStress() override
    {
        mManager = nullptr;
        MediaManager::Shutdown();
        MediaManager::ForgetMachine();
    }
    template <class Work>
    void Start(const Work& inWork)
    {
        mThreads.emplace_back(
            [this, inWork]
            {
                for (unsigned round = 0; round < kLeastRounds || !mDone; ++round)
                    inWork(round);
            });
    }
    void JoinAll()
    {
        mDone = true;
        for (std::thread& thread : mThreads)
            thread.join();
    }
    void ThrowSwitches(unsigned inRound)
    {
        static const char* const kPolicies[] = {"CacheLimitPolicy",       "MemoryLimitPolicy",
                                                "CacheGrowthPolicy",      "FreeMemoryPolicy",
                                                "CompressedMemoryPolicy", "ActiveMemoryPolicy"};
        settings.TurnLoop(inRound % 3 != 0);
        settings.TurnPolicy(kPolicies[inRound % 6], inRound % 4 < 2);
        settings.Set("RK.MemoryControlLoop.Config.ProjectionDistance",
                     std::to_string(static_cast<int>(inRound % 21) - 5));
        machine.process = (inRound % 5) * kGiB;
        machine.processCompressed = (inRound % 7) * kMiB;
        machine.freePhysical = (inRound % 11) * 100 * kMiB;
    }
    /// @return whether the report is that of a loop, or of none.
    static bool LooksSound(const std::vector<MM::PolicyRecord>& inReport)
    {
        if (inReport.empty())
            return true;
        bool sound = inReport.size() == kMemoryPolicyCount;
        for (std::size_t i = 0; sound && i < kMemoryPolicyCount; ++i)
            sound = inReport[i].name == sMemoryPolicies[i].name &&
                    (inReport[i].decisiveCount == 0 || inReport[i].mostAskedBytes != 0);
        return sound;
    }

    FakeMachineFigures machine;
    ScopedSettings settings;
    MediaManagerRef mManager;

private:
    std::atomic<bool> mDone{false};
    std::vector<std::thread> mThreads;
};

TEST_F(MemoryControlLoopStress, SwitchesMayBeThrownWhileOthersPurgeFlushAndLook)
{
    using TallyMapRef = ZOR::InterfaceRef<TallyMap, IMediaMap>;
    const TallyMapRef map(new TallyMap(kItems));
    std::atomic<int> unsound{0};
    Start([this](unsigned inRound) { ThrowSwitches(inRound); });
    Start(
        [this](unsigned inRound)
        {
            mManager->EnterHighThroughputMode(); // runs a threaded purge without a delay
            mManager->FlushTo(inRound % 101);
            mManager->ExitHighThroughputMode();
            mManager->SetReserveSize(1, static_cast<long long>(inRound % 4 * 100 * kMiB));
        });
    Start(
        [&](unsigned)
        {
            unsound += !LooksSound(MM::GetPolicyReport());
            qelcore::UTF16StringStream stream;
            qelcore::debug::GenerateDebugMonitorReport("RK.MediaManager", stream);
        });
    for (MediaID id = 0; id < kItems; ++id)
    {
        mManager->AddMedia(id, kMiB, 1, 0, map);
        if (id % 256 == 0)
            mManager->FlushAsyncEvents();
    }
    JoinAll();

    mManager->FlushAsyncEvents();
    MediaManagerProbe(*mManager).ExpectConsistent();
    mManager->Purge(kEverything, kPurgeUrgency_Immediate);
    EXPECT_EQ(0u, mManager->GetCurrentSpace());
    EXPECT_EQ(0u, mManager->GetLostEventCount());
    EXPECT_EQ(0, unsound.load());
    int wrong = 0;
    for (MediaID id = 0; id < kItems; ++id)
        wrong += map->Flushes(id) != 1;
    EXPECT_EQ(0, wrong) << "items flushed twice, or never";
}

TEST_F(MemoryControlLoopStress, TheLoopWorksOnWhenItsSwitchesHaveBeenThrown)
{
    Start([this](unsigned inRound) { ThrowSwitches(inRound); });
    Start([this](unsigned) { MediaManagerProbe(*mManager).DoThreadedPurge(); });
    Start([this](unsigned) { mManager->FlushTo(100); });
    JoinAll();

    settings.TurnLoop(true);
    settings.TurnPolicy("MemoryLimitPolicy", true);
    const ZOR::InterfaceRef<TallyMap, IMediaMap> map(new TallyMap(kItems));
    for (MediaID id = 0; id < 600; ++id)
        mManager->AddMedia(id, kMiB, 1, 0, map);
    machine.process = 100 * kGiB;
    MediaManagerProbe(*mManager).DoThreadedPurge();
    EXPECT_EQ(512 * kMiB, mManager->GetCurrentSpace());
    ASSERT_EQ(kMemoryPolicyCount, MM::GetPolicyReport().size());
    EXPECT_LT(0u, MM::GetPolicyReport()[1].decisiveCount);
}

} // namespace
