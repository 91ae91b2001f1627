// What holds for every curve, of whatever numbers.
#include "RKBezier.h"

#include <algorithm>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "Exact.h"
#include "RKTemporalEase.h"

namespace RKTests
{
namespace
{

using namespace RK::BezierCore;

constexpr std::uint64_t kSteps = 1u << 20;

/// In [0, 1], the ends included and often near them.
rc::Gen<double> InUnit()
{
    const auto even = rc::gen::map(rc::gen::inRange<std::uint64_t>(0, kSteps + 1),
                                   [](std::uint64_t n) { return static_cast<double>(n) / kSteps; });
    const auto small =
        rc::gen::map(rc::gen::inRange(0, 52), [](int n) { return std::ldexp(1.0, -n); });
    return rc::gen::oneOf(even, small, rc::gen::map(small, [](double x) { return 1.0 - x; }));
}

struct Ease
{
    double x2, x3;
};

Ease AnyEase()
{
    const Ease ease{*InUnit(), *InUnit()};
    RC_PRE(IsWellConditioned(ease.x2, ease.x3));
    return ease;
}

double TOf(double inValue, const Ease& inEase)
{
    return ClampToUnit(GetBezierTValue(inValue, 0, inEase.x2, inEase.x3, 1));
}

RC_GTEST_PROP(BezierProperty, TheTOfAValueLeadsBackToTheValue, ())
{
    const Ease ease = AnyEase();
    const double bound = TValueBound(ease.x2, ease.x3);
    const double value = *InUnit();
    RC_PRE(value >= bound && value <= 1 - bound);
    const Curve curve{0, ease.x2, ease.x3, 1};
    RC_ASSERT(ErrorOf(value, curve.ValueAt(TOf(value, ease))) <= bound);
    RC_ASSERT(ErrorOf(value, GetBezierValue(TOf(value, ease), 0, ease.x2, ease.x3, 1)) <=
              bound + 64 * kU);
}

RC_GTEST_PROP(BezierProperty, TheValueOfATLeadsBackToTheT, ())
{
    const Ease ease = AnyEase();
    const Curve curve{0, ease.x2, ease.x3, 1};
    const double bound = TValueBound(ease.x2, ease.x3) + 64 * kU;
    const double t = *InUnit();
    const double value = GetBezierValue(t, 0, ease.x2, ease.x3, 1);
    RC_PRE(value >= bound && value <= 1 - bound);
    // t and the answer have nearly the same value; between them the curve rises by at most that.
    const double back = TOf(value, ease);
    RC_ASSERT(ErrorOf(0, curve.ValueAt(back) - curve.ValueAt(t)) <= bound);
}

RC_GTEST_PROP(BezierProperty, AGreaterValueIsNotReachedEarlier, ())
{
    const Ease ease = AnyEase();
    const double bound = TValueBound(ease.x2, ease.x3);
    const double low = *InUnit();
    const double high = *InUnit();
    RC_PRE(low >= bound && high <= 1 - bound && low + 2 * bound < high);
    RC_ASSERT(TOf(low, ease) < TOf(high, ease));
}

RC_GTEST_PROP(BezierProperty, ARisingCurveRises, ())
{
    const Ease ease = AnyEase();
    const double t1 = *InUnit();
    const double t2 = *InUnit();
    RC_PRE(t1 < t2);
    RC_ASSERT(GetBezierValue(t1, 0, ease.x2, ease.x3, 1) <=
              GetBezierValue(t2, 0, ease.x2, ease.x3, 1) + 64 * kU);
    RC_ASSERT(GetBezierDeriv(t1, 0, ease.x2, ease.x3, 1) >= -64 * kU);
}

RC_GTEST_PROP(BezierProperty, ValuesStayWithinTheControlValues, ())
{
    const double p[4] = {*InUnit(), *InUnit(), *InUnit(), *InUnit()};
    const double value = GetBezierValue(*InUnit(), p[0], p[1], p[2], p[3]);
    RC_ASSERT(value >= *std::min_element(p, p + 4) - 64 * kU);
    RC_ASSERT(value <= *std::max_element(p, p + 4) + 64 * kU);
}

RC_GTEST_PROP(BezierProperty, TheCurveTurnedRoundHasTheSameValuesTheOtherWay, ())
{
    const double p[4] = {*InUnit(), *InUnit(), *InUnit(), *InUnit()};
    const double t = static_cast<double>(*rc::gen::inRange<int>(0, 4097)) / 4096;
    RC_ASSERT(std::fabs(GetBezierValue(t, p[0], p[1], p[2], p[3]) -
                        GetBezierValue(1 - t, p[3], p[2], p[1], p[0])) <= 128 * kU);
    RC_ASSERT(std::fabs(GetBezierDeriv(t, p[0], p[1], p[2], p[3]) +
                        GetBezierDeriv(1 - t, p[3], p[2], p[1], p[0])) <= 128 * kU);
}

struct Segment
{
    RK::PointKeyframe lhs;
    RK::PointKeyframe rhs;
};

Segment AnySegment(double inLeastSpeed, double inMostSpeed)
{
    const auto speed = [&] { return inLeastSpeed + *InUnit() * (inMostSpeed - inLeastSpeed); };
    Segment segment;
    segment.lhs.outInfluence = *InUnit();
    segment.lhs.outSpeed = speed();
    segment.rhs.inInfluence = *InUnit();
    segment.rhs.inSpeed = speed();
    segment.rhs.position = qelmediatypes::TickTime(1);
    return segment;
}

RC_GTEST_PROP(EaseProperty, BothEndsAreExactWhateverTheHandles, ())
{
    const Segment segment = AnySegment(-50, 50);
    RC_ASSERT(RK::BezierUtils::Get2dTemporalEaseFactor(segment.lhs, segment.rhs, 0, 1.5) == 0.0);
    RC_ASSERT(RK::BezierUtils::Get2dTemporalEaseFactor(segment.lhs, segment.rhs, 1, 1.5) == 1.0);
}

RC_GTEST_PROP(EaseProperty, FactorsLieInTheUnit, ())
{
    const Segment segment = AnySegment(-50, 50);
    const double factor =
        RK::BezierUtils::Get2dTemporalEaseFactor(segment.lhs, segment.rhs, *InUnit(), 1.5);
    RC_ASSERT(factor >= 0 && factor <= 1);
}

RC_GTEST_PROP(EaseProperty, WithSpeedsThatPointForwardTheFactorRises, ())
{
    const Segment segment = AnySegment(0, 50);
    double x2, y2, x3, y3;
    RK::BezierUtils::Get2dTemporalEaseValues(segment.lhs, segment.rhs, 1.5, x2, y2, x3, y3);
    RC_PRE(IsWellConditioned(x2, x3));
    const double bound = TValueBound(x2, x3);
    const double early = *InUnit();
    const double late = *InUnit();
    RC_PRE(early >= bound && late <= 1 - bound && early + 2 * bound < late);
    RC_ASSERT(RK::BezierUtils::Get2dTemporalEaseFactor(segment.lhs, segment.rhs, early, 1.5) <=
              RK::BezierUtils::Get2dTemporalEaseFactor(segment.lhs, segment.rhs, late, 1.5) +
                  64 * kU);
}

RC_GTEST_PROP(EaseProperty, HandlesStayInTheUnitSquareWithSpeedsThatPointForward, ())
{
    const Segment segment = AnySegment(0, 1e6);
    double x2, y2, x3, y3;
    RK::BezierUtils::Get2dTemporalEaseValues(segment.lhs, segment.rhs, 1.5, x2, y2, x3, y3);
    for (const double coordinate : {x2, y2, x3, y3})
        RC_ASSERT(coordinate >= 0 && coordinate <= 1);
}

} // namespace
} // namespace RKTests
