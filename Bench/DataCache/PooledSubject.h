// What makes a service of a library whose calls wait: plain pools, the same for each peer.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Subject.h"

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

// Puts are done by one thread in order, and gets by up to 64, as in the data cache.
class PooledSubject : public ISubject
{
public:
    void Put(const Item& inItem, const Done& inDone) final
    {
        mPuts->Post(
            [this, item = inItem, inDone]
            {
                PutNow(item);
                inDone();
            });
    }
    void Get(const Item& inItem, const Done& inDone) final
    {
        mGets->Post(
            [this, item = inItem, inDone]
            {
                GetNow(item);
                inDone();
            });
    }

protected:
    explicit PooledSubject(bool inOwnThreads = true)
        : mPuts(std::make_unique<PlainPool>(inOwnThreads ? 1 : 0))
        , mGets(std::make_unique<PlainPool>(inOwnThreads ? 64 : 0))
    {
    }
    virtual void PutNow(const Item& inItem) = 0;
    virtual void GetNow(const Item& inItem) = 0;

    /// A buffer that is not cleared first, like those of the data cache.
    static std::unique_ptr<char[]> NewBuffer(std::size_t inSize)
    {
        return std::unique_ptr<char[]>(new char[inSize]);
    }
    static std::string NameOf(const Item& inItem) { return inItem.key + "." + inItem.subKey; }

private:
    std::unique_ptr<PlainPool> mPuts;
    std::unique_ptr<PlainPool> mGets;
};

} // namespace Bench
