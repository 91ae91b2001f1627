#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace qelmediatypes
{

/// How the pixels of a frame lie in memory: the low 32 bits are a name of four characters, the first of
/// them in the lowest byte, and the high 32 bits the properties below. Names that begin with '@' or
/// '_' are left to formats of others. Stored in documents: never change one.
using PixelFormatName = std::uint64_t;
using PixelFormatProperties = std::uint32_t;

enum : PixelFormatProperties
{
    // Bits 0 to 7: bits of a channel as a number, or 32 for floating point.
    kPixelFormatProperty_8u = 8,
    kPixelFormatProperty_10u = 10,
    kPixelFormatProperty_15u = 15, ///< 16-bit words in which 32768 is white
    kPixelFormatProperty_32f = 32,
    // Bits 8 and 9: what the channels are.
    kPixelFormatProperty_RGB = 1u << 8,
    kPixelFormatProperty_YUV = 2u << 8,
    // Bits 10 and 11, a number: pixels that share their chroma. 0 is none, 4:4:4.
    kPixelFormatProperty_422 = 1u << 10,
    kPixelFormatProperty_420 = 2u << 10,
    kPixelFormatProperty_411 = 3u << 10,
    // Bits 12 and 13: planes. 0 is packed pixels.
    kPixelFormatProperty_Planar = 1u << 12,
    kPixelFormatProperty_Biplanar = 2u << 12,
    // One bit each from here on.
    kPixelFormatProperty_Alpha = 1u << 16,
    kPixelFormatProperty_Premultiplied = 1u << 17,
    kPixelFormatProperty_Linear = 1u << 18,
    kPixelFormatProperty_709 = 1u << 19, ///< colours of high definition; else those of 601
    kPixelFormatProperty_FullRange = 1u << 20,
    kPixelFormatProperty_MPEG2Siting = 1u << 21, ///< chroma left of centre; else in the centre
    kPixelFormatProperty_FieldPictures = 1u << 22,
    kPixelFormatProperty_Compressed = 1u << 23,

    kPixelFormatProperties_Invalid = 0xFFFFFFFFu,
};

constexpr PixelFormatName MakePixelFormatName(const char (&inName)[5],
                                              PixelFormatProperties inProperties) noexcept
{
    PixelFormatName result = inProperties;
    for (int i = 3; i >= 0; --i)
        result = result << 8 | static_cast<unsigned char>(inName[i]);
    return result;
}

constexpr PixelFormatName kPixelFormat_BGRA_4444_8u = MakePixelFormatName(
    "BGRA", kPixelFormatProperty_8u | kPixelFormatProperty_RGB | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_ARGB_4444_8u = MakePixelFormatName(
    "ARGB", kPixelFormatProperty_8u | kPixelFormatProperty_RGB | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_VUYA_4444_8u = MakePixelFormatName(
    "VUYA", kPixelFormatProperty_8u | kPixelFormatProperty_YUV | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_VUYA_4444_8u_709 =
    MakePixelFormatName("VUY7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_Alpha | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_YUYV_422_8u = MakePixelFormatName(
    "YUYV", kPixelFormatProperty_8u | kPixelFormatProperty_YUV | kPixelFormatProperty_422);
constexpr PixelFormatName kPixelFormat_YUYV_422_8u_709 =
    MakePixelFormatName("YUY7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_422 | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_UYVY_422_8u = MakePixelFormatName(
    "UYVY", kPixelFormatProperty_8u | kPixelFormatProperty_YUV | kPixelFormatProperty_422);
constexpr PixelFormatName kPixelFormat_UYVY_422_8u_709 =
    MakePixelFormatName("UYV7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_422 | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601 =
    MakePixelFormatName("Y2P6", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_MPEG2Siting);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601 =
    MakePixelFormatName("Y2I6", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_MPEG2Siting |
                                    kPixelFormatProperty_FieldPictures);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601_FullRange =
    MakePixelFormatName("Y2PF", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_MPEG2Siting |
                                    kPixelFormatProperty_FullRange);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601_FullRange =
    MakePixelFormatName(
        "Y2IF", kPixelFormatProperty_8u | kPixelFormatProperty_YUV | kPixelFormatProperty_420 |
                    kPixelFormatProperty_Planar | kPixelFormatProperty_MPEG2Siting |
                    kPixelFormatProperty_FieldPictures | kPixelFormatProperty_FullRange);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709 =
    MakePixelFormatName("Y2P7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_MPEG2Siting | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709 =
    MakePixelFormatName("Y2I7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_MPEG2Siting |
                                    kPixelFormatProperty_FieldPictures | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601 =
    MakePixelFormatName("Y4P6", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601 =
    MakePixelFormatName("Y4I6", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_FieldPictures);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601_FullRange =
    MakePixelFormatName("Y4PF", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_FullRange);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601_FullRange =
    MakePixelFormatName("Y4IF", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_FieldPictures |
                                    kPixelFormatProperty_FullRange);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709 =
    MakePixelFormatName("Y4P7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709 =
    MakePixelFormatName("Y4I7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Planar |
                                    kPixelFormatProperty_FieldPictures | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601 =
    MakePixelFormatName("YBP6", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Biplanar);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601 =
    MakePixelFormatName("YBI6", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Biplanar |
                                    kPixelFormatProperty_FieldPictures);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601_FullRange =
    MakePixelFormatName("YBPF", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Biplanar |
                                    kPixelFormatProperty_FullRange);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601_FullRange =
    MakePixelFormatName("YBIF", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Biplanar |
                                    kPixelFormatProperty_FieldPictures |
                                    kPixelFormatProperty_FullRange);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_709 =
    MakePixelFormatName("YBP7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Biplanar |
                                    kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_709 =
    MakePixelFormatName("YBI7", kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_420 | kPixelFormatProperty_Biplanar |
                                    kPixelFormatProperty_FieldPictures | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_BGRA_4444_15u = MakePixelFormatName(
    "BGRF", kPixelFormatProperty_15u | kPixelFormatProperty_RGB | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_ARGB_4444_15u = MakePixelFormatName(
    "ARGF", kPixelFormatProperty_15u | kPixelFormatProperty_RGB | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_VUYA_4444_15u = MakePixelFormatName(
    "VUYF", kPixelFormatProperty_15u | kPixelFormatProperty_YUV | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_BGRA_4444_32f = MakePixelFormatName(
    "BGRf", kPixelFormatProperty_32f | kPixelFormatProperty_RGB | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_ARGB_4444_32f = MakePixelFormatName(
    "ARGf", kPixelFormatProperty_32f | kPixelFormatProperty_RGB | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_VUYA_4444_32f = MakePixelFormatName(
    "VUYf", kPixelFormatProperty_32f | kPixelFormatProperty_YUV | kPixelFormatProperty_Alpha);
constexpr PixelFormatName kPixelFormat_VUYA_4444_32f_709 =
    MakePixelFormatName("VU7f", kPixelFormatProperty_32f | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_Alpha | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_YUYV_422_32f = MakePixelFormatName(
    "YUYf", kPixelFormatProperty_32f | kPixelFormatProperty_YUV | kPixelFormatProperty_422);
constexpr PixelFormatName kPixelFormat_BGRP_4444_32f_Linear = MakePixelFormatName(
    "BGPl", kPixelFormatProperty_32f | kPixelFormatProperty_RGB | kPixelFormatProperty_Alpha |
                kPixelFormatProperty_Premultiplied | kPixelFormatProperty_Linear);
constexpr PixelFormatName kPixelFormat_NTSCDV25 =
    MakePixelFormatName("dvN2", kPixelFormatProperty_Compressed | kPixelFormatProperty_8u |
                                    kPixelFormatProperty_YUV | kPixelFormatProperty_411);
constexpr PixelFormatName kPixelFormat_PALDV25 =
    MakePixelFormatName("dvP2", kPixelFormatProperty_Compressed | kPixelFormatProperty_8u |
                                    kPixelFormatProperty_YUV | kPixelFormatProperty_420);
constexpr PixelFormatName kPixelFormat_NTSCDV50 =
    MakePixelFormatName("dvN5", kPixelFormatProperty_Compressed | kPixelFormatProperty_8u |
                                    kPixelFormatProperty_YUV | kPixelFormatProperty_422);
constexpr PixelFormatName kPixelFormat_PALDV50 =
    MakePixelFormatName("dvP5", kPixelFormatProperty_Compressed | kPixelFormatProperty_8u |
                                    kPixelFormatProperty_YUV | kPixelFormatProperty_422);
constexpr PixelFormatName kPixelFormat_NTSC_DV100_720p = MakePixelFormatName(
    "dvNp", kPixelFormatProperty_Compressed | kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                kPixelFormatProperty_422 | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_PAL_DV100_720p = MakePixelFormatName(
    "dvPp", kPixelFormatProperty_Compressed | kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                kPixelFormatProperty_422 | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_NTSC_DV100_1080i = MakePixelFormatName(
    "dvNi", kPixelFormatProperty_Compressed | kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                kPixelFormatProperty_422 | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_PAL_DV100_1080i = MakePixelFormatName(
    "dvPi", kPixelFormatProperty_Compressed | kPixelFormatProperty_8u | kPixelFormatProperty_YUV |
                kPixelFormatProperty_422 | kPixelFormatProperty_709);
constexpr PixelFormatName kPixelFormat_V210_422_10u = MakePixelFormatName(
    "v210", kPixelFormatProperty_10u | kPixelFormatProperty_YUV | kPixelFormatProperty_422);
constexpr PixelFormatName kPixelFormat_V210_422_10u_709 =
    MakePixelFormatName("v217", kPixelFormatProperty_10u | kPixelFormatProperty_YUV |
                                    kPixelFormatProperty_422 | kPixelFormatProperty_709);

constexpr PixelFormatName kPixelFormat_Invalid =
    MakePixelFormatName("badf", kPixelFormatProperties_Invalid);
/// Whichever there is.
constexpr PixelFormatName kPixelFormat_Any = 0;

/// The properties of a format by its name alone. Never allocates; any thread.
/// @param inName  the low 32 bits of a PixelFormatName.
/// @return those of the format above that has this name, which for kPixelFormat_Any are none;
///         kPixelFormatProperties_Invalid for any other, formats of others included.
RK_API PixelFormatProperties LookupPropertiesForName(std::uint32_t inName) noexcept;

} // namespace qelmediatypes
