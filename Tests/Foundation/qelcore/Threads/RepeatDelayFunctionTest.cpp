#include "qelcore/RepeatDelayFunction.h"

#include <atomic>
#include <memory>
#include <stdexcept>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "Support/FakeClock.h"
#include "Support/Gate.h"
#include "Support/ManualExecutor.h"

namespace
{

using qelcore::threads::RepeatDelayFunction;
using Testing::ManualExecutor;

class RepeatDelayFunctionTest : public ::testing::Test
{
protected:
    boost::shared_ptr<ManualExecutor> mExecutor = boost::make_shared<ManualExecutor>();
    int mRuns = 0;
};

TEST_F(RepeatDelayFunctionTest, RunsAfterEachDelayAndNotBeforeTheFirst)
{
    const RepeatDelayFunction repeat(mExecutor, [this] { ++mRuns; }, 100);

    mExecutor->Advance(99);
    EXPECT_EQ(0, mRuns);
    mExecutor->Advance(1);
    EXPECT_EQ(1, mRuns);
    mExecutor->Advance(1000);
    EXPECT_EQ(11, mRuns);
}

TEST_F(RepeatDelayFunctionTest, ItsEndEndsTheRepetitionAndFreesTheCallable)
{
    const auto held = std::make_shared<int>(1);
    {
        const RepeatDelayFunction repeat(mExecutor, [this, held] { ++mRuns; }, 100);
        mExecutor->Advance(100);
    }
    EXPECT_EQ(1, held.use_count());

    mExecutor->Advance(1000);

    EXPECT_EQ(1, mRuns);
    EXPECT_EQ(0, mExecutor->GetPendingCount());
}

TEST_F(RepeatDelayFunctionTest, ItMayEndWithinItsOwnRun)
{
    std::unique_ptr<RepeatDelayFunction> repeat;
    repeat = std::make_unique<RepeatDelayFunction>(
        mExecutor,
        [&]
        {
            ++mRuns;
            repeat.reset();
        },
        10);

    mExecutor->Advance(1000);

    EXPECT_EQ(1, mRuns);
}

TEST_F(RepeatDelayFunctionTest, ARunThatThrowsDoesNotEndTheRepetition)
{
    const auto serial = qelcore::threads::CreateSubExecutor(mExecutor, 1);
    const RepeatDelayFunction repeat(
        serial,
        [this]
        {
            ++mRuns;
            throw std::runtime_error("one bad run");
        },
        10);

    mExecutor->Advance(50);

    EXPECT_EQ(5, mRuns);
}

TEST_F(RepeatDelayFunctionTest, AStoppedExecutorEndsIt)
{
    const RepeatDelayFunction repeat(mExecutor, [this] { ++mRuns; }, 10);

    mExecutor->Stop();
    mExecutor->Advance(100);

    EXPECT_EQ(0, mRuns);
}

TEST_F(RepeatDelayFunctionTest, ADelayOfNothingCountsAsAMillisecond)
{
    const RepeatDelayFunction repeat(mExecutor, [this] { ++mRuns; }, 0);

    mExecutor->Advance(10);

    EXPECT_EQ(10, mRuns);
}

TEST_F(RepeatDelayFunctionTest, RunsOnARealPoolAsTheClockTurns)
{
    Testing::FakeClock clock;
    Testing::Gate gate;
    gate.Open();
    const auto pool = qelcore::threads::CreateCPUBoundExecutor();
    const RepeatDelayFunction repeat(pool, [&] { gate.Pass(); }, 4 * 3600 * 1000);

    for (int turn = 1; turn <= 3; ++turn)
    {
        clock.AdvanceSeconds(4 * 3600);
        gate.WaitUntilCome(turn);
        pool->Flush(); // the next delay has begun
    }
}

} // namespace
