#include "qelmediatypes/TickTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace
{

using namespace qelmediatypes;

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

std::int64_t Times(std::int64_t inTicks, double inFactor)
{
    TickTime time(inTicks);
    return (time *= inFactor).GetTicks();
}

std::int64_t Over(std::int64_t inTicks, double inDivisor)
{
    TickTime time(inTicks);
    return (time /= inDivisor).GetTicks();
}

TEST(TickTime, CountsTheTicksOfASecond)
{
    EXPECT_EQ(1.0, TickTime(254016000000).GetSeconds());
    EXPECT_EQ(0, TickTime().GetTicks());
    EXPECT_EQ(kTime_Zero, TickTime(0));
    EXPECT_EQ(kMax, kTime_Max.GetTicks());
}

TEST(TickTime, AddsAndSubtracts)
{
    TickTime time(10);
    time += TickTime(5);
    time -= TickTime(20);
    EXPECT_EQ(TickTime(-5), time);
    EXPECT_EQ(TickTime(5), -time);
    EXPECT_EQ(TickTime(2), TickTime(-5) + TickTime(7));
    EXPECT_EQ(TickTime(-12), TickTime(-5) - TickTime(7));
}

TEST(TickTime, SaturatesSymmetricallyInsteadOfOverflowing)
{
    EXPECT_EQ(kTime_Max, kTime_Max + TickTime(1));
    EXPECT_EQ(-kTime_Max, -kTime_Max - TickTime(2));
    EXPECT_EQ(kTime_Max, TickTime(1) - -kTime_Max);
    EXPECT_EQ(kTime_Max, -TickTime(kMin));
    EXPECT_EQ(kTime_Max, TickTime(kMin) / -1);
    EXPECT_EQ(-kTime_Max, TickTime(kMin) + kTime_Zero);
}

TEST(TickTime, DividesTowardZero)
{
    EXPECT_EQ(TickTime(3), TickTime(7) / 2);
    EXPECT_EQ(TickTime(-3), TickTime(-7) / 2);
    EXPECT_EQ(TickTime(-3), TickTime(7) / -2);
}

TEST(TickTime, DividedByZeroSaturatesByItsSign)
{
    EXPECT_EQ(kTime_Max, TickTime(1) / 0);
    EXPECT_EQ(-kTime_Max, TickTime(-1) / 0);
    EXPECT_EQ(kTime_Zero, kTime_Zero / 0);
    EXPECT_EQ(kMax, Over(1, 0.0));
    EXPECT_EQ(-kMax, Over(1, -0.0));
    EXPECT_EQ(0, Over(0, 0.0));
}

TEST(TickTime, ScalesToTheNearestTickAHalfAwayFromZero)
{
    EXPECT_EQ(3, Times(5, 0.5));
    EXPECT_EQ(-3, Times(-5, 0.5));
    EXPECT_EQ(2, Times(5, 0.4999));
    EXPECT_EQ(3, Over(10, 4.0));
    EXPECT_EQ(-5, Times(10, -0.5));
}

TEST(TickTime, ScalesLongTimesWithoutLosingTicks)
{
    const std::int64_t odd = (std::int64_t{1} << 62) + 1; // no double holds it
    EXPECT_EQ(odd, Times(odd, 1.0));
    EXPECT_EQ(-odd, Over(odd, -1.0));
    EXPECT_EQ(kMax, Times(kMax, 1.0));
}

TEST(TickTime, ScalesBeyondItsRangeToTheEndOfIt)
{
    EXPECT_EQ(kMax, Times(kMax, 1.5));
    EXPECT_EQ(-kMax, Times(kMax, -1.5));
    EXPECT_EQ(kMax, Times(1, INFINITY));
    EXPECT_EQ(-kMax, Times(-1, INFINITY));
    EXPECT_EQ(0, Times(1, NAN));
    EXPECT_EQ(0, Times(0, INFINITY));
    EXPECT_EQ(0, Over(kMax, INFINITY));
}

TEST(TickTime, AlignsDownToAFrameBelowZeroAsWell)
{
    const FrameRate rate(100);
    EXPECT_EQ(TickTime(200), TickTime(299).AlignToFrame(rate));
    EXPECT_EQ(TickTime(200), TickTime(200).AlignToFrame(rate));
    EXPECT_EQ(TickTime(0), TickTime(1).AlignToFrame(rate));
    EXPECT_EQ(TickTime(-100), TickTime(-1).AlignToFrame(rate));
    EXPECT_EQ(TickTime(-100), TickTime(-100).AlignToFrame(rate));
    EXPECT_EQ(TickTime(-200), TickTime(-101).AlignToFrame(rate));
}

TEST(TickTime, AlignsAtTheEndsOfItsRangeAndWithoutARate)
{
    EXPECT_EQ(kMax - kMax % 100, kTime_Max.AlignToFrame(FrameRate(100)).GetTicks());
    EXPECT_EQ(-kTime_Max, TickTime(kMin + 1).AlignToFrame(FrameRate(100)));
    EXPECT_EQ(TickTime(7), TickTime(7).AlignToFrame(FrameRate()));
}

TEST(TickTime, AddsFramesEitherWayWithoutAligning)
{
    EXPECT_EQ(TickTime(307), TickTime(7).AddFrames(3, FrameRate(100)));
    EXPECT_EQ(TickTime(-193), TickTime(7).AddFrames(-2, FrameRate(100)));
    EXPECT_EQ(kTime_Max, TickTime(7).AddFrames(kMax, kFrameRate_Video24));
    EXPECT_EQ(-kTime_Max, TickTime(7).AddFrames(kMin, kFrameRate_Video24));
}

TEST(TickTime, OrdersByTicks)
{
    EXPECT_LT(TickTime(-1), kTime_Zero);
    EXPECT_GT(kTime_Max, kTime_Zero);
    EXPECT_LE(kTime_Zero, kTime_Zero);
    EXPECT_GE(kTime_Zero, kTime_Zero);
    EXPECT_NE(TickTime(1), kTime_Zero);
}

TEST(FrameRate, FramesOfTheUsualRatesAreWholeTicks)
{
    struct Usual
    {
        FrameRate rate;
        std::int64_t frames;
        std::int64_t seconds;
    };
    const Usual usual[] = {
        {kFrameRate_Video23976, 24000, 1001},  {kFrameRate_Video24, 24, 1},
        {kFrameRate_Video25, 25, 1},           {kFrameRate_Video2997, 30000, 1001},
        {kFrameRate_Video30, 30, 1},           {kFrameRate_Video47952, 48000, 1001},
        {kFrameRate_Video48, 48, 1},           {kFrameRate_Video50, 50, 1},
        {kFrameRate_Video5994, 60000, 1001},   {kFrameRate_Video60, 60, 1},
        {kFrameRate_Video11988, 120000, 1001}, {kFrameRate_Video120, 120, 1},
        {kFrameRate_Video1000, 1000, 1},
    };
    for (const Usual& one : usual)
    {
        EXPECT_EQ(one.seconds * kTicksPerSecond, one.frames * one.rate.GetTicksPerFrame())
            << one.frames << " / " << one.seconds;
    }
    EXPECT_EQ(254016000, kFrameRate_Video1000.GetTicksPerFrame());
    EXPECT_EQ(8475667200, kFrameRate_Video2997.GetTicksPerFrame());
}

TEST(FrameRate, AMultipleHasShorterFrames)
{
    EXPECT_EQ(kFrameRate_Video60, kFrameRate_Video30 * 2);
    EXPECT_EQ(kFrameRate_Video5994, kFrameRate_Video2997 * 2);
    EXPECT_EQ(FrameRate(3), FrameRate(10) * 3);
    EXPECT_EQ(FrameRate(), kFrameRate_Video30 * 0);
    EXPECT_EQ(FrameRate(), kFrameRate_Video30 * -1);
    EXPECT_EQ(FrameRate(), FrameRate::FromFramesPerSeconds(0, 1));
}

} // namespace
