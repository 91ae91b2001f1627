// What moves the budget: reservations, the balancer among processes, high-throughput mode.
#include "MediaManager/MediaManager.h"

#include <algorithm>
#include <array>

#include "MediaManager/MediaManagerStatics.h"
#include "TQM/ApplicationType.h"
#include "qelcore/MachineFigures.h"
#include "qelcore/MixHash.h"

namespace RK
{

using qelcore::threads::RecursiveMutex;

namespace
{

constexpr double kBalancePeriodSeconds = 5.0;
constexpr double kGiB = 1073741824.0;

constinit std::atomic<void (*)(const qelcore::utility::Guid&, long long)> sReserveSizeFunction{
    nullptr};

// The same in every process, and on every machine of either byte order.
qelcore::utility::Guid GuidOfPlugin(int inPluginID)
{
    static constexpr char kSeed[] = "Generated MediaMapID for a pluginID";
    constexpr std::uint32_t kSeedLength = sizeof(kSeed) - 1;
    const auto number = static_cast<std::uint32_t>(inPluginID);
    const std::array<unsigned char, 4> bytes = {
        static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8),
        static_cast<unsigned char>(number >> 16), static_cast<unsigned char>(number >> 24)};

    qelcore::utility::MixHash::HashValue state = {0, 0, 0, kSeedLength};
    qelcore::utility::MixHash::MixInData(state, kSeed, kSeedLength);
    state[3] += static_cast<std::uint32_t>(bytes.size());
    qelcore::utility::MixHash::MixInData(state, bytes.data(), bytes.size());
    return qelcore::utility::MixHash::ToGuid(state);
}

} // namespace

void SetReserveSizeFunction(void (*inFunction)(const qelcore::utility::Guid&, long long))
{
    sReserveSizeFunction = inFunction;
}

void MediaManager::SetReserveSize(int inPluginID, long long inBytes)
{
    SetReserveSizeImpl(GuidOfPlugin(inPluginID), inBytes, false);
}

void MediaManager::AdjustReservedMemorySize(int inPluginID, long long inDeltaBytes)
{
    SetReserveSizeImpl(GuidOfPlugin(inPluginID), inDeltaBytes, true);
}

void MediaManager::SetReserveSize(const qelcore::utility::Guid& inID, long long inBytes)
{
    SetReserveSizeImpl(inID, inBytes, false);
}

void MediaManager::SetReserveSizeImpl(const qelcore::utility::Guid& inID, long long inBytes,
                                      bool inIsDelta)
{
    const auto function = sReserveSizeFunction.load();
    std::int64_t change = 0;
    std::int64_t size = 0;
    {
        RecursiveMutex::ScopedLock lock(mReserveMutex, "RK::MediaManager::SetReserveSizeImpl");
        const auto found = mReserveSizes.find(inID);
        if (found != mReserveSizes.end())
        {
            // In unsigned numbers, since a sum of two callers' figures may pass the range.
            const auto old = static_cast<std::uint64_t>(found->second);
            const auto asked = static_cast<std::uint64_t>(inBytes);
            change = static_cast<std::int64_t>(asked - (inIsDelta ? 0 : old));
            size = static_cast<std::int64_t>(old + static_cast<std::uint64_t>(change));
            if (size <= 0)
                mReserveSizes.erase(found);
            else
                found->second = size;
        }
        else if (inBytes > 0)
        {
            mReserveSizes.emplace(inID, inBytes);
            change = size = inBytes;
        }
        // By the whole change, also where the entry ended with less: whoever gives back too much has
        // lowered the sum for all.
        if (!function)
            mTotalReserve += static_cast<std::uint64_t>(change);
    }
    if (function)
        function(inID, size);
    if (change != 0)
        QueueThreadedPurge();
}

boost::shared_ptr<memorybalancer::MemoryBalancer> MediaManager::GetMemoryBalancer()
{
    return mMemoryBalancer;
}

void MediaManager::SetMaximumSize(std::size_t inBytes)
{
    RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection, "RK::MediaManager::SetMaximumSize");
    mMaximumSizeOverride = inBytes;
}

void MediaManager::MaxMemoryNotification(unsigned long long inMaximum)
{
    const std::uint64_t minimum = GetMinimumAllowedSize();
    {
        RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection,
                                        "RK::MediaManager::MaxMemoryNotification");
        sPCSMemoryManagementEngaged = true;
        const std::uint64_t total = qelcore::utility::TotalPhysicalMemory();
        // Negative on a machine of less than 2 GiB, so compared as signed.
        const auto mostOfMachine =
            static_cast<std::int64_t>(static_cast<double>(total) * 0.75 - 1.5 * kGiB);
        const std::int64_t machineLimit =
            std::max(mostOfMachine, static_cast<std::int64_t>(total / 4));
        const std::uint64_t limit =
            std::min<std::uint64_t>(static_cast<std::uint64_t>(machineLimit), inMaximum);
        sPCSMaximumMemory = std::max(limit - limit / 8, minimum);
    }
    QueueThreadedPurge();
}

MediaManager::BalanceFigures MediaManager::GetBalanceFigures() const
{
    RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection, "RK::MediaManager::GetBalanceFigures");
    return {GetMinimumAllowedSize(),
            mMaximumSizeOverride != 0 ? mMaximumSizeOverride
                                      : qelcore::utility::TotalPhysicalMemory(),
            qelcore::utility::GetCurrentProcessMemoryUsage(), mMemoryPriority};
}

void MediaManager::UpdateMemoryBalance()
{
    RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection,
                                    "RK::MediaManager::UpdateMemoryBalance");
    mBalancePending = false;
    mLastBalanceTime = Now();
    if (!mMemoryBalancer || mStopped || TQM::GetApplicationType() == 1)
        return;
    const BalanceFigures figures = GetBalanceFigures();
    mMemoryBalancer->SetApplicationState(figures.minimum, figures.maximum, figures.used,
                                         figures.priority);
}

void MediaManager::QueueUpdateMemoryBalance()
{
    RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection,
                                    "RK::MediaManager::QueueUpdateMemoryBalance");
    if (mBalancePending || !sPCSMemoryManagementEngaged || !CanPostJobs())
        return;
    const double wait = kBalancePeriodSeconds - (Now() - mLastBalanceTime);
    mBalancePending =
        PostJob(&MediaManager::UpdateMemoryBalance, static_cast<int>(std::max(wait * 1000, 0.0)));
}

void MediaManager::SetApplicationMemoryRequirements(memorybalancer::MemoryPriority inPriority)
{
    RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection,
                                    "RK::MediaManager::SetApplicationMemoryRequirements");
    if (inPriority < mMemoryPriority && mTimeout == 0 && CanPostJobs())
        PostJob(&MediaManager::PurgeToLowerMemoryRequirements, 0);
    mMemoryPriority = inPriority;
    UpdateMemoryBalance();
}

void MediaManager::PurgeToLowerMemoryRequirements()
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::PurgeToLowerMemoryRequirements");
    const std::uint64_t quarter = GetFixedMaxCacheSize() / 4;
    const std::uint64_t keep =
        std::min(GetMinimumAllowedSize(), quarter - std::min(quarter, GetCappedReserveSize()));
    const std::uint64_t space = mCurrentSpace;
    const std::uint64_t amount = std::min(space - mPriorityZeroSpace, keep);
    if (amount != 0)
        Purge(space - amount, kPurgeUrgency_Immediate);
}

void MediaManager::EnterHighThroughputMode()
{
    const double timeout =
        std::clamp(2 * (static_cast<double>(GetMaximumSize()) / kGiB), 5.0, 15.0);
    {
        RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::EnterHighThroughputMode");
        mTimeout = timeout;
    }
    QueueEnterHighThroughputMode();
}

void MediaManager::QueueEnterHighThroughputMode()
{
    RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection,
                                    "RK::MediaManager::QueueEnterHighThroughputMode");
    if (CanPostJobs())
        PostJob(&MediaManager::DoThreadedEnterHighThroughputMode, 0);
}

void MediaManager::ExitHighThroughputMode()
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::ExitHighThroughputMode");
    mTimeout = 0;
}

} // namespace RK
