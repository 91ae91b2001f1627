#include "qelcore/OnceRegion.h"
#include "Support/Gate.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using qelcore::threads::OnceFlag;
using qelcore::threads::OnceRegion;

constinit OnceFlag sStaticFlag; // must not need a constructor

TEST(OnceRegion, IsEnteredUntilItIsCommittedAndNeverAfter)
{
    {
        OnceRegion region(sStaticFlag);
        ASSERT_TRUE(region.Entered());
        EXPECT_FALSE(OnceRegion::IsCommitted(sStaticFlag));
        region.Commit();
        EXPECT_TRUE(OnceRegion::IsCommitted(sStaticFlag));
    }

    OnceRegion again(sStaticFlag);
    EXPECT_FALSE(again.Entered());
    again.Commit(); // does nothing
    EXPECT_TRUE(OnceRegion::IsCommitted(sStaticFlag));
}

TEST(OnceRegion, ASetUpThatThrowsIsTriedAgain)
{
    OnceFlag flag;
    int attempts = 0;
    const auto setUp = [&]
    {
        OnceRegion region(flag);
        if (!region.Entered())
            return;
        if (++attempts == 1)
            throw std::runtime_error("first time");
        region.Commit();
    };

    EXPECT_THROW(setUp(), std::runtime_error);
    EXPECT_FALSE(OnceRegion::IsCommitted(flag));
    setUp();
    setUp();

    EXPECT_EQ(2, attempts);
}

TEST(OnceRegion, ThoseWhoWaitForAFailedSetUpTryItThemselvesOneAfterTheOther)
{
    OnceFlag flag;
    Testing::Gate gate;
    std::atomic<int> attempts{0};
    int result = 0; // guarded by the region
    std::atomic<int> wrong{0};
    const auto work = [&]
    {
        for (;;)
        {
            OnceRegion region(flag);
            if (!region.Entered())
                break;
            gate.Pass();
            if (attempts.fetch_add(1) < 2)
                continue; // rolled back
            result = 42;
            region.Commit();
        }
        wrong += result != 42;
    };

    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(work);
    gate.WaitUntilCome(1);
    gate.Open();
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(3, attempts.load());
    EXPECT_EQ(0, wrong.load());
}

} // namespace
