// A program of its own, since it puts an operator new that counts in the place of everybody's.
#include <atomic>
#include <new>

#include <gtest/gtest.h>

#include "Keyframe/PointKeyframeVelocityCache.h"
#include "RKBezier.h"
#include "RKTemporalEase.h"
#include "Support/OwnOperatorNew.h"

namespace
{
constinit std::atomic<int> sAllocations{0};
} // namespace

bool Testing::OnAllocation() noexcept
{
    ++sAllocations;
    return true;
}

namespace
{

TEST(CurvesAllocation, ThereIsNoneWhileContractsAreKept)
{
    if (RK_TEST_SANITIZER)
        GTEST_SKIP() << "a sanitizer has the allocator";
    RK::PointKeyframe lhs;
    RK::PointKeyframe rhs;
    lhs.outInfluence = rhs.inInfluence = 0.4;
    lhs.interpolation = RK::kKeyframeInterpolation_Bezier;
    lhs.outTangent = {2, 1};
    rhs.position = qelmediatypes::TickTime(1);
    rhs.value = {1, 5};
    double parts[200];
    double factors[200];
    for (int i = 0; i < 200; ++i)
        parts[i] = i / 199.0;

    const int before = sAllocations;
    double sum = 0;
    for (const double part : parts)
        sum += RK::BezierUtils::Get2dTemporalEaseFactor(lhs, rhs, part, 1) +
               RK::BezierUtils::Get2dTemporalEaseDeriv(lhs, rhs, part, 1);
    RK::BezierUtils::Get2dTemporalEaseFactors(lhs, rhs, parts, 200, 1, factors);
    RK::BezierCore::GetBezierTValues(parts, 200, 0, 0.1, 0.7, 1, factors);
    RK::BezierCore::GetBezierValues(parts, 200, 0, 0.1, 0.7, 1, factors);
    RK::PointKeyframeVelocityCache cache;
    RK::InitializeVelocityCache(lhs, rhs, cache);
    sum += cache.FindDistanceIndex(1);
    EXPECT_EQ(before, sAllocations);
    EXPECT_LT(0, sum);

    ::operator delete(::operator new(1)); // the counter does count
    EXPECT_EQ(before + 1, sAllocations);
}

} // namespace
