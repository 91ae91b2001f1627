#include "Keyframe/PointKeyframeVelocityCache.h"

#include <cmath>

#include "RKBezier.h"

namespace RK
{

namespace
{

using Point = ZOR::ParamPoint<double>;

constexpr unsigned kLastSegment = PointKeyframeVelocityCache::kDistanceCount - 2;

bool HasHandle(const PointKeyframe& inKeyframe)
{
    return inKeyframe.interpolation == kKeyframeInterpolation_Bezier;
}

double Length(double inX, double inY)
{
    return std::sqrt(inX * inX + inY * inY);
}

// |dP/dt| of a path by its four control points.
double SpeedAt(double inT, const Point (&inPath)[4])
{
    const double dx =
        BezierCore::GetBezierDeriv(inT, inPath[0].x, inPath[1].x, inPath[2].x, inPath[3].x);
    const double dy =
        BezierCore::GetBezierDeriv(inT, inPath[0].y, inPath[1].y, inPath[2].y, inPath[3].y);
    return Length(dx, dy);
}

void FillTables(const Point (&inPath)[4], PointKeyframeVelocityCache& outCache)
{
    double* const speeds = outCache.speeds;
    double sum = 0.0;
    outCache.distances[0] = 0.0;
    for (unsigned i = 0; i < PointKeyframeVelocityCache::kSpeedCount; ++i)
    {
        speeds[i] = SpeedAt(i * 0.015625, inPath);
        if (i < 2 || i % 2 != 0)
            continue;
        // Simpson's rule over two steps of 1/64: a third of a step is 1/192.
        sum += speeds[i] + 4.0 * speeds[i - 1] + speeds[i - 2];
        outCache.distances[i / 2] = sum / 192.0;
    }
}

} // namespace

unsigned PointKeyframeVelocityCache::FindDistanceIndex(double inDistance) const
{
    unsigned i = 16;
    for (unsigned step = 8;; step = step > 1 ? step / 2 : 1)
    {
        if (distances[i] <= inDistance && distances[i + 1] > inDistance)
            return i == kLastSegment ? kLastSegment - 1 : i;
        if (distances[i] > inDistance)
        {
            const unsigned old = i;
            i -= step;
            if (old == step)
                return i;
        }
        else
        {
            i += step;
            if (i == kLastSegment)
                return kLastSegment - 1;
        }
    }
}

void InitializeVelocityCache(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                             PointKeyframeVelocityCache& outCache)
{
    const Point& first = inLHS.value;
    const Point& last = inRHS.value;
    outCache.isCurved = HasHandle(inLHS) || HasHandle(inRHS);
    if (outCache.isCurved)
    {
        const Point path[4] = {first, HasHandle(inLHS) ? first + inLHS.outTangent : first,
                               HasHandle(inRHS) ? last + inRHS.inTangent : last, last};
        FillTables(path, outCache);
        outCache.totalDistance = outCache.distances[kLastSegment + 1];
    }
    else
        outCache.totalDistance = Length(last.x - first.x, last.y - first.y);
    outCache.startTime = inLHS.GetPosition();
    outCache.endTime = inRHS.GetPosition();
    outCache.valid = true;
}

} // namespace RK
