#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MediaManager/MediaManager.h"
#include "Src/MediaManager/MemoryPressure.h"
#include "Support/ContractWatch.h"
#include "Support/FakeClock.h"
#include "Support/FakeMachineFigures.h"
#include "Support/FakeMemberships.h"
#include "Support/FakeMemoryPressure.h"
#include "Support/FakeRegistry.h"
#include "Support/ManualExecutor.h"
#include "TQM/ApplicationType.h"
#include "ZOR/CountedObject.h"
#include "qelcore/Contract.h"
#include "qelcore/ErrorManager.h"
#include "qelcore/MemoryRecycler.h"

namespace RK
{

/// What the tests see and move of a manager's inside. The caller holds no lock; one thread at a time.
struct MediaManagerProbe
{
    using Weight = MediaItemWeight;

    explicit MediaManagerProbe(MediaManager& inManager)
        : m(inManager)
    {
    }
    MediaManager& m;

    std::uint64_t PriorityZeroSpace() const RK_NO_THREAD_SAFETY_ANALYSIS
    {
        return m.mPriorityZeroSpace;
    }
    std::uint32_t HandleCount() const RK_NO_THREAD_SAFETY_ANALYSIS { return m.mHandleCount; }
    bool Purging() const RK_NO_THREAD_SAFETY_ANALYSIS { return m.mPurging; }
    double Timeout() const { return m.mTimeout; }
    void SetTimeout(double inSeconds) { m.mTimeout = inSeconds; }
    double Now() const { return m.Now(); }
    std::uint64_t PendingBytes() const { return m.mPendingBytes; }
    std::uint64_t PressureEventCount() const { return m.mMemoryPressure->EventCount(); }
    std::int32_t PendingEventCount() const { return m.mPendingEventCount; }
    std::uint64_t TotalReserve() const RK_NO_THREAD_SAFETY_ANALYSIS { return m.mTotalReserve; }
    std::size_t ReserveCount() const RK_NO_THREAD_SAFETY_ANALYSIS { return m.mReserveSizes.size(); }
    bool BalancePending() const RK_NO_THREAD_SAFETY_ANALYSIS { return m.mBalancePending; }
    /// Null while the memory control loop is off.
    const MemoryControlLoopState* LoopState() const RK_NO_THREAD_SAFETY_ANALYSIS
    {
        return m.mControlLoopState.get();
    }
    void DoThreadedPurge() { m.DoThreadedPurge(false); }
    MediaWeightMap& Weights(bool inPriorityZero) RK_NO_THREAD_SAFETY_ANALYSIS
    {
        return inPriorityZero ? m.mPriorityZeroWeightMap : m.mWeightMap;
    }
    MediaIDMap& IDs(bool inPriorityZero) RK_NO_THREAD_SAFETY_ANALYSIS
    {
        return inPriorityZero ? m.mPriorityZeroIDMap : m.mIDMap;
    }
    /// Numbers of the items in purge order.
    std::vector<MediaID> Order(bool inPriorityZero = false)
    {
        std::vector<MediaID> result;
        for (const auto& entry : Weights(inPriorityZero))
            result.push_back(entry.first.mediaID);
        return result;
    }
    /// The item of that number, of whatever map. Fails the test if there is none.
    Weight Item(MediaID inID, bool inPriorityZero = false)
    {
        for (const auto& entry : IDs(inPriorityZero))
        {
            if (entry.first.mediaID == inID)
                return entry.second;
        }
        ADD_FAILURE() << "no item " << inID;
        return {};
    }
    std::uint64_t CheckLastPurgeTime() RK_NO_THREAD_SAFETY_ANALYSIS
    {
        return m.CheckLastPurgeTime();
    }
    std::uint64_t PurgeForTimeout(bool inPriorityZero, double inTimeout, std::uint64_t inLimit,
                                  std::uint64_t inPurgedBefore = 0) RK_NO_THREAD_SAFETY_ANALYSIS
    {
        std::uint64_t purged = inPurgedBefore;
        m.PurgeForTimeout(Weights(inPriorityZero), IDs(inPriorityZero), inTimeout, m.Now(), inLimit,
                          purged);
        return purged;
    }
    /// @return where a purge by size is to begin, as an item's number; 0 for the end.
    MediaID PurgeOld(bool inPriorityZero = false) RK_NO_THREAD_SAFETY_ANALYSIS
    {
        std::uint64_t purged = 0;
        const auto start = m.PurgeOldWeightMapEntries(Weights(inPriorityZero), IDs(inPriorityZero),
                                                      MediaTick(m.Now()), purged);
        return start == Weights(inPriorityZero).end() ? 0 : start->first.mediaID;
    }
    /// @param inStart  the number of the item to begin at; 0 for the end.
    void PurgeForSize(bool inPriorityZero, MediaID inStart,
                      std::uint64_t inFloor) RK_NO_THREAD_SAFETY_ANALYSIS
    {
        auto& weights = Weights(inPriorityZero);
        auto start = weights.begin();
        while (start != weights.end() && start->first.mediaID != inStart)
            ++start;
        std::uint64_t purged = 0;
        m.PurgeForSize(weights, start, IDs(inPriorityZero), inFloor, purged);
    }
    /// Whether the sums are those of the maps, and both nodes of each item hold the same. A threaded
    /// purge may still be under way.
    void ExpectConsistent(std::uint64_t inZeroSpaceLeftOver = 0) RK_NO_THREAD_SAFETY_ANALYSIS
    {
        qelcore::threads::RecursiveMutex::ScopedLock lock(m.mMutex, "ExpectConsistent");
        std::uint64_t space = 0, zeroSpace = 0, handles = 0;
        for (const bool zero : {false, true})
        {
            ASSERT_EQ(Weights(zero).size(), IDs(zero).size());
            for (const auto& entry : Weights(zero))
            {
                const auto id = IDs(zero).find(entry.second);
                ASSERT_NE(IDs(zero).end(), id);
                EXPECT_EQ(entry.first.weight, id->second.weight);
                EXPECT_EQ(entry.first.size, id->second.size);
                EXPECT_EQ(entry.first.time, id->second.time);
                EXPECT_EQ(0u, IDs(!zero).count(entry.second)) << "an item in both pairs of maps";
                space += entry.first.size;
                zeroSpace += zero ? entry.first.size : 0;
                handles += entry.first.handleCount;
            }
        }
        EXPECT_EQ(space, m.GetCurrentSpace());
        EXPECT_EQ(zeroSpace + inZeroSpaceLeftOver, m.mPriorityZeroSpace);
        EXPECT_EQ(handles, m.mHandleCount);
        EXPECT_EQ(m.mIDMap.size(), m.GetNumberOfEntries());
    }
};

} // namespace RK

namespace Testing
{

constexpr std::uint64_t kMiB = 1ull << 20;
constexpr std::uint64_t kGiB = 1ull << 30;
constexpr std::size_t kEverything = ~std::size_t{0};

/// A map that notes what it was told to flush, in an order shared with other maps.
class FakeMap : public ZOR::CountedObject<RK::IMediaMap>
{
public:
    explicit FakeMap(const qelcore::utility::Guid& inID = qelcore::utility::Guid::CreateUnique(),
                     std::vector<RK::MediaID>* outFlushed = nullptr)
        : mID(inID)
        , mFlushed(outFlushed ? outFlushed : &mOwnFlushed)
    {
    }
    ~FakeMap() override
    {
        if (onEnd)
            onEnd();
    }

    void Flush(RK::MediaID inID) override
    {
        mFlushed->push_back(inID);
        if (onFlush)
            onFlush(inID);
    }
    qelcore::utility::Guid GetUniqueID() const override
    {
        if (onGetUniqueID)
            onGetUniqueID();
        return mID;
    }
    bool IsNonPurgeable(RK::MediaID inID) override
    {
        ++askedNonPurgeable;
        return nonPurgeable.count(inID) != 0;
    }

    const std::vector<RK::MediaID>& Flushed() const { return *mFlushed; }

    std::set<RK::MediaID> nonPurgeable;
    int askedNonPurgeable = 0;
    std::function<void(RK::MediaID)> onFlush;
    std::function<void()> onGetUniqueID;
    std::function<void()> onEnd;

private:
    const qelcore::utility::Guid mID;
    std::vector<RK::MediaID> mOwnFlushed;
    std::vector<RK::MediaID>* mFlushed;
};

using FakeMapRef = ZOR::InterfaceRef<FakeMap, RK::IMediaMap>;
using IDs = std::vector<RK::MediaID>;

/// A manager of its own for each test, on a machine of 16 GiB with 8 GiB free (so that the budget is 2 GiB and
/// the smallest allowed size 512 MiB), at second 0. Nothing runs in the background unless the test runs it.
class ManagerTest : public ::testing::Test
{
protected:
    ManagerTest()
    {
        TQM::SetApplicationType(0);
        RK::MediaManager::ForgetMachine();
        RK::MediaManager::Startup();
        mManager = RK::MediaManager::Running();
        mMap = FakeMapRef(new FakeMap);
    }
    ~ManagerTest() override
    {
        mMap->onFlush = nullptr;
        mManager = nullptr;
        executors.lastCreatedCPU->RunQueued(); // Shutdown waits for what is due
        RK::MediaManager::Shutdown();
        RK::SetReserveSizeFunction(nullptr);
        RK::MediaManager::ForgetMachine();
        TQM::SetApplicationType(0);
    }

    RK::MediaManagerProbe Inside() { return RK::MediaManagerProbe(*mManager); }
    void Add(RK::MediaID inID, RK::Size inSize, RK::Priority inPriority = 1,
             RK::HandleCount inHandles = 0)
    {
        mManager->AddMedia(inID, inSize, inPriority, inHandles, mMap);
    }
    void Touch(RK::MediaID inID) { mManager->TouchMedia(inID, mMap->GetUniqueID()); }
    void Remove(RK::MediaID inID) { mManager->RemoveMedia(inID, mMap->GetUniqueID()); }
    void Apply() { mManager->FlushAsyncEvents(); }
    /// Registers an item used inSeconds after the manager's start; the clock must not be past that.
    void AddAt(double inSeconds, RK::MediaID inID, RK::Size inSize, RK::Priority inPriority = 1,
               RK::HandleCount inHandles = 0)
    {
        GoTo(inSeconds);
        Add(inID, inSize, inPriority, inHandles);
        Apply();
    }
    void GoTo(double inSeconds)
    {
        const auto nanoseconds = static_cast<std::uint64_t>(std::llround(inSeconds * 1e9));
        ASSERT_GE(nanoseconds, mNanoseconds);
        AdvanceNanoseconds(nanoseconds - mNanoseconds);
    }
    void AdvanceNanoseconds(std::uint64_t inNanoseconds)
    {
        clock.AdvanceNanoseconds(inNanoseconds);
        mNanoseconds += inNanoseconds;
    }
    std::uint64_t PurgeNow(std::size_t inSize)
    {
        return mManager->Purge(inSize, RK::kPurgeUrgency_Immediate);
    }
    /// Keeps the gap between purges below eight hours while the clock goes far.
    void KeepPurging(double inUntil)
    {
        while (Inside().Now() + 20000 < inUntil)
        {
            AdvanceNanoseconds(20000000000000);
            PurgeNow(0);
        }
        GoTo(inUntil);
        PurgeNow(0);
    }
    ManualExecutor& Background() { return *executors.lastCreatedCPU; }
    bool PurgeIsQueued() { return Background().Advance(0), HasDelayedPurge(); }

    FakeClock clock;
    FakeMachineFigures machine;
    FakeMemoryPressure pressure;
    FakeRegistry registry;
    FakeMemberships memberships;
    ManualExecutorFactory executors;
    qelcore::threads::ScopedExecutorFactory executorScope{executors};
    RK::MediaManagerRef mManager;
    FakeMapRef mMap;

private:
    // The repeated purge always waits; anything more is a purge that was asked for.
    bool HasDelayedPurge() { return Background().GetPendingCount() > 1; }
    std::uint64_t mNanoseconds = 0; // since the manager's start
};

} // namespace Testing
