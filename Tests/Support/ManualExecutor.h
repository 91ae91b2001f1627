#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>

#include "qelcore/AsyncExecutor.h"

namespace Testing
{

// An executor that runs nothing by itself. Its own clock moves only by Advance(). Any thread may post;
// one turns. What a job raises goes to whoever turns, so that a test sees it.
class ManualExecutor : public qelcore::threads::AsyncExecutor
{
public:
    explicit ManualExecutor(int inParallelism = 1)
        : mParallelism(inParallelism)
    {
    }

    bool Post(const Callable& inCallable, int inDelayMilliseconds) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
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
        Jobs dropped; // its callables end after the lock
        const std::lock_guard<std::mutex> lock(mMutex);
        mStopped = true;
        while (!mJobs.empty() && mJobs.rbegin()->first.first > mNow)
            dropped.insert(mJobs.extract(std::prev(mJobs.end())));
    }
    bool IsStopped() override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mStopped;
    }
    int GetPendingCount() override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return static_cast<int>(mJobs.size());
    }
    void Flush() override { RunQueued(); }

    /// Runs the oldest due job. @return false if none is due.
    bool RunOne()
    {
        Callable job;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            if (mJobs.empty() || mJobs.begin()->first.first > mNow)
                return false;
            job.swap(mJobs.begin()->second);
            mJobs.erase(mJobs.begin());
            ++mRunCount;
        }
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
        const std::uint64_t end = Now() + inMilliseconds;
        std::size_t count = RunQueued();
        while (StepTo(end))
            count += RunQueued();
        return count;
    }
    std::size_t DueCount() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        std::size_t count = 0;
        for (const auto& job : mJobs)
            count += job.first.first <= mNow ? 1 : 0;
        return count;
    }
    std::size_t RunCount() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mRunCount;
    }
    /// Milliseconds by its own clock, which begins at 0.
    std::uint64_t Now() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mNow;
    }

private:
    using Jobs = std::map<std::pair<std::uint64_t, std::uint64_t>, Callable>; // by time and ticket

    /// Moves the clock to the next job, or to the end. @return whether there is a job to run.
    bool StepTo(std::uint64_t inEnd)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const bool found = !mJobs.empty() && mJobs.begin()->first.first <= inEnd;
        mNow = found ? mJobs.begin()->first.first : inEnd;
        return found;
    }

    const int mParallelism;
    mutable std::mutex mMutex;
    bool mStopped = false;
    std::uint64_t mNow = 0; // milliseconds
    std::uint64_t mNextTicket = 0;
    std::size_t mRunCount = 0;
    Jobs mJobs;
};

/// Gives ManualExecutors wherever a pool is asked for.
class ManualExecutorFactory : public qelcore::threads::IExecutorFactory
{
public:
    boost::shared_ptr<ManualExecutor> cpu = boost::make_shared<ManualExecutor>(4);
    boost::shared_ptr<ManualExecutor> io = boost::make_shared<ManualExecutor>(4);
    boost::shared_ptr<ManualExecutor> lastCreatedCPU;
    boost::shared_ptr<ManualExecutor> lastCreatedIO;
    std::vector<boost::shared_ptr<ManualExecutor>> createdIO; // all of them, in their order

    qelcore::threads::AsyncExecutorPtr CreateCPUBound() override
    {
        return lastCreatedCPU = boost::make_shared<ManualExecutor>(4);
    }
    qelcore::threads::AsyncExecutorPtr CreateIOBound() override
    {
        lastCreatedIO = boost::make_shared<ManualExecutor>(4);
        createdIO.push_back(lastCreatedIO);
        return lastCreatedIO;
    }
    qelcore::threads::AsyncExecutorPtr SharedCPUBound() override { return cpu; }
    qelcore::threads::AsyncExecutorPtr SharedIOBound() override { return io; }
};

} // namespace Testing
