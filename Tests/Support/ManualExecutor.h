#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include <boost/make_shared.hpp>

#include "qelcore/AsyncExecutor.h"

namespace Testing
{

// An executor that runs nothing by itself. Single-threaded. Its own clock moves only by Advance().
class ManualExecutor : public qelcore::threads::AsyncExecutor
{
public:
    explicit ManualExecutor(int inParallelism = 1)
        : mParallelism(inParallelism)
    {
    }

    bool Post(const Callable& inCallable, int inDelayMilliseconds) override
    {
        if (mStopped)
            return false;
        const std::uint64_t delay =
            inDelayMilliseconds > 0 ? static_cast<std::uint64_t>(inDelayMilliseconds) : 0;
        mJobs.emplace(std::make_pair(mNow + delay, mNextTicket++), inCallable);
        return true;
    }
    int GetParallelism() override { return mParallelism; }
    void Stop() override
    {
        mStopped = true;
        mJobs.erase(mJobs.upper_bound(std::make_pair(mNow, ~std::uint64_t{0})), mJobs.end());
    }
    bool IsStopped() override { return mStopped; }
    int GetPendingCount() override { return static_cast<int>(mJobs.size()); }
    void Flush() override { RunQueued(); }

    /// Runs the oldest due job. @return false if none is due.
    bool RunOne()
    {
        if (mJobs.empty() || mJobs.begin()->first.first > mNow)
            return false;
        const Callable job = mJobs.begin()->second;
        mJobs.erase(mJobs.begin());
        ++mRunCount;
        job();
        return true;
    }
    /// Runs what is due, and what that makes due. @return how many jobs.
    std::size_t RunQueued()
    {
        std::size_t count = 0;
        while (RunOne())
            ++count;
        return count;
    }
    /// Moves the clock on, running each job at its time.
    std::size_t Advance(std::uint64_t inMilliseconds)
    {
        const std::uint64_t end = mNow + inMilliseconds;
        std::size_t count = RunQueued();
        while (!mJobs.empty() && mJobs.begin()->first.first <= end)
        {
            mNow = mJobs.begin()->first.first;
            count += RunQueued();
        }
        mNow = end;
        return count;
    }
    std::size_t DueCount() const
    {
        std::size_t count = 0;
        for (const auto& job : mJobs)
            count += job.first.first <= mNow ? 1 : 0;
        return count;
    }
    std::size_t RunCount() const { return mRunCount; }

private:
    const int mParallelism;
    bool mStopped = false;
    std::uint64_t mNow = 0; // milliseconds
    std::uint64_t mNextTicket = 0;
    std::size_t mRunCount = 0;
    std::map<std::pair<std::uint64_t, std::uint64_t>, Callable> mJobs;
};

/// Gives ManualExecutors wherever a pool is asked for.
class ManualExecutorFactory : public qelcore::threads::IExecutorFactory
{
public:
    boost::shared_ptr<ManualExecutor> cpu = boost::make_shared<ManualExecutor>(4);
    boost::shared_ptr<ManualExecutor> io = boost::make_shared<ManualExecutor>(4);
    boost::shared_ptr<ManualExecutor> lastCreatedCPU;
    boost::shared_ptr<ManualExecutor> lastCreatedIO;

    qelcore::threads::AsyncExecutorPtr CreateCPUBound() override
    {
        return lastCreatedCPU = boost::make_shared<ManualExecutor>(4);
    }
    qelcore::threads::AsyncExecutorPtr CreateIOBound() override
    {
        return lastCreatedIO = boost::make_shared<ManualExecutor>(4);
    }
    qelcore::threads::AsyncExecutorPtr SharedCPUBound() override { return cpu; }
    qelcore::threads::AsyncExecutorPtr SharedIOBound() override { return io; }
};

} // namespace Testing
