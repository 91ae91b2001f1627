#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "MediaManager/MediaEventRing.h"
#include "MediaManager/MediaItem.h"
#include "MediaManager/MemoryControlLoop.h"
#include "RKMediaManager.h"
#include "ZOR/SingletonSupport.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/QueueOnlyOnce.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/RepeatDelayFunction.h"
#include "qelcore/UTFStream.h"

namespace RK
{

/// Guards what the balancer and the executor of the manager have to do with it. A leaf.
extern qelcore::threads::RecursiveMutex sMaxSizeCriticalSection;

class MediaManager;
class MemoryPressure;
using MediaManagerRef = ZOR::InterfaceRef<MediaManager, IMediaManager>;

// The one IMediaManager. What the operations promise is told there.
//
// Locks    mMutex, then sMaxSizeCriticalSection or mReserveMutex, which are leaves. Maps are called with
//          mMutex held, and take theirs after it.
// Jobs     Everything on mExecutor goes through a JobGate: it has the manager as a plain pointer, which the
//          destructor clears, and gives each job a reference for as long as it runs. So a job that waits
//          keeps no manager alive, and one that runs has it whole to its end.
// Balancer Its callback goes through a BalancerGate instead, and holds no reference: if the last one ended on
//          the balancer's thread, that thread would wait for the singleton's lock while a holder of that
//          lock waits for the thread.
// Reentry  A map's Flush, or the end of a map whose last reference a purge drops, may call anything here.
//          While the maps of items are walked or changed no event is applied (mWalking) and no purge
//          begins (mPurging), so the iterators of the walk stay good.
class MediaManager : public IMediaManager
{
public:
    using ID = MediaItemID;
    using Weight = MediaItemWeight;
    using Event = MediaEventRing::Event;
    using WeightMap = MediaWeightMap;
    using IDMap = MediaIDMap;

    /// What the memory balancer is told of this process.
    struct BalanceFigures
    {
        std::uint64_t minimum;
        std::uint64_t maximum;
        std::uint64_t used;
        memorybalancer::MemoryPriority priority;
    };

    /// Makes the manager, and registers the console command. Takes up a manager that still lives from
    /// before the last Shutdown.
    static void Startup();
    /// Ends background work, flushes everything, and lets go of the manager. Owners that still hold a
    /// reference may go on calling: from now on the manager takes no adds and touches.
    static void Shutdown();
    /// @return the manager that Startup made; null while stopped.
    static MediaManagerRef Running();

    // ZOR::ZORUnknown
    void AddRef() override;
    void Release() override;
    qelcore::Result QueryMap(const ZOR::CFUUIDBytes& inID, void** outInterface) override;
    ZOR::ZORUnknown* GetZORUnknown() override;

    // IMediaManager
    qelcore::utility::Guid AcquireUniqueID() override;
    void AddMedia(MediaID inID, Size inSize, Priority inPriority, HandleCount inHandleCount,
                  const IMediaMapRef& inSourceMapRef) override;
    void TouchMedia(MediaID inID, qelcore::utility::Guid inMapID) override;
    void RemoveMedia(MediaID inID, qelcore::utility::Guid inMapID) override;
    std::uint32_t GetNumberOfEntries() const override;
    std::uint64_t GetCurrentSpace() const override;
    void FlushTo(std::uint32_t inPercentage) override;
    void FlushAsyncEvents() override;
    void SetReserveSize(int inPluginID, long long inBytes) override;
    void AdjustReservedMemorySize(int inPluginID, long long inDeltaBytes) override;
    void SetReserveSize(const qelcore::utility::Guid& inID, long long inBytes) override;
    void SetApplicationMemoryRequirements(memorybalancer::MemoryPriority inPriority) override;
    boost::shared_ptr<memorybalancer::MemoryBalancer> GetMemoryBalancer() override;
    std::uint64_t GetMaximumSize() const override;
    void SetMaximumSize(std::size_t inBytes) override;
    void EnterHighThroughputMode() override;
    void ExitHighThroughputMode() override;

    virtual operator ZOR::InterfaceRef<ZOR::ZORUnknown, ZOR::ZORUnknown>();

    /// See MM::Purge. Within a map's Flush: purges nothing, and returns 0.
    std::uint64_t Purge(std::size_t inSize, PurgeUrgency inUrgency);
    /// Always true, by design: whether there is memory is found out by asking for it.
    bool HasSufficientMemory() const noexcept { return true; }
    /// Events that a full ring refused since the manager was made, and adds for which there was no memory.
    std::uint64_t GetLostEventCount() const noexcept;
    void QueueThreadedPurge();

    /// Prints the sizes of the items on the books; zeros while the manager is not running.
    static void Statistics(std::ostream& outStream);
    /// Writes the memory control loop's report, while there is one, and then the manager's own figures.
    void OnDebugMonitorCallback(qelcore::UTF16StringStream& outReport) const;
    /// See MM::GetPolicyReport.
    std::vector<MM::PolicyRecord> GetPolicyReport() const;

    // The budget, in bytes. Each call asks the machine and the registry anew: not cheap.

    /// What the balancer granted, less an eighth; without a balancer a fourth (applications of type 1) or an
    /// eighth of memory.
    static std::uint64_t GetFixedMaxCacheSize();
    static float GetFixedInverseMaxCacheSize();
    /// Computed once.
    static std::uint64_t GetMinimumAllowedSize();
    static std::uint64_t GetMaximumAllowedSize();
    std::uint64_t GetCappedReserveSize() const;
    std::uint64_t GetReserveAdjustedMaxSize() const;
    std::uint64_t GetMaxPriorityZeroCacheSize() const;
    std::uint64_t GetMaxPriorityZeroItemSize() const;
    BalanceFigures GetBalanceFigures() const;

    /// The balancer's answer, on a thread of its own: the most that this process may use. From the first one
    /// on it rules the budget; there is no way back.
    void MaxMemoryNotification(unsigned long long inMaximum);

    /// Asks the policies that count, and notes their answers in the state's tally.
    /// @return the greatest answer; 0 if no policy counts.
    static std::uint64_t ApplyMemoryControlLoopPolicies(const MemoryLimits& inLimits,
                                                        const MemoryControlLoopState& inState);

    /// For tests: what is computed once is computed again, and no balancer has granted anything.
    static void ForgetMachine();

private:
    friend class ZOR::SingletonSupport<MediaManagerRef>;
    friend struct MediaManagerProbe; // of the tests

    struct JobGate;
    struct BalancerGate;
    struct Walk;
    using Job = void (MediaManager::*)();

    MediaManager();
    ~MediaManager() override;

    void MakeBalancer();
    void StartJobs();
    void StopJobs();
    void TakeNoMoreEvents();
    static void RunJob(const boost::shared_ptr<JobGate>& inGate, Job inJob);
    /// @return whether the job was accepted.
    bool PostJob(Job inJob, int inDelayMilliseconds) RK_REQUIRES(sMaxSizeCriticalSection);
    bool CanPostJobs() const RK_REQUIRES(sMaxSizeCriticalSection);

    double Now() const;

    bool PushEvent(MediaEventRing::Type inType, MediaID inID, const qelcore::utility::Guid& inMapID,
                   MediaEventRing::Registration&& inRegistration = {});
    void DrainIfStopped();
    void DrainAfterStop();
    void ProcessQueue() RK_REQUIRES(mMutex);
    void AddEntry(Event& ioEvent, Size inMaxPriorityZeroItemSize) RK_REQUIRES(mMutex);
    void RegisterEntry(Event& ioEvent, bool inPriorityZero) RK_REQUIRES(mMutex);
    void TouchEntry(const Event& inEvent) RK_REQUIRES(mMutex);
    void RemoveEntry(const Event& inEvent) RK_REQUIRES(mMutex);
    void AddToSums(const Weight& inWeight, bool inPriorityZero) RK_REQUIRES(mMutex);
    void SubtractFromSums(const Weight& inWeight, bool inPriorityZero) RK_REQUIRES(mMutex);

    std::uint64_t PurgeInternal(std::uint64_t inSize, PurgeUrgency inUrgency) RK_REQUIRES(mMutex);
    std::uint64_t PurgeTo(std::uint64_t inFloor) RK_REQUIRES(mMutex);
    std::uint64_t CheckLastPurgeTime() RK_REQUIRES(mMutex);
    void PurgeForTimeout(WeightMap& ioWeights, IDMap& ioIDs, double inTimeout, double inNow,
                         std::uint64_t inLimit, std::uint64_t& ioPurged) RK_REQUIRES(mMutex);
    WeightMap::iterator PurgeOldWeightMapEntries(WeightMap& ioWeights, IDMap& ioIDs,
                                                 std::uint32_t inNowTick, std::uint64_t& ioPurged)
        RK_REQUIRES(mMutex);
    void PurgeForSize(WeightMap& ioWeights, WeightMap::iterator inStart, IDMap& ioIDs,
                      std::uint64_t inFloor, std::uint64_t& ioPurged) RK_REQUIRES(mMutex);
    WeightMap::iterator PurgeEntry(WeightMap& ioWeights, IDMap& ioIDs, WeightMap::iterator inEntry,
                                   std::uint64_t& ioPurged) RK_REQUIRES(mMutex);
    bool IsPriorityZero(const WeightMap& inWeights) const RK_REQUIRES(mMutex)
    {
        return &inWeights == &mPriorityZeroWeightMap;
    }

    void DoThreadedPurge(bool inPurgeStrings);
    void DoThreadedPurgeKeepingStrings() { DoThreadedPurge(false); }
    void DoThreadedEnterHighThroughputMode() { DoThreadedPurge(true); }
    void QueueEnterHighThroughputMode();

    /// Makes or drops the loop's state as its switch says, and takes a sample if there is one. Only on
    /// mExecutor, so that samples are a purge apart.
    void RunMemoryControlLoop();
    void
    UpdateMemoryControlLoopStatistics(const qelcore::threads::RecursiveMutex::ScopedLock& inLock,
                                      MemoryControlLoopStatistics& ioStatistics)
        RK_REQUIRES(mMutex);
    MemoryLimits LimitsOf(std::uint64_t inFixed, std::uint64_t inCacheLimit) const
        RK_REQUIRES(mMutex);
    void ReportMemoryControlLoop(qelcore::UTF16StringStream& outReport) const;

    void SetReserveSizeImpl(const qelcore::utility::Guid& inID, long long inBytes, bool inIsDelta);
    void UpdateMemoryBalance();
    void QueueUpdateMemoryBalance();
    void PurgeToLowerMemoryRequirements();

    double mLastPurgeCheckTime RK_GUARDED_BY(mMutex) = 0; // seconds

    SmallNodeMap<qelcore::utility::Guid, std::int64_t>
        mReserveSizes RK_GUARDED_BY(mReserveMutex); // each above 0
    // Wraps below 0 when more was given back than was reserved, and comes back when that is reserved.
    std::uint64_t mTotalReserve RK_GUARDED_BY(mReserveMutex) = 0;
    mutable qelcore::threads::RecursiveMutex mReserveMutex;

    mutable qelcore::threads::RecursiveMutex mMutex;
    // What is atomic below and marked "written under mMutex" is read elsewhere without it.
    std::atomic<std::uint64_t> mCurrentSpace{0};    // written under mMutex
    std::atomic<std::uint32_t> mNumberOfEntries{0}; // written under mMutex: the size of mIDMap
    std::uint64_t mPriorityZeroSpace RK_GUARDED_BY(mMutex) = 0;
    std::atomic<double> mTimeout{
        0}; // written under mMutex: seconds, 0 outside high-throughput mode
    std::uint32_t mHandleCount RK_GUARDED_BY(mMutex) = 0;

    // An item is in one pair of maps, and its two nodes hold the same values.
    WeightMap mWeightMap RK_GUARDED_BY(mMutex);
    IDMap mIDMap RK_GUARDED_BY(mMutex);
    WeightMap mPriorityZeroWeightMap RK_GUARDED_BY(mMutex);
    IDMap mPriorityZeroIDMap RK_GUARDED_BY(mMutex);

    MediaEventRing mEvents; // mMutex makes its reader one at a time
    std::atomic<std::int32_t> mPendingEventCount{
        0}; // touches and removes since the last ProcessQueue
    const std::int32_t mRemoveTriggerCount;
    std::uint64_t mStartTime;                    // raw count
    std::atomic<std::uint64_t> mPendingBytes{0}; // added since a purge was last asked for
    std::atomic<std::uint64_t> mLostAddCount{0}; // adds for which there was no memory
    bool mPurging RK_GUARDED_BY(mMutex) = false;
    bool mWalking RK_GUARDED_BY(mMutex) = false;
    std::atomic<bool> mStopped{false};     // set by Shutdown, cleared by Startup
    std::atomic<bool> mDrainWanted{false}; // an event came after the stop

    std::uint64_t mMaximumSizeOverride RK_GUARDED_BY(sMaxSizeCriticalSection) = 0; // 0: not set
    memorybalancer::MemoryPriority mMemoryPriority RK_GUARDED_BY(sMaxSizeCriticalSection) = 1;
    double mLastBalanceTime RK_GUARDED_BY(sMaxSizeCriticalSection) = 0; // seconds
    bool mBalancePending RK_GUARDED_BY(sMaxSizeCriticalSection) = false;

    qelcore::threads::AsyncExecutorPtr mPool;
    const boost::shared_ptr<JobGate> mGate;
    const boost::shared_ptr<BalancerGate> mBalancerGate;
    // Fixed at construction; null in applications of type 1. It joins its suite when it is first told figures.
    boost::shared_ptr<memorybalancer::MemoryBalancer> mMemoryBalancer;
    // One at a time, in order. Each Startup of a manager that was shut down makes a new one on mPool.
    qelcore::threads::AsyncExecutorPtr mExecutor RK_GUARDED_BY(sMaxSizeCriticalSection);
    // Read by producers without a lock, so those of earlier starts stay until the end.
    std::atomic<qelcore::threads::QueueOnlyOnce*> mPurgeQueue{nullptr};
    std::vector<boost::shared_ptr<qelcore::threads::QueueOnlyOnce>>
        mPurgeQueues RK_GUARDED_BY(sMaxSizeCriticalSection);
    std::unique_ptr<qelcore::threads::RepeatDelayFunction>
        mRepeatPurge RK_GUARDED_BY(sMaxSizeCriticalSection);
    std::unique_ptr<MemoryPressure> mMemoryPressure; // of start and stop, which come one at a time
    // Null while the memory control loop is off; then FlushTo keeps to its fixed rule.
    boost::shared_ptr<MemoryControlLoopState> mControlLoopState RK_GUARDED_BY(mMutex);
};

} // namespace RK
