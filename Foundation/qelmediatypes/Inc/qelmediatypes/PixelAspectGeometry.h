#pragma once

#include <cstdint>

#include "qelcore/Export.h"
#include "qelmediatypes/PixelAspectRatio.h"

// Pictures whose pixels are not square, seen as pictures whose pixels are, and the way back.
//
// Only widths change: a line of w pixels of the aspect n:d is w * n / d square pixels wide, while a
// line stays a line.
//
// Units    Pixels. The fraction is exact until it is rounded to the nearest pixel, a half away from
//          zero; the rounding of a left edge and that of a width know nothing of each other, so that a
//          picture's size does not hang on where it lies.
// Threads  Pure functions.
// Errors   Nothing raises. A result beyond 32 bits saturates. A ratio that is none (a number in it is
//          0 or below) changes nothing.
namespace qelmediatypes
{

RK_API void AdjustPixelAspectRectToSquarePixelRect(std::int32_t& ioLeft, std::int32_t& ioTop,
                                                   std::int32_t& ioWidth, std::int32_t& ioHeight,
                                                   const PixelAspectRatio& inRatio) noexcept;
RK_API void AdjustSquarePixelRectToPixelAspectRect(std::int32_t& ioLeft, std::int32_t& ioTop,
                                                   std::int32_t& ioWidth, std::int32_t& ioHeight,
                                                   const PixelAspectRatio& inRatio) noexcept;
RK_API void
AdjustPixelAspectDimensionToSquarePixelDimension(std::int32_t& ioWidth, std::int32_t& ioHeight,
                                                 const PixelAspectRatio& inRatio) noexcept;
RK_API void
AdjustSquarePixelDimensionToPixelAspectDimension(std::int32_t& ioWidth, std::int32_t& ioHeight,
                                                 const PixelAspectRatio& inRatio) noexcept;

/// The aspect that the pixels have once a picture was scaled, so that what it shows keeps its shape:
/// ratio * (fromWidth / toWidth) / (fromHeight / toHeight). In lowest terms; where these do not fit
/// into 32 bits, the nearest ratio that does.
/// @return inRatio as it is if one of the four lengths is 0 or below.
RK_API PixelAspectRatio AdjustPixelAspectRatioForNonUniformDownsample(
    const PixelAspectRatio& inRatio, std::int32_t inFromWidth, std::int32_t inFromHeight,
    std::int32_t inToWidth, std::int32_t inToHeight) noexcept;

/// Whether a ratio is, as a number, one of the five of older documents, which were derived from the full
/// line (kPixelAspectRatio_..._Incorrect and kPixelAspectRatio_DVPAL_TooPrecise).
RK_API bool IsLegacyPixelAspectRatio(const PixelAspectRatio& inRatio) noexcept;
/// Puts the right ratio in place of one of those five, and leaves any other as it is.
RK_API void CorrectLegacyPixelAspectRatio(PixelAspectRatio& ioRatio) noexcept;

} // namespace qelmediatypes
