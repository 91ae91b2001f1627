#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "Exact.h"
#include "RKBezier.h"
#include "RKTemporalEase.h"
#include "Support/ContractWatch.h"
#include "Support/ForgivingErrors.h"

namespace RKTests
{
namespace
{

using namespace RK::BezierCore;
using Testing::ContractWatch;
using Testing::ExpectContractViolation;
using Testing::ForgivingErrors;

// Every length around the number of lanes and the length of a block, and a long one.
const std::size_t kCounts[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 63, 64, 65, 127, 128, 129, 1000};

const Curve kCurves[] = {{0, 0.25, 0.75, 1},
                         {0, 1.0 / 3, 2.0 / 3, 1},
                         {0, 0, 1, 1},
                         {0, 1, 0, 1},
                         {0.2, 0.5, 0.2, 3},
                         {0, 0.2, 0.2 + 1.0 / 3, 1},
                         {0, 0.1, 0.4333333333, 1.0},
                         {-2, -1.9, 5, 7}};

std::vector<double> Spread(std::size_t inCount, double inLeast, double inMost)
{
    std::mt19937_64 generator(inCount);
    std::uniform_real_distribution<double> numbers(inLeast, inMost);
    std::vector<double> result(inCount);
    for (double& number : result)
        number = numbers(generator);
    if (inCount > 1)
    {
        result.front() = inLeast;
        result.back() = inMost;
    }
    return result;
}

template <class Batch, class Single>
void ExpectSameBits(const std::vector<double>& inArguments, const Batch& inBatch,
                    const Single& inSingle, const char* inName)
{
    std::vector<double> results(inArguments.size() + 1, -77.0);
    inBatch(inArguments.data(), results.data());
    for (std::size_t i = 0; i < inArguments.size(); ++i)
        EXPECT_EQ(BitsOf(inSingle(inArguments[i])), BitsOf(results[i]))
            << inName << " of " << inArguments[i] << ", " << i << " of " << inArguments.size();
    EXPECT_EQ(-77.0, results.back()) << "written past the end by " << inName;

    std::vector<double> inPlace = inArguments;
    inBatch(inPlace.data(), inPlace.data());
    results.pop_back();
    EXPECT_EQ(results, inPlace) << inName;
}

TEST(BezierBatch, GivesTheBitsOfTheSingleForms)
{
    for (const Curve& c : kCurves)
        for (const std::size_t count : kCounts)
        {
            ExpectSameBits(
                Spread(count, -0.001, 1.001), [&](const double* in, double* out)
                { GetBezierValues(in, count, c.p1, c.p2, c.p3, c.p4, out); },
                [&](double t) { return GetBezierValue(t, c.p1, c.p2, c.p3, c.p4); }, "value");
            ExpectSameBits(
                Spread(count, -0.5, 1.5), [&](const double* in, double* out)
                { GetBezierDerivs(in, count, c.p1, c.p2, c.p3, c.p4, out); },
                [&](double t) { return GetBezierDeriv(t, c.p1, c.p2, c.p3, c.p4); }, "deriv");
            ExpectSameBits(
                Spread(count, c.p1, c.p4), [&](const double* in, double* out)
                { GetBezierTValues(in, count, c.p1, c.p2, c.p3, c.p4, out); },
                [&](double v) { return GetBezierTValue(v, c.p1, c.p2, c.p3, c.p4); }, "t");
        }
}

RK::PointKeyframe Keyframe(std::int64_t inTicks, double inInfluence, double inSpeed)
{
    RK::PointKeyframe keyframe;
    keyframe.position = qelmediatypes::TickTime(inTicks);
    keyframe.inInfluence = keyframe.outInfluence = inInfluence;
    keyframe.inSpeed = keyframe.outSpeed = inSpeed;
    return keyframe;
}

TEST(BezierBatch, EasesGiveTheBitsOfTheSingleForm)
{
    using namespace RK::BezierUtils;
    for (const double speed : {0.0, 1.0, 40.0, -3.0})
        for (const double influence : {0.0, 1.0 / 6, 1.0 / 3, 0.9, 1.0})
            for (const std::size_t count : kCounts)
            {
                const RK::PointKeyframe lhs = Keyframe(0, influence, speed);
                const RK::PointKeyframe rhs = Keyframe(9, 0.3, 0.5);
                ExpectSameBits(
                    Spread(count, 0, 1), [&](const double* in, double* out)
                    { Get2dTemporalEaseFactors(lhs, rhs, in, count, 2.0, out); }, [&](double part)
                    { return Get2dTemporalEaseFactor(lhs, rhs, part, 2.0); }, "ease");
            }
}

TEST(BezierBatch, OneBadArgumentAnywhereIsRefusedBeforeAnythingIsWritten)
{
    for (const std::size_t bad : {0u, 3u, 99u})
    {
        std::vector<double> arguments = Spread(100, 0, 1);
        std::vector<double> results(100, -77.0);
        arguments[bad] = std::nan("");
        ExpectContractViolation(
            [&] { GetBezierValues(arguments.data(), 100, 0, 0, 1, 1, results.data()); },
            "inTValue >= -0.001 && inTValue <= 1.001", "Src/Keyframe/BezierCore",
            "GetBezierValues");
        arguments[bad] = 1.0000001;
        ExpectContractViolation(
            [&] { GetBezierTValues(arguments.data(), 100, 0, 0, 1, 1, results.data()); },
            "inValue >= inP1 && inValue <= inP4", "Src/Keyframe/BezierCore", "GetBezierTValues");
        ExpectContractViolation(
            [&]
            {
                RK::BezierUtils::Get2dTemporalEaseFactors(Keyframe(0, 0.5, 0), Keyframe(1, 0.5, 0),
                                                          arguments.data(), 100, 1, results.data());
            },
            "inPart >= 0.0 && inPart <= 1.0", "Src/Keyframe/BezierUtils",
            "Get2dTemporalEaseFactors");
        EXPECT_EQ(std::vector<double>(100, -77.0), results);
    }
}

TEST(BezierBatch, GoesOnWhereTheErrorManagerLetsIt)
{
    const ForgivingErrors forgiving;
    const ContractWatch watch;
    const double arguments[] = {0.5, 7.0};
    double results[2];
    GetBezierValues(arguments, 2, 0, 0.5, 0.75, 1, results);
    EXPECT_EQ(1u, watch.reported.size());
    EXPECT_EQ(GetBezierValue(0.5, 0, 0.5, 0.75, 1), results[0]);
    EXPECT_EQ(1.0, results[1]);
}

} // namespace
} // namespace RKTests
