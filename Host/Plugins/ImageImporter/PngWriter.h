#pragma once

// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include <cstdint>

#include "AvHandles.h"

namespace RKHost
{

/// Writes BGRA pixels as the bytes of a PNG file, without their alpha.
/// @throw ImporterError
PacketPtr EncodePng(const std::uint8_t* inPixels, std::uint32_t inWidth, std::uint32_t inHeight,
                    std::uint32_t inRowBytes);

} // namespace RKHost
