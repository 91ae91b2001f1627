#pragma once

#include "ZOR/InterfaceRef.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Export.h"
#include "qelmediatypes/TickTime.h"

namespace RK
{

// A linear map of times: from an original time to a transformed one and back, and how fast it runs.
//
// Threads  What CreateTimeTransform() makes never changes, and may be used and held by any thread.
// Accuracy Times are whole ticks. A product or quotient is rounded to the nearest tick, a half away from 0,
//          without loss on the way; a scale of exactly 1 is no multiplication at all.
// Errors   Nothing raises but what is told.
class RK_API ITimeTransform : public ZOR::ZORUnknown
{
public:
    /// inTime * scale + offset, within the range: not below the minimum, and not above the maximum, which
    /// has the last word if the two cross.
    /// @param inUnused  has no effect.
    virtual qelmediatypes::TickTime GetTime(const qelmediatypes::TickTime& inTime,
                                            bool inUnused) const = 0;
    /// The original times that may be asked for: from zero ...
    virtual qelmediatypes::TickTime GetTimeRangeMin(const qelmediatypes::TickTime& inTime) = 0;
    /// ... to kTime_Max, whatever the argument.
    virtual qelmediatypes::TickTime GetTimeRangeMax(const qelmediatypes::TickTime& inTime) = 0;
    /// The inverse, (inTransformedTime - offset) / scale, within -kTime_Max and kTime_Max. GetTime() of the
    /// result is inTransformedTime again where |scale| is at most 1, and within |scale| / 2 ticks elsewhere.
    /// A scale of 0 gives the end of all times on the side of the offset; 0 / 0 is zero.
    /// Contract: inTransformedTime lies in the range. Where the error manager lets execution go on, the
    /// result is computed all the same.
    /// @param inUnused  has no effect.
    virtual qelmediatypes::TickTime
    GetOriginalTime(const qelmediatypes::TickTime& inTransformedTime, bool inUnused) const = 0;
    /// Transformed time per original time: the scale while inTime * scale + offset lies in the range, and
    /// else 0, since GetTime() stands still there. Of the range's two ends the one at which the time
    /// comes to a stop is outside: the upper one for a scale above 0, else the lower one.
    virtual double GetRate(const qelmediatypes::TickTime& inTime) const = 0;
};

// The numbers of such a map. Whoever has an ITimeTransform gets this by ZOR::QueryInterface.
class RK_API ITimeTransformData : public ZOR::ZORUnknown
{
public:
    virtual qelmediatypes::TickTime GetOffset() const = 0;
    virtual double GetScale() const = 0;
    virtual qelmediatypes::TickTime GetMin() const = 0;
    virtual qelmediatypes::TickTime GetMax() const = 0;
};

using ITimeTransformRef = ZOR::InterfaceRef<ITimeTransform, ITimeTransform>;
using ITimeTransformDataRef = ZOR::InterfaceRef<ITimeTransformData, ITimeTransformData>;

RK_API const qelcore::utility::Guid& GuidOf(ITimeTransform*);
RK_API const qelcore::utility::Guid& GuidOf(ITimeTransformData*);

/// Makes a map. No argument is checked.
/// @param inOffset       added after scaling.
/// @param inScale        1 plays as it is, 2 twice as fast, -1 backwards. A NaN maps every time to inOffset.
/// @param inMin, inMax   the range of transformed times.
RK_API ITimeTransformRef CreateTimeTransform(const qelmediatypes::TickTime& inOffset,
                                             double inScale, const qelmediatypes::TickTime& inMin,
                                             const qelmediatypes::TickTime& inMax);

} // namespace RK
