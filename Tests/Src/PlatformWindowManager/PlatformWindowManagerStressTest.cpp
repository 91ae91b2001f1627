#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ViewFixture.h"

namespace
{

using namespace RK::PlatformWindowManager;
using Testing::CountedView;

using PlatformWindowManagerStress = Testing::ViewTest;

// Users of shared views come and go on eight threads while owners register and drop them, and the main
// thread turns: every retain has its release, on the main thread, and none comes while somebody depends.
TEST_F(PlatformWindowManagerStress, EachViewIsReleasedOnceAndOnlyWhenNobodyDependsOnIt)
{
    constexpr int kViews = 200;
    constexpr int kThreads = 8;
    std::vector<CountedView> views(kViews);
    for (CountedView& view : views)
        Register(&view);
    std::atomic<int> early{0};
    std::atomic<int> running{kThreads};
    const auto use = [&](int inThread)
    {
        for (int i = 0; i < 20 * kViews; ++i)
        {
            CountedView& view = views[static_cast<std::size_t>((i * 7 + inThread) % kViews)];
            if (AddDependency(&view))
            {
                early += view.releases;
                RemoveDependency(&view);
            }
            if (inThread == 0 && i % 20 == 0) // the owner
                RemoveDependency(&views[static_cast<std::size_t>(i / 20)]);
        }
        --running;
    };

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back(use, thread);
    while (running > 0)
        qelcore::threads::DispatchMainThread();
    for (std::thread& thread : threads)
        thread.join();
    qelcore::threads::RunMainThreadUntilIdle();

    EXPECT_EQ(0, early);
    for (CountedView& view : views)
    {
        EXPECT_EQ(1, view.retains);
        EXPECT_EQ(1, view.releases);
        EXPECT_EQ(0, view.releasesElsewhere);
    }
}

} // namespace
