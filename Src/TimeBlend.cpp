#include "RKTimeBlend.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace RK
{

using qelmediatypes::FieldType;
using qelmediatypes::FrameRate;
using qelmediatypes::TickTime;

namespace
{

constexpr int kMaxSamplesASide = 5;

double ToDouble(const TickTime& inTime)
{
    return static_cast<double>(inTime.GetTicks());
}

// The bell, 1 in the middle and one half at a distance of sigma frames.
class Bell
{
public:
    Bell(const TickTime& inDuration, const FrameRate& inRate)
        : mFrame(static_cast<double>(inRate.GetTicksPerFrame()))
        , mSigma(ToDouble(inDuration) / mFrame * 0.5)
    {
    }
    double WeightAt(const TickTime& inDistance) const
    {
        const double d = ToDouble(inDistance) / mFrame / mSigma;
        return std::exp2(-(d * d));
    }

private:
    const double mFrame;
    const double mSigma;
};

void FindSamplesAround(const TickTime& inTime, const FrameRate& inRate, TickTime& outBefore,
                       TickTime& outAfter)
{
    outBefore = inTime.AlignToFrame(inRate);
    outAfter = outBefore == inTime ? outBefore : outBefore.AddFrames(1, inRate);
}

// Toward zero.
long long ToTicks(double inTicks)
{
    constexpr double kBeyond = 9223372036854775808.0; // 2^63, the first that does not fit
    if (std::isnan(inTicks))
        return 0;
    if (inTicks >= kBeyond)
        return std::numeric_limits<long long>::max();
    return inTicks < -kBeyond ? std::numeric_limits<long long>::min()
                              : static_cast<long long>(inTicks);
}

} // namespace

void GetWeightedSamplesForRange(const TickTime& inStart, const TickTime& inEnd,
                                const FrameRate& inRate, FieldType inField,
                                WeightedSamples& ioSamples)
{
    const TickTime duration = inEnd - inStart;
    const TickTime halfFrame((inRate * 2).GetTicksPerFrame());
    const TickTime middle = inStart + duration / 2 - halfFrame;
    const TickTime first = inStart.AlignToFrame(inRate);
    TickTime last = inEnd.AlignToFrame(inRate);
    if (last < inEnd)
        last = last.AddFrames(1, inRate);
    const Bell bell(duration, inRate);

    TickTime sample = middle.AlignToFrame(inRate);
    for (int i = 0; i < kMaxSamplesASide && (i == 0 || sample >= first); ++i)
    {
        ioSamples.push_back({{sample, inField}, bell.WeightAt(middle - sample)});
        sample = sample.AddFrames(-1, inRate);
    }
    sample = middle.AlignToFrame(inRate).AddFrames(1, inRate);
    for (int i = 0; i < kMaxSamplesASide && sample < last; ++i)
    {
        ioSamples.push_back({{sample, inField}, bell.WeightAt(sample - middle)});
        sample = sample.AddFrames(1, inRate);
    }
}

void GetSamplesAroundTime(const FrameTime& inTime, const FrameRate& inRate,
                          TickTime& outFirstBefore, TickTime& outFirstAfter,
                          TickTime& outSecondBefore, TickTime& outSecondAfter)
{
    FindSamplesAround(inTime.firstField, inRate, outFirstBefore, outFirstAfter);
    FindSamplesAround(inTime.secondField, inRate, outSecondBefore, outSecondAfter);
}

void CalculateDurationsInMediaTime(const FrameRate& inMediaRate, const FrameRate& inOutputRate,
                                   const FrameTime& inTime, const double& inScale,
                                   long long& outMediaFrame, long long& outDuration,
                                   long long& outDurationAgain)
{
    std::int64_t output = inOutputRate.GetTicksPerFrame();
    if (inTime.firstField != inTime.secondField)
        output /= 2;
    outDuration = ToTicks(static_cast<double>(output) * inScale + 0.5);
    outDurationAgain = outDuration;
    const std::int64_t media = inMediaRate.GetTicksPerFrame();
    outMediaFrame =
        media > qelmediatypes::kFrameRate_Video1000.GetTicksPerFrame() ? media : outDuration;
}

float CalculateSampleWeight(const TickTime& inTime, const TickTime& inBefore,
                            const TickTime& inAfter)
{
    if (inAfter <= inBefore)
        return 0.0f;
    return static_cast<float>(ToDouble(inTime - inBefore) / ToDouble(inAfter - inBefore));
}

void NormalizeSampleWeights(WeightedSamples& ioSamples)
{
    double sum = 0.0;
    for (const WeightedSample& sample : ioSamples)
        sum += sample.second;
    if (!(sum > 0.0))
        return;
    const double factor = 1.0 / sum;
    for (WeightedSample& sample : ioSamples)
        sample.second *= factor;
}

} // namespace RK
