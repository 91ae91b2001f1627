#include "RKBezier.h"

#include <cfloat>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "Exact.h"
#include "Support/ContractWatch.h"
#include "Support/ForgivingErrors.h"

namespace RKTests
{
namespace
{

using namespace RK::BezierCore;
using Testing::ContractWatch;
using Testing::ExpectContractViolation;
using Testing::ForgivingErrors;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const std::string kPath = "Src/Keyframe/BezierCore";
const std::string kTCondition = "inTValue >= -0.001 && inTValue <= 1.001";
const std::string kValueCondition = "inValue >= inP1 && inValue <= inP4";

// Straight, eased, flat at one end or both, turning back, constant, with a cusp, large, small, negative.
const Curve kCurves[] = {
    {0, 1.0 / 3, 2.0 / 3, 1},
    {0, 0.25, 0.75, 1},
    {0, 0, 1, 1},
    {0, 1, 0, 1},
    {0, 0.42, 0.58, 1},
    {0, 0, 0, 1},
    {0, 1, 1, 1},
    {0, -0.55, 1.55, 1},
    {0, 0.68, 0.27, 1},
    {5, 5, 5, 5},
    {1, 0, 0, 1},
    {0.1, 0.2, 0.7, 0.3},
    {-3, -2.5, 7, 1000},
    {1e6, 1000000.1, 1000000.2, 1000000.3},
    {1e-8, 2e-8, -3e-8, 5e-8},
    {-1e99, 1e99, -1e99, 1e99},
};

// Each entry is (value looked for) of a rising curve from 0 to 1 with the two inner values.
const double kEases[][2] = {
    {0.25, 0.75},   {0, 1},       {1, 0},       {0.42, 0.58}, {0, 0},         {1, 1},
    {0.42, 1},      {0, 0.58},    {0.9, 0.1},   {1.0 / 3, 1}, {0, 2.0 / 3},   {0.16, 0.3},
    {0.25, 0.1},    {0.68, 0.06}, {0.55, 0.68}, {0.5, 0.5},   {0.333, 0.667}, {0.33, 0.66},
    {0.1, 0.43334}, {0.7, 1},     {0.95, 0.05}, {0.3, 0.6},   {0.2, 0.53},    {0.999, 0.001},
};

TEST(BezierValue, IsWithinItsBoundOfTheTrueValue)
{
    for (const Curve& curve : kCurves)
        for (int i = 0; i <= 256; ++i)
        {
            const double t = i / 256.0;
            const double value = GetBezierValue(t, curve.p1, curve.p2, curve.p3, curve.p4);
            EXPECT_LE(ErrorOf(value, curve.ValueAt(t)), 64 * kU * curve.Size())
                << curve << " at " << t;
        }
}

TEST(BezierDeriv, IsWithinItsBoundOfTheTrueSlope)
{
    for (const Curve& curve : kCurves)
        for (int i = 0; i <= 256; ++i)
        {
            const double t = i / 256.0;
            const double deriv = GetBezierDeriv(t, curve.p1, curve.p2, curve.p3, curve.p4);
            EXPECT_LE(ErrorOf(deriv, curve.DerivAt(t)), 64 * kU * curve.Size())
                << curve << " at " << t;
        }
}

TEST(BezierValue, BeginsExactlyAtTheFirstControlValue)
{
    for (const Curve& curve : kCurves)
        EXPECT_EQ(curve.p1, GetBezierValue(0.0, curve.p1, curve.p2, curve.p3, curve.p4)) << curve;
}

TEST(BezierValue, ClampsWhatIsALittleBeyondTheEnds)
{
    EXPECT_EQ(GetBezierValue(1.0, 0.5, 3, -2, 7), GetBezierValue(1.0005, 0.5, 3, -2, 7));
    EXPECT_EQ(GetBezierValue(1.0, 0.5, 3, -2, 7), GetBezierValue(1.001, 0.5, 3, -2, 7));
    EXPECT_EQ(0.5, GetBezierValue(-0.001, 0.5, 3, -2, 7));
}

TEST(BezierValue, RefusesWhatIsFurtherBeyondTheEnds)
{
    for (const double t : {1.002, std::nextafter(1.001, 2.0), std::nextafter(-0.001, -1.0), -7.0,
                           kInfinity, -kInfinity, kNaN})
        ExpectContractViolation([t] { GetBezierValue(t, 0, 0, 1, 1); }, kTCondition, kPath,
                                "GetBezierValue");
}

TEST(BezierValue, GoesOnWithTheClampedTWhereTheErrorManagerLetsIt)
{
    const ForgivingErrors forgiving;
    const ContractWatch watch;
    EXPECT_EQ(GetBezierValue(1.0, 1, 2, 4, 9), GetBezierValue(1.002, 1, 2, 4, 9));
    EXPECT_EQ(1.0, GetBezierValue(-4, 1, 2, 4, 9));
    EXPECT_EQ(2u, watch.reported.size());
}

TEST(BezierDeriv, ClampsAnyTWithoutAContract)
{
    EXPECT_EQ(GetBezierDeriv(0, 1, 2, 4, 9), GetBezierDeriv(-100, 1, 2, 4, 9));
    EXPECT_EQ(GetBezierDeriv(1, 1, 2, 4, 9), GetBezierDeriv(kInfinity, 1, 2, 4, 9));
    EXPECT_EQ(3.0, GetBezierDeriv(0, 1, 2, 4, 9));
    EXPECT_EQ(15.0, GetBezierDeriv(1, 1, 2, 4, 9));
}

TEST(BezierTValue, LeadsToTheValueWithinItsBound)
{
    for (const auto& ease : kEases)
    {
        const Curve curve{0, ease[0], ease[1], 1};
        ASSERT_TRUE(IsWellConditioned(ease[0], ease[1])) << curve;
        const double bound = TValueBound(ease[0], ease[1]);
        for (int i = 1; i < 500; ++i)
        {
            const double value = i / 500.0;
            const double t = ClampToUnit(GetBezierTValue(value, 0, ease[0], ease[1], 1));
            EXPECT_LE(ErrorOf(value, curve.ValueAt(t)), bound) << curve << " at " << value;
        }
    }
}

TEST(BezierTValue, IsWithinTheBoundOverTheSlopeOfTheTrueT)
{
    for (const auto& ease : kEases)
    {
        const Curve curve{0, ease[0], ease[1], 1};
        for (int i = 1; i < 50; i += 2)
        {
            const double value = i / 50.0;
            const Exact truth = curve.TAt(value);
            const double slope = static_cast<double>(curve.DerivAt(truth));
            if (slope < 0.1)
                continue;
            const double t = GetBezierTValue(value, 0, ease[0], ease[1], 1);
            EXPECT_LE(ErrorOf(t, truth), 1.1 * TValueBound(ease[0], ease[1]) / slope)
                << curve << " at " << value;
        }
    }
}

TEST(BezierTValue, OfTheStraightCurveIsTheValue)
{
    for (int i = 0; i <= 100; ++i)
        EXPECT_NEAR(i / 100.0, GetBezierTValue(i / 100.0, 0, 1.0 / 3, 2.0 / 3, 1), 4 * kU);
}

TEST(BezierTValue, IsFoundByTheLowerRulesWhereTheCubicVanishes)
{
    // a = 1e-11: the quadratic rule, which leaves that a out.
    const double x3 = 0.2 + (1 - 1e-11) / 3;
    EXPECT_NEAR(static_cast<double>(Curve{0, 0.2, x3, 1}.TAt(0.4)),
                GetBezierTValue(0.4, 0, 0.2, x3, 1), 2.1e-10);
    // All is zero: a constant, at its start.
    EXPECT_EQ(0.0, GetBezierTValue(5, 5, 5, 5, 5));
}

// Where 1 is the least of three roots it is not taken as the first, and the later ones lie beyond.
TEST(BezierTValue, ARootAtTheEndThatIsTheLeastOfThreeIsNotTaken)
{
    EXPECT_EQ(0.0, GetSingleBezierCubicRoot(1, -6, 11, -6));   // 1, 2 and 3
    EXPECT_EQ(0.0, GetSingleBezierCubicRoot(2, -14, 28, -16)); // 1, 2 and 4
}

TEST(BezierTValue, RefusesAValueThatTheCurveDoesNotHave)
{
    for (const double value : {-1e-300, 1.0000001, kInfinity, kNaN})
        ExpectContractViolation([value] { GetBezierTValue(value, 0, 0.1, 0.9, 1); },
                                kValueCondition, kPath, "GetBezierTValue");
    ExpectContractViolation([] { GetBezierTValue(0.5, 1, 0.1, 0.9, 0); }, kValueCondition, kPath,
                            "GetBezierTValue");
}

TEST(BezierTValue, GoesOnWhereTheErrorManagerLetsIt)
{
    const ForgivingErrors forgiving;
    const ContractWatch watch;
    EXPECT_EQ(GetSingleBezierCubicRoot((0.25 - 0.75) * 3 - 0 + 1, (-2 * 0.25 + 0 + 0.75) * 3,
                                       0.25 * 3, 0 - 1.5),
              GetBezierTValue(1.5, 0, 0.25, 0.75, 1));
    ASSERT_EQ(1u, watch.reported.size());
    EXPECT_EQ(kValueCondition, watch.reported[0].condition);
}

double SlopeOf(const Curve& inX, const Curve& inY, double inXPos)
{
    return GetBezier1dDerivFromX(inXPos, inX.p1, inY.p1, inX.p2, inY.p2, inX.p3, inY.p3, inX.p4,
                                 inY.p4);
}

TEST(Bezier1dDerivFromX, IsTheQuotientOfTheSlopes)
{
    const Curve x{0, 0.25, 0.75, 1};
    for (const Curve& y : {Curve{0, 0.1, 1.2, 1}, Curve{5, 3, -4, 2}, Curve{0, 0, 1, 1}})
        for (int i = 1; i < 20; ++i)
        {
            const Exact t = x.TAt(i / 20.0);
            const Exact truth = y.DerivAt(t) / x.DerivAt(t);
            EXPECT_LE(ErrorOf(SlopeOf(x, y, i / 20.0), truth), 4096 * kU * y.Size()) << y << i;
        }
}

/// What is promised of the slope of y over x: what the error of t makes of the quotient, and a rounding.
Exact SlopeBound(const Curve& inX, const Curve& inY, const Exact& inT)
{
    const auto quotient = [&](const Exact& inAt) -> Exact
    { return inY.DerivAt(inAt) / inX.DerivAt(inAt); };
    const Exact step = 1e-15; // small beside the curve, large beside 50 digits
    const Exact turn = abs(quotient(inT + step) - quotient(inT - step)) / (2 * step);
    return (turn * TValueBound(inX.p2, inX.p3) + 64 * kU * (inY.Size() + abs(quotient(inT)))) /
           inX.DerivAt(inT);
}

TEST(Bezier1dDerivFromX, IsAsExactAsTheTThatItStandsOn)
{
    const Curve ys[] = {{0, 0.1, 1.2, 1}, {5, 3, -4, 2}, {0, 0, 1, 1}};
    for (const auto& ease : kEases)
    {
        const Curve x{0, ease[0], ease[1], 1};
        for (int i = 1; i < 16 && IsWellConditioned(ease[0], ease[1]); ++i)
        {
            const Exact t = x.TAt(i / 16.0);
            if (x.DerivAt(t) < 0.05)
                continue;
            for (const Curve& y : ys)
                ASSERT_LE(ErrorOf(SlopeOf(x, y, i / 16.0), y.DerivAt(t) / x.DerivAt(t)),
                          static_cast<double>(SlopeBound(x, y, t)))
                    << x << y << i;
        }
    }
}

TEST(Bezier1dDerivFromX, IsTheGreatestDoubleWhereOnlyXStandsStill)
{
    const Curve flat{0, 0, 1, 1};
    EXPECT_EQ(DBL_MAX, SlopeOf(flat, {0, 0.5, 0.5, 1}, 0));
    EXPECT_EQ(DBL_MAX, SlopeOf(flat, {0, -0.5, 0.5, 1}, 0)) << "positive even where y falls";
    EXPECT_EQ(0.0, SlopeOf(flat, {0, 0, 0.5, 1}, 0));
}

TEST(Bezier1dDerivFromX, RefusesAPositionOutsideTheCurve)
{
    const std::string condition = "inXPos >= inX1 && inXPos <= inX4";
    for (const double x : {-0.1, 1.1, kNaN})
        ExpectContractViolation([x] { SlopeOf({0, 0.2, 0.8, 1}, {0, 0, 1, 1}, x); }, condition,
                                kPath, "GetBezier1dDerivFromX");
}

TEST(Bezier1dDerivFromX, RefusesAnXThatTurnsBack)
{
    const std::string condition =
        "(inX1 <= inX2) && (inX1 <= inX3) && (inX2 <= inX4) && (inX3 <= inX4)";
    for (const Curve& x : {Curve{0, -0.1, 0.5, 1}, Curve{0, 0.5, -0.1, 1}, Curve{0, 1.1, 0.5, 1},
                           Curve{0, 0.5, 1.1, 1}})
        ExpectContractViolation([&x] { SlopeOf(x, {0, 0, 1, 1}, 0.5); }, condition, kPath,
                                "GetBezier1dDerivFromX");
    EXPECT_NO_THROW(SlopeOf({0, 1, 0, 1}, {0, 0, 1, 1}, 0.5)) << "equal to an end is inside";
    EXPECT_NO_THROW(SlopeOf({0, 0, 1, 1}, {0, 0, 1, 1}, 0.5));
}

TEST(Bezier1dDerivFromX, GoesOnWhereTheErrorManagerLetsIt)
{
    const ForgivingErrors forgiving;
    const ContractWatch watch;
    EXPECT_TRUE(std::isfinite(SlopeOf({0, 0.25, 1.1, 1}, {0, 0, 1, 1}, 0.5)));
    EXPECT_EQ(1u, watch.reported.size());
}

TEST(BezierTimes, AreTakenInSeconds)
{
    using qelmediatypes::TickTime;
    const auto seconds = [](double inSeconds)
    { return TickTime(static_cast<std::int64_t>(inSeconds * 254016000000.0)); };
    EXPECT_EQ(GetBezierTValue(0.625, 0.5, 0.75, 1.0, 1.5),
              RK::BezierUtils::GetBezierTValue(seconds(0.625), seconds(0.5), seconds(0.75),
                                               seconds(1), seconds(1.5)));
    EXPECT_EQ(GetBezier1dDerivFromX(0.625, 0.5, 7, 0.75, 8, 1.0, 9, 1.5, 11),
              RK::BezierUtils::GetBezier1dDerivFromX(seconds(0.625), seconds(0.5), 7, seconds(0.75),
                                                     8, seconds(1), 9, seconds(1.5), 11));
    const TickTime odd(1234567890123456789);
    EXPECT_EQ(
        GetBezierTValue(static_cast<double>(odd.GetTicks()) / 254016000000.0, 0, 1e6, 4e6, 5e6),
        RK::BezierUtils::GetBezierTValue(odd, seconds(0), seconds(1e6), seconds(4e6),
                                         seconds(5e6)));
}

} // namespace
} // namespace RKTests
