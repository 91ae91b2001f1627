#pragma once

#include <cstdint>
#include <vector>

#include "Audio/AudioChannelType.h"
#include "Audio/AudioSampleType.h"
#include "RKFrameFormat.h"
#include "RKPixelFormat.h"
#include "RKSDKTypes.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"
#include "qelmediatypes/AlphaChannel.h"
#include "qelmediatypes/AudioChannelDescription.h"
#include "qelmediatypes/FieldType.h"
#include "qelmediatypes/PulldownCadence.h"
#include "qelmediatypes/RGBColor.h"
#include "qelmediatypes/TimeDisplay.h"

// Translations between the plug-in SDK's numbers and those of the back end ("BE"), which are the library's
// own. Each is total: a number that means nothing gives the answer named here, never an error. What a
// render must refuse is checked in RKSDKValidation.h.
//
// Threads  Pure functions. They allocate nothing but the vectors that they return.
// Errors   Nothing raises but std::bad_alloc for those vectors. Where a caller's array is filled,
//          ioCount holds its room when the call begins, and what was written when it ends; a room of 0 or
//          below is left as it is, and nothing is written.
namespace RK
{

/// 1 to 4 are mono, stereo, 5.1 and multichannel. @return kAudioChannelType_Mono for any other.
RK_API AudioChannelType SDKToBEAudioChannelType(QzAudioChannelType inType) noexcept;
/// @return 1, mono, for whatever the SDK has no number for.
RK_API QzAudioChannelType BEToSDKAudioChannelType(AudioChannelType inType) noexcept;
/// @return the layout of a kind, multichannel being 32 discrete channels; empty for any other number.
RK_API qelmediatypes::AudioChannelLayout
SDKAudioChannelTypeToBEAudioChannelLayout(QzAudioChannelType inType);
/// The same layout as labels of the SDK.
RK_API void SDKAudioChannelTypeToSDKAudioChannelLayout(QzAudioChannelType inType,
                                                       std::int32_t& ioCount,
                                                       QzAudioChannelLabel* outLabels);

/// @return kAudioSampleType_Invalid for a number beyond 16 or negative.
RK_API AudioSampleType SDKToBEAudioSampleType(QzAudioSampleType inType) noexcept;
/// @return 15 for whatever the SDK has no number for. So 0 comes back from a round trip as 15.
RK_API QzAudioSampleType BEToSDKAudioSampleType(AudioSampleType inType) noexcept;

/// The numbers of both sides are the same: 100 to 119, and 127 to 142.
/// @return 0, a discrete channel, for any other.
RK_API qelmediatypes::AudioChannelLabel
SDKToBEAudioChannelLabel(QzAudioChannelLabel inLabel) noexcept;
RK_API QzAudioChannelLabel
BEToSDKAudioChannelLabel(qelmediatypes::AudioChannelLabel inLabel) noexcept;
/// @return inCount channels; none for a count of 0 or below.
RK_API qelmediatypes::AudioChannelLayout
SDKToBEAudioChannelLayout(std::int32_t inCount, const QzAudioChannelLabel* inLabels);
RK_API void BEToSDKAudioChannelLayout(const qelmediatypes::AudioChannelLayout& inLayout,
                                      std::int32_t& ioCount,
                                      QzAudioChannelLabel* outLabels) noexcept;

/// The numbers of both sides are the same, -1 to 4. @return 3, unknown, for any other.
RK_API qelmediatypes::FieldType SDKToBEFieldType(QzFieldType inType) noexcept;
RK_API QzFieldType BEToSDKFieldType(qelmediatypes::FieldType inType) noexcept;

/// @param inMatteColor  what the colours are mixed with; looked at for premultiplied alpha alone.
/// @return 0, unknown, for a number that is no AlphaChannel.
RK_API QzAlphaType BEToSDKAlphaType(qelmediatypes::AlphaChannel inAlpha,
                                    const qelmediatypes::RGBColor& inMatteColor) noexcept;
/// The three premultiplied kinds become one: the caller keeps the colour.
/// @return kAlphaChannel_Opaque for a number beyond 7 or negative.
RK_API qelmediatypes::AlphaChannel SDKToBEAlphaType(QzAlphaType inType) noexcept;

/// @return 0 for what the SDK has no format for.
RK_API QzTimeFormat TimeDisplayToSDKTimeFormat(qelmediatypes::TimeDisplay inDisplay) noexcept;

/// The numbers of both sides are the same, 1 to 10. @return 0, none, for any other.
RK_API qelmediatypes::PulldownCadence SDKToQELPulldownCadence(QzPulldownCadence inCadence) noexcept;
RK_API QzPulldownCadence QELToSDKPulldownCadence(qelmediatypes::PulldownCadence inCadence) noexcept;

/// Whether a format belongs to the plug-in that made it up: its name begins with '@' or '_'.
RK_API bool IsCustomSDKPixelFormat(QzPixelFormat inFormat) noexcept;
/// Whether a format is custom, or one that the library knows by name.
RK_API bool IsValidSDKPixelFormat(QzPixelFormat inFormat) noexcept;
/// The name alone.
RK_API QzPixelFormat BEToSDKPixelFormat(PixelFormat inFormat) noexcept;
/// The name with the properties that the library knows for it, which for a custom format are
/// qelmediatypes::kPixelFormatProperties_Invalid.
/// @return kPixelFormat_Invalid for a format that is not valid; kPixelFormat_Any for 0.
RK_API PixelFormat SDKToBEPixelFormat(QzPixelFormat inFormat) noexcept;

/// Where the frame lies is lost: the SDK knows its size alone.
RK_API void BEFrameFormatToSDKClipFrameDescriptor(const FrameFormat& inFormat,
                                                  ClipFrameDescriptor& outDescriptor) noexcept;
/// The frame comes to lie at (0, 0).
/// @param ioFormat  keeps its pixel aspect ratio if that of the descriptor has a number that is not above
///                  0; everything else is set.
RK_API void SDKClipFrameDescriptorToBEFrameFormat(const ClipFrameDescriptor& inDescriptor,
                                                  FrameFormat& ioFormat) noexcept;

/// The usual notation of a Guid in lower case.
RK_API void GuidToPluginID(const qelcore::utility::Guid& inGuid, qzPluginID& outID) noexcept;

} // namespace RK
