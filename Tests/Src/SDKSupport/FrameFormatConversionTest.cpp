#include "RKSDKConversion.h"

#include <gtest/gtest.h>

#include "FarNumbers.h"

namespace
{

using namespace RK;
using namespace qelmediatypes;
using RKTests::FarNumbers;

FrameFormat AFormat()
{
    FrameFormat format;
    format.mPixelFormat = RK::kPixelFormat_BGRA_4444_8u;
    format.mFrameRect = {10, 20, 730, 500};
    format.mPixelAspectRatio = PixelAspectRatio(10, 11);
    format.mFieldType = kFieldType_Lower;
    format.mRenderQuality = kRenderQuality_High;
    return format;
}

TEST(ClipFrameDescriptor, TellsTheFormatInSDKNumbers)
{
    ClipFrameDescriptor descriptor;
    BEFrameFormatToSDKClipFrameDescriptor(AFormat(), descriptor);
    EXPECT_EQ(static_cast<QzPixelFormat>(RK::kPixelFormat_BGRA_4444_8u), descriptor.pixelFormat);
    EXPECT_EQ(720, descriptor.width);
    EXPECT_EQ(480, descriptor.height);
    EXPECT_EQ(10, descriptor.pixelAspectNumerator);
    EXPECT_EQ(11, descriptor.pixelAspectDenominator);
    EXPECT_EQ(2, descriptor.fieldType);
    EXPECT_EQ(3, descriptor.renderQuality);
}

TEST(ClipFrameDescriptor, ComesBackAtTheOrigin)
{
    ClipFrameDescriptor descriptor;
    BEFrameFormatToSDKClipFrameDescriptor(AFormat(), descriptor);
    FrameFormat format;
    SDKClipFrameDescriptorToBEFrameFormat(descriptor, format);

    EXPECT_EQ(AFormat().mPixelFormat, format.mPixelFormat);
    EXPECT_EQ((ZOR::ParamRect<std::int32_t>{0, 0, 720, 480}), format.mFrameRect);
    EXPECT_EQ(10, format.mPixelAspectRatio.GetNumerator());
    EXPECT_EQ(11, format.mPixelAspectRatio.GetDenominator());
    EXPECT_EQ(kFieldType_Lower, format.mFieldType);
    EXPECT_EQ(kRenderQuality_High, format.mRenderQuality);
}

TEST(ClipFrameDescriptor, SetsAnAspectOnlyIfBothNumbersAreAboveZero)
{
    ClipFrameDescriptor descriptor;
    BEFrameFormatToSDKClipFrameDescriptor(AFormat(), descriptor);
    const std::int32_t pairs[][2] = {{0, 1}, {1, 0}, {-4, 3}, {4, -3}, {0, 0}, {-1, -1}};
    for (const auto& pair : pairs)
    {
        FrameFormat format;
        format.mPixelAspectRatio = PixelAspectRatio(40, 33);
        descriptor.pixelAspectNumerator = pair[0];
        descriptor.pixelAspectDenominator = pair[1];
        SDKClipFrameDescriptorToBEFrameFormat(descriptor, format);
        EXPECT_EQ(40, format.mPixelAspectRatio.GetNumerator()) << pair[0] << ":" << pair[1];
        EXPECT_EQ(33, format.mPixelAspectRatio.GetDenominator());
    }
}

TEST(ClipFrameDescriptor, TranslatesEveryQualityBothWays)
{
    constexpr std::int32_t kToSDK[] = {-1, 0, 0, 1, 2, 3, 4};
    constexpr std::int32_t kToBE[] = {-1, 1, 2, 3, 4, 5};
    for (const std::int32_t number : FarNumbers())
    {
        FrameFormat format = AFormat();
        format.mRenderQuality = static_cast<RenderQuality>(number);
        ClipFrameDescriptor descriptor;
        BEFrameFormatToSDKClipFrameDescriptor(format, descriptor);
        EXPECT_EQ(number >= -1 && number <= 5 ? kToSDK[number + 1] : 0, descriptor.renderQuality)
            << number;

        descriptor.renderQuality = number;
        SDKClipFrameDescriptorToBEFrameFormat(descriptor, format);
        EXPECT_EQ(number >= -1 && number <= 4 ? kToBE[number + 1] : 1, format.mRenderQuality)
            << number;
    }
}

TEST(ClipFrameDescriptor, TakesAnyFieldTypeAndPixelFormat)
{
    FrameFormat format = AFormat();
    ClipFrameDescriptor descriptor;
    for (const std::int32_t number : FarNumbers())
    {
        format.mFieldType = static_cast<FieldType>(number);
        BEFrameFormatToSDKClipFrameDescriptor(format, descriptor);
        EXPECT_EQ(number >= -1 && number <= 4 ? number : 3, descriptor.fieldType) << number;

        descriptor.fieldType = number;
        descriptor.pixelFormat = static_cast<QzPixelFormat>(number);
        SDKClipFrameDescriptorToBEFrameFormat(descriptor, format);
        EXPECT_EQ(number >= -1 && number <= 4 ? number : 3, format.mFieldType) << number;
        EXPECT_EQ(SDKToBEPixelFormat(static_cast<QzPixelFormat>(number)), format.mPixelFormat);
    }
}

TEST(ClipFrameDescriptor, EdgesAtTheEndsOfTheNumbersDoNotOverflow)
{
    FrameFormat format = AFormat();
    format.mFrameRect = {std::numeric_limits<std::int32_t>::min(), -1,
                         std::numeric_limits<std::int32_t>::max(),
                         std::numeric_limits<std::int32_t>::max()};
    ClipFrameDescriptor descriptor;
    BEFrameFormatToSDKClipFrameDescriptor(format, descriptor);
    EXPECT_EQ(-1, descriptor.width);
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), descriptor.height);
}

} // namespace
