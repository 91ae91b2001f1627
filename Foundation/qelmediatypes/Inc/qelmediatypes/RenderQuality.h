#pragma once

#include <cstdint>

namespace qelmediatypes
{

/// How much work a picture is worth, from a quick look to the final one.
enum RenderQuality : std::int32_t
{
    kRenderQuality_Any = -1,   ///< whichever there is
    kRenderQuality_Unset = 0,  ///< not told
    kRenderQuality_Lowest = 1, ///< what a value out of range is taken for
    kRenderQuality_Low = 2,
    kRenderQuality_Medium = 3,
    kRenderQuality_High = 4,
    kRenderQuality_Highest = 5,
};

} // namespace qelmediatypes
