#include "Foundation/qelcore/Src/Debug/DebugSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using qelcore::debug::NextChangeCount;
using qelcore::debug::ParseDebugSettings;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(DebugSettings, PiecesWithoutAKeyArePassedOver)
{
    EXPECT_THAT(ParseDebugSettings(""), IsEmpty());
    EXPECT_THAT(ParseDebugSettings(";;=;a; =b"), IsEmpty());
}

TEST(DebugSettings, EntriesKeepTheOrderOfTheText)
{
    EXPECT_THAT(ParseDebugSettings("b=1;a=2=3; c d =\t4 "),
                ElementsAre(Pair("b", "1"), Pair("a", "2=3"), Pair("c d", "4")));
}

TEST(DebugSettings, TheChangeCountBeginsAnewInsteadOfTurningNegative)
{
    EXPECT_EQ(1, NextChangeCount(0));
    EXPECT_EQ(INT32_MAX, NextChangeCount(INT32_MAX - 1));
    EXPECT_EQ(0, NextChangeCount(INT32_MAX));
}

} // namespace
