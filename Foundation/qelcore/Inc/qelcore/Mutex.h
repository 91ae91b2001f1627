#pragma once

#include <condition_variable>
#include <mutex>

#include "qelcore/ThreadAnnotations.h"

namespace qelcore
{
namespace threads
{

// std::mutex with the annotations that libstdc++ leaves out, so that clang rejects a read without the
// lock. Set up at compile time and trivially destroyed: usable before main() and during exit.
class RK_CAPABILITY("mutex") Mutex
{
public:
    constexpr Mutex() noexcept = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock() RK_ACQUIRE() { mMutex.lock(); }
    bool TryLock() RK_TRY_ACQUIRE(true) { return mMutex.try_lock(); }
    void Unlock() RK_RELEASE() { mMutex.unlock(); }

private:
    friend class Condition;
    std::mutex mMutex;
};

class RK_SCOPED_CAPABILITY Lock
{
public:
    explicit Lock(Mutex& inMutex) RK_ACQUIRE(inMutex)
        : mMutex(inMutex)
    {
        mMutex.Lock();
    }
    ~Lock() RK_RELEASE() { mMutex.Unlock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& mMutex;
};

/// A condition variable for Mutex. Waits may end early without a reason, so they stand in loops.
class Condition
{
public:
    void Wait(Mutex& inMutex) RK_REQUIRES(inMutex)
    {
        std::unique_lock<std::mutex> lock(inMutex.mMutex, std::adopt_lock);
        mCondition.wait(lock);
        lock.release();
    }
    template <class Duration>
    void WaitFor(Mutex& inMutex, const Duration& inDuration) RK_REQUIRES(inMutex)
    {
        std::unique_lock<std::mutex> lock(inMutex.mMutex, std::adopt_lock);
        mCondition.wait_for(lock, inDuration);
        lock.release();
    }
    void NotifyOne() noexcept { mCondition.notify_one(); }
    void NotifyAll() noexcept { mCondition.notify_all(); }

private:
    std::condition_variable mCondition;
};

} // namespace threads
} // namespace qelcore
