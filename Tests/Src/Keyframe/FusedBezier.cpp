// Compiled twice, with other options each; RK_TEST_FUSED names the one.
#define BezierCore RK_TEST_FUSED
#include "Src/Keyframe/BezierCore.cpp" // the very source that is under test

#include "FusedBezier.h"

namespace RKTests
{

BezierFunctions RK_TEST_FUSED()
{
    using namespace RK::RK_TEST_FUSED;
    return {GetBezierValue, GetBezierDeriv, GetSingleBezierQuadraticRoot, GetBezierTValue};
}

} // namespace RKTests
