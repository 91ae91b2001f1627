// Whatever the clocks and the times of files say, ages are differences of UTC seconds.
#include <cstdint>
#include <limits>
#include <string>

#include <stdlib.h>
#include <time.h>

#include "DiskCacheFixture.h"

namespace
{

using namespace RK::DiskCacheManager;
using ::testing::ElementsAre;
using Testing::hours;
using ::testing::IsEmpty;
using Testing::kDay;
using Testing::kHour;
using Testing::kMinute;
using Testing::kNow;
using ::testing::UnorderedElementsAre;

// The zone of the process for a test's life, in a form that needs no data of zones.
class ScopedZone
{
public:
    explicit ScopedZone(const char* inZone)
    {
        const char* before = getenv("TZ");
        mHad = before != nullptr;
        mBefore = mHad ? before : "";
        setenv("TZ", inZone, 1);
        tzset();
    }
    ~ScopedZone()
    {
        if (mHad)
            setenv("TZ", mBefore.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    ScopedZone(const ScopedZone&) = delete;
    ScopedZone& operator=(const ScopedZone&) = delete;

private:
    bool mHad;
    std::string mBefore;
};

class SweepTimes : public Testing::DiskCacheTest
{
protected:
    SweepTimes()
        : mFolder(Manage(u"/cache"))
    {
        FreeVolume(u"/cache");
        mManager.SetDirectoryMaxFileCount(*mFolder, std::uint64_t{0});
    }
    /// A file that was last used then.
    void PutAt(const std::string& inName, std::int64_t inSeconds)
    {
        const Platform::FileTime time = {inSeconds, 0};
        mFiles.AddSizedFile("/cache/" + inName, 100, time, time);
    }
    void SweepAt(std::int64_t inSeconds)
    {
        mFiles.SetNow({inSeconds, 0});
        EXPECT_EQ(1u, PassInterval());
    }
    int LocalHourAt(std::int64_t inSeconds)
    {
        const time_t seconds = inSeconds;
        tm fields{};
        localtime_r(&seconds, &fields);
        return fields.tm_hour;
    }

    ManagedDirectoryPtr mFolder;
};

class DaylightChange : public SweepTimes, public ::testing::WithParamInterface<std::int64_t>
{
};

TEST_P(DaylightChange, AnAgeOverItIsOfPlainSeconds)
{
    const ScopedZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    const std::int64_t change = GetParam();
    // The clock on the wall has jumped there: an hour later it shows the same hour, or two more.
    ASSERT_NE((LocalHourAt(change - 1) + 1) % 24, LocalHourAt(change));
    const std::int64_t now = change + 5 * kMinute;
    PutAt("16 minutes.rkdc", now - 16 * kMinute);
    PutAt("15 minutes.rkdc", now - 15 * kMinute);
    PutAt("14 minutes.rkdc", now - 14 * kMinute);
    SweepAt(now);
    EXPECT_THAT(Left("/cache"), UnorderedElementsAre("15 minutes.rkdc", "14 minutes.rkdc"));
}

TEST_P(DaylightChange, AnExpiryOverItIsOfPlainSeconds)
{
    const ScopedZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    const std::int64_t now = GetParam() + 10 * kHour;
    mManager.SetDirectoryMaxFileCount(*mFolder, boost::none);
    mManager.SetDirectoryAutomaticExpiryDuration(*mFolder, OptionalDuration(hours(24)));
    PutAt("stays.rkdc", now - kDay - 15 * kMinute);
    PutAt("goes.rkdc", now - kDay - 15 * kMinute - 1);
    SweepAt(now);
    EXPECT_THAT(Left("/cache"), ElementsAre("stays.rkdc"));
}

constexpr std::int64_t kToSummer = 1679792400; // 2023-03-26 01:00:00 UTC
constexpr std::int64_t kToWinter = 1698541200; // 2023-10-29 01:00:00 UTC
INSTANTIATE_TEST_SUITE_P(Both, DaylightChange, ::testing::Values(kToSummer, kToWinter));

TEST_F(SweepTimes, AClockThatWasSetBackSparesWhatWasUsedInItsFuture)
{
    PutAt("used.rkdc", kNow - kHour);
    SweepAt(kNow - kDay);
    EXPECT_THAT(Left("/cache"), ElementsAre("used.rkdc"));
    SweepAt(kNow);
    EXPECT_THAT(Left("/cache"), IsEmpty());
}

TEST_F(SweepTimes, AClockThatWasSetForwardAgesEverything)
{
    PutAt("just used.rkdc", kNow);
    SweepAt(kNow + 14 * kMinute);
    EXPECT_THAT(Left("/cache"), ElementsAre("just used.rkdc"));
    SweepAt(kNow + 365 * kDay);
    EXPECT_THAT(Left("/cache"), IsEmpty());
}

TEST_F(SweepTimes, AFileOfTheFutureIsYoungUntilItsTimeHasPassed)
{
    PutAt("future.rkdc", kNow + kHour);
    SweepAt(kNow + kHour + 15 * kMinute);
    EXPECT_THAT(Left("/cache"), ElementsAre("future.rkdc"));
    SweepAt(kNow + kHour + 15 * kMinute + 1);
    EXPECT_THAT(Left("/cache"), IsEmpty());
}

TEST_F(SweepTimes, FilesOfBefore1970GoByTheirOrder)
{
    mManager.SetDirectoryMaxFileCount(*mFolder, std::uint64_t{2});
    PutAt("1969.rkdc", -1);
    PutAt("1970.rkdc", 1);
    PutAt("1870.rkdc", -100 * 365 * kDay);
    PutAt("1770.rkdc", -200 * 365 * kDay);
    SweepAt(kNow);
    EXPECT_THAT(Left("/cache"), UnorderedElementsAre("1969.rkdc", "1970.rkdc"));
}

TEST_F(SweepTimes, AClockBefore1970SweepsLikeAnyOther)
{
    PutAt("old.rkdc", -10 * kDay);
    PutAt("young.rkdc", -kDay - 14 * kMinute);
    PutAt("of another age.rkdc", kNow);
    SweepAt(-kDay);
    EXPECT_THAT(Left("/cache"), UnorderedElementsAre("young.rkdc", "of another age.rkdc"));
}

// The seconds of a year such as 2^40 are more than 64 bits count: the last second that there is stands for
// it.
TEST_F(SweepTimes, TimesBeyondTheCalendarPassEveryPhaseWithoutAWrap)
{
    constexpr std::int64_t kFirst = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kFar = (std::int64_t{1} << 33) * 365 * kDay; // 2^33 years
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
    mManager.SetDirectoryMaxFileCount(*mFolder, boost::none);
    mManager.SetDirectoryMaxUsedBytes(*mFolder, std::uint64_t{300});
    mManager.SetDirectoryAutomaticExpiryDuration(*mFolder,
                                                 OptionalDuration(hours(24 * 365 * 2000)));
    mManager.SetDirectoryPriorityBoost(*mFolder, OptionalDuration(hours(24 * 365 * 9000)));
    mManager.SetVolumeMaxUsedBytes(*VolumeOf(u"/cache"), std::uint64_t{0});
    PutAt("first.rkdc", kFirst);
    PutAt("far past.rkdc", -kFar);
    PutAt("plain.rkdc", kNow - kDay);
    PutAt("far future.rkdc", kFar);
    PutAt("last.rkdc", kLast);
    SweepAt(kNow);
    EXPECT_THAT(Left("/cache"), UnorderedElementsAre("plain.rkdc", "far future.rkdc", "last.rkdc"));
}

} // namespace
