#include "qelmediatypes/PixelFormat.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace qelmediatypes
{

namespace
{

constexpr PixelFormatName kFormats[] = {
    kPixelFormat_BGRA_4444_8u,
    kPixelFormat_ARGB_4444_8u,
    kPixelFormat_VUYA_4444_8u,
    kPixelFormat_VUYA_4444_8u_709,
    kPixelFormat_YUYV_422_8u,
    kPixelFormat_YUYV_422_8u_709,
    kPixelFormat_UYVY_422_8u,
    kPixelFormat_UYVY_422_8u_709,
    kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601,
    kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601,
    kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601_FullRange,
    kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601_FullRange,
    kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709,
    kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709,
    kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601,
    kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601,
    kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601_FullRange,
    kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601_FullRange,
    kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709,
    kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709,
    kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601,
    kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601,
    kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601_FullRange,
    kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601_FullRange,
    kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_709,
    kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_709,
    kPixelFormat_BGRA_4444_15u,
    kPixelFormat_ARGB_4444_15u,
    kPixelFormat_VUYA_4444_15u,
    kPixelFormat_BGRA_4444_32f,
    kPixelFormat_ARGB_4444_32f,
    kPixelFormat_VUYA_4444_32f,
    kPixelFormat_VUYA_4444_32f_709,
    kPixelFormat_YUYV_422_32f,
    kPixelFormat_BGRP_4444_32f_Linear,
    kPixelFormat_NTSCDV25,
    kPixelFormat_PALDV25,
    kPixelFormat_NTSCDV50,
    kPixelFormat_PALDV50,
    kPixelFormat_NTSC_DV100_720p,
    kPixelFormat_PAL_DV100_720p,
    kPixelFormat_NTSC_DV100_1080i,
    kPixelFormat_PAL_DV100_1080i,
    kPixelFormat_V210_422_10u,
    kPixelFormat_V210_422_10u_709,
    kPixelFormat_Any,
};

constexpr std::uint32_t NameOf(PixelFormatName inFormat)
{
    return static_cast<std::uint32_t>(inFormat);
}

// Sorted when it is compiled, so that nothing hangs on the order of set-up.
constexpr auto kByName = []
{
    std::array<PixelFormatName, std::size(kFormats)> formats = std::to_array(kFormats);
    std::ranges::sort(formats, {}, NameOf);
    return formats;
}();

static_assert(std::ranges::adjacent_find(kByName, {}, NameOf) == kByName.end(),
              "a name stands for one format");

} // namespace

PixelFormatProperties LookupPropertiesForName(std::uint32_t inName) noexcept
{
    const auto found = std::ranges::lower_bound(kByName, inName, {}, NameOf);
    if (found == kByName.end() || NameOf(*found) != inName)
        return kPixelFormatProperties_Invalid;
    return static_cast<PixelFormatProperties>(*found >> 32);
}

} // namespace qelmediatypes
