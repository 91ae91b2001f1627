#include "Audio/AudioChannelType.h"

#include <algorithm>

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

namespace
{

bool Holds51(const AudioChannelLayout& inLayout)
{
    return std::all_of(
        kAudioChannelLayout_51.begin(), kAudioChannelLayout_51.end(),
        [&](const AudioChannelDescription& inChannel)
        { return std::find(inLayout.begin(), inLayout.end(), inChannel) != inLayout.end(); });
}

} // namespace

AudioChannelLayout CreateAudioChannelLayout(AudioChannelType inType, std::size_t inChannelCount)
{
    switch (inType)
    {
    case kAudioChannelType_Discrete:
    case kAudioChannelType_Multichannel:
        return CreateMultichannelLayout(inChannelCount);
    case kAudioChannelType_Mono:
        return kAudioChannelLayout_Mono;
    case kAudioChannelType_Stereo:
        return kAudioChannelLayout_Stereo;
    case kAudioChannelType_51:
        return kAudioChannelLayout_51;
    case kAudioChannelType_4Discrete:
        return kAudioChannelLayout_4Discrete;
    case kAudioChannelType_8Discrete:
        return kAudioChannelLayout_8Discrete;
    case kAudioChannelType_None:
        break;
    }
    return kAudioChannelLayout_Empty;
}

AudioChannelType CreateAudioChannelType(const AudioChannelLayout& inLayout)
{
    switch (inLayout.size())
    {
    case 1:
        return inLayout[0].label <= kAudioChannelLabel_Discrete ? kAudioChannelType_Mono
                                                                : kAudioChannelType_None;
    case 2:
        return inLayout == kAudioChannelLayout_Stereo ? kAudioChannelType_Stereo
                                                      : kAudioChannelType_None;
    case 6:
        return Holds51(inLayout) ? kAudioChannelType_51 : kAudioChannelType_None;
    case 32:
        return kAudioChannelType_Multichannel;
    default:
        return kAudioChannelType_None;
    }
}

} // namespace RK
