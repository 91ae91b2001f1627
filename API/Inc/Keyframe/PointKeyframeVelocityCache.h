#pragma once

#include "Keyframe/Keyframe.h"
#include "qelcore/Export.h"

namespace RK
{

// How far a point has come along the spatial path between two keyframes: the arc length by the curve's
// parameter t, so that a position at a given distance is found by a search instead of an integration.
//
// Units    Lengths are in units of the keyframes' values, speeds in lengths per unit of t.
// Formula  Simpson's rule with a step of 1/64 over |dP/dt|. For a path whose speed has no sharp dip the
//          relative error of a distance is below 1e-4, and as the fourth power of the step; at a cusp,
//          where the speed falls to 0 within a step, up to 1e-2.
// Threads  Not guarded: its owner fills it once by InitializeVelocityCache(), then anybody may read it.
struct RK_API PointKeyframeVelocityCache
{
    static constexpr unsigned kSpeedCount = 65;
    static constexpr unsigned kDistanceCount = 33;

    /// The segment whose beginning is at most inDistance and whose end is above it: i for
    /// distances[i] <= inDistance < distances[i + 1]. The last segment, 31, is never given: what lies
    /// there or beyond the end is 30, so that there always is a whole segment behind the one given.
    /// Below distances[1], negative included, it is 0. Five looks at the table at most, no allocation.
    /// @param inDistance  of a cache that is valid and isCurved; without a table the answer means nothing.
    unsigned FindDistanceIndex(double inDistance) const;

    bool valid = false; ///< whether InitializeVelocityCache() has filled it
    qelmediatypes::TickTime startTime;
    qelmediatypes::TickTime endTime;
    bool isCurved = false; ///< whether the two tables are filled; a straight path needs none
    double speeds[kSpeedCount] = {};       ///< at t = i / 64
    double distances[kDistanceCount] = {}; ///< from t = 0 to t = i / 32
    double totalDistance = 0.0;
};

/// Fills outCache for the segment from inLHS to inRHS. A side whose keyframe has no Bezier interpolation
/// has a handle of length 0; without any the path is straight, and only totalDistance, the times and
/// the two flags are set. 65 evaluations of a derivative, no allocation.
RK_API void InitializeVelocityCache(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                                    PointKeyframeVelocityCache& outCache);

} // namespace RK
