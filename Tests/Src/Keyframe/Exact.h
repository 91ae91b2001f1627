#pragma once

// The mathematics of curves with 50 digits, to hold what doubles make of it against. The numbers that
// go in are doubles, taken as they are.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <ostream>

#include <boost/multiprecision/cpp_dec_float.hpp>

namespace RKTests
{

using Exact = boost::multiprecision::cpp_dec_float_50;

/// Half the distance from 1 to the next double.
constexpr double kU = 0x1p-53;

struct Curve
{
    double p1, p2, p3, p4;

    Exact ValueAt(const Exact& inT) const
    {
        const Exact s = 1 - inT;
        return p1 * s * s * s + 3 * p2 * s * s * inT + 3 * p3 * s * inT * inT +
               p4 * inT * inT * inT;
    }
    Exact DerivAt(const Exact& inT) const
    {
        const Exact s = 1 - inT;
        return 3 * ((Exact(p2) - p1) * s * s + 2 * (Exact(p3) - p2) * s * inT +
                    (Exact(p4) - p3) * inT * inT);
    }
    /// Of a rising curve: where it has inValue, by halving.
    Exact TAt(double inValue) const
    {
        Exact low = 0;
        Exact high = 1;
        for (int i = 0; i < 110; ++i)
        {
            const Exact middle = (low + high) / 2;
            (ValueAt(middle) < inValue ? low : high) = middle;
        }
        return (low + high) / 2;
    }
    /// The greatest control value without its sign.
    double Size() const
    {
        return std::fmax(std::fmax(std::fabs(p1), std::fabs(p2)),
                         std::fmax(std::fabs(p3), std::fabs(p4)));
    }
};

inline std::ostream& operator<<(std::ostream& inStream, const Curve& inCurve)
{
    return inStream << std::hexfloat << "{" << inCurve.p1 << ", " << inCurve.p2 << ", "
                    << inCurve.p3 << ", " << inCurve.p4 << "}" << std::defaultfloat;
}

inline double ErrorOf(double inResult, const Exact& inTruth)
{
    return static_cast<double>(abs(Exact(inResult) - inTruth));
}

inline double ClampToUnit(double inT)
{
    return std::fmin(std::fmax(inT, 0.0), 1.0);
}

/// How far GetBezierTValue() may be beside the value asked for, on a rising curve from 0 to 1.
inline double TValueBound(double inX2, double inX3)
{
    const double a = (inX2 - inX3) * 3.0 + 1.0;
    return std::fabs(a) < 1e-10 ? 2.1e-10 : 32.0 * kU * (1.0 + 1.0 / (a * a));
}

/// Whether that bound is promised for a curve with such inner values.
inline bool IsWellConditioned(double inX2, double inX3)
{
    const double a = std::fabs((inX2 - inX3) * 3.0 + 1.0);
    return a < 1e-10 || a >= 1e-6;
}

inline std::uint64_t BitsOf(double inNumber)
{
    std::uint64_t bits;
    std::memcpy(&bits, &inNumber, sizeof bits);
    return bits;
}

} // namespace RKTests
