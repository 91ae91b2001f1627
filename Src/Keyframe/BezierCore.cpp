#include "RKBezier.h"

#include <cmath>
#include <limits>

#include "Keyframe/BezierSteps.h"
#include "qelcore/Contract.h"

namespace RK
{
namespace BezierCore
{

namespace Details
{

namespace
{

constexpr double k2Pi = 6.283185307179586;
constexpr double k4Pi = 12.566370614359172;

} // namespace

CubicFamily::CubicFamily(double inA, double inB, double inC)
    : mA(inA)
    , mB(inB)
    , mC(inC)
{
    if (IsZero(mA))
        return;
    const double a = mB / mA;
    const double b = mC / mA;
    mThird = a / 3.0;
    mQ = (a * a - 3.0 * b) / 9.0;
    mQCubed = mQ * mQ * mQ;
    mRWithoutC = (a + a) * a * a - 9.0 * a * b;
}

double CubicFamily::SingleRoot(double inD) const
{
    if (IsZero(mA))
    {
        if (!IsZero(mB))
            return GetSingleBezierQuadraticRoot(mB, mC, inD);
        return IsZero(mC) ? 0.0 : -inD / mC;
    }
    const double r = (27.0 * (inD / mA) + mRWithoutC) / 54.0;
    return mQCubed >= r * r ? TrigonometricRoot(r) : CardanoRoot(r);
}

// Three real roots, the least first, then the greatest.
double CubicFamily::TrigonometricRoot(double inR) const
{
    if (mQ == 0.0)
        return -mThird;
    const double theta = std::acos(inR / std::sqrt(mQCubed));
    const double m = -2.0 * std::sqrt(mQ);
    const double least = m * std::cos(theta / 3.0) - mThird;
    // Without the ends, other than below: where another root lies at an end too, that one is meant.
    if (least > 0.0 && least < 1.0)
        return least;
    const double greatest = m * std::cos((theta + k2Pi) / 3.0) - mThird;
    if (IsInUnit(greatest))
        return greatest;
    const double middle = m * std::cos((theta + k4Pi) / 3.0) - mThird;
    return IsInUnit(middle) ? middle : 0.0;
}

// One real root, wherever it lies.
double CubicFamily::CardanoRoot(double inR) const
{
    constexpr double kOneThird = 1.0 / 3.0;
    const double w = std::sqrt(inR * inR - mQCubed);
    if (inR >= 0.0)
    {
        const double e = std::pow(inR + w, kOneThird);
        return -e - mQ / e - mThird;
    }
    const double e = std::pow(w - inR, kOneThird);
    return mQ / e + e - mThird;
}

} // namespace Details

using namespace Details;

namespace
{

constexpr const char* kSourcePath = "Src/Keyframe/BezierCore";

} // namespace

double GetBezierValue(double inTValue, double inP1, double inP2, double inP3, double inP4)
{
    RK_CHECK_CONTRACT(inTValue >= -0.001 && inTValue <= 1.001,
                      "inTValue >= -0.001 && inTValue <= 1.001", kSourcePath);
    return ValuePolynomial(inP1, inP2, inP3, inP4).At(inTValue);
}

double GetBezierLinearRoot(double inA, double inB)
{
    return IsZero(inA) ? 0.0 : -inB / inA;
}

double GetSingleBezierQuadraticRoot(double inA, double inB, double inC)
{
    if (IsZero(inA))
        return IsZero(inB) ? 0.0 : -inC / inB;
    const double a2 = 2.0 * inA;
    const double c2 = 2.0 * inC;
    const double discriminant = inB * inB - a2 * c2;
    if (discriminant < -kTolerance)
        return 0.0;
    if (IsZero(discriminant))
        return -inB / a2;
    // Only numbers of one sign are added, so nothing cancels.
    const double s = std::sqrt(discriminant);
    const double q = inB > 0.0 ? s + inB : s - inB;
    const double first = inB > 0.0 ? -c2 / q : c2 / q;
    if (IsInUnit(first))
        return first;
    const double second = (inB > 0.0 ? -q : q) / a2;
    return IsInUnit(second) ? second : 0.0;
}

double GetSingleBezierCubicRoot(double inA, double inB, double inC, double inD)
{
    return CubicFamily(inA, inB, inC).SingleRoot(inD);
}

double GetBezierTValue(double inValue, double inP1, double inP2, double inP3, double inP4)
{
    RK_CHECK_CONTRACT(inValue >= inP1 && inValue <= inP4, "inValue >= inP1 && inValue <= inP4",
                      kSourcePath);
    return CubicFamily::OfCurve(inP1, inP2, inP3, inP4).SingleRoot(inP1 - inValue);
}

double GetBezierDeriv(double inTValue, double inP1, double inP2, double inP3, double inP4)
{
    return DerivPolynomial(inP1, inP2, inP3, inP4).At(inTValue);
}

double GetBezier1dDerivFromX(double inXPos, double inX1, double inY1, double inX2, double inY2,
                             double inX3, double inY3, double inX4, double inY4)
{
    RK_CHECK_CONTRACT(inXPos >= inX1 && inXPos <= inX4, "inXPos >= inX1 && inXPos <= inX4",
                      kSourcePath);
    RK_CHECK_CONTRACT((inX1 <= inX2) && (inX1 <= inX3) && (inX2 <= inX4) && (inX3 <= inX4),
                      "(inX1 <= inX2) && (inX1 <= inX3) && (inX2 <= inX4) && (inX3 <= inX4)",
                      kSourcePath);
    const double t = ClampToUnit(GetBezierTValue(inXPos, inX1, inX2, inX3, inX4));
    const double dx = GetBezierDeriv(t, inX1, inX2, inX3, inX4);
    const double dy = GetBezierDeriv(t, inY1, inY2, inY3, inY4);
    if (dx == 0.0)
        return dy == 0.0 ? 0.0 : std::numeric_limits<double>::max();
    return dy / dx;
}

} // namespace BezierCore
} // namespace RK
