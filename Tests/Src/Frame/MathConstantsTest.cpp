#include "RKMathConstants.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>

namespace
{

std::uint32_t Bits(float inNumber)
{
    std::uint32_t bits;
    std::memcpy(&bits, &inNumber, sizeof bits);
    return bits;
}

std::uint64_t Bits(double inNumber)
{
    std::uint64_t bits;
    std::memcpy(&bits, &inNumber, sizeof bits);
    return bits;
}

// Computed with 64 bits of mantissa, whose error is far below a double's half bit for these values.
struct Expectation
{
    const char* name;
    float single;
    double twice;
    long double value;
};

const long double kTruePi = 4 * std::atan(1.0L);

const Expectation kExpectations[] = {
    {"kPi", RK::kPi, RK::kPi64, kTruePi},
    {"k2Pi", RK::k2Pi, RK::k2Pi64, 2 * kTruePi},
    {"kHalfPi", RK::kHalfPi, RK::kHalfPi64, kTruePi / 2},
    {"kQtrPi", RK::kQtrPi, RK::kQtrPi64, kTruePi / 4},
    {"kE", RK::kE, RK::kE64, std::exp(1.0L)},
    {"kSqrt2", RK::kSqrt2, RK::kSqrt264, std::sqrt(2.0L)},
    {"kSqrt3", RK::kSqrt3, RK::kSqrt364, std::sqrt(3.0L)},
    {"kSqrt2Over2", RK::kSqrt2Over2, RK::kSqrt2Over264, std::sqrt(0.5L)},
    {"kLn2", RK::kLn2, RK::kLn264, std::log(2.0L)},
    {"kLn2ofE", RK::kLn2ofE, RK::kLn2ofE64, 1 / std::log(2.0L)},
    {"kRadPerDegree", RK::kRadPerDegree, RK::kRadPerDegree64, kTruePi / 180},
    {"kDegreePerRad", RK::kDegreePerRad, RK::kDegreePerRad64, 180 / kTruePi},
    {"kOneThird", RK::kOneThird, RK::kOneThird64, 1 / 3.0L},
    {"kOneSixth", RK::kOneSixth, RK::kOneSixth64, 1 / 6.0L},
};

TEST(MathConstants, AreTheCorrectlyRoundedValuesOfTheirNames)
{
    for (const Expectation& expected : kExpectations)
    {
        EXPECT_EQ(Bits(static_cast<float>(expected.value)), Bits(expected.single)) << expected.name;
        EXPECT_EQ(Bits(static_cast<double>(expected.value)), Bits(expected.twice)) << expected.name;
    }
}

TEST(MathConstants, TheDecimalLogarithmOfEIsOffByTheBitsThatResultsDependOn)
{
    EXPECT_EQ(0x3EDE5BD8u, Bits(RK::kLn10ofE));
    EXPECT_EQ(0x3FDBCB7B06FDA442u, Bits(RK::kLn10ofE64));
}

TEST(MathConstants, EpsilonsArePowersOfTwo)
{
    EXPECT_EQ(0x34000000u, Bits(RK::kEpsilon));
    EXPECT_EQ(0x3CB0000000000000u, Bits(RK::kEpsilon64));
}

} // namespace
