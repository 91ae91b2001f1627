#include "ManagerFixture.h"

#include "MemoryControlLoopFixture.h"

namespace
{

using namespace RK;
using namespace Testing;

// The machine has 16 GiB and 8 GiB free. The budget is 2147483648 bytes, so that a flush to 100 percent
// has a cache limit of 2147483600 bytes and a limit of 2454267026 bytes for the process. A twentieth of
// the machine is 858993459 bytes, and the cache may always have 512 MiB.
class MemoryControlLoop : public ManagerTest
{
protected:
    MemoryControlLoop() { qelcore::utility::MemoryRecycler::PurgeBytes(kEverything); }

    /// Registers inCount items of 1 MiB. A purge then takes whole MiB.
    void Fill(std::uint64_t inCount)
    {
        for (std::uint64_t i = 0; i < inCount; ++i)
            Add(++mLastID, kMiB);
        Apply();
    }
    std::uint64_t LeftMiB() { return mManager->GetCurrentSpace() / kMiB; }
    void RunThreadedPurge()
    {
        mManager->QueueThreadedPurge();
        Background().Advance(50);
    }
    const MemoryControlLoopState* State() { return Inside().LoopState(); }
    MM::PolicyRecord Record(std::size_t inPlace)
    {
        const auto report = MM::GetPolicyReport();
        return report.size() == kMemoryPolicyCount ? report[inPlace] : MM::PolicyRecord{};
    }

    ScopedSettings settings;

private:
    MediaID mLastID = 0;
};

constexpr std::uint64_t kMemoryLimit = 2454267026;

TEST_F(MemoryControlLoop, HasNoStateBeforeTheFirstThreadedPurge)
{
    mManager->FlushTo(100);
    EXPECT_EQ(nullptr, State());
    RunThreadedPurge();
    ASSERT_NE(nullptr, State());
    EXPECT_EQ(1u, State()->cache.sampleCount);
}

TEST_F(MemoryControlLoop, LosesItsStateAtTheFirstThreadedPurgeAfterItWasTurnedOff)
{
    RunThreadedPurge();
    settings.TurnLoop(false);
    EXPECT_NE(nullptr, State());
    RunThreadedPurge();
    EXPECT_EQ(nullptr, State());
    RunThreadedPurge();
    EXPECT_EQ(nullptr, State());
}

TEST_F(MemoryControlLoop, RemembersNothingFromBeforeItWasTurnedOff)
{
    Fill(600);
    RunThreadedPurge();
    Fill(600);
    RunThreadedPurge();
    EXPECT_EQ(2u, State()->cache.sampleCount);
    EXPECT_LT(0, State()->cache.averageChange);
    settings.TurnLoop(false);
    RunThreadedPurge();

    settings.TurnLoop(true);
    RunThreadedPurge();
    ASSERT_NE(nullptr, State());
    EXPECT_EQ(1u, State()->cache.sampleCount);
    EXPECT_EQ(0u, State()->cache.last);
    EXPECT_EQ(0, State()->cache.averageChange);
    EXPECT_EQ(0, State()->cache.reactiveChange);
    EXPECT_EQ(0, State()->cache.smoothChange);
}

TEST_F(MemoryControlLoop, SamplesOnceAThreadedPurgeAndNowhereElse)
{
    RunThreadedPurge();
    mManager->FlushTo(100);
    PurgeNow(0);
    EXPECT_EQ(1u, State()->freeActiveMemory.sampleCount);
    RunThreadedPurge();
    EXPECT_EQ(2u, State()->freeActiveMemory.sampleCount);
}

TEST_F(MemoryControlLoop, SamplesTheCacheWithItsEventsApplied)
{
    Add(1, 700 * kMiB);
    Add(2, 5000, 0);
    mManager->SetReserveSize(1, static_cast<long long>(3 * kGiB)); // capped
    RunThreadedPurge();
    EXPECT_EQ(700 * kMiB + 5000, State()->cache.current);
    EXPECT_EQ(5000u, State()->highPriorityCache.current);
    EXPECT_EQ(2 * kGiB - 256 * kMiB, State()->reserve.current);
}

TEST_F(MemoryControlLoop, MakesAFlushTakeWhatThePoliciesAskForWhereThatIsMore)
{
    Fill(2000);
    machine.process = kMemoryLimit + 100 * kMiB;
    RunThreadedPurge();
    EXPECT_EQ(1900u, LeftMiB());
}

TEST_F(MemoryControlLoop, MakesAFlushTakeWhatThePercentageAsksForWhereThatIsMore)
{
    machine.process = 1000; // no policy asks for anything
    Fill(1000);
    RunThreadedPurge();
    Fill(1000); // not sampled
    mManager->FlushTo(50);
    EXPECT_EQ(1023u, LeftMiB());
}

TEST_F(MemoryControlLoop, LeavesTheFixedRuleAside)
{
    Fill(2000);
    machine.process = 2362231960 + 50 * kMiB; // the fixed rule wants the process 50 MiB smaller
    RunThreadedPurge();
    EXPECT_EQ(2000u, LeftMiB());

    settings.TurnLoop(false);
    RunThreadedPurge();
    EXPECT_EQ(1950u, LeftMiB());
}

TEST_F(MemoryControlLoop, GivesItsPoliciesTheFlushsOwnCacheLimit)
{
    settings.TurnPolicy("MemoryLimitPolicy", false);
    mManager->SetReserveSize(1, static_cast<long long>(512 * kMiB));
    Fill(1535); // of a limit of 48 bytes less than 1536 MiB
    RunThreadedPurge();
    EXPECT_EQ(1535u, LeftMiB());

    mManager->FlushTo(20); // a fifth of the budget, less the reserve, is below 0
    EXPECT_EQ(1535 * kMiB, Record(0).mostAskedBytes);
}

TEST_F(MemoryControlLoop, NeverTakesTheCacheUnderItsSmallestAllowedSize)
{
    Fill(1000);
    machine.process = 100 * kGiB;
    machine.freePhysical = 0;
    RunThreadedPurge();
    EXPECT_EQ(512u, LeftMiB());
}

TEST_F(MemoryControlLoop, AsksNoPolicyAtTheSmallestAllowedSizeOrBelow)
{
    Fill(512);
    machine.process = 100 * kGiB;
    RunThreadedPurge();
    EXPECT_EQ(512u, LeftMiB());
    EXPECT_EQ(0u, Record(1).mostAskedBytes);
    mManager->FlushTo(10); // 214748360 bytes
    EXPECT_EQ(204u, LeftMiB());
    EXPECT_EQ(0u, Record(1).mostAskedBytes);

    Fill(309);
    RunThreadedPurge();
    EXPECT_EQ(512u, LeftMiB());
    EXPECT_EQ(100 * kGiB - kMemoryLimit, Record(1).mostAskedBytes);
}

TEST_F(MemoryControlLoop, AsksForNothingOnceItIsTurnedOffThoughItsStateIsStillThere)
{
    Fill(1000);
    RunThreadedPurge();
    settings.TurnLoop(false);
    machine.freePhysical = 0; // the fixed rule would ask for a twentieth of the machine
    mManager->FlushTo(100);
    EXPECT_EQ(1000u, LeftMiB());
}

TEST_F(MemoryControlLoop, HoldsTheGrowthOfTheCacheInHighThroughputModeOnly)
{
    settings.TurnPolicy("CacheLimitPolicy", false);
    Fill(600);
    RunThreadedPurge();
    Fill(1000);
    RunThreadedPurge();
    EXPECT_EQ(1600u, LeftMiB());

    // 150 MiB a sample by the quick average, less a 3000th of the limit: 156570573 bytes.
    Inside().SetTimeout(10);
    mManager->FlushTo(100);
    EXPECT_EQ(1450u, LeftMiB());
    EXPECT_EQ(156570573u, Record(2).mostAskedBytes);
}

TEST_F(MemoryControlLoop, LooksAsFarAheadAsItsSettingSays)
{
    Fill(600);
    RunThreadedPurge();
    Fill(1000);
    settings.Set("RK.MemoryControlLoop.Config.ProjectionDistance", "0");
    RunThreadedPurge();
    EXPECT_EQ(1600u, LeftMiB());

    settings.Set("RK.MemoryControlLoop.Config.ProjectionDistance", "4");
    mManager->FlushTo(
        100); // 1600 MiB and four times 150, over 2147483600 by 159383600: a third goes
    EXPECT_EQ(1600u - 51, LeftMiB());
}

TEST_F(MemoryControlLoop, LooksTenSamplesAheadUnlessTold)
{
    const MemoryControlLoopState state;
    EXPECT_STREQ("RK.MemoryControlLoop.Config.ProjectionDistance", state.projectionDistance.Key());
    EXPECT_EQ(10, state.projectionDistance);
}

TEST_F(MemoryControlLoop, IsOnUnlessToldAndHasASettingThatChangesNothing)
{
    EXPECT_STREQ("RK.MemoryControlLoopActive", sMemoryControlLoopActive.Key());
    EXPECT_TRUE(sMemoryControlLoopActive.Default());
    EXPECT_STREQ("RK.ProcessMemoryHasCompressedMem", sProcessMemoryHasCompressedMem.Key());
    EXPECT_TRUE(sProcessMemoryHasCompressedMem.Default());

    machine.process = 700;
    machine.processCompressed = 50;
    settings.Set("RK.ProcessMemoryHasCompressedMem", "false");
    RunThreadedPurge();
    EXPECT_EQ(750u, State()->untracked.current);
    EXPECT_EQ(700u, State()->processMemory.current);
}

TEST_F(MemoryControlLoop, TakesTheGreatestAnswerOfThePoliciesThatCount)
{
    MemoryControlLoopState state;
    state.cache = Statistic(1300);
    state.processMemory = Statistic(2500);
    state.freeMemory = Statistic(858993459 - 400);
    state.freeActiveMemory = Statistic(134217203); // 1050 bytes less than what 256 MiB lack then
    state.processCompressed = Statistic(500000);   // asks for 10000, and does not count
    const MemoryLimits limits{2000, 1000, true};
    EXPECT_EQ(500u, MediaManager::ApplyMemoryControlLoopPolicies(limits, state));
    settings.TurnPolicy("MemoryLimitPolicy", false);
    EXPECT_EQ(400u, MediaManager::ApplyMemoryControlLoopPolicies(limits, state));
    settings.TurnPolicy("FreeMemoryPolicy", false);
    EXPECT_EQ(350u, MediaManager::ApplyMemoryControlLoopPolicies(limits, state));
    settings.TurnPolicy("ActiveMemoryPolicy", false);
    EXPECT_EQ(300u, MediaManager::ApplyMemoryControlLoopPolicies(limits, state));
    settings.TurnPolicy("CompressedMemoryPolicy", true);
    EXPECT_EQ(10000u, MediaManager::ApplyMemoryControlLoopPolicies(limits, state));
    settings.TurnLoop(false);
    EXPECT_EQ(0u, MediaManager::ApplyMemoryControlLoopPolicies(limits, state));
}

TEST_F(MemoryControlLoop, HasSixPoliciesInTheirOrder)
{
    struct Row
    {
        std::u16string name;
        MemoryPolicyFunction function;
        std::string key;
        bool enabled;
        bool highThroughputOnly;
    };
    const Row kRows[kMemoryPolicyCount] = {
        {u"CacheLimitPolicy", CacheLimitPolicy, "EnableCacheLimitPolicy", true, false},
        {u"MemoryLimitPolic", MemoryLimitPolicy, "EnableMemoryLimitPolicy", true, false},
        {u"CacheGrowthPolic", CacheGrowthPolicy, "EnableCacheGrowthPolicy", true, true},
        {u"FreeMemoryPolicy", FreeMemoryPolicy, "EnableFreeMemoryPolicy", true, false},
        {u"CompressedMemory", CompressedMemoryPolicy, "EnableCompressedMemoryPolicy", false, true},
        {u"ActiveMemoryPoli", ActiveMemoryPolicy, "EnableActiveMemoryPolicy", true, true}};
    for (std::size_t i = 0; i < kMemoryPolicyCount; ++i)
    {
        const MemoryPolicy& policy = sMemoryPolicies[i];
        EXPECT_EQ(kRows[i].name, std::u16string(policy.name.begin(), policy.name.end()));
        EXPECT_EQ(kRows[i].function, policy.function);
        EXPECT_EQ("RK.MemoryControlLoop.Config." + kRows[i].key, policy.enabled.Key());
        EXPECT_EQ(kRows[i].enabled, policy.enabled.Default());
        EXPECT_EQ(kRows[i].highThroughputOnly, policy.highThroughputOnly);
    }
}

TEST_F(MemoryControlLoop, CountsAPolicyByTheSwitchItsModeAndItsSetting)
{
    const MemoryPolicy always(u"Always", CacheLimitPolicy, "Test.Always", true, false);
    const MemoryPolicy inMode(u"InMode", CacheLimitPolicy, "Test.InMode", true, true);
    const MemoryPolicy off(u"Off", CacheLimitPolicy, "Test.Off", false, false);
    EXPECT_TRUE(always.IsEnabled(false));
    EXPECT_TRUE(always.IsEnabled(true));
    EXPECT_FALSE(inMode.IsEnabled(false));
    EXPECT_TRUE(inMode.IsEnabled(true));
    EXPECT_FALSE(off.IsEnabled(false));
    EXPECT_FALSE(off.IsEnabled(true));

    settings.Set("Test.Always", "false");
    settings.Set("Test.Off", "true");
    EXPECT_FALSE(always.IsEnabled(false));
    EXPECT_TRUE(off.IsEnabled(false));
    settings.TurnLoop(false);
    EXPECT_FALSE(off.IsEnabled(false));
    EXPECT_FALSE(inMode.IsEnabled(true));
}

TEST_F(MemoryControlLoop, TellsNothingOfItsPoliciesWhileItIsOffOrTheManagerIsNotRunning)
{
    EXPECT_TRUE(MM::GetPolicyReport().empty()) << "before the first threaded purge";
    RunThreadedPurge();
    EXPECT_EQ(kMemoryPolicyCount, MM::GetPolicyReport().size());
    settings.TurnLoop(false);
    RunThreadedPurge();
    EXPECT_TRUE(MM::GetPolicyReport().empty());
    settings.TurnLoop(true);
    RunThreadedPurge();
    Background().RunQueued();
    MediaManager::Shutdown();
    EXPECT_TRUE(MM::GetPolicyReport().empty());
}

TEST_F(MemoryControlLoop, TellsWhatItsPoliciesAskForNowAndAskedForAtMost)
{
    Fill(2000);
    machine.process = kMemoryLimit + 100 * kMiB;
    RunThreadedPurge();
    machine.process = kMemoryLimit; // the quick average falls by 15 MiB a sample
    RunThreadedPurge();

    const auto report = MM::GetPolicyReport();
    ASSERT_EQ(kMemoryPolicyCount, report.size());
    for (std::size_t i = 0; i < kMemoryPolicyCount; ++i)
        EXPECT_EQ(sMemoryPolicies[i].name, report[i].name);
    EXPECT_TRUE(report[1].enabled);
    EXPECT_EQ(0u, report[1].askedBytes);
    EXPECT_EQ(100 * kMiB, report[1].mostAskedBytes);
    EXPECT_EQ(1u, report[1].decisiveCount);
    EXPECT_EQ(0u, report[0].decisiveCount);
    EXPECT_FALSE(report[2].enabled) << "out of its mode";
    EXPECT_FALSE(report[4].enabled) << "not set";
}

TEST_F(MemoryControlLoop, TellsWhatAPolicyThatDoesNotCountWouldAskForAndCountsItNot)
{
    settings.TurnPolicy("MemoryLimitPolicy", false);
    Fill(2000);
    machine.process = kMemoryLimit + 100 * kMiB;
    RunThreadedPurge();
    const MM::PolicyRecord record = Record(1);
    EXPECT_FALSE(record.enabled);
    EXPECT_EQ(100 * kMiB, record.askedBytes);
    EXPECT_EQ(0u, record.mostAskedBytes);
    EXPECT_EQ(0u, record.decisiveCount);
}

TEST_F(MemoryControlLoop, TellsTheFirstOfEqualsAsDecisiveAndNobodyIfAllAskForNothing)
{
    MemoryPolicyTally tally;
    tally.Note({0, 0, 0, 0, 0, 0});
    tally.Note({1, 7, 7, 0, 0, 2});
    tally.Note({0, 3, 0, 0, 0, 4});
    const std::uint64_t kMostAsked[] = {1, 7, 7, 0, 0, 4};
    const std::uint64_t kDecisive[] = {0, 1, 0, 0, 0, 1};
    for (std::size_t i = 0; i < kMemoryPolicyCount; ++i)
    {
        EXPECT_EQ(kMostAsked[i], tally.entries[i].mostAsked) << i;
        EXPECT_EQ(kDecisive[i], tally.entries[i].decisiveCount) << i;
    }
}

TEST_F(MemoryControlLoop, LeavesItsTallyAsItIsWhenItIsLookedAt)
{
    Fill(2000);
    machine.process = kMemoryLimit + 100 * kMiB;
    RunThreadedPurge();
    MM::GetPolicyReport();
    EXPECT_EQ(1u, Record(1).decisiveCount);
}

} // namespace
