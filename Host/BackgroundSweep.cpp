#include "BackgroundSweep.h"

#include <RiverKit/RKDiskCacheManager.h>

#include "qelcore/MainThread.h"

namespace RKHost
{

using RK::DiskCacheManager::SweepOptions;
using RK::DiskCacheManager::SweepProgress;
using RK::DiskCacheManager::SweepReportPtr;

BackgroundSweep::BackgroundSweep(bool inDryRun)
    : mThread([this, inDryRun] { Run(inDryRun); })
{
}

BackgroundSweep::~BackgroundSweep()
{
    if (!mDone)
        RK::DiskCacheManager::Shutdown();
    if (mThread.joinable())
        mThread.join();
}

SweepProgress BackgroundSweep::Progress() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mProgress;
}

SweepReportPtr BackgroundSweep::Report()
{
    mThread.join();
    if (mFailure)
        std::rethrow_exception(mFailure);
    return mReport;
}

void BackgroundSweep::Run(bool inDryRun)
{
    SweepOptions options;
    options.dryRun = inDryRun;
    options.nameFiles = inDryRun;
    options.onProgress = [this](const SweepProgress& inProgress)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mProgress = inProgress;
    };
    try
    {
        mReport = RK::DiskCacheManager::SweepNow(options);
    }
    catch (...)
    {
        mFailure = std::current_exception();
    }
    mDone = true;
    qelcore::threads::AsyncCallFromMainThread([] {}, 0); // wakes the loop
}

} // namespace RKHost
