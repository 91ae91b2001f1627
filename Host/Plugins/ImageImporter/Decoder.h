#pragma once

// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include <cstddef>
#include <cstdint>

#include "AvHandles.h"
#include "Container.h"

namespace RKHost
{

/// Decodes the first image of a whole file on the calling thread.
/// @return the frame as the decoder made it; never null.
/// @throw ImporterError
FramePtr DecodeWholeFile(const Container& inContainer, const std::uint8_t* inData,
                         std::size_t inSize);

} // namespace RKHost
