// The plain pool of threads that peers are given where the library has executors.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Bench
{

/// Threads that take jobs in order. With none, whoever posts does the job.
class PlainPool
{
public:
    explicit PlainPool(int inThreads)
    {
        for (int i = 0; i < inThreads; ++i)
            mThreads.emplace_back([this] { Work(); });
    }
    ~PlainPool()
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mEnds = true;
        }
        mCondition.notify_all();
        for (std::thread& thread : mThreads)
            thread.join();
    }
    PlainPool(const PlainPool&) = delete;
    PlainPool& operator=(const PlainPool&) = delete;

    void Post(std::function<void()> inJob)
    {
        if (mThreads.empty())
            return inJob();
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mJobs.push_back(std::move(inJob));
        }
        mCondition.notify_one();
    }

private:
    void Work()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        for (;;)
        {
            mCondition.wait(lock, [this] { return mEnds || !mJobs.empty(); });
            if (mJobs.empty())
                return;
            const std::function<void()> job = std::move(mJobs.front());
            mJobs.pop_front();
            lock.unlock();
            job();
            lock.lock();
        }
    }

    std::mutex mMutex;
    std::condition_variable mCondition;
    std::deque<std::function<void()>> mJobs;
    bool mEnds = false;
    std::vector<std::thread> mThreads;
};

} // namespace Bench
