#include "RKTimeBlend.h"

#include <cmath>
#include <limits>

#include <boost/multiprecision/cpp_dec_float.hpp>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace RKTests
{
namespace
{

using namespace qelmediatypes;
using Exact = boost::multiprecision::cpp_dec_float_50;

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
const FrameRate kRate(100);

RK::WeightedSamples Samples(std::int64_t inStart, std::int64_t inEnd,
                            const FrameRate& inRate = kRate)
{
    RK::WeightedSamples samples;
    RK::GetWeightedSamplesForRange(TickTime(inStart), TickTime(inEnd), inRate, kFieldType_Upper,
                                   samples);
    return samples;
}

std::vector<std::int64_t> TimesOf(const RK::WeightedSamples& inSamples)
{
    std::vector<std::int64_t> times;
    for (const RK::WeightedSample& sample : inSamples)
        times.push_back(sample.first.first.GetTicks());
    return times;
}

using Times = std::vector<std::int64_t>;

TEST(WeightedSamples, GoBackFromTheMiddleThenOnFromIt)
{
    // The middle is 450 - 50 = 400, a frame.
    EXPECT_EQ((Times{400, 300, 200, 500, 600}), TimesOf(Samples(200, 700)));
}

TEST(WeightedSamples, TheSpansEndsAreWidenedToFrames)
{
    EXPECT_EQ((Times{400, 300, 200, 500, 600}), TimesOf(Samples(250, 650)));
    EXPECT_EQ((Times{400, 300, 200, 500, 600, 700}), TimesOf(Samples(299, 701)));
}

TEST(WeightedSamples, ThereAreFiveAtMostOnEachSide)
{
    EXPECT_EQ((Times{4900, 4800, 4700, 4600, 4500, 5000, 5100, 5200, 5300, 5400}),
              TimesOf(Samples(0, 9900)));
}

TEST(WeightedSamples, ASpanOfUnderAFrameHasOneBackwardAndMaybeNoForward)
{
    // The middle is 260 - 50 = 210; the next frame, 300, lies past the end.
    EXPECT_EQ((Times{200}), TimesOf(Samples(250, 270)));
    // Here the middle is 170: the frame before the span's own, which is taken all the same.
    EXPECT_EQ((Times{100, 200}), TimesOf(Samples(210, 230)));
}

TEST(WeightedSamples, ASpanBeforeZeroIsAlignedDownToo)
{
    EXPECT_EQ((Times{-400, -500, -600, -300, -200}), TimesOf(Samples(-600, -100)));
}

TEST(WeightedSamples, AreAppendedWithTheFieldGiven)
{
    RK::WeightedSamples samples = {{{TickTime(7), kFieldType_Mixed}, 3.0}};
    RK::GetWeightedSamplesForRange(TickTime(250), TickTime(270), kRate, kFieldType_Lower, samples);
    ASSERT_EQ(2u, samples.size());
    EXPECT_EQ(TickTime(7), samples[0].first.first);
    EXPECT_EQ(3.0, samples[0].second);
    EXPECT_EQ(kFieldType_Lower, samples[1].first.second);
}

TEST(WeightedSamples, CountOneInTheMiddleAndOneHalfAtHalfTheSpan)
{
    // Half the span is 200 ticks, two frames.
    const RK::WeightedSamples samples = Samples(250, 650);
    EXPECT_EQ(1.0, samples[0].second);
    EXPECT_EQ(std::exp2(-0.25), samples[1].second);
    EXPECT_EQ(0.5, samples[2].second);
    EXPECT_EQ(std::exp2(-0.25), samples[3].second);
    EXPECT_EQ(0.5, samples[4].second);
}

TEST(WeightedSamples, WeightsAreWithinTheirBoundOfTheBell)
{
    const struct
    {
        std::int64_t start, end;
        FrameRate rate;
    } spans[] = {{0, 100, kRate},
                 {3, 1004, kRate},
                 {123456789012, 129876543210, kFrameRate_Video2997},
                 {0, 254016000000, kFrameRate_Video24},
                 {1, 99999999999, kFrameRate_Video23976},
                 {-77777777777, -11111111111, kFrameRate_Video60}};
    for (const auto& span : spans)
    {
        const std::int64_t frame = span.rate.GetTicksPerFrame();
        const std::int64_t middle = span.start + (span.end - span.start) / 2 - frame / 2;
        for (const RK::WeightedSample& sample : Samples(span.start, span.end, span.rate))
        {
            const Exact sigma = Exact(span.end - span.start) / frame / 2;
            const Exact d = Exact(sample.first.first.GetTicks() - middle) / frame / sigma;
            const Exact truth = pow(Exact(2), -(d * d));
            EXPECT_LE(static_cast<double>(abs(sample.second - truth)),
                      8 * 0x1p-53 * static_cast<double>(1 + d * d) * static_cast<double>(truth));
        }
    }
}

TEST(SamplesAroundTime, AreTheFrameAndTheNextForEachField)
{
    TickTime a, b, c, d;
    RK::GetSamplesAroundTime({TickTime(250), TickTime(-1)}, kRate, a, b, c, d);
    EXPECT_EQ(TickTime(200), a);
    EXPECT_EQ(TickTime(300), b);
    EXPECT_EQ(TickTime(-100), c);
    EXPECT_EQ(TickTime(0), d);
}

TEST(SamplesAroundTime, AreOneAndTheSameExactlyOnAFrame)
{
    TickTime a, b, c, d;
    RK::GetSamplesAroundTime({TickTime(200), TickTime(201)}, kRate, a, b, c, d);
    EXPECT_EQ(TickTime(200), a);
    EXPECT_EQ(TickTime(200), b);
    EXPECT_EQ(TickTime(200), c);
    EXPECT_EQ(TickTime(300), d);
}

struct Durations
{
    long long media, first, second;
};

Durations DurationsOf(const FrameRate& inMedia, const FrameRate& inOutput, bool inFields,
                      double inScale)
{
    Durations result{};
    RK::CalculateDurationsInMediaTime(inMedia, inOutput, {TickTime(5), TickTime(inFields ? 6 : 5)},
                                      inScale, result.media, result.first, result.second);
    return result;
}

TEST(DurationsInMediaTime, AreTheOutputFrameTimesTheScaleRoundedAtOneHalf)
{
    const Durations durations = DurationsOf(kFrameRate_Video24, FrameRate(101), false, 0.5);
    EXPECT_EQ(51, durations.first); // 50.5
    EXPECT_EQ(51, durations.second);
    EXPECT_EQ(kFrameRate_Video24.GetTicksPerFrame(), durations.media);
    EXPECT_EQ(50, DurationsOf(kRate, FrameRate(101), false, 0.4999).first);
}

TEST(DurationsInMediaTime, OfTwoFieldsAreHalved)
{
    EXPECT_EQ(50, DurationsOf(kRate, FrameRate(101), true, 1).first);
    EXPECT_EQ(101, DurationsOf(kRate, FrameRate(101), false, 1).first);
}

TEST(DurationsInMediaTime, BackwardsTruncateTowardZeroAfterTheHalf)
{
    EXPECT_EQ(-99, DurationsOf(kRate, kRate, false, -1).first); // -99.5
    EXPECT_EQ(-100, DurationsOf(kRate, FrameRate(101), false, -1).first);
    EXPECT_EQ(-49, DurationsOf(kRate, FrameRate(-101), true, 1).first) << "half of -101 is -50";
}

TEST(DurationsInMediaTime, MediaOfAThousandFramesASecondOrMoreTakeTheOutputs)
{
    const std::int64_t limit = kFrameRate_Video1000.GetTicksPerFrame();
    EXPECT_EQ(100, DurationsOf(FrameRate(limit), kRate, false, 1).media);
    EXPECT_EQ(limit + 1, DurationsOf(FrameRate(limit + 1), kRate, false, 1).media);
    EXPECT_EQ(100, DurationsOf(FrameRate(), kRate, false, 1).media);
}

TEST(DurationsInMediaTime, BeyondAllNumbersStayWithinThem)
{
    EXPECT_EQ(kMax, DurationsOf(kRate, kFrameRate_Video24, false, 1e300).first);
    EXPECT_EQ(-kMax - 1, DurationsOf(kRate, kFrameRate_Video24, false, -1e300).first);
    EXPECT_EQ(0, DurationsOf(kRate, kFrameRate_Video24, false, std::nan("")).first);
}

TEST(SampleWeight, IsTheWayFromOneSampleToTheNext)
{
    const auto weight = [](int inTime, int inBefore, int inAfter)
    { return RK::CalculateSampleWeight(TickTime(inTime), TickTime(inBefore), TickTime(inAfter)); };
    EXPECT_EQ(0.25f, weight(125, 100, 200));
    EXPECT_EQ(0.0f, weight(100, 100, 200));
    EXPECT_EQ(1.0f, weight(200, 100, 200));
    EXPECT_EQ(1.5f, weight(250, 100, 200));
    EXPECT_EQ(-1.0f, weight(0, 100, 200));
    EXPECT_EQ(static_cast<float>(1.0 / 3), weight(1, 0, 3));
}

TEST(SampleWeight, IsZeroWhereTheNextIsNotLater)
{
    EXPECT_EQ(0.0f, RK::CalculateSampleWeight(TickTime(5), TickTime(5), TickTime(5)));
    EXPECT_EQ(0.0f, RK::CalculateSampleWeight(TickTime(7), TickTime(5), TickTime(5)));
    EXPECT_EQ(0.0f, RK::CalculateSampleWeight(TickTime(7), TickTime(5), TickTime(4)));
}

RK::WeightedSamples WithWeights(const std::vector<double>& inWeights)
{
    RK::WeightedSamples samples;
    for (const double weight : inWeights)
        samples.push_back({{TickTime(1), kFieldType_Any}, weight});
    return samples;
}

std::vector<double> Normalized(const std::vector<double>& inWeights)
{
    RK::WeightedSamples samples = WithWeights(inWeights);
    RK::NormalizeSampleWeights(samples);
    std::vector<double> weights;
    for (const RK::WeightedSample& sample : samples)
        weights.push_back(sample.second);
    return weights;
}

TEST(NormalizedWeights, HaveTheSumOne)
{
    EXPECT_EQ((std::vector<double>{0.25, 0.25, 0.5}), Normalized({1, 1, 2}));
    EXPECT_EQ((std::vector<double>{-0.5, 1.5}), Normalized({-1, 3}));
}

TEST(NormalizedWeights, StayAsTheyAreWithoutAPositiveSum)
{
    for (const std::vector<double>& weights : {std::vector<double>{}, {0, 0, 0}, {1, -1}, {1, -2}})
        EXPECT_EQ(weights, Normalized(weights));
    EXPECT_EQ(1.0, Normalized({1.0, std::nan("")})[0]);
}

RC_GTEST_PROP(TimeBlendProperty, NormalizedWeightsOfASpanSumToOne, ())
{
    const auto start = *rc::gen::inRange<std::int64_t>(-100000, 100000);
    RK::WeightedSamples samples = Samples(start, start + *rc::gen::inRange(1, 5000));
    RC_ASSERT(!samples.empty() && samples.size() <= 10);
    double before = 0;
    for (const RK::WeightedSample& sample : samples)
        before += sample.second;
    RC_PRE(before > 1e-300);
    RK::NormalizeSampleWeights(samples);
    double sum = 0;
    for (const RK::WeightedSample& sample : samples)
        sum += sample.second;
    RC_ASSERT(std::fabs(sum - 1) <= 32 * 0x1p-53);
}

RC_GTEST_PROP(TimeBlendProperty, WeightsFallWithTheDistanceOnEachSide, ())
{
    const auto start = *rc::gen::inRange<std::int64_t>(-100000, 100000);
    const RK::WeightedSamples samples = Samples(start, start + *rc::gen::inRange(1, 5000));
    for (std::size_t i = 1; i < samples.size(); ++i)
    {
        const TickTime time = samples[i].first.first;
        const bool startsForward =
            time > samples[0].first.first && samples[i - 1].first.first <= samples[0].first.first;
        if (!startsForward)
            RC_ASSERT(samples[i].second <= samples[i - 1].second);
    }
}

} // namespace
} // namespace RKTests
