// How much memory the cache may hold, and FlushTo, which brings it there.
#include "MediaManager/MediaManager.h"

#include <algorithm>
#include <exception>

#include "MediaManager/MediaManagerStatics.h"
#include "MediaManager/OnceFigure.h"
#include "TQM/ApplicationType.h"
#include "ZOR/RegistryKey.h"
#include "qelcore/Contract.h"
#include "qelcore/MachineFigures.h"
#include "qelcore/Trace.h"

namespace RK
{

using qelcore::threads::RecursiveMutex;

namespace
{

constexpr std::uint64_t k64MiB = 0x4000000;
constexpr std::uint64_t k128MiB = 0x8000000;
constexpr std::uint64_t k256MiB = 0x10000000;
constexpr std::uint64_t k512MiB = 0x20000000;
constexpr std::uint64_t k1GiB = 0x40000000;
constexpr std::uint64_t k2GiB = 0x80000000;

std::uint64_t Difference(std::uint64_t inFrom, std::uint64_t inLess) noexcept
{
    return inFrom - std::min(inFrom, inLess);
}

constinit OnceFigure sMinimumAllowedSize;
constinit OnceFigure sMinimumFreePhysicalMemory;

// Memory that the user has taken away from the budget, in blocks. What cannot be read counts as none:
// a purge comes here when memory has run out, and must not end by that.
std::uint32_t ReadMemoryBlocks() noexcept
{
    try
    {
        ZOR::RegistryKey key;
        std::uint32_t blocks = 0;
        if (qelcore::Failed(key.Open(ZOR::RegistryRoot::kCurrentUser, ZOR::GetRegistryBaseKey())) ||
            qelcore::Failed(key.GetUInt32Value(u"MemoryBlocks", blocks)))
            return 0;
        return blocks;
    }
    catch (const std::exception&)
    {
        return 0;
    }
}

// The lines are for people who wonder where their memory went.
std::uint64_t GetReducedMemoryForTesting(std::uint64_t inMemory)
{
    constexpr std::uint32_t kMostBlocks =
        65536; // 16 TiB: a value beyond is garbage, and all memory
    const std::uint32_t blocks = std::min(ReadMemoryBlocks(), kMostBlocks);
    for (std::uint32_t block = 0; block < blocks; ++block)
        RK_TRACE(
            "Main", 1,
            "GetReducedMemoryForTesting() is assuming we've set aside a block of unusable memory.");
    return std::min(blocks * k256MiB, inMemory);
}

std::uint64_t ComputeMinimumAllowedSize()
{
    const std::uint64_t total = qelcore::utility::TotalPhysicalMemory();
    if (total > k2GiB)
        return k512MiB;
    return total > k1GiB ? k256MiB : k128MiB;
}

// What should stay free for the rest of the machine. The policy on free memory has another figure.
std::uint64_t ComputeMinimumFreePhysicalMemory()
{
    const auto total = static_cast<double>(qelcore::utility::TotalPhysicalMemory());
    return std::max(static_cast<std::uint64_t>(total * 0.05), k128MiB);
}

// What the machine and the process ask for, while no control loop says it better.
std::uint64_t ApplyFixedRule(std::uint64_t inPurge, std::uint64_t inCacheLimit)
{
    const std::uint64_t minimumFree =
        sMinimumFreePhysicalMemory.Get(ComputeMinimumFreePhysicalMemory);
    const std::uint64_t need =
        Difference(minimumFree, qelcore::utility::GetFreePhysicalMemory()) + inPurge;
    const std::uint64_t rest = Difference(qelcore::utility::GetCurrentProcessMemoryUsage(), need);
    const auto tolerated = static_cast<std::uint64_t>(static_cast<double>(inCacheLimit) * 1.1);
    return Difference(rest, tolerated) + need;
}

} // namespace

std::uint64_t MediaManager::GetFixedMaxCacheSize()
{
    {
        RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection,
                                        "RK::MediaManager::GetFixedMaxCacheSize");
        if (sPCSMemoryManagementEngaged)
            return sPCSMaximumMemory;
    }
    const bool largerShare = TQM::GetApplicationType() == 1;
    const std::uint64_t memory = std::min(qelcore::utility::TotalPhysicalMemory(),
                                          qelcore::utility::GetTotalVirtualMemory());
    return std::max(memory - GetReducedMemoryForTesting(memory), k64MiB) >> (largerShare ? 2 : 3);
}

float MediaManager::GetFixedInverseMaxCacheSize()
{
    return 1.0f / static_cast<float>(GetFixedMaxCacheSize());
}

std::uint64_t MediaManager::GetMinimumAllowedSize()
{
    return sMinimumAllowedSize.Get(ComputeMinimumAllowedSize);
}

std::uint64_t MediaManager::GetMaximumAllowedSize()
{
    return qelcore::utility::TotalPhysicalMemory();
}

std::uint64_t MediaManager::GetCappedReserveSize() const
{
    std::uint64_t reserve = 0;
    {
        RecursiveMutex::ScopedLock lock(mReserveMutex, "RK::MediaManager::GetCappedReserveSize");
        reserve = mTotalReserve;
    }
    // A budget of 256 MiB or less cannot be reserved from at all.
    return reserve == 0 ? 0 : std::min(reserve, Difference(GetFixedMaxCacheSize(), k256MiB));
}

std::uint64_t MediaManager::GetReserveAdjustedMaxSize() const
{
    const std::uint64_t fixed = GetFixedMaxCacheSize();
    return std::max({Difference(fixed, GetCappedReserveSize()), fixed / 2, k256MiB});
}

std::uint64_t MediaManager::GetMaximumSize() const
{
    return Difference(GetFixedMaxCacheSize(), GetCappedReserveSize());
}

std::uint64_t MediaManager::GetMaxPriorityZeroCacheSize() const
{
    return GetMaximumSize() / 3;
}

std::uint64_t MediaManager::GetMaxPriorityZeroItemSize() const
{
    return std::max<std::uint64_t>(GetMaximumSize() / 7500, 200000);
}

void MediaManager::FlushTo(std::uint32_t inPercentage)
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::MediaManager::FlushTo");
    RK_REQUIRE_CONTRACT(inPercentage <= 100, "inPercentage <= 100",
                        "Src/MediaManager/MediaManager");
    const std::uint64_t fixed = GetFixedMaxCacheSize();
    const std::uint64_t cacheLimit = Difference(fixed / 100 * inPercentage, GetCappedReserveSize());
    const std::uint64_t space = mCurrentSpace;
    const std::uint64_t minimum = GetMinimumAllowedSize();
    std::uint64_t purge = Difference(space, cacheLimit);
    if (space > minimum)
    {
        purge = mControlLoopState
                    ? std::max(purge, ApplyMemoryControlLoopPolicies(LimitsOf(fixed, cacheLimit),
                                                                     *mControlLoopState))
                    : ApplyFixedRule(purge, cacheLimit);
        if (Difference(space, purge) < minimum)
            purge = space - minimum;
    }
    PurgeInternal(purge, kPurgeUrgency_Immediate);
}

void MediaManager::ForgetMachine()
{
    sMinimumAllowedSize.Forget();
    sMinimumFreePhysicalMemory.Forget();
    Details::ForgetMachineOfPolicies();
    RecursiveMutex::ScopedLock lock(sMaxSizeCriticalSection, "RK::MediaManager::ForgetMachine");
    sPCSMemoryManagementEngaged = false;
    sPCSMaximumMemory = 0;
}

} // namespace RK
