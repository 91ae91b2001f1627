#pragma once

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

} // namespace RK
