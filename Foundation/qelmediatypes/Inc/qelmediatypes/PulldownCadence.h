#pragma once

#include <cstdint>

namespace qelmediatypes
{

/// How 24 frames of film lie in the 30 of video: 1 to 5 are the five phases in which whole, split and
/// repeated frames can begin (2:3), 6 to 10 those of the advanced form (2:3:3:2).
enum PulldownCadence : std::int32_t
{
    kPulldownCadence_None = 0,
    kPulldownCadence_First = 1,
    kPulldownCadence_Last = 10,
};

} // namespace qelmediatypes
