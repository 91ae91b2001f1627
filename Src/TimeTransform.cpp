#include "TimeTransform.h"

#include "qelcore/Contract.h"

namespace RK
{

using qelmediatypes::TickTime;

namespace
{

constexpr const char* kSourcePath = "Src/TimeTransform";

} // namespace

const qelcore::utility::Guid& GuidOf(ITimeTransform*)
{
    static constexpr qelcore::utility::Guid sGuid(0x4D0B97E3, 0x16A8, 0x4C52, 0x8E, 0x7F, 0x35,
                                                  0xC1, 0xA9, 0x60, 0x2B, 0xD4);
    return sGuid;
}

const qelcore::utility::Guid& GuidOf(ITimeTransformData*)
{
    static constexpr qelcore::utility::Guid sGuid(0xB7214F5C, 0xE093, 0x4A6D, 0x92, 0x18, 0xD6,
                                                  0x0F, 0x73, 0x8C, 0x45, 0xEA);
    return sGuid;
}

ZOR::InterfaceRef<TimeTransform, ITimeTransform> TimeTransform::Create(const TickTime& inOffset,
                                                                       double inScale,
                                                                       const TickTime& inMin,
                                                                       const TickTime& inMax)
{
    ZOR::InterfaceRef<TimeTransform, ITimeTransform> transform(new TimeTransform);
    transform->mOffset = inOffset;
    transform->mScale = inScale;
    transform->mMin = inMin;
    transform->mMax = inMax;
    return transform;
}

TickTime TimeTransform::MapUnclamped(const TickTime& inTime) const
{
    TickTime time = inTime;
    if (mScale != 1.0)
        time *= mScale;
    return time += mOffset;
}

TickTime TimeTransform::GetTime(const TickTime& inTime, bool) const
{
    TickTime time = MapUnclamped(inTime);
    if (time < mMin)
        time = mMin;
    return time > mMax ? mMax : time;
}

TickTime TimeTransform::GetTimeRangeMin(const TickTime&)
{
    return qelmediatypes::kTime_Zero;
}

TickTime TimeTransform::GetTimeRangeMax(const TickTime&)
{
    return qelmediatypes::kTime_Max;
}

TickTime TimeTransform::GetOriginalTime(const TickTime& inTransformedTime, bool) const
{
    RK_CHECK_CONTRACT(inTransformedTime >= mMin, "inTransformedTime >= mMin", kSourcePath);
    RK_CHECK_CONTRACT(inTransformedTime <= mMax, "inTransformedTime <= mMax", kSourcePath);
    // Differences and quotients of times end at -kTime_Max and kTime_Max by themselves.
    TickTime time = inTransformedTime - mOffset;
    if (mScale != 1.0)
        time /= mScale;
    return time;
}

double TimeTransform::GetRate(const TickTime& inTime) const
{
    const TickTime time = MapUnclamped(inTime);
    const bool isOutside = mScale > 0.0 ? time < mMin || time >= mMax : time <= mMin || time > mMax;
    return isOutside ? 0.0 : mScale;
}

ITimeTransformRef CreateTimeTransform(const TickTime& inOffset, double inScale,
                                      const TickTime& inMin, const TickTime& inMax)
{
    return ZOR::QueryInterface<ITimeTransform>(
        TimeTransform::Create(inOffset, inScale, inMin, inMax));
}

} // namespace RK
