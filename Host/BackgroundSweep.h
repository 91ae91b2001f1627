#pragma once

#include <atomic>
#include <exception>
#include <mutex>
#include <thread>

#include <RiverKit/RKDiskCacheSweepReport.h>

namespace RKHost
{

// A sweep on a thread of its own, since it may take minutes and the main thread has signals to hear. The
// main thread's loop wakes at its end.
class BackgroundSweep
{
public:
    explicit BackgroundSweep(bool inDryRun);
    /// Stops the disk cache manager, for good, if the sweep has not ended.
    ~BackgroundSweep();
    BackgroundSweep(const BackgroundSweep&) = delete;
    BackgroundSweep& operator=(const BackgroundSweep&) = delete;

    bool IsDone() const { return mDone; }
    RK::DiskCacheManager::SweepProgress Progress() const;
    /// Waits for the end. @return null if the manager was stopped. @throw what the sweep threw.
    RK::DiskCacheManager::SweepReportPtr Report();

private:
    void Run(bool inDryRun);

    mutable std::mutex mMutex;
    RK::DiskCacheManager::SweepProgress mProgress; ///< guarded by mMutex
    RK::DiskCacheManager::SweepReportPtr mReport;  ///< of the thread, until it was joined
    std::exception_ptr mFailure;                   ///< the same
    std::atomic<bool> mDone{false};
    std::thread mThread;
};

} // namespace RKHost
