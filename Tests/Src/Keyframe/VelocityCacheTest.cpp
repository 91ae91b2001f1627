#include "Keyframe/PointKeyframeVelocityCache.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "Exact.h"

namespace RKTests
{
namespace
{

using RK::PointKeyframe;
using RK::PointKeyframeVelocityCache;
using Point = ZOR::ParamPoint<double>;

PointKeyframe Keyframe(std::int64_t inTicks, const Point& inValue)
{
    PointKeyframe keyframe;
    keyframe.position = qelmediatypes::TickTime(inTicks);
    keyframe.value = inValue;
    return keyframe;
}

PointKeyframe Curved(std::int64_t inTicks, const Point& inValue, const Point& inIn,
                     const Point& inOut)
{
    PointKeyframe keyframe = Keyframe(inTicks, inValue);
    keyframe.interpolation = RK::kKeyframeInterpolation_Bezier;
    keyframe.inTangent = inIn;
    keyframe.outTangent = inOut;
    return keyframe;
}

PointKeyframeVelocityCache CacheOf(const PointKeyframe& inLHS, const PointKeyframe& inRHS)
{
    PointKeyframeVelocityCache cache;
    RK::InitializeVelocityCache(inLHS, inRHS, cache);
    return cache;
}

const PointKeyframe kArcBegin = Curved(10, {1, 0}, {77, 77}, {0, 0.5522847498307936});
const PointKeyframe kArcEnd = Curved(20, {0, 1}, {0.5522847498307936, 0}, {77, 77});

TEST(VelocityCache, OfAStraightSegmentHoldsTheChordAndTouchesNoTable)
{
    PointKeyframeVelocityCache cache;
    cache.speeds[3] = -7;
    cache.distances[0] = -7;
    cache.isCurved = true;
    PointKeyframe lhs = Curved(10, {1, 2}, {9, 9}, {9, 9});
    PointKeyframe rhs = Curved(20, {4, 6}, {9, 9}, {9, 9});
    lhs.interpolation = 4;
    rhs.interpolation = 6;
    RK::InitializeVelocityCache(lhs, rhs, cache);
    EXPECT_TRUE(cache.valid);
    EXPECT_FALSE(cache.isCurved);
    EXPECT_EQ(5.0, cache.totalDistance);
    EXPECT_EQ(qelmediatypes::TickTime(10), cache.startTime);
    EXPECT_EQ(qelmediatypes::TickTime(20), cache.endTime);
    EXPECT_EQ(-7, cache.speeds[3]);
    EXPECT_EQ(-7, cache.distances[0]);
}

TEST(VelocityCache, OfACurveHoldsSpeedsAndDistances)
{
    const PointKeyframeVelocityCache cache = CacheOf(kArcBegin, kArcEnd);
    EXPECT_TRUE(cache.valid);
    EXPECT_TRUE(cache.isCurved);
    EXPECT_EQ(qelmediatypes::TickTime(10), cache.startTime);
    EXPECT_EQ(qelmediatypes::TickTime(20), cache.endTime);
    EXPECT_EQ(0.0, cache.distances[0]);
    EXPECT_EQ(cache.distances[32], cache.totalDistance);
    const Curve x{1, 1, 0.5522847498307936, 0};
    const Curve y{0, 0.5522847498307936, 1, 1};
    for (int i = 0; i <= 64; ++i)
    {
        const Exact dx = x.DerivAt(i / 64.0);
        const Exact dy = y.DerivAt(i / 64.0);
        EXPECT_LE(ErrorOf(cache.speeds[i], sqrt(dx * dx + dy * dy)), 128 * kU) << i;
    }
}

TEST(VelocityCache, DistancesAreSimpsonsSumsOfTheSpeeds)
{
    const PointKeyframeVelocityCache cache = CacheOf(kArcBegin, kArcEnd);
    double sum = 0;
    for (int i = 2; i <= 64; i += 2)
    {
        sum += cache.speeds[i] + 4 * cache.speeds[i - 1] + cache.speeds[i - 2];
        EXPECT_EQ(sum / 192.0, cache.distances[i / 2]) << i;
    }
}

// The length by the same rule with many more steps, of exact speeds.
long double LengthOf(const Curve& inX, const Curve& inY, int inSteps)
{
    const auto speed = [&](int i)
    {
        const Exact t = Exact(i) / inSteps;
        const Exact dx = inX.DerivAt(t);
        const Exact dy = inY.DerivAt(t);
        return static_cast<long double>(Exact(sqrt(dx * dx + dy * dy)));
    };
    long double sum = speed(0) + speed(inSteps);
    for (int i = 1; i < inSteps; ++i)
        sum += (i % 2 != 0 ? 4 : 2) * speed(i);
    return sum / (3.0L * inSteps);
}

TEST(VelocityCache, LengthsAreWithinTheirBound)
{
    const Point tangents[][2] = {{{0, 1}, {-1, 0}}, {{3, 0}, {0, 3}}, {{0.5, 0.1}, {-0.5, 0.2}}};
    for (const auto& tangent : tangents)
    {
        const PointKeyframeVelocityCache cache =
            CacheOf(Curved(0, {0, 0}, {}, tangent[0]), Curved(1, {2, 1}, tangent[1], {}));
        const Curve x{0, tangent[0].x, 2 + tangent[1].x, 2};
        const Curve y{0, tangent[0].y, 1 + tangent[1].y, 1};
        const auto truth = static_cast<double>(LengthOf(x, y, 2048));
        EXPECT_NEAR(truth, cache.totalDistance, 1e-4 * truth);
    }
    // A cusp: out and back along one line, with a halt on the way.
    const PointKeyframeVelocityCache cusp =
        CacheOf(Curved(0, {0, 0}, {}, {1, 1}), Curved(1, {1, 0}, {-1, 1}, {}));
    const auto truth = static_cast<double>(LengthOf({0, 1, 0, 1}, {0, 1, 1, 0}, 4096));
    EXPECT_NEAR(truth, cusp.totalDistance, 1e-2 * truth);
}

TEST(VelocityCache, ASideWithoutInterpolationHasNoHandle)
{
    PointKeyframe lhs = Curved(0, {0, 0}, {}, {0, 5});
    PointKeyframe rhs = Curved(1, {3, 0}, {0, 5}, {});
    lhs.interpolation = 0;
    const PointKeyframeVelocityCache onlyRight = CacheOf(lhs, rhs);
    EXPECT_TRUE(onlyRight.isCurved);
    EXPECT_EQ(0.0, onlyRight.speeds[0]);
    EXPECT_NEAR(15.0, onlyRight.speeds[64], 1e-12);

    lhs.interpolation = RK::kKeyframeInterpolation_Bezier;
    rhs.interpolation = 0;
    const PointKeyframeVelocityCache onlyLeft = CacheOf(lhs, rhs);
    EXPECT_NEAR(15.0, onlyLeft.speeds[0], 1e-12);
    EXPECT_EQ(0.0, onlyLeft.speeds[64]);
}

TEST(VelocityCache, FindsTheSegmentOfEachDistanceButNeverTheLast)
{
    const PointKeyframeVelocityCache cache = CacheOf(kArcBegin, kArcEnd);
    for (unsigned i = 0; i < 32; ++i)
    {
        const unsigned expected = i == 31 ? 30 : i;
        const double begin = cache.distances[i];
        const double end = cache.distances[i + 1];
        EXPECT_EQ(expected, cache.FindDistanceIndex(begin)) << i;
        EXPECT_EQ(expected, cache.FindDistanceIndex((begin + end) / 2)) << i;
        EXPECT_EQ(expected, cache.FindDistanceIndex(std::nextafter(end, 0.0))) << i;
    }
}

TEST(VelocityCache, FindsTheEndsForWhatLiesBeyondThem)
{
    const PointKeyframeVelocityCache cache = CacheOf(kArcBegin, kArcEnd);
    EXPECT_EQ(0u, cache.FindDistanceIndex(0));
    EXPECT_EQ(0u, cache.FindDistanceIndex(std::nextafter(cache.distances[1], 0.0)));
    EXPECT_EQ(0u, cache.FindDistanceIndex(-1));
    EXPECT_EQ(30u, cache.FindDistanceIndex(cache.totalDistance));
    EXPECT_EQ(30u, cache.FindDistanceIndex(1e300));
    EXPECT_EQ(30u, cache.FindDistanceIndex(std::numeric_limits<double>::quiet_NaN()));
}

TEST(VelocityCache, OfAPathThatStandsStillIsSearchedToAnEnd)
{
    const PointKeyframeVelocityCache cache =
        CacheOf(Curved(0, {3, 3}, {}, {}), Curved(1, {3, 3}, {}, {}));
    EXPECT_TRUE(cache.isCurved);
    EXPECT_EQ(0.0, cache.totalDistance);
    EXPECT_EQ(30u, cache.FindDistanceIndex(0));
    EXPECT_EQ(0u, cache.FindDistanceIndex(-1));
}

} // namespace
} // namespace RKTests
