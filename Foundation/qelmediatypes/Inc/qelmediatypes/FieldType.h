#pragma once

#include <cstdint>

namespace qelmediatypes
{

/// Which field of a frame; of a whole frame, which of its two comes first.
enum FieldType : std::int32_t
{
    kFieldType_Any = -1,        ///< whichever there is
    kFieldType_Progressive = 0, ///< no fields: the frame is one picture
    kFieldType_Upper = 1,       ///< the lines 0, 2, 4 ...
    kFieldType_Lower = 2,       ///< the lines 1, 3, 5 ...
    kFieldType_Unknown = 3,     ///< not told; what a value out of range is taken for
    kFieldType_Mixed = 4,       ///< differs from frame to frame
};

} // namespace qelmediatypes
