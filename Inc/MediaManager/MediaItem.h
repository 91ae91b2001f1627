#pragma once

#include <cstdint>
#include <map>
#include <tuple>

#include "RKMediaManager.h"
#include "qelcore/SmallBlockAllocator.h"

namespace RK
{

/// What names an item: its number within its map, and the map.
struct MediaItemID
{
    IMediaMapRef
        map; ///< the owner; no part of the order, and null in a key that only looks for one
    MediaID mediaID = 0;
    qelcore::utility::Guid mapID;

    friend bool operator<(const MediaItemID& a, const MediaItemID& b) noexcept
    {
        return std::tie(a.mediaID, a.mapID) < std::tie(b.mediaID, b.mapID);
    }
};

/// The rank of an item: the lower, the sooner it is purged. Two items never tie.
struct MediaItemWeight
{
    std::int64_t weight = 0;         ///< tick of the last use less priorityOffset
    std::int64_t priorityOffset = 0; ///< ticks by which the item counts as older than it is
    Size size = 0;
    MediaID mediaID = 0;
    std::uint32_t priority = 0; ///< at most kMaxMediaPriority
    std::uint32_t handleCount = 0;
    qelcore::utility::Guid mapID;
    double time = 0; ///< of the last use, seconds since the manager's start

    friend bool operator<(const MediaItemWeight& a, const MediaItemWeight& b) noexcept
    {
        return std::tie(a.weight, a.mediaID, a.mapID) < std::tie(b.weight, b.mediaID, b.mapID);
    }
};

template <class Key, class Value>
using SmallNodeMap =
    std::map<Key, Value, std::less<Key>, qelcore::STLAllocator<std::pair<const Key, Value>>>;

using MediaWeightMap = SmallNodeMap<MediaItemWeight, MediaItemID>;
using MediaIDMap = SmallNodeMap<MediaItemID, MediaItemWeight>;

constexpr Priority kMaxMediaPriority = 100;

/// The largest priorityOffset: 120 s.
constexpr std::int64_t kMaxPriorityOffset = 3000000;

/// Maps seconds onto a circle of 32 bits that turns once in 171798 s, 25000 ticks a second.
std::uint32_t MediaTick(double inSeconds) noexcept;

/// Ticks by which an item counts as older than it is; inPriority above 100 counts as 100. In 32-bit
/// floating point throughout: the figures are what they are by that rounding.
std::int64_t MediaPriorityOffset(Size inSize, Priority inPriority) noexcept;

/// Sets the rank of ioWeight, whose size and priority are set, for a use at inSeconds.
void RankMediaItem(MediaItemWeight& ioWeight, double inSeconds) noexcept;

} // namespace RK
