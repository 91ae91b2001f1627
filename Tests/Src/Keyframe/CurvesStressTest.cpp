// Everything here may be called by any thread: what several threads compute at once is what one does.
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Keyframe/PointKeyframeVelocityCache.h"
#include "RKBezier.h"
#include "RKTemporalEase.h"
#include "RKTimeBlend.h"
#include "RKTimeTransform.h"

namespace RKTests
{
namespace
{

using qelmediatypes::TickTime;

constexpr int kThreads = 4;

template <class Work>
void OnSeveralThreads(const Work& inWork)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&inWork, i] { inWork(i); });
    for (std::thread& thread : threads)
        thread.join();
}

struct Segment
{
    Segment()
    {
        lhs.outInfluence = 0.4;
        lhs.interpolation = RK::kKeyframeInterpolation_Bezier;
        lhs.outTangent = {3, 1};
        rhs.inInfluence = 0.7;
        rhs.inSpeed = 0.5;
        rhs.position = TickTime(1000000);
        rhs.value = {4, -2};
    }
    RK::PointKeyframe lhs;
    RK::PointKeyframe rhs;
};

std::vector<double> Compute(const Segment& inSegment, const RK::PointKeyframeVelocityCache& inCache)
{
    std::vector<double> results;
    for (int i = 0; i <= 2000; ++i)
    {
        const double part = i / 2000.0;
        results.push_back(
            RK::BezierUtils::Get2dTemporalEaseFactor(inSegment.lhs, inSegment.rhs, part, 1.5));
        results.push_back(inCache.FindDistanceIndex(part * inCache.totalDistance));
    }
    RK::WeightedSamples samples;
    RK::GetWeightedSamplesForRange(TickTime(0), TickTime(100000), qelmediatypes::FrameRate(9999),
                                   qelmediatypes::kFieldType_Any, samples);
    RK::NormalizeSampleWeights(samples);
    for (const RK::WeightedSample& sample : samples)
        results.push_back(sample.second);
    return results;
}

TEST(CurvesStress, ThreadsThatShareASegmentAndItsTableComputeTheSame)
{
    const Segment segment;
    RK::PointKeyframeVelocityCache cache;
    RK::InitializeVelocityCache(segment.lhs, segment.rhs, cache);
    const std::vector<double> expected = Compute(segment, cache);
    std::vector<double> results[kThreads];
    OnSeveralThreads([&](int i) { results[i] = Compute(segment, cache); });
    for (const std::vector<double>& result : results)
        EXPECT_EQ(expected, result);
}

TEST(CurvesStress, ATimeTransformIsSharedAndEndsWithItsLastHolder)
{
    for (int round = 0; round < 200; ++round)
    {
        RK::ITimeTransformRef transform =
            RK::CreateTimeTransform(TickTime(7), 2, TickTime(0), TickTime(1000));
        std::vector<RK::ITimeTransformRef> holders(kThreads, transform);
        transform.reset(); // so that one of the threads drops the last reference
        std::int64_t times[kThreads] = {};
        OnSeveralThreads(
            [&](int i)
            {
                for (int k = 0; k < 20; ++k)
                {
                    const auto data = ZOR::QueryInterface<RK::ITimeTransformData>(holders[i]);
                    times[i] += holders[i]->GetTime(TickTime(k), false).GetTicks() +
                                data->GetOffset().GetTicks();
                }
                holders[i].reset();
            });
        for (const std::int64_t time : times)
            ASSERT_EQ(20 * 14 + 2 * 190, time);
    }
}

} // namespace
} // namespace RKTests
