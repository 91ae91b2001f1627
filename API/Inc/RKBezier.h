#pragma once

#include <cstddef>

#include "qelcore/Export.h"
#include "qelmediatypes/TickTime.h"

// Cubic Bezier curves of one dimension: the value at a parameter t, the t at which there is a value, and
// slopes. A curve is its four control values p1 to p4, in curve order.
//
// Units    t is 0 at p1 and 1 at p4. Values are in whatever unit the control values are in.
// Domain   Finite numbers, and |p| below 1e100, so that no product overflows. Numbers count as zero below
//          1e-10, in absolute size, so the root finders are made for curves of about the size of 1.
// Errors   A violated contract is reported, and raised by the error manager. Where that lets execution go
//          on, the result is computed from the same arguments.
// Accuracy Stated at each function, with u = 2^-53 and M = the greatest |p| of the curve. The order of all
//          operations is fixed and none are fused, so the arithmetic has the same bits with every compiler;
//          acos, cos, pow and sqrt are those of the C library.
// Threads  Pure functions: any thread. Nothing allocates unless a contract is violated.
// Batches  The forms that take arrays give each result to the last bit as the single form does, compute what
//          belongs to the curve once, and look at the contract of all arguments before anything is
//          written. The output may be the input array itself, but must not overlap it otherwise.
namespace RK
{
namespace BezierCore
{

/// The value at inTValue, which is clamped to [0, 1]. Off by at most 64 u M.
/// Formula: the power form a t^3 + (b t^2 + (c t + p1)).
/// Contract: inTValue lies in [-0.001, 1.001]; beyond 0 and 1 it is a rounding error of the caller's.
RK_API double GetBezierValue(double inTValue, double inP1, double inP2, double inP3, double inP4);
RK_API void GetBezierValues(const double* inTValues, std::size_t inCount, double inP1, double inP2,
                            double inP3, double inP4, double* outValues);

/// dB/dt at inTValue, which is clamped to [0, 1]; there is no contract. Off by at most 64 u M.
RK_API double GetBezierDeriv(double inTValue, double inP1, double inP2, double inP3, double inP4);
RK_API void GetBezierDerivs(const double* inTValues, std::size_t inCount, double inP1, double inP2,
                            double inP3, double inP4, double* outDerivs);

/// The root of a t + b, correctly rounded and anywhere; 0 if |a| is below 1e-10.
RK_API double GetBezierLinearRoot(double inA, double inB);

/// A root of a t^2 + b t + c: one in [0, 1] if there is one, else 0, or below -1e-10 of the discriminant
/// 0. The linear rule on (b, c), its root anywhere, if |a| is below 1e-10.
/// Formula: the one free of cancellation, -2 c / (b + sqrt(D)) and (b + sqrt(D)) / -2 a. A discriminant of
/// less than 1e-10 is a double root.
/// Off by as much as if c were off by 8 u (|b| + |c| + |a|), and by 1e-10 / (4 |a|) more at a double root.
RK_API double GetSingleBezierQuadraticRoot(double inA, double inB, double inC);

/// A root of a t^3 + b t^2 + c t + d. The quadratic rule if |a| is below 1e-10. Of three real roots the
/// least if it lies strictly between 0 and 1, else the greatest if it lies in [0, 1], else the middle one
/// if it does, else 0. A single real root is given wherever it lies.
/// Formula: trigonometric for three real roots, Cardano's for one. Three equal ones are -b / (3 a).
/// The polynomial at the root that is given is 0 within 16 u |a| S^3, where S = 1 + |b / a| + |c / a|^(1/2) +
/// |d / a|^(1/3).
RK_API double GetSingleBezierCubicRoot(double inA, double inB, double inC, double inD);

/// The t at which the curve has inValue.
/// Contract: p1 <= inValue <= p4. For one answer the curve must rise: p1 <= p2, p3 <= p4.
///
/// Such a curve from 0 to 1, with a = 3 (p2 - p3) - p1 + p4: the curve's value at the answer, clamped to
/// [0, 1], is at most E beside inValue, where
///     E = 32 u (1 + 1 / a^2)      for |a| from 1e-6 up
///     E = 2.1e-10                 for |a| below 1e-10, where the quadratic or linear rule answers
/// if inValue is E or more away from both p1 and p4. t is then off by E over the slope: by the square root
/// of E where the curve is flat, by the cube root where it has a flat turning point.
///
/// What the closed form does not give, and callers of it must not need:
///   - Nearer than E to an end, the ends themselves included, rounding decides whether the root is found:
///     the answer may be 0, or a t outside [0, 1]. The eases of RKTemporalEase.h see to part 1 themselves.
///   - With |a| between 1e-10 and 1e-6 the error grows on as 1 / a^2, to no answer at all. A curve whose
///     inner values are exactly a third apart has no such trouble, but one that is so to 7 digits has.
RK_API double GetBezierTValue(double inValue, double inP1, double inP2, double inP3, double inP4);
RK_API void GetBezierTValues(const double* inValues, std::size_t inCount, double inP1, double inP2,
                             double inP3, double inP4, double* outTValues);

/// dy/dx at inXPos of a curve in two coordinates. Where x stands still it is 0 if y does too, and else the
/// greatest double, positive whichever way y goes.
/// Off by what an error of E / x'(t) in t makes of the quotient, E as at GetBezierTValue(), and by
/// 64 u (max|y| + |dy/dx|) / x'(t) more.
/// Contract: x1 <= inXPos <= x4; x1 <= x2, x3 <= x4, so that x never turns back.
RK_API double GetBezier1dDerivFromX(double inXPos, double inX1, double inY1, double inX2,
                                    double inY2, double inX3, double inY3, double inX4,
                                    double inY4);

} // namespace BezierCore

namespace BezierUtils
{

// The functions of the same names, of times. They are turned into seconds, the nearest double: so they are
// made for segments of about a second, and hold a tolerance of 1e-10 s, 25 ticks.
RK_API double GetBezierTValue(qelmediatypes::TickTime inValue, qelmediatypes::TickTime inP1,
                              qelmediatypes::TickTime inP2, qelmediatypes::TickTime inP3,
                              qelmediatypes::TickTime inP4);
RK_API double GetBezier1dDerivFromX(qelmediatypes::TickTime inXPos, qelmediatypes::TickTime inX1,
                                    double inY1, qelmediatypes::TickTime inX2, double inY2,
                                    qelmediatypes::TickTime inX3, double inY3,
                                    qelmediatypes::TickTime inX4, double inY4);

} // namespace BezierUtils
} // namespace RK
