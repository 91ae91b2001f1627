// Samples of memory, and the averages of their changes.
#include "MediaManager/MemoryControlLoop.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "qelcore/MachineFigures.h"
#include "qelcore/MemoryRecycler.h"

namespace RK
{

namespace
{

constexpr double kBytesPerGiB = 1073741824.0;
constexpr double kGiBPerByte = 1 / kBytesPerGiB; // a power of two, so this loses nothing

double Blend(double inAverage, double inValue, double inFactor) noexcept
{
    return (1 - inFactor) * inAverage + inValue * inFactor;
}

} // namespace

std::int64_t Details::TruncateToBytes(double inGiB) noexcept
{
    constexpr double kFirstBeyond = 9223372036854775808.0; // 2 to the power 63
    const double bytes = inGiB * kBytesPerGiB;
    if (bytes >= kFirstBeyond)
        return std::numeric_limits<std::int64_t>::max();
    if (bytes < -kFirstBeyond)
        return std::numeric_limits<std::int64_t>::min();
    return std::isnan(bytes) ? 0 : static_cast<std::int64_t>(bytes);
}

std::int64_t Details::Project(const MemoryStatistic& inStatistic, std::int64_t inSamples) noexcept
{
    return TruncateToBytes(static_cast<double>(inSamples) * inStatistic.reactiveChange);
}

bool Details::Move(std::uint64_t inBytes, std::int64_t inChange, std::uint64_t& outMoved) noexcept
{
    const auto change = static_cast<std::uint64_t>(inChange);
    if (inChange >= 0)
    {
        outMoved = inBytes + std::min(change, ~inBytes);
        return true;
    }
    const std::uint64_t fall = 0 - change;
    outMoved = inBytes - std::min(fall, inBytes);
    return fall <= inBytes;
}

void MemoryStatistic::Update(std::uint64_t inValue) noexcept
{
    last = current;
    current = inValue;
    if (sampleCount == 0)
    {
        sampleCount = 1;
        averageChange = reactiveChange = smoothChange = 0;
        return;
    }
    const auto bytes = static_cast<std::int64_t>(current - last);
    const double change = static_cast<double>(bytes) * kGiBPerByte;
    ++sampleCount;
    smoothChange = Blend(smoothChange, change, smoothFactor);
    reactiveChange = Blend(reactiveChange, change, reactiveFactor);
    averageChange += (change - averageChange) / static_cast<double>(sampleCount);
}

void MemoryControlLoopStatistics::Update(const CacheFigures& inCache)
{
    const std::uint64_t process = qelcore::utility::GetCurrentProcessMemoryUsage();
    const std::uint64_t compressed = qelcore::utility::GetCurrentProcessCompressedMemoryUsage();
    const std::uint64_t pool = qelcore::utility::MemoryRecycler::GetCurrentPoolSize();
    // Pages of the pool and of the reserve that nobody has touched are no memory of the process yet.
    const auto rest =
        static_cast<std::int64_t>(process + compressed - inCache.reserve - pool - inCache.space);
    cache.Update(inCache.space);
    highPriorityCache.Update(inCache.highPrioritySpace);
    reserve.Update(inCache.reserve);
    processMemory.Update(process);
    recyclerPool.Update(pool);
    processCompressed.Update(compressed);
    systemCompressed.Update(qelcore::utility::GetAmountOfCompressedMemoryBySystem());
    untracked.Update(static_cast<std::uint64_t>(std::max<std::int64_t>(rest, 0)));
    freeMemory.Update(qelcore::utility::GetFreePhysicalMemory());
    freeActiveMemory.Update(qelcore::utility::GetFreeActiveMemory());
}

} // namespace RK
