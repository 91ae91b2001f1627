#include "RKSDKConversion.h"

#include <gtest/gtest.h>

#include "RKPixelFormat.h"
#include "qelmediatypes/PixelFormat.h"

namespace
{

using namespace RK;
namespace media = qelmediatypes;

QzPixelFormat Name(const char (&inName)[5])
{
    return static_cast<QzPixelFormat>(media::MakePixelFormatName(inName, 0));
}

const std::vector<PixelFormat>& KnownFormats()
{
    static const std::vector<PixelFormat> sFormats = {
        RK::kPixelFormat_BGRA_4444_8u,
        RK::kPixelFormat_ARGB_4444_8u,
        RK::kPixelFormat_VUYA_4444_8u,
        RK::kPixelFormat_VUYA_4444_8u_709,
        RK::kPixelFormat_YUYV_422_8u_601,
        RK::kPixelFormat_YUYV_422_8u_709,
        RK::kPixelFormat_UYVY_422_8u_601,
        RK::kPixelFormat_UYVY_422_8u_709,
        RK::kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601,
        RK::kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601,
        RK::kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601_FullRange,
        RK::kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601_FullRange,
        RK::kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709,
        RK::kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709,
        RK::kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601,
        RK::kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601,
        RK::kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601_FullRange,
        RK::kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601_FullRange,
        RK::kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709,
        RK::kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709,
        RK::kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601,
        RK::kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601,
        RK::kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601_FullRange,
        RK::kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601_FullRange,
        RK::kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_709,
        RK::kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_709,
        RK::kPixelFormat_BGRA_4444_16u,
        RK::kPixelFormat_ARGB_4444_16u,
        RK::kPixelFormat_VUYA_4444_16u,
        RK::kPixelFormat_BGRA_4444_32f,
        RK::kPixelFormat_ARGB_4444_32f,
        RK::kPixelFormat_VUYA_4444_32f,
        RK::kPixelFormat_VUYA_4444_32f_709,
        RK::kPixelFormat_YUYV_422_32f,
        RK::kPixelFormat_BGRP_4444_32f_Linear,
        RK::kPixelFormat_NTSCDV25,
        RK::kPixelFormat_PALDV25,
        RK::kPixelFormat_NTSCDV50,
        RK::kPixelFormat_PALDV50,
        RK::kPixelFormat_NTSCDV100_720p,
        RK::kPixelFormat_PALDV100_720p,
        RK::kPixelFormat_NTSCDV100_1080i,
        RK::kPixelFormat_PALDV100_1080i,
        RK::kPixelFormat_V210_422_10u_601,
        RK::kPixelFormat_V210_422_10u_709,
    };
    return sFormats;
}

TEST(SDKPixelFormat, OfEveryKnownFormatIsItsNameAndComesBackWithItsProperties)
{
    for (const PixelFormat format : KnownFormats())
    {
        const QzPixelFormat name = BEToSDKPixelFormat(format);
        EXPECT_EQ(format & 0xFFFFFFFF, name);
        EXPECT_TRUE(IsValidSDKPixelFormat(name)) << std::hex << name;
        EXPECT_FALSE(IsCustomSDKPixelFormat(name)) << std::hex << name;
        EXPECT_EQ(format >> 32, media::LookupPropertiesForName(name)) << std::hex << name;
        EXPECT_EQ(format, SDKToBEPixelFormat(name)) << std::hex << name;
    }
}

TEST(SDKPixelFormat, IsCustomByItsFirstCharacter)
{
    for (std::uint32_t first = 0; first <= 0xFF; ++first)
    {
        const QzPixelFormat name = 0x58595A00u | first;
        const bool custom = first == 64 || first == 95;
        EXPECT_EQ(custom, IsCustomSDKPixelFormat(name)) << first;
        EXPECT_EQ(custom, IsValidSDKPixelFormat(name)) << first;
    }
}

TEST(SDKPixelFormat, CustomPassesWithItsNameAndUnknownProperties)
{
    const QzPixelFormat name = Name("@abc");
    EXPECT_EQ(PixelFormat{media::kPixelFormatProperties_Invalid} << 32 | name,
              SDKToBEPixelFormat(name));
    EXPECT_EQ(name, BEToSDKPixelFormat(SDKToBEPixelFormat(name)));
}

TEST(SDKPixelFormat, UnknownBecomesTheInvalidOne)
{
    for (const QzPixelFormat name :
         {Name("nope"), Name("BGRa"), QzPixelFormat{1}, ~QzPixelFormat{0}})
    {
        EXPECT_FALSE(IsValidSDKPixelFormat(name));
        EXPECT_EQ(RK::kPixelFormat_Invalid, SDKToBEPixelFormat(name)) << std::hex << name;
    }
}

TEST(SDKPixelFormat, ZeroPassesAsAnyAndTheInvalidOneAsItself)
{
    EXPECT_EQ(RK::kPixelFormat_Any, SDKToBEPixelFormat(0));
    EXPECT_NE(RK::kPixelFormat_Invalid, SDKToBEPixelFormat(0));
    EXPECT_EQ(0u, SDKToBEPixelFormat(0) & 0xFFFFFFFF);
    EXPECT_FALSE(IsValidSDKPixelFormat(kQzPixelFormatInvalid));
    EXPECT_EQ(kQzPixelFormatInvalid, BEToSDKPixelFormat(SDKToBEPixelFormat(kQzPixelFormatInvalid)));
}

TEST(SDKPixelFormat, AsksForNoPropertyThatContradictsAnother)
{
    for (const PixelFormat format : KnownFormats())
    {
        const auto properties = static_cast<media::PixelFormatProperties>(format >> 32);
        const bool rgb = (properties & media::kPixelFormatProperty_RGB) != 0;
        const bool yuv = (properties & media::kPixelFormatProperty_YUV) != 0;
        EXPECT_NE(rgb, yuv) << std::hex << format;
        EXPECT_FALSE(rgb && (properties & media::kPixelFormatProperty_411) != 0) << "no chroma";
        EXPECT_FALSE((properties & media::kPixelFormatProperty_Premultiplied) != 0 &&
                     (properties & media::kPixelFormatProperty_Alpha) == 0);
        EXPECT_NE(0u, properties & 0xFF) << "a depth";
    }
}

} // namespace
