#include <cstdint>
#include <limits>
#include <stdexcept>

#include <boost/date_time/posix_time/posix_time.hpp>

#include "DiskCacheFixture.h"
#include "qelcore/UTCTime.h"

namespace
{

using namespace RK::DiskCacheManager;
using boost::posix_time::ptime;
using boost::posix_time::time_duration;
using Testing::kGiB;
using Testing::kNow;
using Testing::seconds;

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

VolumeLimits Limits(std::uint64_t inSize)
{
    VolumeLimits limits;
    limits.mVolumeSize = inSize;
    return limits;
}

TEST(AllowedBytesTest, AreTheFreeBytesWhileEveryLimitIsMet)
{
    EXPECT_EQ(4 * kGiB, AllowedBytes(Limits(100 * kGiB), 10 * kGiB, 4 * kGiB));
    EXPECT_EQ(0u, AllowedBytes(Limits(100 * kGiB), 10 * kGiB, 0));
}

TEST(AllowedBytesTest, AreFewerByWhatIsMissingOfTheFreeSpace)
{
    VolumeLimits limits = Limits(100 * kGiB);
    limits.mFreeSpaceBytes = 5 * kGiB;

    EXPECT_EQ(7 * kGiB, AllowedBytes(limits, 10 * kGiB, 2 * kGiB));
    EXPECT_EQ(5 * kGiB, AllowedBytes(limits, 10 * kGiB, 5 * kGiB)); // met: as many as are free
    EXPECT_EQ(0u, AllowedBytes(limits, 1 * kGiB, 2 * kGiB));        // more is missing than is used
    EXPECT_EQ(0u, AllowedBytes(limits, 3 * kGiB, 2 * kGiB));
}

TEST(AllowedBytesTest, TheLargerOfBytesAndPercentageIsKeptFree)
{
    VolumeLimits limits = Limits(1000);
    limits.mFreeSpaceBytes = 50;
    limits.mFreeSpacePercentage = 10.0f;
    EXPECT_EQ(430u, AllowedBytes(limits, 500, 30));

    limits.mFreeSpaceBytes = 200;
    EXPECT_EQ(330u, AllowedBytes(limits, 500, 30));
}

TEST(AllowedBytesTest, ThePercentageIsOfSinglePrecision)
{
    // 123456789012345 becomes 123456788103168 as a float; 10 % of that is 12345679020032 there, which is
    // neither the exact share nor that of double precision.
    VolumeLimits limits = Limits(123456789012345);
    limits.mFreeSpacePercentage = 10.0f;
    const float size = 123456789012345.0f;
    const auto share = static_cast<std::uint64_t>(size * 10.0f / 100.0f);
    ASSERT_NE(12345678901234u, share);

    EXPECT_EQ(20000000000000u - (share - 1000u), AllowedBytes(limits, 20000000000000u, 1000));
}

TEST(AllowedBytesTest, APercentageThatIsNoneOfAVolumeIsCut)
{
    VolumeLimits limits = Limits(1000);
    for (const float none : {-5.0f, 0.0f, std::numeric_limits<float>::quiet_NaN()})
    {
        limits.mFreeSpacePercentage = none;
        EXPECT_EQ(30u, AllowedBytes(limits, 500, 30)) << none;
    }
    for (const float all : {1e30f, std::numeric_limits<float>::infinity()})
    {
        limits.mFreeSpacePercentage = all;
        EXPECT_EQ(0u, AllowedBytes(limits, 500, 30)) << all;
    }
}

TEST(AllowedBytesTest, WhatIsUsedIsHeldToTheMaximumAndTheVolumesSize)
{
    VolumeLimits limits = Limits(1000);
    limits.mMaxUsedBytes = 200;
    EXPECT_EQ(200u, AllowedBytes(limits, 500, 900));
    limits.mMaxUsedBytes = 5000;
    EXPECT_EQ(1000u, AllowedBytes(limits, 1500, 900));
    limits.mMaxUsedBytes = 0;
    EXPECT_EQ(0u, AllowedBytes(limits, 500, 900));
}

TEST(AllowedBytesTest, TheStricterLimitWins)
{
    VolumeLimits limits = Limits(1000);
    limits.mMaxUsedBytes = 450;
    limits.mFreeSpaceBytes = 100;
    EXPECT_EQ(430u, AllowedBytes(limits, 500, 30));
    limits.mMaxUsedBytes = 400;
    EXPECT_EQ(400u, AllowedBytes(limits, 500, 30));
}

TEST(AllowedBytesTest, NothingWrapsAtTheEndOfTheNumbers)
{
    VolumeLimits limits = Limits(kMost);
    limits.mFreeSpaceBytes = kMost;
    EXPECT_EQ(0u, AllowedBytes(limits, kMost - 1, 0));
    EXPECT_EQ(kMost, AllowedBytes(Limits(kMost), 1, kMost));
}

TEST(ShiftedTime, StopsAtTheFirstAndTheLastTime)
{
    const ptime now = qelcore::utility::ToUTCTime(kNow);
    const time_duration longest(0, 0, 0, (std::numeric_limits<std::int64_t>::max)() - 3);
    const ptime first(boost::posix_time::min_date_time);
    const ptime last(boost::posix_time::max_date_time);

    EXPECT_EQ(last, Shifted(now, longest));
    EXPECT_EQ(first, Shifted(now, longest.invert_sign()));
    EXPECT_EQ(last, Shifted(last, seconds(1)));
    EXPECT_EQ(first, Shifted(first, seconds(-1)));
    EXPECT_EQ(now + seconds(5), Shifted(now, seconds(5)));
}

TEST(ShiftedTime, TakesTheSpecialDurations)
{
    const ptime now = qelcore::utility::ToUTCTime(kNow);
    EXPECT_TRUE(Shifted(now, time_duration(boost::posix_time::pos_infin)).is_pos_infinity());
    EXPECT_TRUE(Shifted(now, time_duration(boost::posix_time::neg_infin)).is_neg_infinity());
    EXPECT_TRUE(
        Shifted(now, time_duration(boost::posix_time::not_a_date_time)).is_not_a_date_time());
}

TEST(TimeOrder, HoldsForTheSpecialTimesToo)
{
    const std::vector<ptime> ascending = {
        ptime(boost::posix_time::neg_infin),       ptime(boost::posix_time::min_date_time),
        qelcore::utility::ToUTCTime(kNow),         ptime(boost::posix_time::max_date_time),
        ptime(boost::posix_time::not_a_date_time), ptime(boost::posix_time::pos_infin)};
    for (std::size_t i = 0; i < ascending.size(); ++i)
    {
        for (std::size_t j = 0; j < ascending.size(); ++j)
            EXPECT_EQ(i < j, IsBefore(ascending[i], ascending[j])) << i << " and " << j;
    }
}

TEST(CurrentTimeTest, IsInWholeSecondsAndRefusesATimeBeyondTheCalendar)
{
    Testing::MemoryFileSystem files;
    files.SetNow({kNow, 999999999});
    EXPECT_EQ("2023-Nov-14 22:13:20", boost::posix_time::to_simple_string(CurrentTime()));

    files.SetNow({std::int64_t{1} << 60, 0}); // a year that no calendar record holds
    try
    {
        CurrentTime();
        FAIL();
    }
    catch (const std::runtime_error& failure)
    {
        EXPECT_STREQ("could not convert calendar time to UTC time", failure.what());
    }
}

} // namespace
