#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qelcore/Export.h"
#include "qelmediatypes/AudioChannelDescription.h"

namespace RK
{

// The usual layouts of audio channels, described at the makers in
// qelmediatypes/AudioChannelDescription.h. Set up when the library is loaded: other static objects may
// read these only in code that runs after that.
extern RK_API const std::vector<qelmediatypes::AudioChannelDescription> kAudioChannelLayout_Empty;
extern RK_API const std::vector<qelmediatypes::AudioChannelDescription> kAudioChannelLayout_Mono;
extern RK_API const std::vector<qelmediatypes::AudioChannelDescription> kAudioChannelLayout_Stereo;
extern RK_API const std::vector<qelmediatypes::AudioChannelDescription> kAudioChannelLayout_51;
extern RK_API const std::vector<qelmediatypes::AudioChannelDescription>
    kAudioChannelLayout_Legacy51;
/// 32 discrete channels.
extern RK_API const std::vector<qelmediatypes::AudioChannelDescription>
    kAudioChannelLayout_Multichannel;
extern RK_API const std::vector<qelmediatypes::AudioChannelDescription>
    kAudioChannelLayout_4Discrete;
extern RK_API const std::vector<qelmediatypes::AudioChannelDescription>
    kAudioChannelLayout_8Discrete;

/// The kinds of layout that an application offers to choose from. Stored in documents: never renumber.
enum AudioChannelType : std::int32_t
{
    kAudioChannelType_Discrete = -2, ///< as many discrete channels as are asked for
    kAudioChannelType_None = -1,
    kAudioChannelType_Mono = 0,
    kAudioChannelType_Stereo = 1,
    kAudioChannelType_51 = 2,
    kAudioChannelType_Multichannel = 3, ///< as many discrete channels as are asked for
    kAudioChannelType_4Discrete = 4,
    kAudioChannelType_8Discrete = 5,
};

/// The layout of a kind. Any thread.
/// @param inChannelCount  for kAudioChannelType_Discrete and _Multichannel; no other looks at it.
/// @return kAudioChannelLayout_Empty for a number that is none of the kinds. Raises std::bad_alloc or
///         std::length_error if the count is beyond all memory.
RK_API std::vector<qelmediatypes::AudioChannelDescription>
CreateAudioChannelLayout(AudioChannelType inType, std::size_t inChannelCount);

/// The kind of a layout, by its size: one channel without a loudspeaker is mono, exactly left then right
/// is stereo, six channels that hold those of 5.1 in any order are 5.1, and 32 channels, whatever
/// they are, are multichannel. Any thread.
/// @return kAudioChannelType_None for any other.
RK_API AudioChannelType
CreateAudioChannelType(const std::vector<qelmediatypes::AudioChannelDescription>& inLayout);

} // namespace RK
