// The new handler, called as operator new calls it.
#include "RKQELErrorManager.h"

#include <chrono>
#include <functional>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/FakeClock.h"

namespace
{

using ::testing::ElementsAre;

/// Stands in for what frees memory, and notes what it was asked for.
class FakeErrorManager : public qelcore::config::ErrorManager
{
public:
    bool PurgeMemory(std::size_t inBytes) override
    {
        asked.push_back(inBytes);
        return onPurge(inBytes);
    }
    std::function<bool(std::size_t)> onPurge = [](std::size_t) { return true; };
    std::vector<std::size_t> asked; // by the purging thread; the test reads it between purges
};

class PurgingNewHandlerTest : public testing::Test
{
protected:
    PurgingNewHandlerTest()
        : mBefore(qelcore::config::SetErrorManager(mErrors))
    {
    }
    ~PurgingNewHandlerTest() override { qelcore::config::SetErrorManager(mBefore); }

    /// What operator new does once when it finds no memory. @return whether it would try again.
    static bool FailToAllocate()
    {
        try
        {
            std::get_new_handler()();
            return true;
        }
        catch (const std::bad_alloc&)
        {
            return false;
        }
    }

    Testing::FakeClock mClock;
    boost::shared_ptr<FakeErrorManager> mErrors = boost::make_shared<FakeErrorManager>();

private:
    const boost::shared_ptr<qelcore::config::ErrorManager> mBefore;
};

TEST_F(PurgingNewHandlerTest, IsInForceForItsLifeAndGivesBackTheOneBefore)
{
    const auto mine = [] { throw std::bad_alloc(); };
    std::set_new_handler(mine);
    for (int round = 0; round < 2; ++round)
    {
        {
            const RK::PurgingNewHandler handler;
            EXPECT_NE(static_cast<void (*)()>(mine), std::get_new_handler());
            EXPECT_TRUE(FailToAllocate());
        }
        EXPECT_EQ(static_cast<void (*)()>(mine), std::get_new_handler());
    }
    std::set_new_handler(nullptr);
}

TEST_F(PurgingNewHandlerTest, HasTheManagerInForcePurgeOnAThreadOfItsOwn)
{
    std::thread::id purging;
    mErrors->onPurge = [&purging](std::size_t)
    {
        purging = std::this_thread::get_id();
        return true;
    };
    const RK::PurgingNewHandler handler;
    EXPECT_TRUE(FailToAllocate());
    EXPECT_NE(std::thread::id(), purging);
    EXPECT_NE(std::this_thread::get_id(), purging);
    EXPECT_THAT(mErrors->asked, ElementsAre(std::size_t{64} << 20));
}

TEST_F(PurgingNewHandlerTest, LetsBadAllocFlyWhenNothingWasFreed)
{
    mErrors->onPurge = [](std::size_t) { return false; };
    const RK::PurgingNewHandler handler;
    EXPECT_FALSE(FailToAllocate());
    EXPECT_EQ(1u, mErrors->asked.size());
}

TEST_F(PurgingNewHandlerTest, TakesAnExceptionOutOfAPurgeForNothingFreed)
{
    mErrors->onPurge = [](std::size_t) -> bool { throw std::runtime_error("no purge"); };
    const RK::PurgingNewHandler handler;
    EXPECT_FALSE(FailToAllocate());
    mErrors->onPurge = [](std::size_t) { return true; };
    EXPECT_TRUE(FailToAllocate());
}

TEST_F(PurgingNewHandlerTest, DoesNotRecurseWhenThePurgeItselfFindsNoMemory)
{
    bool inner = true;
    mErrors->onPurge = [&inner](std::size_t)
    {
        inner = FailToAllocate();
        return true;
    };
    const RK::PurgingNewHandler handler;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(FailToAllocate());
    EXPECT_FALSE(inner);
    EXPECT_EQ(1u, mErrors->asked.size());
    // Had the purge waited for itself, it would have done so for a second.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
}

TEST_F(PurgingNewHandlerTest, AsksForTwiceAsMuchEachTimeInARowAndGivesUpAfter16)
{
    const RK::PurgingNewHandler handler(100);
    std::vector<std::size_t> expected;
    for (int purge = 0; purge < 16; ++purge)
    {
        EXPECT_TRUE(FailToAllocate());
        expected.push_back(std::size_t{100} << purge);
    }
    EXPECT_FALSE(FailToAllocate());
    EXPECT_EQ(expected, mErrors->asked);

    mClock.AdvanceMilliseconds(101);
    mErrors->asked.clear();
    EXPECT_TRUE(FailToAllocate());
    EXPECT_THAT(mErrors->asked, ElementsAre(100));
}

TEST_F(PurgingNewHandlerTest, NeverAsksForLessBecauseTheAmountWouldWrap)
{
    const RK::PurgingNewHandler handler(~std::size_t{0});
    for (int purge = 0; purge < 3; ++purge)
        FailToAllocate();
    EXPECT_THAT(mErrors->asked, testing::Each(testing::Ge(~std::size_t{0} - 3)));
}

TEST_F(PurgingNewHandlerTest, ASecondOneViolatesTheContract)
{
    const RK::PurgingNewHandler handler;
    EXPECT_THROW(RK::PurgingNewHandler second, qelcore::config::Error);
    EXPECT_TRUE(FailToAllocate());
}

} // namespace
