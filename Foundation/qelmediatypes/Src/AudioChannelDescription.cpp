#include "qelmediatypes/AudioChannelDescription.h"

namespace qelmediatypes
{

AudioChannelLayout CreateMonoChannelLayout()
{
    return {{kAudioChannelLabel_Discrete}};
}

AudioChannelLayout CreateStereoChannelLayout()
{
    return {{kAudioChannelLabel_Left}, {kAudioChannelLabel_Right}};
}

AudioChannelLayout Create51ChannelLayout()
{
    return {{kAudioChannelLabel_Left},         {kAudioChannelLabel_Right},
            {kAudioChannelLabel_Center},       {kAudioChannelLabel_LowFrequency},
            {kAudioChannelLabel_LeftSurround}, {kAudioChannelLabel_RightSurround}};
}

AudioChannelLayout CreateLegacy51ChannelLayout()
{
    return {{kAudioChannelLabel_Left},         {kAudioChannelLabel_Right},
            {kAudioChannelLabel_LeftSurround}, {kAudioChannelLabel_RightSurround},
            {kAudioChannelLabel_Center},       {kAudioChannelLabel_LowFrequency}};
}

AudioChannelLayout CreateMultichannelLayout(std::size_t inCount)
{
    return AudioChannelLayout(inCount);
}

} // namespace qelmediatypes
