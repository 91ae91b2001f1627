#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "Audio/AudioChannelType.h"
#include "RKMediaType.h"
#include "RKPixelAspectRatio.h"
#include "RKPixelFormat.h"
#include "RKStreamLabel.h"
#include "qelmediatypes/PixelFormat.h"

namespace
{

using namespace qelmediatypes;

TEST(MediaType, AreTheTwoKnownIdentities)
{
    EXPECT_EQ("228CDA18-3625-4D2D-951E-348879E4ED93", RK::kMediaType_Video.ToString());
    EXPECT_EQ("80B8E3D5-6DCA-4195-AEFB-CB5F407AB009", RK::kMediaType_Audio.ToString());
}

TEST(StreamLabel, AreTheInternedNamesOfTheEyes)
{
    using qelcore::utility::ImmutableString;
    EXPECT_EQ(ImmutableString::CreateDynamic(u"RVNS.Stereoscopic.Left", 22),
              RK::kStreamLabel_Stereoscopic_Left);
    EXPECT_EQ(ImmutableString::CreateDynamic(u"RVNS.Stereoscopic.Right", 23),
              RK::kStreamLabel_Stereoscopic_Right);
}

struct Format
{
    const char* name;
    RK::PixelFormat format;
    PixelFormatName source;
};

#define SAME(inName) {#inName, RK::kPixelFormat_##inName, qelmediatypes::kPixelFormat_##inName}
#define FROM(inName, inSource)                                                                     \
    {#inName, RK::kPixelFormat_##inName, qelmediatypes::kPixelFormat_##inSource}

const Format kSameNames[] = {
    SAME(BGRA_4444_8u),
    SAME(ARGB_4444_8u),
    SAME(VUYA_4444_8u),
    SAME(VUYA_4444_8u_709),
    SAME(YUYV_422_8u_709),
    SAME(UYVY_422_8u_709),
    SAME(YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601),
    SAME(YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601),
    SAME(YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601_FullRange),
    SAME(YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601_FullRange),
    SAME(YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709),
    SAME(YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709),
    SAME(YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601),
    SAME(YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601),
    SAME(YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601_FullRange),
    SAME(YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601_FullRange),
    SAME(YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709),
    SAME(YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709),
    SAME(YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601),
    SAME(YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601),
    SAME(YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601_FullRange),
    SAME(YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601_FullRange),
    SAME(YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_709),
    SAME(YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_709),
    SAME(BGRA_4444_32f),
    SAME(ARGB_4444_32f),
    SAME(VUYA_4444_32f),
    SAME(VUYA_4444_32f_709),
    SAME(YUYV_422_32f),
    SAME(BGRP_4444_32f_Linear),
    SAME(NTSCDV25),
    SAME(PALDV25),
    SAME(NTSCDV50),
    SAME(PALDV50),
    SAME(V210_422_10u_709),
    SAME(Invalid),
    SAME(Any),
};

// On purpose under another name: those with 16u are the 15-bit formats.
const Format kOtherNames[] = {
    FROM(YUYV_422_8u_601, YUYV_422_8u),    FROM(UYVY_422_8u_601, UYVY_422_8u),
    FROM(BGRA_4444_16u, BGRA_4444_15u),    FROM(ARGB_4444_16u, ARGB_4444_15u),
    FROM(VUYA_4444_16u, VUYA_4444_15u),    FROM(NTSCDV100_720p, NTSC_DV100_720p),
    FROM(PALDV100_720p, PAL_DV100_720p),   FROM(NTSCDV100_1080i, NTSC_DV100_1080i),
    FROM(PALDV100_1080i, PAL_DV100_1080i), FROM(V210_422_10u_601, V210_422_10u),
};

TEST(PixelFormat, EachIsTheMediaTypesFormatOfItsName)
{
    EXPECT_EQ(37u, std::size(kSameNames));
    for (const Format& format : kSameNames)
        EXPECT_EQ(format.source, format.format) << format.name;
}

TEST(PixelFormat, TenTakeASourceOfAnotherName)
{
    EXPECT_EQ(10u, std::size(kOtherNames));
    for (const Format& format : kOtherNames)
        EXPECT_EQ(format.source, format.format) << format.name;
    EXPECT_EQ(qelmediatypes::kPixelFormat_BGRA_4444_15u, RK::kPixelFormat_BGRA_4444_16u);
}

TEST(PixelFormat, NoTwoAreTheSameEvenByTheirFourCharactersAlone)
{
    std::set<PixelFormatName> formats;
    std::set<std::uint32_t> characters;
    for (const auto& list : {std::vector<Format>(std::begin(kSameNames), std::end(kSameNames)),
                             std::vector<Format>(std::begin(kOtherNames), std::end(kOtherNames))})
    {
        for (const Format& format : list)
        {
            EXPECT_TRUE(formats.insert(format.format).second) << format.name;
            EXPECT_TRUE(characters.insert(static_cast<std::uint32_t>(format.format)).second)
                << format.name;
        }
    }
}

TEST(PixelFormat, NoneHasANameThatIsLeftToOthers)
{
    for (const Format& format : kSameNames)
    {
        EXPECT_NE('@', static_cast<char>(format.format)) << format.name;
        EXPECT_NE('_', static_cast<char>(format.format)) << format.name;
    }
    EXPECT_EQ(0x66646162u, static_cast<std::uint32_t>(RK::kPixelFormat_Invalid)) << "badf";
    EXPECT_EQ(0u, RK::kPixelFormat_Any);
}

struct Ratio
{
    const char* name;
    PixelAspectRatio ratio;
    PixelAspectRatio source;
};

#define RATIO(inName)                                                                              \
    {#inName, RK::kPixelAspectRatio_##inName, qelmediatypes::kPixelAspectRatio_##inName}

const Ratio kRatios[] = {
    RATIO(Unknown),
    RATIO(Any),
    RATIO(Square),
    RATIO(DVNTSC_Incorrect),
    RATIO(DVNTSCWide_Incorrect),
    RATIO(DVPAL_Incorrect),
    RATIO(DVPAL_TooPrecise),
    RATIO(DVPALWide_Incorrect),
    RATIO(DVNTSC),
    RATIO(DVNTSCWide),
    RATIO(DVPAL),
    RATIO(DVPALWide),
    RATIO(Anamorphic),
    RATIO(HDAnamorphic1080),
    RATIO(DVCProHD),
};

TEST(PixelAspectRatio, EachIsACopyOfTheMediaTypesRatioOfItsName)
{
    EXPECT_EQ(15u, std::size(kRatios));
    for (const Ratio& ratio : kRatios)
    {
        EXPECT_EQ(ratio.source.GetNumerator(), ratio.ratio.GetNumerator()) << ratio.name;
        EXPECT_EQ(ratio.source.GetDenominator(), ratio.ratio.GetDenominator()) << ratio.name;
    }
}

TEST(PixelAspectRatio, NoTwoAreEqual)
{
    for (const Ratio& a : kRatios)
    {
        for (const Ratio& b : kRatios)
            EXPECT_EQ(&a == &b, a.ratio == b.ratio) << a.name << " and " << b.name;
    }
}

TEST(AudioChannelLayout, EachIsWhatItsMakerMakes)
{
    EXPECT_TRUE(RK::kAudioChannelLayout_Empty.empty());
    EXPECT_EQ(CreateMonoChannelLayout(), RK::kAudioChannelLayout_Mono);
    EXPECT_EQ(CreateStereoChannelLayout(), RK::kAudioChannelLayout_Stereo);
    EXPECT_EQ(Create51ChannelLayout(), RK::kAudioChannelLayout_51);
    EXPECT_EQ(CreateLegacy51ChannelLayout(), RK::kAudioChannelLayout_Legacy51);
    EXPECT_EQ(CreateMultichannelLayout(32), RK::kAudioChannelLayout_Multichannel);
    EXPECT_EQ(CreateMultichannelLayout(4), RK::kAudioChannelLayout_4Discrete);
    EXPECT_EQ(CreateMultichannelLayout(8), RK::kAudioChannelLayout_8Discrete);
}

} // namespace
