#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qelcore/Export.h"

namespace qelmediatypes
{

/// What a channel is for. 100 to 119 name loudspeakers, 127 to 142 the sixteen components of a sound
/// field; only those that a layout below has are named here. Stored in documents: never renumber.
enum AudioChannelLabel : std::int32_t
{
    kAudioChannelLabel_Discrete = 0, ///< for nothing in particular; also the channel of mono
    kAudioChannelLabel_Left = 100,
    kAudioChannelLabel_Right = 101,
    kAudioChannelLabel_Center = 102,
    kAudioChannelLabel_LowFrequency = 103,
    kAudioChannelLabel_LeftSurround = 104,
    kAudioChannelLabel_RightSurround = 105,
};

struct AudioChannelDescription
{
    AudioChannelLabel label = kAudioChannelLabel_Discrete;

    friend bool operator==(const AudioChannelDescription& a,
                           const AudioChannelDescription& b) noexcept
    {
        return a.label == b.label;
    }
    friend bool operator!=(const AudioChannelDescription& a,
                           const AudioChannelDescription& b) noexcept
    {
        return !(a == b);
    }
};

/// The channels of a stream, in the order of its samples.
using AudioChannelLayout = std::vector<AudioChannelDescription>;

/// One channel, discrete.
RK_API AudioChannelLayout CreateMonoChannelLayout();
/// Left, right.
RK_API AudioChannelLayout CreateStereoChannelLayout();
/// Left, right, centre, low frequency, left surround, right surround.
RK_API AudioChannelLayout Create51ChannelLayout();
/// The same six in an older order: left, right, left surround, right surround, centre, low frequency.
RK_API AudioChannelLayout CreateLegacy51ChannelLayout();
/// inCount discrete channels.
RK_API AudioChannelLayout CreateMultichannelLayout(std::size_t inCount);

} // namespace qelmediatypes
