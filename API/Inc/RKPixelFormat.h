#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace RK
{

/// How the pixels of a frame lie in memory: the low 32 bits are the format's name of four characters,
/// the high 32 bits its properties.
using PixelFormat = std::uint64_t;

// Set up when the library is loaded: other static objects may read these only in code that runs after
// that. The names with 16u are those of the 15-bit formats, in which 32768 is white.
extern RK_API const PixelFormat kPixelFormat_BGRA_4444_8u;
extern RK_API const PixelFormat kPixelFormat_ARGB_4444_8u;
extern RK_API const PixelFormat kPixelFormat_VUYA_4444_8u;
extern RK_API const PixelFormat kPixelFormat_VUYA_4444_8u_709;
extern RK_API const PixelFormat kPixelFormat_YUYV_422_8u_601;
extern RK_API const PixelFormat kPixelFormat_YUYV_422_8u_709;
extern RK_API const PixelFormat kPixelFormat_UYVY_422_8u_601;
extern RK_API const PixelFormat kPixelFormat_UYVY_422_8u_709;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601_FullRange;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601_FullRange;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601_FullRange;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601_FullRange;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_601_FullRange;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_601_FullRange;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_BIPLANAR_8u_709;
extern RK_API const PixelFormat kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_BIPLANAR_8u_709;
extern RK_API const PixelFormat kPixelFormat_BGRA_4444_16u;
extern RK_API const PixelFormat kPixelFormat_ARGB_4444_16u;
extern RK_API const PixelFormat kPixelFormat_VUYA_4444_16u;
extern RK_API const PixelFormat kPixelFormat_BGRA_4444_32f;
extern RK_API const PixelFormat kPixelFormat_ARGB_4444_32f;
extern RK_API const PixelFormat kPixelFormat_VUYA_4444_32f;
extern RK_API const PixelFormat kPixelFormat_VUYA_4444_32f_709;
extern RK_API const PixelFormat kPixelFormat_YUYV_422_32f;
extern RK_API const PixelFormat kPixelFormat_BGRP_4444_32f_Linear;
extern RK_API const PixelFormat kPixelFormat_NTSCDV25;
extern RK_API const PixelFormat kPixelFormat_PALDV25;
extern RK_API const PixelFormat kPixelFormat_NTSCDV50;
extern RK_API const PixelFormat kPixelFormat_PALDV50;
extern RK_API const PixelFormat kPixelFormat_NTSCDV100_720p;
extern RK_API const PixelFormat kPixelFormat_PALDV100_720p;
extern RK_API const PixelFormat kPixelFormat_NTSCDV100_1080i;
extern RK_API const PixelFormat kPixelFormat_PALDV100_1080i;
extern RK_API const PixelFormat kPixelFormat_V210_422_10u_601;
extern RK_API const PixelFormat kPixelFormat_V210_422_10u_709;
extern RK_API const PixelFormat kPixelFormat_Invalid;
extern RK_API const PixelFormat kPixelFormat_Any;

} // namespace RK
