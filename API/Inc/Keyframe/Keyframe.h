#pragma once

#include <cstdint>

#include "ZOR/ParamPoint.h"
#include "qelmediatypes/TickTime.h"

namespace RK
{

/// How a segment runs next to a keyframe. Stored in documents: never renumber.
enum KeyframeInterpolation : std::int32_t
{
    kKeyframeInterpolation_Bezier = 5, ///< along a spatial Bezier path, by the tangent of that side
};

// A keyframe: a value at a time, and how the value is reached and left. What this library reads of it;
// an application's own keyframes hold more.
//
// Units    Speeds are in units of the value a second, in the direction of travel. An influence is the
//          part of the segment, 0 to 1, over which the speed of that side makes itself felt.
// Threads  A value type.
template <class T>
struct Keyframe
{
    const qelmediatypes::TickTime& GetPosition() const noexcept { return position; }

    qelmediatypes::TickTime position;
    double inSpeed = 0.0;      ///< at arrival
    double inInfluence = 0.0;  ///< at arrival
    double outSpeed = 0.0;     ///< at departure
    double outInfluence = 0.0; ///< at departure
    T value = T();
    std::int32_t interpolation = 0; ///< a KeyframeInterpolation, or a number that means none here
    T inTangent = T();              ///< relative to value
    T outTangent = T();             ///< relative to value
};

using PointKeyframe = Keyframe<ZOR::ParamPoint<double>>;

} // namespace RK
