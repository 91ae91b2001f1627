#pragma once

#include <cstdint>

namespace qelmediatypes
{

/// How a time is written for people to read. Stored in documents: never renumber. What a plug-in is
/// told for each stands at RK::TimeDisplayToSDKTimeFormat.
enum TimeDisplay : std::int32_t
{
    kTimeDisplay_First = 100,
    kTimeDisplay_Last = 113,
};

} // namespace qelmediatypes
