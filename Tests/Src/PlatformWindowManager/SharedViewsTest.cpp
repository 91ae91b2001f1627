#include <gtest/gtest.h>

#include "Docs/Examples/PlatformView/SharedViews.h"
#include "qelcore/MainThread.h"

// The example of Docs/Examples, kept true.
namespace
{

using namespace RK::PlatformWindowManager;

TEST(SharedViewsExample, AViewLivesUntilTheMainThreadHasReleasedIt)
{
    qelcore::threads::RegisterMainThread();
    Example::SharedViews views;
    SetViewFunctions(views.Functions());
    auto view = std::make_shared<Example::View>();
    const std::weak_ptr<Example::View> watched = view;
    const RK::PlatformView handle = Example::SharedViews::HandleOf(view);

    Register(handle);
    view.reset();
    EXPECT_FALSE(watched.expired());
    RemoveDependency(handle);
    EXPECT_FALSE(watched.expired());
    qelcore::threads::RunMainThreadUntilIdle();
    EXPECT_TRUE(watched.expired());

    SetViewFunctions({});
    qelcore::threads::UnregisterMainThread();
}

} // namespace
