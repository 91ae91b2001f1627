#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "RKPixelAspectRatio.h"

namespace
{

using namespace RK;
using qelmediatypes::PixelAspectRatio;
using Rect = ZOR::ParamRect<int>;
using Dimension = ZOR::ParamDimension<int>;

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();

TEST(PixelAspectRect, ScalesTheLeftEdgeAndTheWidthByTheRatio)
{
    EXPECT_EQ((Rect{0, 0, 655, 480}), AdjustPixelAspectRectToSquarePixelRect(
                                          Rect{0, 0, 720, 480}, PixelAspectRatio(10, 11)));
    EXPECT_EQ((Rect{20, 5, 1940, 1085}), AdjustPixelAspectRectToSquarePixelRect(
                                             Rect{15, 5, 1455, 1085}, PixelAspectRatio(4, 3)));
    EXPECT_EQ((Rect{15, 5, 1455, 1085}), AdjustSquarePixelRectToPixelAspectRect(
                                             Rect{20, 5, 1940, 1085}, PixelAspectRatio(4, 3)));
}

TEST(PixelAspectRect, HasAWidthThatDoesNotHangOnWhereItLies)
{
    const PixelAspectRatio ratio(10, 11);
    for (int left = -100; left <= 100; ++left)
    {
        const Rect rect =
            AdjustPixelAspectRectToSquarePixelRect(Rect{left, 0, left + 720, 480}, ratio);
        ASSERT_EQ(655, rect.right - rect.left) << left;
    }
}

TEST(PixelAspectRect, KeepsItsHeightAndItsTop)
{
    const Rect rect =
        AdjustPixelAspectRectToSquarePixelRect(Rect{0, -7, 10, 93}, PixelAspectRatio(2, 1));
    EXPECT_EQ(-7, rect.top);
    EXPECT_EQ(93, rect.bottom);
}

TEST(PixelAspectRect, SaturatesWhereNumbersEnd)
{
    const PixelAspectRatio widest(kMost, 1);
    EXPECT_EQ((Rect{kLeast, 0, kMost, 1}).right,
              AdjustPixelAspectRectToSquarePixelRect(Rect{1, 0, kMost, 1}, widest).right);
    EXPECT_EQ(kLeast, AdjustPixelAspectRectToSquarePixelRect(Rect{kLeast, 0, 0, 1}, widest).left);
    EXPECT_EQ(kMost,
              AdjustPixelAspectDimensionToSquarePixelDimension(Dimension{kMost, 1}, widest).width);
    EXPECT_EQ(kLeast,
              AdjustPixelAspectDimensionToSquarePixelDimension(Dimension{kLeast, 1}, widest).width);
    // Edges further apart than a width can tell.
    EXPECT_EQ((Rect{kLeast, 0, -1, 0}), AdjustPixelAspectRectToSquarePixelRect(
                                            Rect{kLeast, 0, kMost, 0}, PixelAspectRatio(1, 1)));
}

TEST(PixelAspectDimension, RoundsToTheNearestPixelAHalfAwayFromZero)
{
    const auto width = [](int inWidth, int inNumerator, int inDenominator)
    {
        return AdjustPixelAspectDimensionToSquarePixelDimension(
                   Dimension{inWidth, 3}, PixelAspectRatio(inNumerator, inDenominator))
            .width;
    };
    EXPECT_EQ(2, width(1, 3, 2));
    EXPECT_EQ(-2, width(-1, 3, 2));
    EXPECT_EQ(1, width(1, 149, 100));
    EXPECT_EQ(1, width(1, 1, 2));
    EXPECT_EQ(0, width(1, 499, 1000));
    EXPECT_EQ(0, width(0, 4, 3));
    EXPECT_EQ(0, width(1, 1073741823, kMost)) << "just below a half, which a float would not see";
    EXPECT_EQ(1, width(1, 1073741824, kMost));
}

TEST(PixelAspectDimension, ComesBackWhereverThePixelsGotWider)
{
    const PixelAspectRatio ratio(64, 45); // above 1, so that no two widths become one
    for (int length = -3000; length <= 3000; ++length)
    {
        const Dimension square =
            AdjustPixelAspectDimensionToSquarePixelDimension(Dimension{length, 9}, ratio);
        ASSERT_EQ((Dimension{length, 9}),
                  AdjustSquarePixelDimensionToPixelAspectDimension(square, ratio));
    }
}

TEST(PixelAspectDimension, StaysUnderARatioThatIsNone)
{
    for (const PixelAspectRatio& ratio :
         {kPixelAspectRatio_Unknown, kPixelAspectRatio_Any, PixelAspectRatio(1, 0),
          PixelAspectRatio(0, 0), PixelAspectRatio(-1, -1), PixelAspectRatio(1, kLeast)})
    {
        EXPECT_EQ((Dimension{7, 3}),
                  AdjustPixelAspectDimensionToSquarePixelDimension(Dimension{7, 3}, ratio));
        EXPECT_EQ((Dimension{7, 3}),
                  AdjustSquarePixelDimensionToPixelAspectDimension(Dimension{7, 3}, ratio));
        EXPECT_EQ((Rect{1, 2, 8, 5}),
                  AdjustPixelAspectRectToSquarePixelRect(Rect{1, 2, 8, 5}, ratio));
        EXPECT_EQ((Rect{1, 2, 8, 5}),
                  AdjustSquarePixelRectToPixelAspectRect(Rect{1, 2, 8, 5}, ratio));
    }
}

PixelAspectRatio Downsampled(const PixelAspectRatio& inRatio, int inFromWidth, int inFromHeight,
                             int inToWidth, int inToHeight)
{
    return AdjustPixelAspectRatioForNonUniformDownsample(
        inRatio, Rect{0, 0, inFromWidth, inFromHeight}, Rect{0, 0, inToWidth, inToHeight});
}

void ExpectNumbers(int inNumerator, int inDenominator, const PixelAspectRatio& inRatio)
{
    EXPECT_EQ(inNumerator, inRatio.GetNumerator());
    EXPECT_EQ(inDenominator, inRatio.GetDenominator());
}

TEST(PixelAspectOfADownsample, KeepsTheShapeOfWhatIsShownInLowestTerms)
{
    ExpectNumbers(1, 1, Downsampled(PixelAspectRatio(4, 3), 1440, 1080, 960, 540));
    ExpectNumbers(4, 3, Downsampled(PixelAspectRatio(4, 3), 1440, 1080, 720, 540));
    ExpectNumbers(2, 1, Downsampled(PixelAspectRatio(1, 1), 1920, 1080, 960, 1080));
    ExpectNumbers(1, 2, Downsampled(PixelAspectRatio(1, 1), 1920, 1080, 1920, 540));
    ExpectNumbers(10, 11, Downsampled(PixelAspectRatio(20, 22), 720, 480, 720, 480));
}

TEST(PixelAspectOfADownsample, TakesTheNearestRatioWhereLowestTermsDoNotFit)
{
    ExpectNumbers(kMost, 1, Downsampled(PixelAspectRatio(kMost, 1), kMost, 1, 1, kMost));

    // 2^31 - 1 is a prime, so nothing cancels.
    const PixelAspectRatio close =
        Downsampled(PixelAspectRatio(kMost, kMost - 1), 1001, 1009, 1013, 997);
    const long double goal = static_cast<long double>(kMost) * 1001 * 997 /
                             (static_cast<long double>(kMost - 1) * 1013 * 1009);
    EXPECT_NEAR(static_cast<double>(goal),
                static_cast<double>(close.GetNumerator()) / close.GetDenominator(), 1e-15);

    ExpectNumbers(1, kMost, Downsampled(PixelAspectRatio(1, kMost), 1, kMost, kMost, 1));
}

TEST(PixelAspectOfADownsample, LeavesTheRatioWhereALengthIsNone)
{
    const PixelAspectRatio ratio(20, 22);
    for (const auto& lengths :
         {std::array{0, 1, 1, 1}, std::array{1, 0, 1, 1}, std::array{1, 1, 0, 1},
          std::array{1, 1, 1, 0}, std::array{-5, 1, 1, 1}})
        ExpectNumbers(20, 22, Downsampled(ratio, lengths[0], lengths[1], lengths[2], lengths[3]));
    ExpectNumbers(0, 1, Downsampled(kPixelAspectRatio_Unknown, 10, 10, 5, 10));
}

TEST(LegacyPixelAspect, IsAnyOfTheFiveAsANumberAndIsCorrected)
{
    const PixelAspectRatio pairs[][2] = {
        {kPixelAspectRatio_DVNTSC_Incorrect, kPixelAspectRatio_DVNTSC},
        {kPixelAspectRatio_DVNTSCWide_Incorrect, kPixelAspectRatio_DVNTSCWide},
        {kPixelAspectRatio_DVPAL_Incorrect, kPixelAspectRatio_DVPAL},
        {kPixelAspectRatio_DVPAL_TooPrecise, kPixelAspectRatio_DVPAL},
        {kPixelAspectRatio_DVPALWide_Incorrect, kPixelAspectRatio_DVPALWide},
        {PixelAspectRatio(18, 20), kPixelAspectRatio_DVNTSC},
    };
    for (const auto& pair : pairs)
    {
        EXPECT_TRUE(IsPixelAspectRatioIncorrect(pair[0]));
        ExpectNumbers(pair[1].GetNumerator(), pair[1].GetDenominator(),
                      CorrectedPixelAspectRatio(pair[0]));
        EXPECT_FALSE(IsPixelAspectRatioIncorrect(pair[1])) << "corrected once and for all";
    }
}

TEST(LegacyPixelAspect, IsNoOther)
{
    for (const PixelAspectRatio& ratio :
         {kPixelAspectRatio_Square, kPixelAspectRatio_Anamorphic,
          kPixelAspectRatio_HDAnamorphic1080, kPixelAspectRatio_DVCProHD, kPixelAspectRatio_Unknown,
          kPixelAspectRatio_Any, PixelAspectRatio(0, 0), PixelAspectRatio(-9, -10),
          PixelAspectRatio(30, 22)})
    {
        EXPECT_FALSE(IsPixelAspectRatioIncorrect(ratio));
        ExpectNumbers(ratio.GetNumerator(), ratio.GetDenominator(),
                      CorrectedPixelAspectRatio(ratio));
    }
}

} // namespace
