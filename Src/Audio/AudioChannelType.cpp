#include "Audio/AudioChannelType.h"

#include "LoadOrder.h"

RK_RECORD_SET_UP("Src/Audio/AudioChannelType");

namespace RK
{

using namespace qelmediatypes;

const AudioChannelLayout kAudioChannelLayout_Empty = CreateMultichannelLayout(0);
const AudioChannelLayout kAudioChannelLayout_Mono = CreateMonoChannelLayout();
const AudioChannelLayout kAudioChannelLayout_Stereo = CreateStereoChannelLayout();
const AudioChannelLayout kAudioChannelLayout_51 = Create51ChannelLayout();
const AudioChannelLayout kAudioChannelLayout_Legacy51 = CreateLegacy51ChannelLayout();
const AudioChannelLayout kAudioChannelLayout_Multichannel = CreateMultichannelLayout(32);
const AudioChannelLayout kAudioChannelLayout_4Discrete = CreateMultichannelLayout(4);
const AudioChannelLayout kAudioChannelLayout_8Discrete = CreateMultichannelLayout(8);

} // namespace RK
