#include <gtest/gtest.h>

#include "Docs/Examples/PlatformView/GObjectViews.h"
#include "qelcore/MainThread.h"

// The example of Docs/Examples, kept true.
namespace
{

using namespace RK::PlatformWindowManager;

TEST(GObjectViewsExample, AnObjectLivesUntilTheMainThreadHasReleasedIt)
{
    qelcore::threads::RegisterMainThread();
    SetViewFunctions(Example::GObjectViewFunctions());
    gpointer view = g_object_new(G_TYPE_OBJECT, nullptr);
    gpointer watched = view;
    g_object_add_weak_pointer(G_OBJECT(view), &watched);

    Register(view);
    g_object_unref(view);
    EXPECT_NE(nullptr, watched);
    RemoveDependency(view);
    EXPECT_NE(nullptr, watched);
    qelcore::threads::RunMainThreadUntilIdle();
    EXPECT_EQ(nullptr, watched);

    SetViewFunctions({});
    qelcore::threads::UnregisterMainThread();
}

} // namespace
