// The manager's life, and the values that the subsystem sets up at load time.
#include "MediaManager/MediaManager.h"

#include <memory>
#include <utility>

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>

#include "LoadOrder.h"
#include "MediaManager/MediaManagerStatics.h"
#include "MemoryPressure.h"
#include "TQM/ApplicationType.h"
#include "ZOR/CountedObject.h"
#include "qelcore/ClientName.h"
#include "qelcore/Console.h"
#include "qelcore/DebugMonitor.h"
#include "qelcore/HighPrecisionTime.h"
#include "qelcore/MemoryRecycler.h"

namespace RK
{

using qelcore::debug::CachedDatabaseValue;
using qelcore::threads::RecursiveMutex;
using qelcore::utility::Guid;
using qelcore::utility::HighPrecisionTime;

namespace
{

RK_RECORD_SET_UP("Src/MediaManager/MediaManager");

constexpr char kMediaManagerClassIDText[] = "267A9BAA-13DE-47e7-9652-6067D5212D2E";
const Guid kMediaManagerClassID =
    Guid::StringToGUID(kMediaManagerClassIDText, sizeof kMediaManagerClassIDText - 1);
constinit RecursiveMutex sMediaManagerMutex; // guards sMediaManager; a leaf
MediaManagerRef sMediaManager RK_GUARDED_BY(sMediaManagerMutex);

} // namespace

constinit const CachedDatabaseValue<bool> sMemoryControlLoopActive{"RK.MemoryControlLoopActive",
                                                                   true};
constinit const CachedDatabaseValue<bool> sProcessMemoryHasCompressedMem{
    "RK.ProcessMemoryHasCompressedMem", true};

const std::array<MemoryPolicy, kMemoryPolicyCount> sMemoryPolicies{
    MemoryPolicy(u"CacheLimitPolicy", CacheLimitPolicy,
                 "RK.MemoryControlLoop.Config.EnableCacheLimitPolicy", true, false),
    MemoryPolicy(u"MemoryLimitPolicy", MemoryLimitPolicy,
                 "RK.MemoryControlLoop.Config.EnableMemoryLimitPolicy", true, false),
    MemoryPolicy(u"CacheGrowthPolicy", CacheGrowthPolicy,
                 "RK.MemoryControlLoop.Config.EnableCacheGrowthPolicy", true, true),
    MemoryPolicy(u"FreeMemoryPolicy", FreeMemoryPolicy,
                 "RK.MemoryControlLoop.Config.EnableFreeMemoryPolicy", true, false),
    MemoryPolicy(u"CompressedMemoryPolicy", CompressedMemoryPolicy,
                 "RK.MemoryControlLoop.Config.EnableCompressedMemoryPolicy", false, true),
    MemoryPolicy(u"ActiveMemoryPolicy", ActiveMemoryPolicy,
                 "RK.MemoryControlLoop.Config.EnableActiveMemoryPolicy", true, true)};

constinit RecursiveMutex sMaxSizeCriticalSection;
constinit bool sPCSMemoryManagementEngaged = false;
constinit std::uint64_t sPCSMaximumMemory = 0;

namespace
{

const qelcore::UTF16String kPurgeCommandName = u"RK.PurgeMediaManager";
const qelcore::UTF16String kPurgeCommandDescription =
    u"RK.PurgeMediaManager <bytes> - Purges <bytes> from the media manager or everything if "
    u"<bytes> is "
    u"unspecified.";
constexpr char kMediaManagerID[] = "RK.MediaManager";

constexpr std::uint32_t kEventCapacity = 65536;
constexpr std::int32_t kRemoveTriggerCount = 100;
constexpr int kPurgeDelayMilliseconds = 50;
constexpr int kRepeatPurgeMilliseconds = 14400000; // 4 hours
constexpr std::size_t kEverything = ~std::size_t{0};

} // namespace

struct MediaManager::JobGate
{
    RecursiveMutex mutex; // a leaf
    MediaManager* manager RK_GUARDED_BY(mutex) = nullptr;

    MediaManagerRef Enter();
};

/// @return the manager; null if it has gone, or is about to go.
MediaManagerRef MediaManager::JobGate::Enter()
{
    using Singleton = ZOR::SingletonSupport<MediaManagerRef>;
    RecursiveMutex::ScopedLock lock(mutex, "RK::MediaManager::JobGate::Enter");
    if (!manager)
        return nullptr;
    // If the last reference has gone before this one the destructor waits for the gate, and the count
    // stays negative: a reference cannot call it back.
    MediaManagerRef self(manager);
    if (!Singleton::Exists())
        self = nullptr;
    return self;
}

// The way from the balancer to the manager. Its mutex is held during the notification, which takes nothing
// but sMaxSizeCriticalSection and what a post takes; nobody holds these and takes the gate's.
struct MediaManager::BalancerGate
{
    RecursiveMutex mutex;
    MediaManager* manager RK_GUARDED_BY(mutex) = nullptr;

    void Notify(unsigned long long inMaximum)
    {
        RecursiveMutex::ScopedLock lock(mutex, "RK::MediaManager::BalancerGate::Notify");
        if (manager)
            manager->MaxMemoryNotification(inMaximum);
    }
    void SetManager(MediaManager* inManager)
    {
        RecursiveMutex::ScopedLock lock(mutex, "RK::MediaManager::BalancerGate::SetManager");
        manager = inManager;
    }
};

IMediaMap::~IMediaMap() = default;

bool IMediaMap::IsNonPurgeable(MediaID)
{
    return false;
}

const Guid& GuidOf(IMediaMap*)
{
    static const Guid sGuid(0x5E1C94D207A34B6F, static_cast<std::int64_t>(0x9B3D61F8C2E07A15));
    return sGuid;
}

IMediaManager::~IMediaManager() = default;

const Guid& GuidOf(IMediaManager*)
{
    static const Guid sGuid(0x2F80A6B95D1C4E73, static_cast<std::int64_t>(0x8A47E93C0BD6125F));
    return sGuid;
}

MediaManager::MediaManager()
    : mEvents(kEventCapacity)
    , mRemoveTriggerCount(kRemoveTriggerCount)
    , mStartTime(HighPrecisionTime::GetCurrentTime())
    , mPool(qelcore::threads::CreateCPUBoundExecutor())
    , mGate(boost::make_shared<JobGate>())
    , mBalancerGate(boost::make_shared<BalancerGate>())
{
    const double now = Now();
    mLastPurgeCheckTime = now;
    mLastBalanceTime = now;
    {
        RecursiveMutex::ScopedLock lock(mGate->mutex, "RK::MediaManager::MediaManager");
        mGate->manager = this;
    }
    StartJobs();
    qelcore::utility::MemoryRecycler::SetReconcileSizeAutomatically(false);
    qelcore::debug::RegisterDebugMonitorCallback(
        kMediaManagerID,
        boost::bind(&MediaManager::OnDebugMonitorCallback, this, boost::placeholders::_1));
    MakeBalancer();
}

void MediaManager::MakeBalancer()
{
    if (TQM::GetApplicationType() == 1)
        return;
    mBalancerGate->SetManager(this);
    mMemoryBalancer = boost::make_shared<memorybalancer::MemoryBalancer>(
        qelcore::config::GetClientName(),
        boost::bind(&BalancerGate::Notify, mBalancerGate, boost::placeholders::_1));
}

MediaManager::~MediaManager()
{
    qelcore::debug::UnregisterDebugMonitorCallback(kMediaManagerID);
    mBalancerGate->SetManager(nullptr); // somebody may hold the balancer longer
    {
        // A job that waits finds nobody from now on; one that runs has a reference, so there is none.
        RecursiveMutex::ScopedLock lock(mGate->mutex, "RK::MediaManager::~MediaManager");
        mGate->manager = nullptr;
    }
    mExecutor->Stop();
}

void MediaManager::StartJobs()
{
    RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection, "RK::MediaManager::StartJobs");
    const boost::function<void()> purge =
        boost::bind(&MediaManager::RunJob, mGate, &MediaManager::DoThreadedPurgeKeepingStrings);
    mExecutor = qelcore::threads::CreateSubExecutor(mPool, 1);
    mPurgeQueues.push_back(
        qelcore::threads::QueueOnlyOnce::Create(purge, mExecutor, kPurgeDelayMilliseconds, 0));
    mPurgeQueue.store(mPurgeQueues.back().get(), std::memory_order_release);
    mRepeatPurge = std::make_unique<qelcore::threads::RepeatDelayFunction>(
        mExecutor, purge, kRepeatPurgeMilliseconds);
    mMemoryPressure = std::make_unique<MemoryPressure>(
        boost::bind(&qelcore::threads::QueueOnlyOnce::Queue, mPurgeQueues.back()));
}

void MediaManager::StopJobs()
{
    mMemoryPressure.reset(); // not with the lock: it waits for a wake-up that is under way
    qelcore::threads::AsyncExecutorPtr executor;
    {
        RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection, "RK::MediaManager::StopJobs");
        executor = mExecutor;
        mBalancePending = false; // an update that waits is dropped by the stop
    }
    executor->Stop();
    executor->Flush();
}

void MediaManager::RunJob(const boost::shared_ptr<JobGate>& inGate, Job inJob)
{
    // The job may drop the last maps, and with them all other references to the manager.
    const MediaManagerRef self = inGate->Enter();
    if (self)
        ((*self).*inJob)();
}

bool MediaManager::PostJob(Job inJob, int inDelayMilliseconds)
{
    return mExecutor->Post(boost::bind(&MediaManager::RunJob, mGate, inJob), inDelayMilliseconds);
}

bool MediaManager::CanPostJobs() const
{
    return !mExecutor->IsStopped();
}

void MediaManager::Startup()
{
    const MediaManagerRef manager = ZOR::SingletonSupport<MediaManagerRef>::CreateClassRef();
    // Somebody has held on to it since the last Shutdown.
    if (manager->mStopped)
    {
        manager->StartJobs();
        manager->mStopped = false;
    }
    {
        RecursiveMutex::ScopedLock lock(sMediaManagerMutex, "RK::MediaManager::Startup");
        sMediaManager = manager;
    }
    Details::RegisterPurgeCommand(kPurgeCommandName, kPurgeCommandDescription);
}

void MediaManager::Shutdown()
{
    qelcore::console::CommandRegistry::UnregisterCommand(kPurgeCommandName);
    const MediaManagerRef manager = Running();
    if (manager)
    {
        manager->StopJobs();
        manager->Purge(kEverything, kPurgeUrgency_Immediate);
        manager->TakeNoMoreEvents();
    }
    qelcore::utility::MemoryRecycler::SetPoolLimit(1);
    qelcore::utility::MemoryRecycler::ReconcileSize();
    MediaManagerRef gone; // its end is not to come with the mutex held
    RecursiveMutex::ScopedLock lock(sMediaManagerMutex, "RK::MediaManager::Shutdown");
    gone.swap(sMediaManager);
}

// What comes after the last purge is not registered any more. An add that came in between is forgotten
// without a Flush: its owner is told nothing, and keeps it.
void MediaManager::TakeNoMoreEvents()
{
    mStopped = true;
    DrainAfterStop();
}

MediaManagerRef MediaManager::Running()
{
    RecursiveMutex::ScopedLock lock(sMediaManagerMutex, "RK::MediaManager::Running");
    return sMediaManager;
}

void MediaManager::AddRef()
{
    ZOR::SingletonSupport<MediaManagerRef>::AddRef(this);
}

void MediaManager::Release()
{
    ZOR::SingletonSupport<MediaManagerRef>::Release(this);
}

qelcore::Result MediaManager::QueryMap(const ZOR::CFUUIDBytes& inID, void** outInterface)
{
    if (outInterface && ZOR::ToGuid(inID) == kMediaManagerClassID)
    {
        *outInterface = this;
        AddRef();
        return qelcore::kResult_OK;
    }
    return ZOR::Details::AnswerQueryMap<IMediaManager>(this, inID, outInterface);
}

ZOR::ZORUnknown* MediaManager::GetZORUnknown()
{
    return this;
}

MediaManager::operator ZOR::InterfaceRef<ZOR::ZORUnknown, ZOR::ZORUnknown>()
{
    return ZOR::InterfaceRef<ZOR::ZORUnknown, ZOR::ZORUnknown>(this);
}

Guid MediaManager::AcquireUniqueID()
{
    return Guid::CreateUnique();
}

double MediaManager::Now() const
{
    return static_cast<double>(HighPrecisionTime::ConvertToNanos(
               HighPrecisionTime::GetCurrentTime() - mStartTime)) /
           1e9;
}

std::uint32_t MediaManager::GetNumberOfEntries() const
{
    return mNumberOfEntries.load(std::memory_order_relaxed);
}

std::uint64_t MediaManager::GetCurrentSpace() const
{
    return mCurrentSpace.load(std::memory_order_relaxed);
}

std::uint64_t MediaManager::GetLostEventCount() const noexcept
{
    return mEvents.LostCount() + mLostAddCount.load(std::memory_order_relaxed);
}

IMediaManagerRef GetMediaManager()
{
    return ZOR::QueryInterface<IMediaManager>(
        ZOR::SingletonSupport<MediaManagerRef>::CreateClassRef());
}

std::uint64_t MM::GetSize()
{
    const MediaManagerRef manager = MediaManager::Running();
    return manager ? manager->GetCurrentSpace() : 0;
}

bool MM::HasSufficientMemory()
{
    return true;
}

std::uint64_t MM::Purge(std::size_t inSize, PurgeUrgency inUrgency)
{
    const MediaManagerRef manager = MediaManager::Running();
    return manager ? manager->Purge(inSize, inUrgency) : 0;
}

} // namespace RK
