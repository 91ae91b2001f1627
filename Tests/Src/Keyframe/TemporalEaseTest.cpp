#include "RKTemporalEase.h"

#include <cfloat>

#include <gtest/gtest.h>

#include "Exact.h"
#include "RKBezier.h"
#include "Support/ContractWatch.h"
#include "Support/ForgivingErrors.h"

namespace RKTests
{
namespace
{

using namespace RK::BezierUtils;
using RK::PointKeyframe;
using Testing::ContractWatch;
using Testing::ExpectContractViolation;
using Testing::ForgivingErrors;

const std::string kPath = "Src/Keyframe/BezierUtils";
const std::string kVelocity = "inAverageVelocity != 0.0";
const std::string kOrder = "inLHS.GetPosition() < inRHS.GetPosition()";
const std::string kPart = "inPart >= 0.0 && inPart <= 1.0";

// A segment of one second with an average velocity of 2.
class TemporalEase : public testing::Test
{
protected:
    struct Handles
    {
        double x2, y2, x3, y3;
    };

    TemporalEase() { mRHS.position = qelmediatypes::TickTime(254016000000); }

    void Leave(double inInfluence, double inSpeed)
    {
        mLHS.outInfluence = inInfluence;
        mLHS.outSpeed = inSpeed;
    }
    void Arrive(double inInfluence, double inSpeed)
    {
        mRHS.inInfluence = inInfluence;
        mRHS.inSpeed = inSpeed;
    }
    Handles Values() const
    {
        Handles h{};
        Get2dTemporalEaseValues(mLHS, mRHS, mVelocity, h.x2, h.y2, h.x3, h.y3);
        return h;
    }
    double Factor(double inPart) const
    {
        return Get2dTemporalEaseFactor(mLHS, mRHS, inPart, mVelocity);
    }
    double Deriv(double inPart) const
    {
        return Get2dTemporalEaseDeriv(mLHS, mRHS, inPart, mVelocity);
    }

    double mVelocity = 2;
    PointKeyframe mLHS;
    PointKeyframe mRHS;
};

TEST_F(TemporalEase, HandlesComeFromInfluenceAndRelativeSpeed)
{
    Leave(0.25, 3);
    Arrive(0.5, 1);
    const Handles h = Values();
    EXPECT_EQ(0.25, h.x2);
    EXPECT_EQ(0.375, h.y2);
    EXPECT_EQ(0.5, h.x3);
    EXPECT_EQ(0.75, h.y3);
}

TEST_F(TemporalEase, OnlyTheSidesOfTheSegmentCount)
{
    mLHS.inInfluence = 0.7;
    mLHS.inSpeed = 9;
    mRHS.outInfluence = 0.7;
    mRHS.outSpeed = 9;
    const Handles h = Values();
    EXPECT_EQ(0.0, h.x2);
    EXPECT_EQ(0.0, h.y2);
    EXPECT_EQ(1.0, h.x3);
    EXPECT_EQ(1.0, h.y3);
}

TEST_F(TemporalEase, InfluencesOutsideTheUnitActAsItsEnds)
{
    Leave(7, 1);
    Arrive(1.5, 1);
    Handles h = Values();
    EXPECT_EQ(1.0, h.x2);
    EXPECT_EQ(0.5, h.y2);
    EXPECT_EQ(0.0, h.x3);
    EXPECT_EQ(0.5, h.y3);

    Leave(-7, 1);
    Arrive(-0.001, 1);
    h = Values();
    EXPECT_EQ(0.0, h.x2);
    EXPECT_EQ(0.0, h.y2);
    EXPECT_EQ(1.0, h.x3);
    EXPECT_EQ(1.0, h.y3);
}

TEST_F(TemporalEase, AHandleThatWouldLeaveThroughTheTopIsShortenedAlongItsSlope)
{
    Leave(0.5, 16); // to (0.5, 4)
    const Handles h = Values();
    EXPECT_EQ(1.0, h.y2);
    EXPECT_EQ(0.125, h.x2);
}

TEST_F(TemporalEase, AHandleThatWouldLeaveThroughTheBottomIsShortenedAlongItsSlope)
{
    Arrive(0.5, 16); // from (0.5, -3)
    const Handles h = Values();
    EXPECT_EQ(0.0, h.y3);
    EXPECT_EQ(0.875, h.x3);
}

TEST_F(TemporalEase, AHandleThatEndsOnTheEdgeIsNotShortened)
{
    Leave(0.5, 4);
    Arrive(0.5, 4);
    const Handles h = Values();
    EXPECT_EQ(0.5, h.x2);
    EXPECT_EQ(1.0, h.y2);
    EXPECT_EQ(0.5, h.x3);
    EXPECT_EQ(0.0, h.y3);
}

TEST_F(TemporalEase, SpeedsThatPointBackAreLeftOutsideTheSquare)
{
    Leave(0.5, -8);
    Arrive(0.5, -8);
    const Handles h = Values();
    EXPECT_EQ(0.5, h.x2);
    EXPECT_EQ(-2.0, h.y2);
    EXPECT_EQ(0.5, h.x3);
    EXPECT_EQ(3.0, h.y3);
    EXPECT_EQ(0.0, Factor(0.1)) << "on the way back the point waits at its keyframe";
    EXPECT_EQ(1.0, Factor(0.9));
}

TEST_F(TemporalEase, ANegativeVelocityTurnsTheSpeedsRound)
{
    mVelocity = -2;
    Leave(0.25, -3);
    Arrive(0.5, -1);
    const Handles h = Values();
    EXPECT_EQ(0.375, h.y2);
    EXPECT_EQ(0.75, h.y3);
}

TEST_F(TemporalEase, IsExactAtBothEnds)
{
    for (const double out : {0.0, 0.1, 0.25, 1.0 / 3, 0.5, 0.7, 1.0})
        for (const double in : {0.0, 0.05, 1.0 / 3, 0.5, 1.0})
            for (const double speed : {0.0, 2.0, 30.0, -4.0})
            {
                Leave(out, speed);
                Arrive(in, speed);
                EXPECT_EQ(0.0, Factor(0)) << out << " " << in << " " << speed;
                EXPECT_EQ(1.0, Factor(1)) << out << " " << in << " " << speed;
            }
}

TEST_F(TemporalEase, AtTheAverageVelocityIsLinear)
{
    Leave(0.25, 2);
    Arrive(0.25, 2);
    for (int i = 0; i <= 100; ++i)
    {
        EXPECT_NEAR(i / 100.0, Factor(i / 100.0), 64 * kU);
        EXPECT_NEAR(1.0, Deriv(i / 100.0), 1e-12);
    }
}

TEST_F(TemporalEase, FactorIsTheCurvesHeightAtThatPlaceWithinItsBound)
{
    const double handles[][4] = {
        {0.42, 0, 0.42, 0},    {0.9, 0, 0.9, 0},   {1, 0, 1, 0},
        {0.25, 5, 0.4, 1},     {0, 0, 0.5, 0},     {0.5, 0, 0, 0},
        {1.0 / 6, 0, 0.75, 9}, {0.33, -3, 0.2, 2}, {1.0 / 3, 1, 1.0 / 3, 1}};
    for (const auto& h : handles)
    {
        Leave(h[0], h[1]);
        Arrive(h[2], h[3]);
        const Handles v = Values();
        ASSERT_TRUE(IsWellConditioned(v.x2, v.x3));
        const Curve x{0, v.x2, v.x3, 1};
        const Curve y{0, v.y2, v.y3, 1};
        const double bound = TValueBound(v.x2, v.x3);
        const auto clamped = [](const Exact& inValue)
        { return ClampToUnit(static_cast<double>(inValue)); };
        for (int i = 1; i < 100; i += 4)
        {
            // Between the curve's heights a little to the left and a little to the right, if it has no
            // turn there; its turns are no less exact, but harder to say.
            const double part = i / 100.0;
            const double a = clamped(y.ValueAt(x.TAt(part - bound)));
            const double b = clamped(y.ValueAt(x.TAt(part + bound)));
            const double slack = 64 * kU * y.Size();
            EXPECT_GE(Factor(part), std::fmin(a, b) - slack) << part << " " << h[0] << " " << h[2];
            EXPECT_LE(Factor(part), std::fmax(a, b) + slack) << part << " " << h[0] << " " << h[2];
        }
    }
}

TEST_F(TemporalEase, DerivIsTheSlopeOfTheFactor)
{
    Leave(0.4, 1);
    Arrive(0.3, 3);
    const double h = 0x1p-20;
    for (int i = 1; i < 20; ++i)
    {
        const double part = i / 20.0;
        const double slope = (Factor(part + h) - Factor(part - h)) / (2 * h);
        EXPECT_NEAR(slope, Deriv(part), 1e-6);
    }
    EXPECT_NEAR(0.5, Deriv(0), 1e-12) << "the speed of departure over the average velocity";
    EXPECT_NEAR(1.5, Deriv(1), 1e-6);
}

TEST_F(TemporalEase, DerivIsTheGreatestDoubleWhereTheCurveIsVertical)
{
    Leave(0.5, 1e308);
    mVelocity = 1e-6; // y2 is beyond all numbers, so the handle shrinks to (0, 1)
    EXPECT_EQ(0.0, Values().x2);
    EXPECT_EQ(1.0, Values().y2);
    EXPECT_EQ(DBL_MAX, Deriv(0));
}

TEST_F(TemporalEase, RefusesAnAverageVelocityOfZero)
{
    mVelocity = 0;
    ExpectContractViolation([this] { Values(); }, kVelocity, kPath, "Get2dTemporalEaseValues");
    ExpectContractViolation([this] { Factor(0.5); }, kVelocity, kPath, "Get2dTemporalEaseValues");
    ExpectContractViolation([this] { Deriv(0.5); }, kVelocity, kPath, "Get2dTemporalEaseValues");
    mVelocity = -0.0;
    ExpectContractViolation([this] { Values(); }, kVelocity, kPath, "Get2dTemporalEaseValues");
}

TEST_F(TemporalEase, RefusesKeyframesThatAreNotInOrder)
{
    for (const qelmediatypes::TickTime& position : {mRHS.position, -mRHS.position})
    {
        mLHS.position = qelmediatypes::TickTime(254016000000);
        mRHS.position = position;
        ExpectContractViolation([this] { Values(); }, kOrder, kPath, "Get2dTemporalEaseValues");
        ExpectContractViolation([this] { Factor(0.5); }, kOrder, kPath, "Get2dTemporalEaseFactor");
        ExpectContractViolation([this] { Deriv(0.5); }, kOrder, kPath, "Get2dTemporalEaseValues");
    }
}

TEST_F(TemporalEase, RefusesAPartOutsideTheUnit)
{
    for (const double part : {-DBL_MIN, std::nextafter(1.0, 2.0), std::nan("")})
    {
        ExpectContractViolation([&] { Factor(part); }, kPart, kPath, "Get2dTemporalEaseFactor");
        ExpectContractViolation([&] { Deriv(part); }, kPart, kPath, "Get2dTemporalEaseDeriv");
    }
}

TEST_F(TemporalEase, GoesOnWhereTheErrorManagerLetsIt)
{
    const ForgivingErrors forgiving;
    const ContractWatch watch;
    Leave(0.25, 3);
    Arrive(0.5, 1);
    mLHS.position = mRHS.position;
    EXPECT_EQ(0.375, Values().y2);
    ASSERT_EQ(1u, watch.reported.size());
    EXPECT_EQ(kOrder, watch.reported[0].condition);
}

} // namespace
} // namespace RKTests
