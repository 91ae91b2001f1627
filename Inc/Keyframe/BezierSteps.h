#pragma once

#include <cmath>

// The arithmetic of BezierCore, without its contracts: the single and the batch forms are made of the
// same steps, so that they agree to the last bit.
//
// Rounding  The order of the operations is part of the results. Whoever includes this is compiled
//           without contraction into fused operations (RK_REPRODUCIBLE_OPTIONS in Src/Sources.cmake).
namespace RK
{
namespace BezierCore
{
namespace Details
{

/// Below it a coefficient counts as zero.
constexpr double kTolerance = 1e-10;

/// NaN stays.
inline double ClampToUnit(double inT)
{
    const double low = inT < 0.0 ? 0.0 : inT;
    return low > 1.0 ? 1.0 : low;
}

inline bool IsZero(double inCoefficient)
{
    return std::fabs(inCoefficient) < kTolerance;
}

inline bool IsInUnit(double inT)
{
    return inT >= 0.0 && inT <= 1.0;
}

// The curve as a polynomial a t^3 + b t^2 + c t + p1.
struct ValuePolynomial
{
    ValuePolynomial(double inP1, double inP2, double inP3, double inP4)
        : a(3.0 * inP2 - inP1 - 3.0 * inP3 + inP4)
        , b(-6.0 * inP2 + 3.0 * inP1 + 3.0 * inP3)
        , c(3.0 * inP2 - 3.0 * inP1)
        , p1(inP1)
    {
    }
    /// @param inT  clamped here.
    double At(double inT) const
    {
        const double t = ClampToUnit(inT);
        const double t2 = t * t;
        return a * (t2 * t) + (b * t2 + (c * t + p1));
    }

    double a;
    double b;
    double c;
    double p1;
};

// The derivative 3 ((f t + 2 e) t + d).
struct DerivPolynomial
{
    DerivPolynomial(double inP1, double inP2, double inP3, double inP4)
        : f((inP2 - inP3) * 3.0 - inP1 + inP4)
        , e2(2.0 * (-2.0 * inP2 + inP1 + inP3))
        , d(inP2 - inP1)
    {
    }
    /// @param inT  clamped here.
    double At(double inT) const
    {
        const double t = ClampToUnit(inT);
        return 3.0 * ((f * t + e2) * t + d);
    }

    double f;
    double e2;
    double d;
};

// The cubics a t^3 + b t^2 + c t + d of all d: what does not depend on d is computed once.
class CubicFamily
{
public:
    CubicFamily(double inA, double inB, double inC);
    /// The cubics of a curve; d is p1 minus the value looked for.
    static CubicFamily OfCurve(double inP1, double inP2, double inP3, double inP4)
    {
        return CubicFamily((inP2 - inP3) * 3.0 - inP1 + inP4, (-2.0 * inP2 + inP1 + inP3) * 3.0,
                           (inP2 - inP1) * 3.0);
    }
    double SingleRoot(double inD) const;

private:
    double TrigonometricRoot(double inR) const;
    double CardanoRoot(double inR) const;

    double mA;
    double mB;
    double mC;
    // Of the form without a square term. Not set where a counts as zero.
    double mThird = 0.0; // a third of b / a
    double mQ = 0.0;     // (A^2 - 3 B) / 9
    double mQCubed = 0.0;
    double mRWithoutC = 0.0; // 2 A^3 - 9 A B
};

} // namespace Details
} // namespace BezierCore
} // namespace RK
