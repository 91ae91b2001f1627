#pragma once

#include "RKTimeTransform.h"
#include "ZOR/CountedObject.h"

namespace RK
{

// See ITimeTransform. Never changes once it is made.
class TimeTransform : public ZOR::CountedObject<ITimeTransform, ITimeTransformData>
{
public:
    static ZOR::InterfaceRef<TimeTransform, ITimeTransform>
    Create(const qelmediatypes::TickTime& inOffset, double inScale,
           const qelmediatypes::TickTime& inMin, const qelmediatypes::TickTime& inMax);

    qelmediatypes::TickTime GetTime(const qelmediatypes::TickTime& inTime,
                                    bool inUnused) const override;
    qelmediatypes::TickTime GetTimeRangeMin(const qelmediatypes::TickTime& inTime) override;
    qelmediatypes::TickTime GetTimeRangeMax(const qelmediatypes::TickTime& inTime) override;
    qelmediatypes::TickTime GetOriginalTime(const qelmediatypes::TickTime& inTransformedTime,
                                            bool inUnused) const override;
    double GetRate(const qelmediatypes::TickTime& inTime) const override;

    qelmediatypes::TickTime GetOffset() const override { return mOffset; }
    double GetScale() const override { return mScale; }
    qelmediatypes::TickTime GetMin() const override { return mMin; }
    qelmediatypes::TickTime GetMax() const override { return mMax; }

private:
    TimeTransform() = default;

    qelmediatypes::TickTime MapUnclamped(const qelmediatypes::TickTime& inTime) const;

    qelmediatypes::TickTime mOffset;
    double mScale = 1.0;
    qelmediatypes::TickTime mMin;
    qelmediatypes::TickTime mMax;
};

} // namespace RK
