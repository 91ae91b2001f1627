#pragma once

#include <cstdint>

namespace qelmediatypes
{

/// What the fourth channel of a picture means. Stored in documents: never renumber.
enum AlphaChannel : std::int32_t
{
    kAlphaChannel_Opaque = 0,        ///< there is none, or it is white all over
    kAlphaChannel_Straight = 1,      ///< the colours are as they would be without it
    kAlphaChannel_Premultiplied = 2, ///< the colours are mixed with a matte colour, told elsewhere
    kAlphaChannel_Unknown = 3,       ///< not told, or not to be looked at
};

} // namespace qelmediatypes
