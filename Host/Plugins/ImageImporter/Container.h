#pragma once

// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include <cstddef>
#include <cstdint>

extern "C"
{
#include <libavcodec/codec_id.h>
}

namespace RKHost
{

/// What a file begins with decides its format; its name does not.
struct Container
{
    const char* mName;
    AVCodecID mCodec;
};

/// @throw ImporterError if it is none of the formats.
Container RecognizeContainer(const std::uint8_t* inData, std::size_t inSize);

/// Looks for the end that the format demands, where the decoder would rather fill in what is missing.
/// @throw ImporterError if the data stop before it.
void RequireCompleteContainer(const Container& inContainer, const std::uint8_t* inData,
                              std::size_t inSize);

} // namespace RKHost
