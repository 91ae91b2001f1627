#include "RKBezier.h"
#include "RKTemporalEase.h"

#include <algorithm>

#include "Keyframe/BezierSteps.h"
#include "qelcore/Contract.h"

namespace RK
{
namespace BezierUtils
{

using BezierCore::Details::ClampToUnit;
using qelmediatypes::TickTime;

namespace
{

constexpr const char* kSourcePath = "Src/Keyframe/BezierUtils";

bool AreInUnit(const double* inParts, std::size_t inCount)
{
    return std::all_of(inParts, inParts + inCount, BezierCore::Details::IsInUnit);
}

// The ends of a segment are its keyframes, and must not depend on rounding: at part 1 the closed form may
// miss the root at 1 (as the least of three it is excluded, and beside a double root rounding can leave
// only the third), and at part 0 it may find one a little beside 0.
double EndOr(double inPart, double inFactor)
{
    return inPart == 0.0 || inPart == 1.0 ? inPart : inFactor;
}

} // namespace

double GetBezierTValue(TickTime inValue, TickTime inP1, TickTime inP2, TickTime inP3, TickTime inP4)
{
    return BezierCore::GetBezierTValue(inValue.GetSeconds(), inP1.GetSeconds(), inP2.GetSeconds(),
                                       inP3.GetSeconds(), inP4.GetSeconds());
}

double GetBezier1dDerivFromX(TickTime inXPos, TickTime inX1, double inY1, TickTime inX2,
                             double inY2, TickTime inX3, double inY3, TickTime inX4, double inY4)
{
    return BezierCore::GetBezier1dDerivFromX(inXPos.GetSeconds(), inX1.GetSeconds(), inY1,
                                             inX2.GetSeconds(), inY2, inX3.GetSeconds(), inY3,
                                             inX4.GetSeconds(), inY4);
}

void Get2dTemporalEaseValues(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                             double inAverageVelocity, double& outX2, double& outY2, double& outX3,
                             double& outY3)
{
    RK_CHECK_CONTRACT(inAverageVelocity != 0.0, "inAverageVelocity != 0.0", kSourcePath);
    RK_CHECK_CONTRACT(inLHS.GetPosition() < inRHS.GetPosition(),
                      "inLHS.GetPosition() < inRHS.GetPosition()", kSourcePath);
    outX2 = ClampToUnit(inLHS.outInfluence);
    outY2 = outX2 * (inLHS.outSpeed / inAverageVelocity);
    if (outY2 > 1.0)
    {
        outX2 = outX2 / outY2;
        outY2 = 1.0;
    }
    const double influence = ClampToUnit(inRHS.inInfluence);
    outX3 = 1.0 - influence;
    outY3 = 1.0 - influence * (inRHS.inSpeed / inAverageVelocity);
    if (outY3 < 0.0)
    {
        outX3 = ClampToUnit(1.0 - influence / (1.0 - outY3));
        outY3 = 0.0;
    }
}

double Get2dTemporalEaseFactor(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                               double inPart, double inAverageVelocity)
{
    RK_CHECK_CONTRACT(inLHS.GetPosition() < inRHS.GetPosition(),
                      "inLHS.GetPosition() < inRHS.GetPosition()", kSourcePath);
    RK_CHECK_CONTRACT(inPart >= 0.0 && inPart <= 1.0, "inPart >= 0.0 && inPart <= 1.0",
                      kSourcePath);
    double x2, y2, x3, y3;
    Get2dTemporalEaseValues(inLHS, inRHS, inAverageVelocity, x2, y2, x3, y3);
    const double t = ClampToUnit(BezierCore::GetBezierTValue(inPart, 0.0, x2, x3, 1.0));
    return EndOr(inPart, ClampToUnit(BezierCore::GetBezierValue(t, 0.0, y2, y3, 1.0)));
}

void Get2dTemporalEaseFactors(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                              const double* inParts, std::size_t inCount, double inAverageVelocity,
                              double* outFactors)
{
    RK_CHECK_CONTRACT(inLHS.GetPosition() < inRHS.GetPosition(),
                      "inLHS.GetPosition() < inRHS.GetPosition()", kSourcePath);
    RK_CHECK_CONTRACT(AreInUnit(inParts, inCount), "inPart >= 0.0 && inPart <= 1.0", kSourcePath);
    double x2, y2, x3, y3;
    Get2dTemporalEaseValues(inLHS, inRHS, inAverageVelocity, x2, y2, x3, y3);
    const auto times = BezierCore::Details::CubicFamily::OfCurve(0.0, x2, x3, 1.0);
    const BezierCore::Details::ValuePolynomial values(0.0, y2, y3, 1.0);
    // In blocks, so that outFactors may be inParts, and the second loop has no calls in it.
    constexpr std::size_t kBlock = 64;
    double t[kBlock];
    for (std::size_t begin = 0; begin < inCount; begin += kBlock)
    {
        const std::size_t count = std::min(kBlock, inCount - begin);
        for (std::size_t i = 0; i < count; ++i)
            t[i] = times.SingleRoot(0.0 - inParts[begin + i]);
        for (std::size_t i = 0; i < count; ++i)
            outFactors[begin + i] = EndOr(inParts[begin + i], ClampToUnit(values.At(t[i])));
    }
}

double Get2dTemporalEaseDeriv(const PointKeyframe& inLHS, const PointKeyframe& inRHS, double inPart,
                              double inAverageVelocity)
{
    RK_CHECK_CONTRACT(inPart >= 0.0 && inPart <= 1.0, "inPart >= 0.0 && inPart <= 1.0",
                      kSourcePath);
    double x2, y2, x3, y3;
    Get2dTemporalEaseValues(inLHS, inRHS, inAverageVelocity, x2, y2, x3, y3);
    return BezierCore::GetBezier1dDerivFromX(inPart, 0.0, 0.0, x2, y2, x3, y3, 1.0, 1.0);
}

} // namespace BezierUtils
} // namespace RK
