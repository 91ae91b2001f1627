#include "RKBezier.h"

#include "Keyframe/BezierSteps.h"
#include "qelcore/Contract.h"

namespace RK
{
namespace BezierCore
{

using namespace Details;

namespace
{

constexpr const char* kSourcePath = "Src/Keyframe/BezierCore";

// Without an early end, so that the comparisons run on several lanes.
bool AreWithin(const double* inNumbers, std::size_t inCount, double inLeast, double inMost)
{
    std::size_t outside = 0;
    for (std::size_t i = 0; i < inCount; ++i)
        outside += ((inNumbers[i] >= inLeast) & (inNumbers[i] <= inMost)) ? 0u : 1u;
    return outside == 0;
}

} // namespace

void GetBezierValues(const double* inTValues, std::size_t inCount, double inP1, double inP2,
                     double inP3, double inP4, double* outValues)
{
    RK_CHECK_CONTRACT(AreWithin(inTValues, inCount, -0.001, 1.001),
                      "inTValue >= -0.001 && inTValue <= 1.001", kSourcePath);
    const ValuePolynomial polynomial(inP1, inP2, inP3, inP4);
    for (std::size_t i = 0; i < inCount; ++i)
        outValues[i] = polynomial.At(inTValues[i]);
}

void GetBezierDerivs(const double* inTValues, std::size_t inCount, double inP1, double inP2,
                     double inP3, double inP4, double* outDerivs)
{
    const DerivPolynomial polynomial(inP1, inP2, inP3, inP4);
    for (std::size_t i = 0; i < inCount; ++i)
        outDerivs[i] = polynomial.At(inTValues[i]);
}

void GetBezierTValues(const double* inValues, std::size_t inCount, double inP1, double inP2,
                      double inP3, double inP4, double* outTValues)
{
    RK_CHECK_CONTRACT(AreWithin(inValues, inCount, inP1, inP4),
                      "inValue >= inP1 && inValue <= inP4", kSourcePath);
    const CubicFamily family = CubicFamily::OfCurve(inP1, inP2, inP3, inP4);
    for (std::size_t i = 0; i < inCount; ++i)
        outTValues[i] = family.SingleRoot(inP1 - inValues[i]);
}

} // namespace BezierCore
} // namespace RK
