#include "RKTimeTransform.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "Support/ContractWatch.h"
#include "Support/ForgivingErrors.h"

namespace RKTests
{
namespace
{

using qelmediatypes::kTime_Max;
using qelmediatypes::kTime_Zero;
using qelmediatypes::TickTime;
using Testing::ContractWatch;
using Testing::ExpectContractViolation;
using Testing::ForgivingErrors;

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
const std::string kPath = "Src/TimeTransform";

RK::ITimeTransformRef Make(std::int64_t inOffset, double inScale, std::int64_t inMin = -kMax,
                           std::int64_t inMax = kMax)
{
    return RK::CreateTimeTransform(TickTime(inOffset), inScale, TickTime(inMin), TickTime(inMax));
}

std::int64_t TimeOf(const RK::ITimeTransformRef& inTransform, std::int64_t inTicks)
{
    return inTransform->GetTime(TickTime(inTicks), false).GetTicks();
}

std::int64_t OriginalOf(const RK::ITimeTransformRef& inTransform, std::int64_t inTicks)
{
    return inTransform->GetOriginalTime(TickTime(inTicks), false).GetTicks();
}

double RateOf(const RK::ITimeTransformRef& inTransform, std::int64_t inTicks)
{
    return inTransform->GetRate(TickTime(inTicks));
}

TEST(TimeTransform, ScalesThenAddsTheOffset)
{
    EXPECT_EQ(1007, TimeOf(Make(7, 2), 500));
    EXPECT_EQ(-993, TimeOf(Make(7, -2), 500));
    EXPECT_EQ(7, TimeOf(Make(7, 0), 500));
}

TEST(TimeTransform, AScaleOfOneRoundsNothing)
{
    const std::int64_t odd = (std::int64_t{1} << 62) + 1; // no double holds it
    EXPECT_EQ(odd, TimeOf(Make(0, 1), odd));
    EXPECT_EQ(odd, OriginalOf(Make(0, 1), odd));
}

TEST(TimeTransform, AScaleThatIsNoNumberCountsAsAnother)
{
    EXPECT_EQ(7, TimeOf(Make(7, std::nan("")), 500));
    EXPECT_EQ(0, OriginalOf(Make(7, std::nan("")), 500));
}

TEST(TimeTransform, ClampsToItsRange)
{
    const RK::ITimeTransformRef transform = Make(0, 2, 100, 200);
    EXPECT_EQ(100, TimeOf(transform, 49));
    EXPECT_EQ(100, TimeOf(transform, 50));
    EXPECT_EQ(102, TimeOf(transform, 51));
    EXPECT_EQ(200, TimeOf(transform, 100));
    EXPECT_EQ(200, TimeOf(transform, 101));
}

TEST(TimeTransform, TheMaximumHasTheLastWordWhereTheRangeCrosses)
{
    const RK::ITimeTransformRef transform = Make(0, 1, 200, 100);
    for (const int time : {0, 100, 150, 200, 300})
        EXPECT_EQ(100, TimeOf(transform, time));
}

TEST(TimeTransform, SaturatesInsteadOfOverflowing)
{
    EXPECT_EQ(kMax, TimeOf(Make(10, 1), kMax));
    EXPECT_EQ(-kMax, TimeOf(Make(-10, 1e9), -kMax));
    EXPECT_EQ(kMax, OriginalOf(Make(-10, 1), kMax));
    EXPECT_EQ(kMax, OriginalOf(Make(0, 1e-9), kMax));
    EXPECT_EQ(-kMax, OriginalOf(Make(5, 0), 4)) << "a scale of 0 has no inverse";
    EXPECT_EQ(0, OriginalOf(Make(5, 0), 5));
}

TEST(TimeTransform, TheFlagHasNoEffect)
{
    const RK::ITimeTransformRef transform = Make(3, 0.7);
    EXPECT_EQ(transform->GetTime(TickTime(999), false), transform->GetTime(TickTime(999), true));
    EXPECT_EQ(transform->GetOriginalTime(TickTime(999), false),
              transform->GetOriginalTime(TickTime(999), true));
}

TEST(TimeTransform, TheInverseTakesTheOffsetOffFirst)
{
    EXPECT_EQ(500, OriginalOf(Make(7, 2), 1007));
    EXPECT_EQ(500, OriginalOf(Make(7, -2), -993));
    EXPECT_EQ(333, OriginalOf(Make(0, 3), 1000));
}

TEST(TimeTransform, TheInverseRefusesWhatIsOutsideTheRange)
{
    const RK::ITimeTransformRef transform = Make(0, 2, 100, 200);
    EXPECT_EQ(50, OriginalOf(transform, 100));
    EXPECT_EQ(100, OriginalOf(transform, 200));
    ExpectContractViolation([&] { OriginalOf(transform, 99); }, "inTransformedTime >= mMin", kPath,
                            "GetOriginalTime");
    ExpectContractViolation([&] { OriginalOf(transform, 201); }, "inTransformedTime <= mMax", kPath,
                            "GetOriginalTime");
}

TEST(TimeTransform, TheInverseGoesOnWhereTheErrorManagerLetsIt)
{
    const ForgivingErrors forgiving;
    const ContractWatch watch;
    EXPECT_EQ(200, OriginalOf(Make(0, 2, 100, 200), 400));
    EXPECT_EQ(-3, OriginalOf(Make(0, 2, 100, 200), -6));
    EXPECT_EQ(2u, watch.reported.size());
}

TEST(TimeTransform, RunsForwardFromTheMinimumUntilItStopsAtTheMaximum)
{
    const RK::ITimeTransformRef transform = Make(0, 2, 100, 200);
    EXPECT_EQ(0.0, RateOf(transform, 49));
    EXPECT_EQ(2.0, RateOf(transform, 50));
    EXPECT_EQ(2.0, RateOf(transform, 99));
    EXPECT_EQ(0.0, RateOf(transform, 100)) << "exactly at the maximum";
}

TEST(TimeTransform, RunsBackFromTheMaximumUntilItStopsAtTheMinimum)
{
    const RK::ITimeTransformRef transform = Make(300, -2, 100, 200);
    EXPECT_EQ(0.0, RateOf(transform, 49));
    EXPECT_EQ(-2.0, RateOf(transform, 50)) << "exactly at the maximum";
    EXPECT_EQ(-2.0, RateOf(transform, 99));
    EXPECT_EQ(0.0, RateOf(transform, 100));
}

TEST(TimeTransform, RateOfAnUnscaledTimeIsOneWithinTheRange)
{
    const RK::ITimeTransformRef transform = Make(10, 1, 0, 20);
    EXPECT_EQ(0.0, RateOf(transform, -11));
    EXPECT_EQ(1.0, RateOf(transform, -10));
    EXPECT_EQ(0.0, RateOf(transform, 10));
}

TEST(TimeTransform, TheRangeOfOriginalTimesIsFromZeroOnWhateverTheArgument)
{
    const RK::ITimeTransformRef transform = Make(0, 2, 100, 200);
    for (const int time : {-5, 0, 500})
    {
        EXPECT_EQ(kTime_Zero, transform->GetTimeRangeMin(TickTime(time)));
        EXPECT_EQ(kTime_Max, transform->GetTimeRangeMax(TickTime(time)));
    }
}

TEST(TimeTransform, AnswersToBothOfItsInterfaces)
{
    const RK::ITimeTransformRef transform = Make(7, -0.5, 100, 200);
    const RK::ITimeTransformDataRef data = ZOR::QueryInterface<RK::ITimeTransformData>(transform);
    ASSERT_TRUE(data);
    EXPECT_EQ(TickTime(7), data->GetOffset());
    EXPECT_EQ(-0.5, data->GetScale());
    EXPECT_EQ(TickTime(100), data->GetMin());
    EXPECT_EQ(TickTime(200), data->GetMax());
    EXPECT_EQ(transform, ZOR::QueryInterface<RK::ITimeTransform>(data));
}

TEST(TimeTransform, AnswersToNothingElse)
{
    struct IOther : ZOR::ZORUnknown
    {
    };
    const qelcore::utility::Guid other(1, 2);
    void* found = &found;
    EXPECT_TRUE(qelcore::Failed(Make(0, 1)->QueryMap(ZOR::ToUUIDBytes(other), &found)));
    EXPECT_EQ(nullptr, found);
}

RC_GTEST_PROP(TimeTransformProperty, TheInverseOfATransformedTimeIsTheTimeAgain, ())
{
    const double scale =
        (*rc::gen::arbitrary<bool>() ? 1 : -1) * (1 + *rc::gen::inRange(0, 1000) / 7.0);
    const auto time = *rc::gen::inRange<std::int64_t>(-1000000000000, 1000000000000);
    const RK::ITimeTransformRef transform =
        Make(*rc::gen::inRange<std::int64_t>(-1000000000, 1000000000), scale);
    RC_ASSERT(OriginalOf(transform, TimeOf(transform, time)) == time);
}

RC_GTEST_PROP(TimeTransformProperty, TheTransformOfAnOriginalTimeIsTheTimeAgain, ())
{
    const double scale =
        (*rc::gen::arbitrary<bool>() ? 1 : -1) * 1000.0 / *rc::gen::inRange(1, 1000000);
    const auto time = *rc::gen::inRange<std::int64_t>(-1000000000000, 1000000000000);
    const RK::ITimeTransformRef transform =
        Make(*rc::gen::inRange<std::int64_t>(-1000000000, 1000000000), scale);
    const double slack = std::fabs(scale) <= 1 ? 0 : std::fabs(scale) / 2 + 1;
    RC_ASSERT(std::fabs(static_cast<double>(TimeOf(transform, OriginalOf(transform, time)) -
                                            time)) <= slack);
}

RC_GTEST_PROP(TimeTransformProperty, ALaterTimeIsNotMappedEarlier, ())
{
    const RK::ITimeTransformRef transform =
        Make(*rc::gen::inRange<std::int64_t>(-1000, 1000), *rc::gen::inRange(0, 1000) / 37.0,
             *rc::gen::inRange<std::int64_t>(-5000, 0), *rc::gen::inRange<std::int64_t>(0, 5000));
    const auto time = *rc::gen::inRange<std::int64_t>(-100000, 100000);
    const auto later = time + *rc::gen::inRange<std::int64_t>(0, 1000);
    RC_ASSERT(TimeOf(transform, time) <= TimeOf(transform, later));
}

} // namespace
} // namespace RKTests
