#include "qelcore/QueueOnlyOnce.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/smart_ptr/bad_weak_ptr.hpp>
#include <gtest/gtest.h>

#include "Support/ManualExecutor.h"

namespace
{

using qelcore::threads::QueueOnlyOnce;

/// Keeps the delays that it was asked for.
class DelayRecorder : public Testing::ManualExecutor
{
public:
    bool Post(const Callable& inCallable, int inDelayMilliseconds) override
    {
        mDelays.push_back(inDelayMilliseconds);
        return ManualExecutor::Post(inCallable, 0);
    }
    std::vector<int> mDelays;
};

class QueueOnlyOnceTest : public ::testing::Test
{
protected:
    boost::shared_ptr<QueueOnlyOnce> Make(int inMin, int inMax)
    {
        return QueueOnlyOnce::Create([this] { ++mRuns; }, mExecutor, inMin, inMax);
    }

    boost::shared_ptr<DelayRecorder> mExecutor = boost::make_shared<DelayRecorder>();
    int mRuns = 0;
};

TEST_F(QueueOnlyOnceTest, ManyRequestsWhileOneWaitsAreOneRun)
{
    const auto once = Make(0, 0);
    for (int i = 0; i < 10; ++i)
        once->Queue();

    EXPECT_EQ(1u, mExecutor->RunQueued());
    EXPECT_EQ(1, mRuns);
    once->Queue();
    mExecutor->RunQueued();
    EXPECT_EQ(2, mRuns);
}

TEST_F(QueueOnlyOnceTest, ARequestDuringTheRunMakesAnotherRun)
{
    boost::shared_ptr<QueueOnlyOnce> once;
    once = QueueOnlyOnce::Create(
        [&]
        {
            if (++mRuns == 1)
            {
                once->Queue();
                once->Queue();
            }
        },
        mExecutor, 0, 0);
    once->Queue();

    EXPECT_EQ(2u, mExecutor->RunQueued());
    EXPECT_EQ(2, mRuns);
}

TEST_F(QueueOnlyOnceTest, EqualBoundsAreTheDelayAndAMaximumBelowIsRaised)
{
    Make(50, 50)->Queue();
    Make(50, 0)->Queue();
    Make(0, 0)->Queue();

    EXPECT_EQ((std::vector<int>{50, 50, 0}), mExecutor->mDelays);
}

struct BackOffRow
{
    int mMin;
    int mMax;
    unsigned mSeed;
    int mRequests;
};

class QueueOnlyOnceBackOffTest : public QueueOnlyOnceTest,
                                 public ::testing::WithParamInterface<BackOffRow>
{
};

// Written from the rule again: the number of attempts counts from 1 and is raised before it is used.
TEST_P(QueueOnlyOnceBackOffTest, DelaysFollowTheExponentialRuleDrawForDraw)
{
    const BackOffRow row = GetParam();
    const auto once = Make(row.mMin, row.mMax);
    std::vector<int> expected;
    std::srand(row.mSeed);
    for (int attempts = 2; attempts < 2 + row.mRequests; ++attempts)
    {
        const int k = attempts < 31 ? attempts : 31;
        const double factor = std::rand() * (std::pow(2.0, k) - 1) / 2147483647.0;
        const auto drawn = static_cast<std::int64_t>(row.mMin * factor);
        const std::int64_t raised = drawn > row.mMin ? drawn : row.mMin;
        expected.push_back(static_cast<int>(raised < row.mMax ? raised : row.mMax));
    }

    std::srand(row.mSeed);
    for (int i = 0; i < row.mRequests; ++i)
    {
        once->Queue();
        mExecutor->RunQueued();
    }

    EXPECT_EQ(expected, mExecutor->mDelays);
    EXPECT_EQ(row.mRequests, mRuns);
}

INSTANTIATE_TEST_SUITE_P(Table, QueueOnlyOnceBackOffTest,
                         ::testing::Values(BackOffRow{10, 100000, 1, 40},
                                           BackOffRow{1, 2147483647, 7, 64},
                                           BackOffRow{2147483646, 2147483647, 3, 40},
                                           BackOffRow{0, 500, 9, 20}, BackOffRow{250, 260, 5, 40}));

TEST_F(QueueOnlyOnceTest, TheFirstDelaysSpreadOverThriceTheMinimumAndLateOnesReachTheMaximum)
{
    std::srand(11);
    int aboveMinimum = 0;
    for (int i = 0; i < 1000; ++i)
        Make(100, 1000000)->Queue(); // each one's first attempt: minimum times a draw of up to 3
    for (const int delay : mExecutor->mDelays)
    {
        ASSERT_GE(delay, 100);
        ASSERT_LE(delay, 300);
        aboveMinimum += delay > 100;
    }
    EXPECT_NEAR(667, aboveMinimum, 60) << "a third of the draws falls below the minimum";

    const auto patient = Make(100, 1000000);
    for (int i = 0; i < 200; ++i)
    {
        patient->Queue();
        mExecutor->RunQueued();
    }
    EXPECT_EQ(1000000, mExecutor->mDelays.back());
}

TEST_F(QueueOnlyOnceTest, AQueuedRunEndsQuietlyWhenTheObjectHasGone)
{
    auto once = Make(0, 0);
    once->Queue();

    once.reset();

    EXPECT_EQ(1u, mExecutor->RunQueued());
    EXPECT_EQ(0, mRuns);
}

TEST_F(QueueOnlyOnceTest, WithoutASharedPointerQueueThrows)
{
    QueueOnlyOnce once([] {}, mExecutor, 0, 0);

    EXPECT_THROW(once.Queue(), boost::bad_weak_ptr);
    EXPECT_EQ(0u, mExecutor->RunQueued());
}

TEST_F(QueueOnlyOnceTest, AnEmptyCallableThrowsWhenItIsRun)
{
    const auto once = QueueOnlyOnce::Create(QueueOnlyOnce::Callable(), mExecutor, 0, 0);
    once->Queue();

    EXPECT_THROW(mExecutor->RunQueued(), boost::bad_function_call);
}

TEST_F(QueueOnlyOnceTest, AnExecutorThatRefusesLeavesItQueuedForGood)
{
    const auto once = Make(0, 0);
    mExecutor->Stop();

    once->Queue();
    once->Queue();

    EXPECT_EQ(1u, mExecutor->mDelays.size());
    EXPECT_EQ(0, mRuns);
}

} // namespace
