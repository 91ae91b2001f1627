#include "TQM/ApplicationType.h"

#include <gtest/gtest.h>

namespace
{

TEST(ApplicationType, IsZeroUntilAHostSetsIt)
{
    EXPECT_EQ(0, TQM::GetApplicationType());
}

TEST(ApplicationType, IsWhatTheHostHasSetLast)
{
    TQM::SetApplicationType(1);
    EXPECT_EQ(1, TQM::GetApplicationType());
    TQM::SetApplicationType(-7);
    EXPECT_EQ(-7, TQM::GetApplicationType());
    TQM::SetApplicationType(0);
}

} // namespace
