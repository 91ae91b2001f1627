#include "RKSDKValidation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "RKSDKConversion.h"

namespace
{

using namespace RK;
using namespace qelmediatypes;

const QzPixelFormat kKnown = static_cast<QzPixelFormat>(qelmediatypes::kPixelFormat_BGRA_4444_8u);
constexpr QzPixelFormat kUnknown = 1;

TEST(RenderPixelFormats, AcceptFortyNineAndRefuseFiftyUntouched)
{
    const std::vector<QzPixelFormat> formats(50, kKnown);
    std::vector<PixelFormat> out;
    EXPECT_EQ(kQzSuccess,
              ConvertAndValidateForRenderSDKToBEPixelFormatList(formats.data(), 49, out));
    EXPECT_EQ(49u, out.size());

    out.clear();
    EXPECT_EQ(kQzParameterError,
              ConvertAndValidateForRenderSDKToBEPixelFormatList(formats.data(), 50, out));
    EXPECT_TRUE(out.empty());
}

TEST(RenderPixelFormats, StopAtTheFirstThatIsInvalid)
{
    const QzPixelFormat formats[] = {kKnown, 0, kUnknown, kKnown};
    std::vector<PixelFormat> out;
    EXPECT_EQ(kQzBadFormatError,
              ConvertAndValidateForRenderSDKToBEPixelFormatList(formats, 4, out));
    EXPECT_THAT(out, testing::ElementsAre(qelmediatypes::kPixelFormat_BGRA_4444_8u,
                                          qelmediatypes::kPixelFormat_Any,
                                          qelmediatypes::kPixelFormat_Invalid));
    out.clear();
    const QzPixelFormat invalid[] = {kQzPixelFormatInvalid};
    EXPECT_EQ(kQzBadFormatError,
              ConvertAndValidateForRenderSDKToBEPixelFormatList(invalid, 1, out));
}

TEST(RenderPixelFormats, OfNoneFailOnlyIfTheListIsEmptyAtTheEnd)
{
    std::vector<PixelFormat> out;
    EXPECT_EQ(kQzBadFormatError,
              ConvertAndValidateForRenderSDKToBEPixelFormatList(nullptr, 0, out));
    EXPECT_EQ(kQzBadFormatError,
              ConvertAndValidateForRenderSDKToBEPixelFormatList(nullptr, -3, out));
    out.push_back(qelmediatypes::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(kQzSuccess, ConvertAndValidateForRenderSDKToBEPixelFormatList(nullptr, 0, out));
    EXPECT_EQ(1u, out.size());
}

TEST(RenderPixelFormats, AreWrittenForTheSDKAsFarAsTheRoomGoes)
{
    const std::vector<PixelFormat> formats(3, qelmediatypes::kPixelFormat_BGRA_4444_8u);
    QzPixelFormat out[] = {7, 7, 7, 7};
    std::int32_t count = 2;
    EXPECT_EQ(kQzSuccess, ConvertAndValidateForRenderBEToSDKPixelFormatList(formats, out, count));
    EXPECT_EQ(2, count);
    EXPECT_THAT(out, testing::ElementsAre(kKnown, kKnown, 7u, 7u));

    count = 4;
    EXPECT_EQ(kQzSuccess, ConvertAndValidateForRenderBEToSDKPixelFormatList(formats, out, count));
    EXPECT_EQ(3, count);
    EXPECT_THAT(out, testing::ElementsAre(kKnown, kKnown, kKnown, 7u));
}

TEST(RenderPixelFormats, WrittenForTheSDKFailAtTheInvalidOneWithTheCountStanding)
{
    const std::vector<PixelFormat> formats = {qelmediatypes::kPixelFormat_BGRA_4444_8u,
                                              qelmediatypes::kPixelFormat_Invalid,
                                              qelmediatypes::kPixelFormat_BGRA_4444_8u};
    QzPixelFormat out[] = {7, 7, 7};
    std::int32_t count = 5;
    EXPECT_EQ(kQzBadFormatError,
              ConvertAndValidateForRenderBEToSDKPixelFormatList(formats, out, count));
    EXPECT_EQ(3, count);
    EXPECT_THAT(out, testing::ElementsAre(kKnown, kQzPixelFormatInvalid, 7u));
}

TEST(RenderPixelFormats, WithoutRoomSucceedAndWriteNothing)
{
    const std::vector<PixelFormat> formats = {qelmediatypes::kPixelFormat_Invalid};
    for (const std::int32_t room : {0, -1, std::numeric_limits<std::int32_t>::min()})
    {
        std::int32_t count = room;
        EXPECT_EQ(kQzSuccess,
                  ConvertAndValidateForRenderBEToSDKPixelFormatList(formats, nullptr, count));
        EXPECT_EQ(room, count);
    }
}

/// A rectangle of the SDK that begins as far left and up as there is.
qzRect SDKRect(int inWidth, int inHeight)
{
    constexpr int kLeast = std::numeric_limits<std::int16_t>::min();
    return {static_cast<std::int16_t>(kLeast), static_cast<std::int16_t>(kLeast),
            static_cast<std::int16_t>(kLeast + inHeight),
            static_cast<std::int16_t>(kLeast + inWidth)};
}

struct Size
{
    int mWidth;
    int mHeight;
    QzResult mResult;
};

constexpr Size kSizes[] = {
    {1, 1, kQzSuccess},
    {16384, 8192, kQzSuccess},
    {16385, 8192, kQzParameterError},
    {16384, 8193, kQzParameterError},
    {0, 100, kQzParameterError},
    {100, 0, kQzParameterError},
    {65535, 65535, kQzParameterError},
    {1920, 1080, kQzSuccess},
};

TEST(RenderRect, OfTheSDKIsFilledInEveryCaseAndChecked)
{
    for (const Size& size : kSizes)
    {
        const qzRect in = SDKRect(size.mWidth, size.mHeight);
        ZOR::ParamRect<int> out{-1, -1, -1, -1};
        EXPECT_EQ(size.mResult, ConvertAndValidateForRenderSDKRectToZORRect(in, out))
            << size.mWidth << " x " << size.mHeight;
        EXPECT_EQ((ZOR::ParamRect<int>{in.left, in.top, in.right, in.bottom}), out);
    }
    ZOR::ParamRect<int> out;
    EXPECT_EQ(kQzParameterError,
              ConvertAndValidateForRenderSDKRectToZORRect(qzRect{4, 3, 2, 1}, out));
    EXPECT_EQ((ZOR::ParamRect<int>{3, 4, 1, 2}), out);
}

TEST(RenderRect, ForTheSDKIsWrittenOnSuccessAlone)
{
    for (const Size& size : kSizes)
    {
        qzRect out{9, 9, 9, 9};
        const ZOR::ParamRect<int> in{-100, -50, size.mWidth - 100, size.mHeight - 50};
        const QzResult result = ConvertAndValidateForRenderZORRectToSDKRect(in, out);
        EXPECT_EQ(size.mResult, result) << size.mWidth << " x " << size.mHeight;
        EXPECT_EQ(result == kQzSuccess ? in.left : 9, out.left);
        EXPECT_EQ(result == kQzSuccess ? in.top : 9, out.top);
        EXPECT_EQ(result == kQzSuccess ? in.right : 9, out.right);
        EXPECT_EQ(result == kQzSuccess ? in.bottom : 9, out.bottom);
    }
}

TEST(RenderRect, WithAnEdgeBeyondSixteenBitsIsRefusedRatherThanMovedElsewhere)
{
    qzRect out{9, 9, 9, 9};
    for (const ZOR::ParamRect<int>& rect :
         {ZOR::ParamRect<int>{32700, 0, 32768, 10}, ZOR::ParamRect<int>{-32769, 0, 0, 10},
          ZOR::ParamRect<int>{0, 32760, 10, 32768}, ZOR::ParamRect<int>{0, -32769, 10, -32700}})
    {
        EXPECT_EQ(kQzParameterError, ConvertAndValidateForRenderZORRectToSDKRect(rect, out));
        EXPECT_EQ(9, out.left);
    }
    EXPECT_EQ(kQzSuccess,
              ConvertAndValidateForRenderZORRectToSDKRect({32700, -32768, 32767, -32700}, out));
}

TEST(RenderRect, WhoseWidthDoesNotFitInto32BitsIsRefused)
{
    qzRect out;
    EXPECT_EQ(kQzParameterError,
              ConvertAndValidateForRenderZORRectToSDKRect(
                  {std::numeric_limits<int>::min(), 0, std::numeric_limits<int>::max(), 1}, out));
}

TEST(RenderQualityOfTheSDK, IsOneLowerThanOursAndEndsAtFour)
{
    for (QzRenderQuality quality = 0; quality <= 4; ++quality)
    {
        RenderQuality out = kRenderQuality_Any;
        EXPECT_EQ(kQzSuccess, ConvertAndValidateForRenderSDKToBEQuality(quality, out));
        EXPECT_EQ(static_cast<int>(quality) + 1, out);
    }
    for (const QzRenderQuality quality : {5u, 6u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    {
        RenderQuality out = kRenderQuality_Any;
        EXPECT_EQ(kQzParameterError, ConvertAndValidateForRenderSDKToBEQuality(quality, out));
        EXPECT_EQ(kRenderQuality_Any, out);
    }
}

TEST(TimeOfTheSDK, CountsTheSameTicksAndIsNeverNegative)
{
    TickTime out(77);
    EXPECT_EQ(kQzParameterError, ConvertAndValidateQzTimeToBETime(nullptr, out));
    for (const QzTime time : {QzTime{-1}, std::numeric_limits<QzTime>::min()})
        EXPECT_EQ(kQzParameterError, ConvertAndValidateQzTimeToBETime(&time, out));
    EXPECT_EQ(77, out.GetTicks());
    for (const QzTime time : {QzTime{0}, QzTime{1}, std::numeric_limits<QzTime>::max()})
    {
        EXPECT_EQ(kQzSuccess, ConvertAndValidateQzTimeToBETime(&time, out));
        EXPECT_EQ(time, out.GetTicks());
    }
}

} // namespace
