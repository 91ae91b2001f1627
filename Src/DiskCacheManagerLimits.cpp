#include <algorithm>
#include <ctime>
#include <limits>

#include <boost/date_time/c_time.hpp>

#include "DiskCacheManager.h"
#include "Platform/FileSystem.h"
#include "qelcore/UTCTime.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

using boost::posix_time::ptime;
using boost::posix_time::time_duration;

/// In single precision from end to end, which is contract: the result is what others work out too.
std::uint64_t PercentageOf(std::uint64_t inSize, float inPercentage)
{
    constexpr float kBeyond = 18446744073709551616.0f; // 2 to the power of 64
    const float bytes = static_cast<float>(inSize) * inPercentage / 100.0f;
    if (!(bytes > 0.0f)) // nor a number that is none
        return 0;
    return bytes < kBeyond ? static_cast<std::uint64_t>(bytes)
                           : std::numeric_limits<std::uint64_t>::max();
}

} // namespace

std::uint64_t AllowedBytes(const VolumeLimits& inLimits, std::uint64_t inUsedBytes,
                           std::uint64_t inFreeBytes)
{
    std::uint64_t required = inLimits.mFreeSpaceBytes.value_or(0);
    if (inLimits.mFreeSpacePercentage)
        required =
            std::max(required, PercentageOf(inLimits.mVolumeSize, *inLimits.mFreeSpacePercentage));
    const std::uint64_t ceiling =
        std::min(inLimits.mVolumeSize, inLimits.mMaxUsedBytes.value_or(inLimits.mVolumeSize));
    std::uint64_t excess = required - std::min(required, inFreeBytes);
    excess = std::max(excess, inUsedBytes - std::min(inUsedBytes, ceiling));
    if (excess == 0)
        return inFreeBytes;
    return inUsedBytes - std::min(inUsedBytes, excess);
}

ptime Shifted(const ptime& inTime, const time_duration& inDuration)
{
    if (inTime.is_special() || inDuration.is_special())
        return inTime + inDuration;
    const ptime first(boost::posix_time::min_date_time);
    const ptime last(boost::posix_time::max_date_time);
    if (inDuration > last - inTime)
        return last;
    return inDuration < first - inTime ? first : inTime + inDuration;
}

ptime CurrentTime()
{
    const std::int64_t now = Platform::FileSystem().Now().seconds;
    const std::time_t seconds = now;
    std::tm fields{};
    boost::date_time::c_time::gmtime(&seconds, &fields); // throws
    return qelcore::utility::ToUTCTime(now);
}

} // namespace DiskCacheManager
} // namespace RK
