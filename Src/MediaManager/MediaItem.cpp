#include "MediaManager/MediaItem.h"

#include <algorithm>
#include <cmath>

namespace RK
{

namespace
{

constexpr double kTickCircleSeconds = 171798.0; // just below 2^32 ticks
constexpr double kTicksPerSecond = 25000.0;
constexpr Size kLargestItemWithoutOffset = 100000;

} // namespace

std::uint32_t MediaTick(double inSeconds) noexcept
{
    return static_cast<std::uint32_t>(
        static_cast<std::int64_t>(std::fmod(inSeconds, kTickCircleSeconds) * kTicksPerSecond));
}

std::int64_t MediaPriorityOffset(Size inSize, Priority inPriority) noexcept
{
    const float fraction = static_cast<float>(std::min(inPriority, kMaxMediaPriority)) * 0.01f;
    const float sizeFactor = inSize > kLargestItemWithoutOffset ? 1.0f : 0.0f;
    return static_cast<std::int64_t>(std::sqrt(fraction) * sizeFactor *
                                     static_cast<float>(kMaxPriorityOffset));
}

void RankMediaItem(MediaItemWeight& ioWeight, double inSeconds) noexcept
{
    ioWeight.priority = std::min(ioWeight.priority, kMaxMediaPriority);
    ioWeight.priorityOffset = MediaPriorityOffset(ioWeight.size, ioWeight.priority);
    ioWeight.weight = static_cast<std::int64_t>(MediaTick(inSeconds)) - ioWeight.priorityOffset;
}

} // namespace RK
