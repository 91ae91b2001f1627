#include "RKMediaUIUtilities.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{

using namespace RK;
using qelmediatypes::PixelAspectRatio;
using Rect = ZOR::ParamRect<int>;

constexpr PixelAspectRatio kSquare{1, 1};

Rect Fitted(const Rect& inSource, const Rect& inTarget)
{
    Rect result{-1, -1, -1, -1};
    FitRectInRect(inSource, inTarget, result);
    return result;
}

TEST(FitRectInRect, GivesTheTargetForAnEmptySource)
{
    const Rect target{3, 4, 103, 54};
    EXPECT_EQ(target, Fitted(Rect{5, 5, 5, 25}, target));
    EXPECT_EQ(target, Fitted(Rect{5, 5, 25, 5}, target));
}

TEST(FitRectInRect, ScalesToTheSmallerSideAndDoesNotCentre)
{
    EXPECT_EQ((Rect{10, 20, 650, 380}), Fitted(Rect{0, 0, 1920, 1080}, Rect{10, 20, 650, 500}));
    EXPECT_EQ((Rect{10, 20, 490, 500}), Fitted(Rect{7, 7, 8, 8}, Rect{10, 20, 650, 500}));
}

TEST(FitRectInRect, RoundsByAddingAHalfAndCutting)
{
    EXPECT_EQ((Rect{0, 0, 3, 5}), Fitted(Rect{0, 0, 5, 10}, Rect{0, 0, 100, 5})) << "2.5";
    EXPECT_EQ((Rect{0, 0, 1, 3}), Fitted(Rect{0, 0, 4, 10}, Rect{0, 0, 100, 3})) << "1.2";
}

TEST(FitRectInRect, MayHaveTheTargetForItsResult)
{
    Rect both{10, 20, 650, 500};
    FitRectInRect(Rect{0, 0, 1920, 1080}, both, both);
    EXPECT_EQ((Rect{10, 20, 650, 380}), both);
}

TEST(FitRectInRect, SaturatesWhereNumbersEnd)
{
    constexpr int kLeast = std::numeric_limits<int>::min();
    constexpr int kMost = std::numeric_limits<int>::max();
    const Rect result = Fitted(Rect{0, 0, 1, 1}, Rect{kLeast, kLeast, kMost, kMost});
    EXPECT_EQ(kLeast, result.left);
    EXPECT_EQ(result.right, result.bottom);
    EXPECT_LE(-200, result.right) << "as wide as an integer can tell";
    // The float next to this width is one more.
    EXPECT_EQ(kMost, Fitted(Rect{0, 0, 1, 1}, Rect{2000000000, 2000000000, kMost, kMost}).right);
}

TEST(AdaptVideoRectToPAR, CentresTheBandOfAWideVideoInANarrowFrame)
{
    EXPECT_EQ((Rect{0, 60, 640, 420}),
              AdaptVideoRectToPAR(kSquare, Rect{0, 0, 1920, 1080}, Rect{0, 0, 640, 480}));
    EXPECT_EQ((Rect{100, 260, 740, 620}),
              AdaptVideoRectToPAR(kSquare, Rect{9, 9, 1929, 1089}, Rect{100, 200, 740, 680}));
}

TEST(AdaptVideoRectToPAR, SeesTheVideoThroughItsPixels)
{
    // 1440 columns of pixels that are 4:3 wide fill a frame of 16:9.
    EXPECT_EQ(
        (Rect{0, 0, 640, 360}),
        AdaptVideoRectToPAR(PixelAspectRatio(4, 3), Rect{0, 0, 1440, 1080}, Rect{0, 0, 640, 360}));
}

TEST(AdaptVideoRectToPAR, MakesOfASinglePixelTheSmallerSideOfTheFrame)
{
    EXPECT_EQ((Rect{80, 0, 560, 480}),
              AdaptVideoRectToPAR(kSquare, Rect{0, 0, 1, 1}, Rect{0, 0, 640, 480}));
}

TEST(AdaptVideoRectToPAR, GivesTheFrameForAVideoWithoutSize)
{
    const Rect frame{10, 20, 650, 500};
    EXPECT_EQ(frame, AdaptVideoRectToPAR(kSquare, Rect{5, 5, 5, 25}, frame));
    EXPECT_EQ(frame, AdaptVideoRectToPAR(kSquare, Rect{5, 5, 25, 5}, frame));
    // One pixel a hundredth wide is none once it is square.
    EXPECT_EQ(frame, AdaptVideoRectToPAR(PixelAspectRatio(1, 100), Rect{0, 0, 1, 1}, frame));
}

TEST(AdaptVideoRectToPAR, IsTwoHighInAFrameOfOneLineAndStaysAtItsTop)
{
    const Rect shown = AdaptVideoRectToPAR(kSquare, Rect{0, 0, 100, 100}, Rect{0, 50, 640, 51});
    EXPECT_EQ(50, shown.top);
    EXPECT_EQ(52, shown.bottom);
}

TEST(AdaptVideoRectToPAR, IsOneWideAtLeastButTwoHigh)
{
    const Rect narrow = AdaptVideoRectToPAR(kSquare, Rect{0, 0, 1, 1000}, Rect{0, 0, 100, 100});
    EXPECT_EQ((Rect{49, 0, 50, 100}), narrow);
    const Rect flat = AdaptVideoRectToPAR(kSquare, Rect{0, 0, 1000, 1}, Rect{0, 0, 100, 100});
    EXPECT_EQ((Rect{0, 49, 100, 51}), flat);
    EXPECT_EQ((Rect{0, -1, 1, 1}),
              AdaptVideoRectToPAR(kSquare, Rect{0, 0, 10, 10}, Rect{0, 0, 0, 0}));
}

} // namespace
