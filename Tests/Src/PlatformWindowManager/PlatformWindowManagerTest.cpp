#include <chrono>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Gate.h"
#include "Support/TraceCapture.h"
#include "ViewFixture.h"

namespace
{

using namespace RK::PlatformWindowManager;
using qelcore::threads::RunMainThreadUntilIdle;
using Testing::CountedView;

using PlatformWindowManagerTest = Testing::ViewTest;

TEST_F(PlatformWindowManagerTest, TheRemovalOfTheLastDependencyQueuesOneRelease)
{
    Register(&mView);
    EXPECT_TRUE(AddDependency(&mView));
    RemoveDependency(&mView);
    EXPECT_EQ(0, RunMainThreadUntilIdle());

    RemoveDependency(&mView);
    EXPECT_EQ(0, mView.releases) << "released before the main thread turned";
    EXPECT_EQ(1, RunMainThreadUntilIdle());
    EXPECT_EQ(1, mView.retains);
    EXPECT_EQ(1, mView.releases);
}

TEST_F(PlatformWindowManagerTest, AViewWhoseCountCameTo0IsUnknown)
{
    Register(&mView);
    RemoveDependency(&mView);

    EXPECT_FALSE(AddDependency(&mView));
    RemoveDependency(&mView);
    RunMainThreadUntilIdle();
    EXPECT_EQ(1, mView.releases);
    EXPECT_FALSE(AddDependency(&mView));
}

TEST_F(PlatformWindowManagerTest, AnUnknownViewTakesNoDependency)
{
    EXPECT_FALSE(AddDependency(&mView));
    EXPECT_FALSE(AddDependency(&mView)) << "asking made it known";
    RemoveDependency(&mView);
    EXPECT_EQ(0, RunMainThreadUntilIdle());
    EXPECT_EQ(0, mView.retains);
}

TEST_F(PlatformWindowManagerTest, RegisteringTwiceSetsTheCountBackAndLeavesARetain)
{
    Register(&mView);
    AddDependency(&mView);
    AddDependency(&mView);
    Register(&mView);
    RemoveDependency(&mView);
    RemoveDependency(&mView);
    RunMainThreadUntilIdle();

    EXPECT_EQ(2, mView.retains);
    EXPECT_EQ(1, mView.releases);
    EXPECT_FALSE(AddDependency(&mView));
}

TEST_F(PlatformWindowManagerTest, TheLastReleaseIsMadeOnTheMainThreadWhoeverDroppedTheView)
{
    Register(&mView);
    std::thread([this] { RemoveDependency(&mView); }).join();

    EXPECT_EQ(0, mView.releases);
    RunMainThreadUntilIdle();
    EXPECT_EQ(1, mView.releases);
    EXPECT_EQ(0, mView.releasesElsewhere);
}

TEST_F(PlatformWindowManagerTest, ReleasingAViewMayCallBack)
{
    CountedView child;
    SetViewFunctions({&ViewTest::Retain, [&](RK::PlatformView inView)
                      {
                          Release(inView);
                          if (inView == &mView)
                              RemoveDependency(&child);
                      }});
    Register(&mView);
    Register(&child);
    RemoveDependency(&mView);
    RunMainThreadUntilIdle();

    EXPECT_EQ(1, mView.releases);
    EXPECT_EQ(1, child.releases);
}

TEST_F(PlatformWindowManagerTest, ARetainFindsTheViewRegistered)
{
    bool known = false;
    SetViewFunctions({[&](RK::PlatformView inView) { known = AddDependency(inView); }, &Release});
    Register(&mView);
    EXPECT_TRUE(known);
    RemoveDependency(&mView);
    RemoveDependency(&mView);
    RunMainThreadUntilIdle();
    EXPECT_EQ(1, mView.releases);
}

// Somebody who finds a view registered may use it, so it must have been retained by then.
TEST_F(PlatformWindowManagerTest, NobodyDependsOnAViewBeforeItsRetainIsOver)
{
    Testing::Gate retaining;
    SetViewFunctions({[&](RK::PlatformView inView)
                      {
                          retaining.Pass();
                          Retain(inView);
                      },
                      &Release});
    std::future<void> registering = std::async(std::launch::async, [this] { Register(&mView); });
    retaining.WaitUntilCome(1);
    std::future<int> adding = std::async(
        std::launch::async, [this] { return AddDependency(&mView) ? mView.retains.load() : -1; });
    EXPECT_EQ(std::future_status::timeout, adding.wait_for(std::chrono::milliseconds(100)));
    retaining.Open();
    EXPECT_EQ(1, adding.get());
    registering.get();
    RemoveDependency(&mView);
    RemoveDependency(&mView);
}

TEST_F(PlatformWindowManagerTest, NoLockIsHeldDuringARelease)
{
    bool added = true;
    SetViewFunctions({&ViewTest::Retain, [&](RK::PlatformView inView)
                      { std::thread([&] { added = AddDependency(inView); }).join(); }});
    Register(&mView);
    RemoveDependency(&mView);
    RunMainThreadUntilIdle();
    EXPECT_FALSE(added);
}

TEST_F(PlatformWindowManagerTest, AViewIsReleasedByTheFunctionsThatRetainedIt)
{
    Register(&mView);
    SetViewFunctions({});
    RemoveDependency(&mView);
    RunMainThreadUntilIdle();
    EXPECT_EQ(1, mView.releases);
}

TEST_F(PlatformWindowManagerTest, WithoutFunctionsViewsAreOnlyCounted)
{
    SetViewFunctions({});
    Register(&mView);
    EXPECT_TRUE(AddDependency(&mView));
    RemoveDependency(&mView);
    RemoveDependency(&mView);
    EXPECT_FALSE(AddDependency(&mView));
    EXPECT_NO_THROW(RunMainThreadUntilIdle());
    EXPECT_EQ(0, mView.retains + mView.releases);
}

TEST_F(PlatformWindowManagerTest, TheNullHandleIsCountedAndNeverTouched)
{
    Register(nullptr);
    EXPECT_TRUE(AddDependency(nullptr));
    RemoveDependency(nullptr);
    RemoveDependency(nullptr);
    EXPECT_FALSE(AddDependency(nullptr));
    RunMainThreadUntilIdle();
}

TEST_F(PlatformWindowManagerTest, AMainThreadThatTakesNoWorkLeavesTheViewRetainedAndTraced)
{
    const Testing::TraceCapture trace("RK::PlatformWindowManager");
    Register(&mView);
    qelcore::threads::GetRegisteredMainThread()->Stop();
    RemoveDependency(&mView);

    EXPECT_EQ(0, mView.releases);
    EXPECT_THAT(trace.Lines(), ::testing::SizeIs(1));
}

} // namespace
