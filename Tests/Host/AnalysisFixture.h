#pragma once

#include <array>

#include "BuiltImporter.h"
#include "ImporterFixture.h"

namespace RKHostTests
{

/// A frame of one colour.
inline RKHost::Frame FlatFrame(std::uint32_t inWidth, std::uint32_t inHeight,
                               std::array<std::uint8_t, 3> inBlueGreenRed)
{
    const std::uint8_t pixel[4] = {inBlueGreenRed[0], inBlueGreenRed[1], inBlueGreenRed[2], 255};
    const std::size_t size = std::size_t{inWidth} * inHeight * 4;
    const auto memory = qelcore::utility::RecycledMemory::Create(size);
    for (std::size_t at = 0; at < size; ++at)
        static_cast<std::uint8_t*>(memory->Data())[at] = pixel[at % 4];
    RKHost::Frame frame;
    frame.mPixels = memory;
    frame.mInfo.mWidth = inWidth;
    frame.mInfo.mHeight = inHeight;
    frame.mInfo.mLayout = kRKImageLayout_BGRA8;
    frame.mInfo.mPlaneCount = 1;
    frame.mInfo.mPlanes[0] = {0, inWidth * 4, inHeight};
    frame.mInfo.mByteCount = size;
    return frame;
}

} // namespace RKHostTests
