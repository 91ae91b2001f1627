#include "RKBezier.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "Exact.h"

namespace RKTests
{
namespace
{

using namespace RK::BezierCore;

constexpr double kEps = 1e-10;
constexpr double kCubicBound = 16 * kU;
const double kJustBelow = std::nextafter(kEps, 0.0);

TEST(LinearRoot, IsTheCorrectlyRoundedQuotient)
{
    EXPECT_EQ(-3.0, GetBezierLinearRoot(2, 6));
    EXPECT_EQ(1.0 / 3, GetBezierLinearRoot(-3, 1));
    EXPECT_EQ(7e9, GetBezierLinearRoot(1e-9, -7));
}

TEST(LinearRoot, ToleranceIsBelowNotAt)
{
    EXPECT_EQ(0.0, GetBezierLinearRoot(kJustBelow, 1));
    EXPECT_EQ(0.0, GetBezierLinearRoot(-kJustBelow, 1));
    EXPECT_EQ(-1 / kEps, GetBezierLinearRoot(kEps, 1));
    EXPECT_EQ(1 / kEps, GetBezierLinearRoot(-kEps, 1));
}

TEST(QuadraticRoot, TakesTheFirstNumeratorsRootIfItIsInTheUnitEndsIncluded)
{
    EXPECT_EQ(0.5, GetSingleBezierQuadraticRoot(2, -5, 2)); // 0.5 and 2
    EXPECT_EQ(0.25,
              GetSingleBezierQuadraticRoot(16, -16, 3)); // 0.25 and 0.75: the lesser for b < 0
    EXPECT_EQ(0.25, GetSingleBezierQuadraticRoot(-16, 16, -3)); // and for b > 0, as -c2 / q
    EXPECT_EQ(0.0, GetSingleBezierQuadraticRoot(1, -3, 0));     // 0 and 3
    EXPECT_EQ(1.0, GetSingleBezierQuadraticRoot(1, -3, 2));     // 1 and 2
}

TEST(QuadraticRoot, TakesTheOtherIfTheFirstIsOutside)
{
    EXPECT_EQ(0.5, GetSingleBezierQuadraticRoot(2, 5, -3));      // 0.5 and -3
    EXPECT_EQ(1.0, GetSingleBezierQuadraticRoot(1, -0.5, -0.5)); // -0.5 and 1, at the end
    EXPECT_EQ(0.75, GetSingleBezierQuadraticRoot(-4, 1, 1.5));   // 0.75 and -0.5
    EXPECT_EQ(0.0, GetSingleBezierQuadraticRoot(1, -5, 6));      // 2 and 3: neither
}

TEST(QuadraticRoot, OfADiscriminantBelowTheToleranceIsZeroOrDouble)
{
    EXPECT_EQ(0.0, GetSingleBezierQuadraticRoot(1, 0, 1)); // -4
    EXPECT_EQ(0.5, GetSingleBezierQuadraticRoot(4, -4, 1));
    EXPECT_EQ(0.5, GetSingleBezierQuadraticRoot(1, -1, 0.25 + 1e-11)); // a little below 0
    EXPECT_EQ(0.5, GetSingleBezierQuadraticRoot(1, -1, 0.25 - 1e-11));
    EXPECT_EQ(-7.0, GetSingleBezierQuadraticRoot(1, 14, 49)) << "a double root may lie anywhere";
    EXPECT_EQ(0.0, GetSingleBezierQuadraticRoot(1, -1, 0.25 + 1e-9));
}

TEST(QuadraticRoot, FallsToTheLinearRuleWithoutARangeAndOfAConstantIsZero)
{
    EXPECT_EQ(-3.0, GetSingleBezierQuadraticRoot(kJustBelow, 2, 6));
    EXPECT_EQ(0.0, GetSingleBezierQuadraticRoot(-kJustBelow, kJustBelow, 6));
    EXPECT_EQ(-6 / kEps, GetSingleBezierQuadraticRoot(0, kEps, 6));
}

TEST(QuadraticRoot, IsWithinItsBoundWithoutCancellation)
{
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<double> sizes(-6, 6);
    int found = 0;
    for (int i = 0; i < 20000; ++i)
    {
        // One root in [0, 1], the other up to a million times as far out, on either side.
        const double root = std::pow(10, std::min(0.0, sizes(generator)));
        const double other = std::pow(10, sizes(generator)) * (i % 2 == 0 ? 1 : -1);
        const double a = i % 3 == 0 ? -1 : 1;
        const double b = -a * (root + other);
        const double c = a * root * other;
        const double result = GetSingleBezierQuadraticRoot(a, b, c);
        const Exact rest = a * Exact(result) * result + b * Exact(result) + c;
        if (std::fabs(b * b - 4 * a * c) < 1.1e-10 || result == 0.0)
            continue;
        ++found;
        EXPECT_LE(static_cast<double>(abs(rest)),
                  8 * kU * (std::fabs(a) + std::fabs(b) + std::fabs(c)) * std::fmax(1, result))
            << std::hexfloat << a << " " << b << " " << c;
    }
    EXPECT_LT(18000, found);
}

TEST(CubicRoot, OfThreeTakesTheLeastIfItIsStrictlyInside)
{
    EXPECT_NEAR(0.25, GetSingleBezierCubicRoot(32, -48, 22, -3), 64 * kU); // 0.25, 0.5 and 0.75
    EXPECT_NEAR(0.25, GetSingleBezierCubicRoot(-32, 48, -22, 3), 64 * kU);
}

TEST(CubicRoot, OfThreeTakesTheGreatestBeforeTheMiddleOne)
{
    EXPECT_NEAR(0.75, GetSingleBezierCubicRoot(16, 0, -13, 3), 64 * kU); // -1, 0.25 and 0.75
    EXPECT_NEAR(0.5, GetSingleBezierCubicRoot(2, -5, -4, 3), 64 * kU);   // -1, 0.5 and 3
}

TEST(CubicRoot, OfThreeIsZeroIfNoneIsInside)
{
    EXPECT_EQ(0.0, GetSingleBezierCubicRoot(1, -9, 26, -24)); // 2, 3 and 4
    EXPECT_EQ(0.0, GetSingleBezierCubicRoot(1, 6, 11, 6));    // -1, -2 and -3
}

TEST(CubicRoot, ThatIsTripleIsAThirdOfTheSumWhereverItLies)
{
    EXPECT_EQ(0.5, GetSingleBezierCubicRoot(8, -12, 6, -1));
    EXPECT_EQ(2.0, GetSingleBezierCubicRoot(1, -6, 12, -8));
}

TEST(CubicRoot, ThatIsTheOnlyOneIsGivenWhereverItLies)
{
    EXPECT_NEAR(3.0, GetSingleBezierCubicRoot(1, -3, 1, -3), 64 * kU); // (t - 3)(t^2 + 1), R < 0
    EXPECT_NEAR(-2.0, GetSingleBezierCubicRoot(1, 2, 1, 2), 64 * kU);  // (t + 2)(t^2 + 1), R > 0
    EXPECT_NEAR(0.5, GetSingleBezierCubicRoot(2, -1, 2, -1), 64 * kU); // (2 t - 1)(t^2 + 1)
}

/// What the polynomial is at a root that was found, against what its coefficients are worth there: all of it
/// divided by a, so that the bound is of the roots alone.
double RestOf(double inA, double inB, double inC, double inD, double inRoot)
{
    const Exact t = inRoot;
    const Exact rest = abs(((inA * t + inB) * t + inC) * t + inD) / std::fabs(inA);
    const double size = 1 + std::fabs(inB / inA) + std::sqrt(std::fabs(inC / inA)) +
                        std::cbrt(std::fabs(inD / inA));
    return static_cast<double>(rest) / (size * size * size);
}

TEST(CubicRoot, IsWithinItsBoundForThreeRealRoots)
{
    std::mt19937_64 generator(7);
    std::uniform_real_distribution<double> inside(0, 1);
    std::uniform_real_distribution<double> around(-3, 4);
    for (int i = 0; i < 6000; ++i)
    {
        const double a = i % 2 == 0 ? 1.5 : -0.75;
        const double first = inside(generator);
        // Apart by anything from a whole number down to nothing at all.
        const double second = first + std::pow(10, -(i % 16)) * (around(generator));
        const double third = around(generator);
        const double b = -a * (first + second + third);
        const double c = a * (first * second + second * third + third * first);
        const double d = -a * first * second * third;
        const double root = GetSingleBezierCubicRoot(a, b, c, d);
        const double rest = root == 0.0 ? 0.0 : RestOf(a, b, c, d, root); // 0: none is inside
        ASSERT_LE(rest, kCubicBound)
            << i << std::hexfloat << " " << a << " " << b << " " << c << " " << d;
    }
}

TEST(CubicRoot, IsWithinItsBoundForOneRealRoot)
{
    std::mt19937_64 generator(8);
    std::uniform_real_distribution<double> around(-3, 4);
    for (int i = 0; i < 6000; ++i)
    {
        const double a = std::pow(10, i % 7 - 3) * (i % 2 == 0 ? 1 : -1);
        const double real = around(generator);
        const double center = around(generator);
        const double apart = std::pow(10, -(i % 5)) * around(generator);
        const double b = -a * (real + 2 * center);
        const double c = a * (center * center + apart * apart + 2 * real * center);
        const double d = -a * real * (center * center + apart * apart);
        const double root = GetSingleBezierCubicRoot(a, b, c, d);
        const double rest = root == 0.0 ? 0.0 : RestOf(a, b, c, d, root); // 0: none is inside
        ASSERT_LE(rest, kCubicBound)
            << i << std::hexfloat << " " << a << " " << b << " " << c << " " << d;
    }
}

TEST(CubicRoot, FallsToTheLowerRulesBelowTheTolerance)
{
    EXPECT_EQ(0.5, GetSingleBezierCubicRoot(kJustBelow, 2, -5, 2));
    EXPECT_EQ(0.0, GetSingleBezierCubicRoot(-kJustBelow, 1, -5, 6)) << "the quadratic rule in full";
    EXPECT_EQ(-3.0, GetSingleBezierCubicRoot(0, kJustBelow, 2, 6));
    EXPECT_EQ(0.0, GetSingleBezierCubicRoot(0, 0, kJustBelow, 6));
    EXPECT_EQ(-6 / kEps, GetSingleBezierCubicRoot(0, 0, kEps, 6));
}

} // namespace
} // namespace RKTests
