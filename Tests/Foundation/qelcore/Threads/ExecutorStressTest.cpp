#include "qelcore/AsyncExecutor.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qelcore/QueueOnlyOnce.h"
#include "qelcore/RepeatDelayFunction.h"

namespace
{

using namespace qelcore::threads;

constexpr int kPosters = 4;

template <class Work>
void OnThreads(int inThreads, const Work& inWork)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < inThreads; ++i)
        threads.emplace_back([&inWork, i] { inWork(i); });
    for (std::thread& thread : threads)
        thread.join();
}

// Counts each run of each job, and how many run at a time.
class Ledger
{
public:
    explicit Ledger(std::size_t inJobs)
        : mRuns(inJobs)
    {
    }
    void Run(std::size_t inJob)
    {
        const int now = mRunning.fetch_add(1) + 1;
        int most = mMost.load();
        while (now > most && !mMost.compare_exchange_weak(most, now))
        {
        }
        mRuns[inJob].fetch_add(1);
        mRunning.fetch_sub(1);
    }
    void ExpectEachOnce() const
    {
        for (std::size_t i = 0; i < mRuns.size(); ++i)
            ASSERT_EQ(1, mRuns[i].load()) << "job " << i;
    }
    int Most() const { return mMost.load(); }

private:
    std::vector<std::atomic<int>> mRuns;
    std::atomic<int> mRunning{0};
    std::atomic<int> mMost{0};
};

TEST(ExecutorStress, APoolRunsEachJobExactlyOnce)
{
    constexpr std::size_t kEach = 10000;
    const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
    Ledger ledger(kPosters * kEach);

    OnThreads(kPosters,
              [&](int inPoster)
              {
                  for (std::size_t i = 0; i < kEach; ++i)
                  {
                      const std::size_t job = static_cast<std::size_t>(inPoster) * kEach + i;
                      ASSERT_TRUE(pool->Post([&ledger, job] { ledger.Run(job); }, i % 97 == 0));
                  }
                  pool->Flush();
              });
    while (pool->GetPendingCount() > 0) // the last delays of a millisecond
        pool->Flush();
    pool->Flush();

    ledger.ExpectEachOnce();
    EXPECT_LE(ledger.Most(), pool->GetParallelism());
}

class ViewStressTest : public ::testing::TestWithParam<int>
{
};

TEST_P(ViewStressTest, NeverRunsMoreThanItsLimitAndLosesNothing)
{
    constexpr std::size_t kEach = 5000;
    const AsyncExecutorPtr pool = CreateIOBoundExecutor();
    const AsyncExecutorPtr view = CreateSubExecutor(pool, GetParam());
    Ledger ledger(kPosters * kEach);

    OnThreads(kPosters,
              [&](int inPoster)
              {
                  for (std::size_t i = 0; i < kEach; ++i)
                  {
                      const std::size_t job = static_cast<std::size_t>(inPoster) * kEach + i;
                      ASSERT_TRUE(view->Post([&ledger, job] { ledger.Run(job); }, 0));
                      if (i % 1000 == 0)
                          view->Flush();
                  }
              });
    view->Flush();

    ledger.ExpectEachOnce();
    EXPECT_LE(ledger.Most(), view->GetParallelism());
}

INSTANTIATE_TEST_SUITE_P(Limits, ViewStressTest, ::testing::Values(1, 2, 8, -1));

TEST(ExecutorStress, ASerialViewKeepsEachPostersOrder)
{
    constexpr int kEach = 10000;
    const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
    const AsyncExecutorPtr serial = CreateSubExecutor(pool, 1);
    std::vector<int> next(kPosters); // only the view touches it
    int wrong = 0;

    OnThreads(kPosters,
              [&](int inPoster)
              {
                  const auto poster = static_cast<std::size_t>(inPoster);
                  for (int i = 0; i < kEach; ++i)
                      serial->Post([&, poster, i] { wrong += next[poster]++ != i; }, 0);
              });
    serial->Flush();

    EXPECT_EQ(0, wrong);
    for (const int count : next)
        EXPECT_EQ(kEach, count);
}

TEST(ExecutorStress, ManyViewsComeAndGoWhileTheirWorkRuns)
{
    constexpr std::size_t kEach = 300;
    constexpr std::size_t kJobs = 20;
    const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
    Ledger ledger(kPosters * kEach * kJobs);

    OnThreads(kPosters,
              [&](int inPoster)
              {
                  for (std::size_t i = 0; i < kEach; ++i)
                  {
                      const std::size_t first =
                          (static_cast<std::size_t>(inPoster) * kEach + i) * kJobs;
                      const AsyncExecutorPtr view = CreateSubExecutor(pool, i % 2 == 0 ? 1 : -1);
                      for (std::size_t job = first; job < first + kJobs; ++job)
                          view->Post([&ledger, job] { ledger.Run(job); }, 0);
                      if (i % 3 == 0)
                          view->Flush();
                  }
              });
    pool->Flush(); // work of views that have gone is the pool's to wait for, too

    ledger.ExpectEachOnce();
}

TEST(ExecutorStress, PoolsEndWhileOthersPostAndStop)
{
    for (int round = 0; round < 100; ++round)
    {
        std::atomic<int> accepted{0}, run{0};
        {
            const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
            const AsyncExecutorPtr view = CreateSubExecutor(pool, round % 3 - 1);
            OnThreads(3,
                      [&](int inPoster)
                      {
                          for (int i = 0; i < 200; ++i)
                          {
                              const AsyncExecutorPtr& executor = inPoster == 0 ? pool : view;
                              accepted += executor->Post([&] { ++run; }, 0);
                              if (inPoster == 2 && i == 100)
                                  pool->Stop();
                          }
                      });
            view->Flush();
            pool->Flush();
        }
        ASSERT_EQ(accepted.load(), run.load()) << "round " << round;
    }
}

TEST(ExecutorStress, EachRequestOfAQueueOnlyOnceIsFollowedByARun)
{
    const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
    std::atomic<int> requested{0}, seen{0}, runs{0};
    const auto once = QueueOnlyOnce::Create(
        [&]
        {
            ++runs;
            seen = requested.load();
        },
        CreateSubExecutor(pool, 1), 0, 0);

    constexpr int kEach = 5000;
    OnThreads(kPosters,
              [&](int)
              {
                  for (int i = 0; i < kEach; ++i)
                  {
                      ++requested;
                      once->Queue();
                  }
              });
    pool->Flush();

    EXPECT_EQ(kPosters * kEach, seen.load()) << "the last run saw every request";
    EXPECT_LE(runs.load(), kPosters * kEach);
}

TEST(ExecutorStress, RepetitionsThatComeAndGoTouchNothingAfterTheirRun)
{
    const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
    OnThreads(kPosters,
              [&](int)
              {
                  for (int i = 0; i < 50; ++i)
                  {
                      const auto runs = std::make_shared<std::atomic<int>>(0);
                      const RepeatDelayFunction repeat(pool, [runs] { ++*runs; }, 1);
                      while (*runs < 2)
                          std::this_thread::yield();
                  }
              });
}

} // namespace
