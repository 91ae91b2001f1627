#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <new>
#include <thread>

#include "Platform/Thread.h"
#include "RKQELErrorManager.h"
#include "qelcore/Contract.h"
#include "qelcore/HighPrecisionTime.h"
#include "qelcore/Mutex.h"

namespace RK
{

namespace
{

using qelcore::threads::Condition;
using qelcore::threads::Lock;
using qelcore::threads::Mutex;
using qelcore::utility::HighPrecisionTime;

constexpr int kWaits = 20;
constexpr std::chrono::milliseconds kWait{50};
constexpr unsigned kMostPurgesInARow = 16;
constexpr std::uint64_t kRowGapNanoseconds =
    100000000; // an allocation that fails again comes at once

// The purging thread, and what the allocating ones have to do with it.
class Purger
{
public:
    void Start(std::size_t inBytes);
    void Stop();
    /// Called by a thread whose allocation has failed. @return whether to try again.
    bool PurgeAndWait();
    bool IsOwnThread() const { return mOwnThread == std::this_thread::get_id(); }

private:
    void Run();
    bool WaitUntilWanted();
    void Answer(bool inFreed);
    bool Purge();

    std::size_t mBytes = 0; // set while there is no thread
    std::thread mThread;    // the owner's
    // Not a thread_local flag, whose first use on a thread may allocate.
    std::atomic<std::thread::id> mOwnThread{std::thread::id()};

    // The purging thread's own.
    unsigned mPurgesInARow = 0;
    std::uint64_t mLastPurge = 0; // HighPrecisionTime

    // mMutex guards what follows. It is a leaf, and nothing is allocated with it held.
    Mutex mMutex;
    Condition mAsked;
    Condition mAnswered;
    bool mRunning RK_GUARDED_BY(mMutex) = false;
    bool mWanted RK_GUARDED_BY(mMutex) = false;
    bool mPurging RK_GUARDED_BY(mMutex) = false;
    bool mWaitedInVain RK_GUARDED_BY(mMutex) = false; // for the purge that runs
    bool mFreed RK_GUARDED_BY(mMutex) = false;        // by the last purge
    std::uint64_t mPurgeCount RK_GUARDED_BY(mMutex) = 0;
};

// Never destroyed: another thread may be within the handler when that is taken out of force.
Purger& ThePurger()
{
    static Purger& sPurger = *new Purger;
    return sPurger;
}

void PurgeOrFail()
{
    Purger& purger = ThePurger();
    if (purger.IsOwnThread() || !purger.PurgeAndWait())
        throw std::bad_alloc();
}

void Purger::Start(std::size_t inBytes)
{
    RK_REQUIRE_CONTRACT(!mThread.joinable(), "!mThread.joinable()",
                        "Src/MediaManager/PurgingNewHandler");
    mBytes = inBytes;
    mPurgesInARow = 0;
    {
        Lock lock(mMutex);
        mRunning = true;
    }
    mThread = std::thread([this] { Run(); });
}

void Purger::Stop()
{
    {
        Lock lock(mMutex);
        mRunning = false;
        mAsked.NotifyOne();
    }
    mThread.join();
    // Who still waits has got no answer, and need not wait on.
    Answer(false);
}

bool Purger::PurgeAndWait()
{
    Lock lock(mMutex);
    if (!mRunning || mWaitedInVain)
        return false;
    if (!mPurging)
    {
        mWanted = true;
        mAsked.NotifyOne();
    }
    const std::uint64_t before = mPurgeCount;
    for (int wait = 0; wait < kWaits && mPurgeCount == before; ++wait)
        mAnswered.WaitFor(mMutex, kWait);
    if (mPurgeCount == before)
    {
        mWaitedInVain = true;
        return false;
    }
    return mFreed;
}

void Purger::Run()
{
    mOwnThread = std::this_thread::get_id();
    Platform::SetCurrentThreadName("RK::PurgingNew");
    while (WaitUntilWanted())
        Answer(Purge());
}

bool Purger::WaitUntilWanted()
{
    Lock lock(mMutex);
    while (mRunning && !mWanted)
        mAsked.Wait(mMutex);
    mWanted = false;
    mPurging = mRunning;
    return mRunning;
}

void Purger::Answer(bool inFreed)
{
    Lock lock(mMutex);
    mPurging = false;
    mWaitedInVain = false;
    mFreed = inFreed;
    ++mPurgeCount;
    mAnswered.NotifyAll();
}

bool Purger::Purge()
{
    const std::uint64_t now = HighPrecisionTime::GetCurrentTime();
    if (HighPrecisionTime::ConvertToNanos(now - mLastPurge) > kRowGapNanoseconds)
        mPurgesInARow = 0;
    if (mPurgesInARow == kMostPurgesInARow)
        return false;
    const std::size_t most = ~std::size_t{0} >> mPurgesInARow;
    const std::size_t bytes = std::min(mBytes, most) << mPurgesInARow;
    ++mPurgesInARow;
    bool freed = false;
    try
    {
        freed = qelcore::config::GetErrorManager()->PurgeMemory(bytes);
    }
    catch (...) // out of a map or an owner of files: nobody here could do anything about it
    {
    }
    mLastPurge = HighPrecisionTime::GetCurrentTime();
    return freed;
}

} // namespace

PurgingNewHandler::PurgingNewHandler(std::size_t inPurgeBytes)
    : mBefore(std::get_new_handler())
{
    ThePurger().Start(inPurgeBytes);
    std::set_new_handler(&PurgeOrFail);
}

PurgingNewHandler::~PurgingNewHandler()
{
    std::set_new_handler(mBefore);
    ThePurger().Stop();
}

} // namespace RK
