// What each policy asks for.
#include "MediaManager/MemoryControlLoop.h"

#include <algorithm>
#include <limits>

#include "MediaManager/OnceFigure.h"
#include "qelcore/MachineFigures.h"

namespace RK
{

using Details::Move;
using Details::Project;
using Details::TruncateToBytes;

namespace
{

constexpr std::uint64_t kLeastFreePhysicalMemory = 536870912;
constexpr std::uint64_t kFreeActiveMemoryToKeep = 268435456;

constinit OnceFigure sMinimumFreePhysicalMemory;

std::uint64_t Difference(std::uint64_t inFrom, std::uint64_t inLess) noexcept
{
    return inFrom - std::min(inFrom, inLess);
}

// What is over the limit now goes at once, and what will be over it goes a third at a time. A figure
// that falls by more than there is of it says nothing of what is to come.
std::uint64_t KeepBelow(std::uint64_t inLimit, int inDistance, const MemoryStatistic& inStatistic)
{
    const std::uint64_t over = Difference(inStatistic.current, inLimit);
    std::uint64_t projected = 0;
    if (!Move(inStatistic.current, Project(inStatistic, inDistance), projected))
        return over;
    return std::max(over, Difference(projected, inLimit) / 3);
}

std::uint64_t ComputeMinimumFreePhysicalMemory()
{
    return std::max(qelcore::utility::TotalPhysicalMemory() / 20, kLeastFreePhysicalMemory);
}

std::int64_t Double(std::int64_t inBytes) noexcept
{
    using Limits = std::numeric_limits<std::int64_t>;
    return std::clamp(inBytes, Limits::min() / 2, Limits::max() / 2) * 2;
}

} // namespace

void Details::ForgetMachineOfPolicies() noexcept
{
    sMinimumFreePhysicalMemory.Forget();
}

/// Keeps the cache within its limit.
std::uint64_t CacheLimitPolicy(const MemoryLimits& inLimits, int inDistance,
                               const MemoryControlLoopStatistics& inStatistics)
{
    return KeepBelow(inLimits.cacheLimit, inDistance, inStatistics.cache);
}

/// Keeps the process within its limit, at the cost of the cache.
std::uint64_t MemoryLimitPolicy(const MemoryLimits& inLimits, int inDistance,
                                const MemoryControlLoopStatistics& inStatistics)
{
    return KeepBelow(inLimits.memoryLimit, inDistance, inStatistics.processMemory);
}

/// Lets the cache grow by a 3000th of its limit a sample, and takes the rest back.
std::uint64_t CacheGrowthPolicy(const MemoryLimits& inLimits, int,
                                const MemoryControlLoopStatistics& inStatistics)
{
    const std::uint64_t allowed = inLimits.cacheLimit / 3000;
    const std::int64_t growth = std::max(TruncateToBytes(inStatistics.cache.smoothChange),
                                         TruncateToBytes(inStatistics.cache.reactiveChange));
    return growth < 0 ? 0 : Difference(static_cast<std::uint64_t>(growth), allowed);
}

/// Keeps a twentieth of the machine's memory free, 512 MiB at least. FlushTo has another figure for when
/// there is no loop.
std::uint64_t FreeMemoryPolicy(const MemoryLimits&, int inDistance,
                               const MemoryControlLoopStatistics& inStatistics)
{
    const std::uint64_t minimum = sMinimumFreePhysicalMemory.Get(ComputeMinimumFreePhysicalMemory);
    const MemoryStatistic& free = inStatistics.freeMemory;
    std::uint64_t projected = 0; // also if free memory falls by more than there is
    Move(free.current, Project(free, inDistance), projected);
    return Difference(minimum, projected);
}

/// Gives up memory while the system compresses that of the process: little while that stands still, and
/// twice what the cache grows by, or a 33rd of it, while more is compressed.
std::uint64_t CompressedMemoryPolicy(const MemoryLimits&, int,
                                     const MemoryControlLoopStatistics& inStatistics)
{
    const MemoryStatistic& compressed = inStatistics.processCompressed;
    const MemoryStatistic& cache = inStatistics.cache;
    const std::uint64_t share = compressed.current / 50;
    if (compressed.current <= compressed.last && TruncateToBytes(compressed.smoothChange) < 1 &&
        TruncateToBytes(compressed.reactiveChange) < 1)
        return share;
    const std::int64_t ofCache = std::max(Double(TruncateToBytes(cache.smoothChange)),
                                          static_cast<std::int64_t>(cache.current / 33));
    return std::max(static_cast<std::uint64_t>(ofCache), share);
}

/// Sees to it that the memory to be had at once suffices for 256 MiB and the growth of the cache, looking
/// three times as far ahead for the latter.
std::uint64_t ActiveMemoryPolicy(const MemoryLimits&, int inDistance,
                                 const MemoryControlLoopStatistics& inStatistics)
{
    const MemoryStatistic& free = inStatistics.freeActiveMemory;
    const MemoryStatistic& cache = inStatistics.cache;
    std::uint64_t active = 0;
    Move(free.current, Project(free, inDistance), active);
    std::uint64_t cacheProjected = 0;
    Move(cache.current, Project(cache, std::int64_t{3} * inDistance), cacheProjected);

    // A cache that shrinks makes demand negative, and so nothing is asked for. Beyond that all is unsigned.
    const std::uint64_t lacking = Difference(kFreeActiveMemoryToKeep, active);
    const std::uint64_t growth = Difference(cacheProjected, cache.current);
    const std::uint64_t shrinkage = Difference(cache.current, cacheProjected);
    const std::uint64_t demand = Difference(lacking + growth, shrinkage);
    return Difference(demand, active) / 3;
}

} // namespace RK
