#pragma once

#include <cstddef>

#include "Keyframe/Keyframe.h"
#include "qelcore/Export.h"

// How fast a keyframed point moves between two keyframes: a Bezier curve through (0, 0) and (1, 1), made
// of the speed and the influence on each side of the segment. Docs/Curves.md shows what that looks like.
//
// Units    inPart is the linear fraction of the segment's time, a factor the fraction of its way, both 0
//          to 1. Speeds and average velocity are in the same unit, such as the value's a second.
// Domain   Finite numbers. Influences are clamped to [0, 1].
// Errors   A violated contract is reported, and raised by the error manager; where that lets execution go
//          on the result is computed all the same.
// Accuracy With u = 2^-53 and a = 3 (x2 - x3) + 1: a factor is the curve's at a place that is at most
//          E = 32 u (1 + 1 / a^2) beside inPart, if inPart is E away from both 0 and 1, and 2.1e-10
//          beside it where |a| is below 1e-10. Curves with |a| between 1e-10 and 1e-6 are outside of that;
//          see GetBezierTValue() in RKBezier.h. At 0 and at 1 the factor is exactly 0 and exactly 1.
// Threads  Pure functions: any thread. Nothing allocates unless a contract is violated.
namespace RK
{
namespace BezierUtils
{

/// The two inner control points (x2, y2) and (x3, y3) of the curve:
///     x2 = outInfluence of inLHS            y2 = x2 * outSpeed / average velocity
///     x3 = 1 - inInfluence of inRHS         y3 = 1 - (1 - x3) * inSpeed / average velocity
/// A handle that would leave the unit square through the far side (y2 above 1, y3 below 0) is shortened
/// along its own slope until it ends there. A y2 below 0 and a y3 above 1, of speeds that point back, stay:
/// such a curve sets out backwards, or arrives from beyond, and its factors are clamped.
/// Each of them is within 4 u of the formula, relative to the greater of 1 and itself.
/// Contract: inAverageVelocity is not 0; inLHS lies before inRHS.
RK_API void Get2dTemporalEaseValues(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                                    double inAverageVelocity, double& outX2, double& outY2,
                                    double& outX3, double& outY3);

/// The eased fraction of the way, 0 to 1. Exactly 0 at inPart 0, exactly 1 at inPart 1.
/// Contract: as above, and inPart lies in [0, 1].
RK_API double Get2dTemporalEaseFactor(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                                      double inPart, double inAverageVelocity);

/// inCount factors at once, each the same to the last bit as that of the single form. What belongs to
/// the segment is computed once, and the evaluation runs on several lanes.
/// Contract: as above for each part, looked at before anything is written.
/// @param outFactors  inCount numbers; may be inParts itself, but must not overlap it otherwise.
RK_API void Get2dTemporalEaseFactors(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                                     const double* inParts, std::size_t inCount,
                                     double inAverageVelocity, double* outFactors);

/// The slope of the ease at inPart: times the average velocity it is the speed there. The greatest double
/// where the curve is vertical. Contract: as for the factor.
RK_API double Get2dTemporalEaseDeriv(const PointKeyframe& inLHS, const PointKeyframe& inRHS,
                                     double inPart, double inAverageVelocity);

} // namespace BezierUtils
} // namespace RK
