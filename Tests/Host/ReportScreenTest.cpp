#include "ReportScreen.h"

#include <gmock/gmock.h>

namespace RKHostTests
{
namespace
{

using RKHost::FitLines;
using RKHost::ReportScreen;
using RKHost::TerminalSize;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST(FitLines, TextThatFitsStaysAsItIs)
{
    EXPECT_THAT(FitLines("one\n\nthree\n", {80, 24}), ElementsAre("one", "", "three"));
}

TEST(FitLines, OneRowAndOneColumnStayFree)
{
    EXPECT_THAT(FitLines("abc\nd\n", {3, 3}), ElementsAre("ab", "d"));
    EXPECT_THAT(FitLines("a\nb\nc\n", {10, 3}), ElementsAre("a  c", "b"));
}

TEST(FitLines, TooManyLinesStandSideBySide)
{
    EXPECT_THAT(FitLines("first\nb\nc\nd\n\nf\n", {40, 3}), ElementsAre("first  c", "b      d  f"));
}

TEST(FitLines, WhatFitsInNoWayIsCutAndSaysSo)
{
    const std::vector<std::string> lines = FitLines("aaaaaa\nbbbbbb\ncccccc\ndddddd\n", {8, 4});
    EXPECT_THAT(lines, ElementsAre("aaaaaa", "bbbbbb", HasSubstr("... 2")));
}

TEST(FitLines, AsManyColumnsAreShownAsThereIsRoomFor)
{
    EXPECT_THAT(
        FitLines("a\nb\nc\nd\ne a line that is too wide to stand beside others\nf\ng\n", {30, 4}),
        ElementsAre("a  c", "b  d", HasSubstr("... 3 more")));
}

TEST(FitLines, ACharacterOfSeveralBytesIsOneColumnAndIsNotTornApart)
{
    EXPECT_THAT(FitLines("\xc3\xa4\xc3\xb6\xc3\xbc\n", {3, 5}), ElementsAre("\xc3\xa4\xc3\xb6"));
}

TEST(FitLines, NoTerminalIsTooSmall)
{
    for (int columns = 1; columns < 5; ++columns)
        for (int rows = 1; rows < 5; ++rows)
        {
            const std::vector<std::string> lines = FitLines("abc\ndef\nghi\n", {columns, rows});
            EXPECT_LE(lines.size(), static_cast<std::size_t>(std::max(rows - 1, 1)));
            for (const std::string& line : lines)
                EXPECT_LT(line.size(), static_cast<std::size_t>(columns));
        }
}

class ReportScreenTest : public testing::Test
{
protected:
    std::string Show(const std::string& inReport)
    {
        mWritten.clear();
        mScreen.Show(inReport);
        return mWritten;
    }

    TerminalSize mSize = {40, 10};
    std::string mWritten;
    ReportScreen mScreen{[this](const std::string& inText) { mWritten += inText; },
                         [this] { return mSize; }};
};

TEST_F(ReportScreenTest, TheNextReportTakesThePlaceOfTheOneBefore)
{
    EXPECT_EQ("one\033[K\ntwo\033[K\n\033[J", Show("one\ntwo\n"));
    EXPECT_EQ("\r\033[2Athree\033[K\n\033[J", Show("three\n"));
    EXPECT_EQ("\r\033[1Afour\033[K\n\033[J", Show("four\n"));
}

TEST_F(ReportScreenTest, WhatItHasLeftStands)
{
    Show("one\ntwo\n");
    mScreen.Leave();
    EXPECT_EQ("three\033[K\n\033[J", Show("three\n"));
}

TEST_F(ReportScreenTest, FollowsTheSizeOfTheTerminal)
{
    Show("one\ntwo\nthree\n");
    mSize = {20, 3};
    EXPECT_THAT(Show("one\ntwo\nthree\n"), HasSubstr("one  three\033[K\ntwo\033[K\n"));
}

TEST_F(ReportScreenTest, WithoutATerminalReportsFollowEachOtherBehindALine)
{
    mSize = {};
    EXPECT_EQ("one\n", Show("one\n"));
    const std::string second = Show("two\n");
    EXPECT_THAT(second, HasSubstr("-----\ntwo\n"));
    EXPECT_THAT(second, Not(HasSubstr("\033")));
}

} // namespace
} // namespace RKHostTests
