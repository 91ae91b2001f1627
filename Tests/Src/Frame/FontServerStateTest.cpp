#include "RKFontServerState.h"

#include <gtest/gtest.h>

#include "RKInitializer.h"

namespace
{

// The very state before anybody has set it can be seen only once in a process.
TEST(FontServerState, IsZeroUntilSetAndOutlivesStopAndStart)
{
    ASSERT_EQ(0u, RK::GetFontServerState());
    {
        RK::Initializer library;
        EXPECT_EQ(0u, RK::GetFontServerState());
        RK::SetFontServerState(0xFEDCBA98u);
    }
    EXPECT_EQ(0xFEDCBA98u, RK::GetFontServerState());

    RK::Initializer library;
    EXPECT_EQ(0xFEDCBA98u, RK::GetFontServerState());
    RK::SetFontServerState(0);
}

} // namespace
