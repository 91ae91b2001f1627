#pragma once

#include <cstdint>

namespace RK
{

/// How a sample lies in memory: 1 to 15 are the formats, in a numbering of the application's own.
/// Stored in documents: never renumber. What a plug-in calls each stands at
/// RK::BEToSDKAudioSampleType.
enum AudioSampleType : std::int32_t
{
    kAudioSampleType_Any = -2,
    kAudioSampleType_Invalid = -1,
    kAudioSampleType_First = 1,
    kAudioSampleType_Last = 15,
};

} // namespace RK
