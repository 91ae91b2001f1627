#pragma once

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "RKPlatformWindowManager.h"
#include "qelcore/MainThread.h"

namespace Testing
{

/// A view that counts, as the platform would.
struct CountedView
{
    std::atomic<int> retains{0};
    std::atomic<int> releases{0};
    std::atomic<int> releasesElsewhere{0}; ///< not on the main thread
};

/// This thread is the main one, and views are CountedViews.
class ViewTest : public ::testing::Test
{
protected:
    ViewTest()
    {
        EXPECT_TRUE(qelcore::threads::RegisterMainThread());
        RK::PlatformWindowManager::SetViewFunctions({&Retain, &Release});
    }
    ~ViewTest() override
    {
        qelcore::threads::RunMainThreadUntilIdle();
        RK::PlatformWindowManager::SetViewFunctions({});
        qelcore::threads::UnregisterMainThread();
    }

    static void Retain(RK::PlatformView inView) { ++static_cast<CountedView*>(inView)->retains; }
    static void Release(RK::PlatformView inView)
    {
        CountedView& view = *static_cast<CountedView*>(inView);
        ++view.releases;
        view.releasesElsewhere += qelcore::threads::IsMainThread() ? 0 : 1;
    }

    CountedView mView;
};

} // namespace Testing
