// Work on volumes that may fall silent in the middle of it.
#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "DiskCacheManagerSweep.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

using Clock = std::chrono::steady_clock; // of real answers, which no test plays

constexpr std::chrono::milliseconds kLook{50};
constexpr std::chrono::milliseconds kLastWait{1000}; // once everything is to stop

struct Errand
{
    std::mutex mutex; // guards all below
    std::condition_variable changed;
    bool isDone = false;
    bool isLeftBehind = false;
    std::exception_ptr raised;
};

void Run(Errand& ioErrand, const std::function<void()>& inWork, const Path& inPath,
         LeftBehind& ioLeftBehind)
{
    std::exception_ptr raised;
    try
    {
        inWork();
    }
    catch (...)
    {
        raised = std::current_exception();
    }
    const std::lock_guard<std::mutex> lock(ioErrand.mutex);
    ioErrand.raised = raised;
    ioErrand.isDone = true;
    if (ioErrand.isLeftBehind)
        ioLeftBehind.Remove(inPath);
    ioErrand.changed.notify_all();
}

/// @return whether the work came to its end.
bool Await(Errand& ioErrand, SweepWatch& ioWatch, std::chrono::milliseconds inSilenceLimit)
{
    std::uint64_t steps = ioWatch.steps;
    Clock::time_point lastStep = Clock::now();
    std::unique_lock<std::mutex> lock(ioErrand.mutex);
    while (!ioErrand.changed.wait_for(lock, kLook, [&] { return ioErrand.isDone; }))
    {
        if (ioWatch.steps != steps)
        {
            steps = ioWatch.steps;
            lastStep = Clock::now();
        }
        const auto limit =
            *ioWatch.abortFlag != 0 ? std::min(kLastWait, inSilenceLimit) : inSilenceLimit;
        if (Clock::now() - lastStep < limit)
            continue;
        ioErrand.isLeftBehind = true;
        ioWatch.leftBehind = true;
        return false;
    }
    return true;
}

} // namespace

bool LeftBehind::Has(const Path& inPath) const
{
    const qelcore::threads::Lock lock(mMutex);
    return mPaths.count(inPath) != 0;
}

void LeftBehind::Add(const Path& inPath)
{
    const qelcore::threads::Lock lock(mMutex);
    mPaths.insert(inPath);
}

void LeftBehind::Remove(const Path& inPath)
{
    const qelcore::threads::Lock lock(mMutex);
    const auto found = mPaths.find(inPath);
    if (found != mPaths.end())
        mPaths.erase(found);
}

bool RunAttended(const std::shared_ptr<SweepWatch>& inWatch,
                 const std::shared_ptr<LeftBehind>& inLeftBehind, const Path& inPath,
                 std::chrono::milliseconds inSilenceLimit, const std::function<void()>& inWork)
{
    const auto errand = std::make_shared<Errand>();
    try
    {
        std::thread([errand, inWork, inPath, inLeftBehind]
                    { Run(*errand, inWork, inPath, *inLeftBehind); })
            .detach();
    }
    catch (const std::system_error&)
    {
        inWork(); // there is no thread: at the caller's own risk
        return true;
    }
    inLeftBehind->Add(inPath); // ahead of the end of the work, which takes it out if nobody waits
    if (!Await(*errand, *inWatch, inSilenceLimit))
        return false;
    inLeftBehind->Remove(inPath);
    if (errand->raised)
        std::rethrow_exception(errand->raised);
    return true;
}

} // namespace DiskCacheManager
} // namespace RK
