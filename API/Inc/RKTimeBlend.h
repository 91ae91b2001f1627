#pragma once

#include <utility>
#include <vector>

#include "qelcore/Export.h"
#include "qelmediatypes/FieldType.h"
#include "qelmediatypes/FrameRate.h"
#include "qelmediatypes/TickTime.h"

// Which frames lie around a time or a span of time, and how much each counts when they are blended.
//
// Units    Times and durations in ticks. Weights are plain factors.
// Threads  Pure functions but for what they are given to change: any thread.
// Errors   Nothing raises but std::bad_alloc.
namespace RK
{

/// When the two fields of a frame are shown; equal for a progressive frame.
struct FrameTime
{
    qelmediatypes::TickTime firstField;
    qelmediatypes::TickTime secondField;
};

/// A frame by its time, the field of it, and its weight.
using WeightedSample =
    std::pair<std::pair<qelmediatypes::TickTime, qelmediatypes::FieldType>, double>;
using WeightedSamples = std::vector<WeightedSample>;

/// Appends the frames around the middle of a span, with weights in the shape of a bell: 5 at most at or
/// before the middle, nearest first, then 5 at most behind it, nearest first. A frame half the span's
/// length away from the middle counts one half:
///     weight = 2 ^ -((distance / frame / sigma)^2),  sigma = duration / frame / 2
/// The middle is that of the span less half a frame, so that frames count by their own middles. Weights are
/// relative to each other (see NormalizeSampleWeights), each within 8 u of the formula, u = 2^-53,
/// times 1 + the square of distance / sigma.
/// The span must have a length, and inRate a duration: otherwise weights are 0 or NaN.
/// @param inField     goes into each sample as it is.
/// @param ioSamples   keeps what it held.
RK_API void GetWeightedSamplesForRange(const qelmediatypes::TickTime& inStart,
                                       const qelmediatypes::TickTime& inEnd,
                                       const qelmediatypes::FrameRate& inRate,
                                       qelmediatypes::FieldType inField,
                                       WeightedSamples& ioSamples);

/// The frame that each field's time lies in, and the one after it; both the same where the time is exactly
/// that of a frame. Exact.
RK_API void GetSamplesAroundTime(const FrameTime& inTime, const qelmediatypes::FrameRate& inRate,
                                 qelmediatypes::TickTime& outFirstBefore,
                                 qelmediatypes::TickTime& outFirstAfter,
                                 qelmediatypes::TickTime& outSecondBefore,
                                 qelmediatypes::TickTime& outSecondAfter);

/// How much media time one output frame, or one field of it if inTime has two times, covers at a playing
/// speed: outputRate's duration times inScale, rounded up at one half, and within the range of 64 bits;
/// 0 for NaN.
/// @param inScale          media time per output time.
/// @param outMediaFrame    the duration of a media frame; as the others if the media has 1000 frames a second
///                         or more, such as media that have a picture for any time.
/// @param outDuration, outDurationAgain  both the same.
RK_API void CalculateDurationsInMediaTime(const qelmediatypes::FrameRate& inMediaRate,
                                          const qelmediatypes::FrameRate& inOutputRate,
                                          const FrameTime& inTime, const double& inScale,
                                          long long& outMediaFrame, long long& outDuration,
                                          long long& outDurationAgain);

/// How far inTime has come from inBefore to inAfter: 0 to 1 between them, linear beyond them, and 0 if
/// inAfter is not later than inBefore. Within one rounding of double and one of float.
RK_API float CalculateSampleWeight(const qelmediatypes::TickTime& inTime,
                                   const qelmediatypes::TickTime& inBefore,
                                   const qelmediatypes::TickTime& inAfter);

/// Scales the weights so that their sum is 1, within the rounding of n additions. An empty list, and one
/// whose sum is 0, less, or NaN, stays as it is.
RK_API void NormalizeSampleWeights(WeightedSamples& ioSamples);

} // namespace RK
