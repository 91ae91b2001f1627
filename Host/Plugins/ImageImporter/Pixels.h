#pragma once

// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include "../ImageImporter.h"
#include "AvHandles.h"

namespace RKHost
{

/// Brings a decoded frame into one of the layouts that the host knows: the 8-bit YUV of a JPEG stays
/// as it is, since it takes less than half of what BGRA would; everything else becomes BGRA.
/// @throw ImporterError
FramePtr ToHostLayout(FramePtr inFrame);

/// @param inFrame  in a layout of the host.
RKImageInfo DescribeFrame(const AVFrame& inFrame, const char* inFormat);

/// @throw ImporterError unless the record is one that DescribeFrame could have made.
void RequireValidInfo(const RKImageInfo& inInfo);

void CopyFrame(const AVFrame& inFrame, void* outBlock, std::uint64_t inSize);

void ScaleBlock(const RKImageInfo& inInfo, const void* inBlock, std::uint8_t* outPixels,
                std::uint32_t inWidth, std::uint32_t inHeight, std::uint32_t inRowBytes);

} // namespace RKHost
