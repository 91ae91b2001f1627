#include "Support/RealRights.h"

#include <gtest/gtest.h>

#include "Support/ChildProcess.h"

namespace
{

using Testing::Need;
using Testing::NeedOf;

TEST(RealRights, WhatWorksIsMetWhateverElse)
{
    for (const bool right : {false, true})
    {
        for (const bool required : {false, true})
            EXPECT_EQ(Need::kMet, NeedOf(true, right, required));
    }
}

TEST(RealRights, WithoutTheRightATestIsSkippedEvenWhereRealTestsAreRequired)
{
    EXPECT_EQ(Need::kMissing, NeedOf(false, false, false));
    EXPECT_EQ(Need::kMissing, NeedOf(false, false, true));
}

TEST(RealRights, ARightThatDoesNotWorkIsAFailureWhereRealTestsAreRequired)
{
    EXPECT_EQ(Need::kMissing, NeedOf(false, true, false));
    EXPECT_EQ(Need::kBroken, NeedOf(false, true, true));
}

TEST(RealRights, AUserWithoutRightsHasNoCapability)
{
    const int answer =
        Testing::RunWithoutRights([] { return Testing::HasCapability(CAP_SYS_ADMIN) ? 1 : 0; });
    EXPECT_EQ(0, answer);
}

} // namespace
