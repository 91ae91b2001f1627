#include "Platform/Clock.h"

#include <gtest/gtest.h>

#include "Support/FakeClock.h"
#include "qelcore/HighPrecisionTime.h"

namespace
{

using qelcore::utility::HighPrecisionTime;

TEST(HighPrecisionTime, NeverGoesBack)
{
    std::uint64_t before = HighPrecisionTime::GetCurrentTime();
    for (int i = 0; i < 10000; ++i)
    {
        const std::uint64_t now = HighPrecisionTime::GetCurrentTime();
        ASSERT_GE(now, before);
        before = now;
    }
}

TEST(HighPrecisionTime, DifferencesTurnIntoNanoseconds)
{
    Testing::FakeClock clock;
    const std::uint64_t before = HighPrecisionTime::GetCurrentTime();

    clock.AdvanceSeconds(1.5);

    EXPECT_EQ(1500000000u,
              HighPrecisionTime::ConvertToNanos(HighPrecisionTime::GetCurrentTime() - before));
}

TEST(Clock, AScopeReplacesTheMachinesClockForItsLife)
{
    EXPECT_TRUE(Platform::Clock().RunsByItself());
    {
        Testing::FakeClock clock;
        EXPECT_EQ(&clock, &Platform::Clock());
        EXPECT_FALSE(Platform::Clock().RunsByItself());
        EXPECT_EQ(1000000000u, Platform::Clock().NowNanoseconds());
        {
            Testing::FakeClock inner;
            EXPECT_EQ(&inner, &Platform::Clock());
        }
        EXPECT_EQ(&clock, &Platform::Clock());
    }
    EXPECT_TRUE(Platform::Clock().RunsByItself());
}

} // namespace
