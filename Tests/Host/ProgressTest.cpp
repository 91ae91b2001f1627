#include "Progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace RKHostTests
{
namespace
{

using RKHost::Progress;
using RKHost::ProgressBar;
using RKHost::ProgressFigures;
using RKHost::ProgressLine;
using testing::HasSubstr;

class ProgressTest : public testing::Test
{
protected:
    // 100 frames in all.
    static ProgressFigures At(int inFrames, double inSeconds)
    {
        return {"cold", inFrames, 100, 3, 1000, inSeconds};
    }

    Progress Plain()
    {
        return Progress([this](const std::string& t) { mText += t; }, 0);
    }
    Progress Terminal()
    {
        return Progress([this](const std::string& t) { mText += t; }, 100);
    }

    long Lines() const { return std::count(mText.begin(), mText.end(), '\n'); }

    std::string mText;
};

TEST_F(ProgressTest, ALineTellsFramesRateHitsAndBytes)
{
    const std::string line = ProgressLine(At(50, 2));
    EXPECT_THAT(line, HasSubstr("cold"));
    EXPECT_THAT(line, HasSubstr("50/100"));
    EXPECT_THAT(line, HasSubstr("25.0 frames/s"));
    EXPECT_THAT(line, HasSubstr("3 hits"));
    EXPECT_THAT(line, HasSubstr("held"));
}

TEST_F(ProgressTest, ABarIsHalfFullAtHalfTheFrames)
{
    const std::string bar = ProgressBar(At(50, 2), 120);
    EXPECT_THAT(bar, HasSubstr("[####################....................]"));
    EXPECT_THAT(bar, HasSubstr(" 50 %"));
}

TEST_F(ProgressTest, ABarNeverReachesTheLastColumn)
{
    for (int columns = 1; columns < 200; ++columns)
        EXPECT_LT(ProgressBar(At(50, 2), columns).size(), static_cast<std::size_t>(columns))
            << columns;
}

TEST_F(ProgressTest, NothingPlayedYetDividesByNothing)
{
    EXPECT_THAT(ProgressLine({"cold", 0, 0, 0, 0, 0}), HasSubstr("0/0  0.0 frames/s"));
    EXPECT_THAT(ProgressBar({"cold", 0, 0, 0, 0, 0}, 80), HasSubstr("0 %"));
}

TEST_F(ProgressTest, WithoutATerminalThereAreFourPlainLinesAPass)
{
    Progress progress = Plain();
    progress.Begin();
    for (int frame = 1; frame <= 100; ++frame)
        progress.Update(At(frame, frame * 0.001));
    progress.End(At(100, 0.1));

    EXPECT_EQ(4, Lines()) << mText;
    EXPECT_EQ(std::string::npos, mText.find('\r'));
    EXPECT_EQ(std::string::npos, mText.find('\033'));
}

TEST_F(ProgressTest, ASlowPassStillGivesALineEachFiveSeconds)
{
    Progress progress = Plain();
    progress.Begin();
    progress.Update(At(1, 4.9));
    EXPECT_EQ(0, Lines());
    progress.Update(At(2, 5.0));
    progress.Update(At(3, 9.9));
    EXPECT_EQ(1, Lines());
    progress.Update(At(4, 10.0));
    EXPECT_EQ(2, Lines());
}

TEST_F(ProgressTest, TheSecondPassBeginsAnew)
{
    Progress progress = Plain();
    progress.Begin();
    progress.End(At(100, 8));
    mText.clear();

    progress.Begin();
    progress.Update(At(25, 0.1));

    EXPECT_EQ(1, Lines());
}

TEST_F(ProgressTest, OnATerminalOneLineIsDrawnAgainTenTimesASecondAtTheMost)
{
    Progress progress = Terminal();
    progress.Begin();
    progress.Update(At(1, 0.10));
    const std::string first = mText;
    EXPECT_EQ('\r', first.at(0));
    progress.Update(At(2, 0.15));
    EXPECT_EQ(first, mText);
    progress.Update(At(3, 0.20));
    EXPECT_GT(mText.size(), first.size());
    EXPECT_EQ(0, Lines());
    progress.End(At(100, 0.3));
    EXPECT_EQ(1, Lines());
}

TEST_F(ProgressTest, HidingTakesTheBarAwayOnce)
{
    Progress progress = Terminal();
    progress.Hide();
    EXPECT_EQ("", mText);
    progress.Begin();
    progress.Update(At(1, 1));
    mText.clear();
    progress.Hide();
    progress.Hide();
    EXPECT_EQ("\r\033[K", mText);
}

} // namespace
} // namespace RKHostTests
