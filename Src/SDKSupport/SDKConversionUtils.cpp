#include "RKSDKConversion.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "ZOR/ZORUnknown.h"
#include "qelmediatypes/PixelFormat.h"

namespace RK
{

namespace
{

using namespace qelmediatypes;

static_assert(sizeof(qzRect) == 8 && offsetof(qzRect, top) == 0 && offsetof(qzRect, left) == 2 &&
              offsetof(qzRect, bottom) == 4 && offsetof(qzRect, right) == 6);
static_assert(sizeof(ClipFrameDescriptor) == 28 && offsetof(ClipFrameDescriptor, width) == 4 &&
              offsetof(ClipFrameDescriptor, pixelAspectNumerator) == 12 &&
              offsetof(ClipFrameDescriptor, fieldType) == 20 &&
              offsetof(ClipFrameDescriptor, renderQuality) == 24);
static_assert(sizeof(qzPluginID) == 37);

/// inTable[inValue - inFirst], or inOther where the table has no such place.
template <class Entry, std::size_t Size>
constexpr Entry LookUp(const Entry (&inTable)[Size], std::int64_t inFirst, std::int64_t inValue,
                       Entry inOther)
{
    const std::int64_t place = inValue - inFirst;
    return place >= 0 && place < static_cast<std::int64_t>(Size) ? inTable[place] : inOther;
}

constexpr std::int32_t kSDKToBESampleTypes[] = {-1, 1,  2,  3, 4, 5, 6,  10, 11,
                                                12, 13, 14, 7, 8, 9, -2, 15};

constexpr std::int32_t kFirstBESampleType = -2;
constexpr std::int32_t kBEToSDKSampleTypes[] = {15, 15, 15, 1, 2, 3, 4,  5,  6,
                                                12, 13, 14, 7, 8, 9, 10, 11, 16};

constexpr std::int32_t kSDKToBEAlphaTypes[] = {3, 1, 2, 2, 2, 0, 3, 3};

constexpr QzTimeFormat kTimeFormats[] = {0x20018, 0x20019, 0x4001E, 0x2001E, 0x2001E,
                                         0x20032, 0x4003C, 0x2003C, 0x2003C, 0x10000,
                                         0x20018, 0,       0,       0x20030};

constexpr std::int32_t kFirstQuality = -1;
constexpr std::int32_t kBEToSDKQualities[] = {-1, 0, 0, 1, 2, 3, 4};
constexpr std::int32_t kSDKToBEQualities[] = {-1, 1, 2, 3, 4, 5};

constexpr std::int32_t kFirstLabel = 100;
constexpr std::uint64_t kLabels = 0x7FFF80FFFFF; // a bit for each valid label, from the first up

constexpr std::int32_t LabelOrDiscrete(std::int32_t inLabel)
{
    const std::int64_t place = static_cast<std::int64_t>(inLabel) - kFirstLabel;
    return place >= 0 && place < 64 && (kLabels >> place & 1) != 0
               ? inLabel
               : std::int32_t{kAudioChannelLabel_Discrete};
}

constexpr std::int32_t WithinOr(std::int32_t inValue, std::int32_t inFirst, std::int32_t inLast,
                                std::int32_t inOther)
{
    return inValue >= inFirst && inValue <= inLast ? inValue : inOther;
}

constexpr std::int32_t FieldTypeOrUnknown(std::int32_t inType)
{
    return WithinOr(inType, kFieldType_Any, kFieldType_Mixed, kFieldType_Unknown);
}

constexpr std::int32_t CadenceOrNone(std::int32_t inCadence)
{
    return WithinOr(inCadence, kPulldownCadence_First, kPulldownCadence_Last,
                    kPulldownCadence_None);
}

/// Edges may lie further apart than a length can tell: the low bits are what is left of it.
std::int32_t Distance(std::int32_t inFrom, std::int32_t inTo)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(inTo) -
                                     static_cast<std::uint32_t>(inFrom));
}

} // namespace

AudioChannelType SDKToBEAudioChannelType(QzAudioChannelType inType) noexcept
{
    return static_cast<AudioChannelType>(WithinOr(inType, 1, 4, 1) - 1);
}

QzAudioChannelType BEToSDKAudioChannelType(AudioChannelType inType) noexcept
{
    return WithinOr(inType, kAudioChannelType_Mono, kAudioChannelType_Multichannel,
                    kAudioChannelType_Mono) +
           1;
}

AudioChannelLayout SDKAudioChannelTypeToBEAudioChannelLayout(QzAudioChannelType inType)
{
    switch (inType)
    {
    case 1:
        return CreateMonoChannelLayout();
    case 2:
        return CreateStereoChannelLayout();
    case 3:
        return Create51ChannelLayout();
    case 4:
        return CreateMultichannelLayout(32);
    default:
        return {};
    }
}

void SDKAudioChannelTypeToSDKAudioChannelLayout(QzAudioChannelType inType, std::int32_t& ioCount,
                                                QzAudioChannelLabel* outLabels)
{
    BEToSDKAudioChannelLayout(SDKAudioChannelTypeToBEAudioChannelLayout(inType), ioCount,
                              outLabels);
}

AudioSampleType SDKToBEAudioSampleType(QzAudioSampleType inType) noexcept
{
    return static_cast<AudioSampleType>(
        LookUp(kSDKToBESampleTypes, 0, inType, std::int32_t{kAudioSampleType_Invalid}));
}

QzAudioSampleType BEToSDKAudioSampleType(AudioSampleType inType) noexcept
{
    return LookUp(kBEToSDKSampleTypes, kFirstBESampleType, inType, 15);
}

AudioChannelLabel SDKToBEAudioChannelLabel(QzAudioChannelLabel inLabel) noexcept
{
    return static_cast<AudioChannelLabel>(LabelOrDiscrete(inLabel));
}

QzAudioChannelLabel BEToSDKAudioChannelLabel(AudioChannelLabel inLabel) noexcept
{
    return LabelOrDiscrete(inLabel);
}

AudioChannelLayout SDKToBEAudioChannelLayout(std::int32_t inCount,
                                             const QzAudioChannelLabel* inLabels)
{
    AudioChannelLayout layout(static_cast<std::size_t>(std::max(inCount, 0)));
    for (std::size_t channel = 0; channel < layout.size(); ++channel)
        layout[channel].label = SDKToBEAudioChannelLabel(inLabels[channel]);
    return layout;
}

void BEToSDKAudioChannelLayout(const AudioChannelLayout& inLayout, std::int32_t& ioCount,
                               QzAudioChannelLabel* outLabels) noexcept
{
    ioCount = static_cast<std::int32_t>(
        std::min(std::int64_t{ioCount}, static_cast<std::int64_t>(inLayout.size())));
    for (std::int32_t channel = 0; channel < ioCount; ++channel)
        outLabels[channel] =
            BEToSDKAudioChannelLabel(inLayout[static_cast<std::size_t>(channel)].label);
}

FieldType SDKToBEFieldType(QzFieldType inType) noexcept
{
    return static_cast<FieldType>(FieldTypeOrUnknown(inType));
}

QzFieldType BEToSDKFieldType(FieldType inType) noexcept
{
    return FieldTypeOrUnknown(inType);
}

QzAlphaType BEToSDKAlphaType(AlphaChannel inAlpha, const RGBColor& inMatteColor) noexcept
{
    switch (inAlpha)
    {
    case kAlphaChannel_Opaque:
        return 5;
    case kAlphaChannel_Straight:
        return 1;
    case kAlphaChannel_Premultiplied:
        if (inMatteColor == kRGBColor_White)
            return 3;
        return inMatteColor == kRGBColor_Black ? 2 : 4;
    case kAlphaChannel_Unknown:
        return 7;
    default:
        return 0;
    }
}

AlphaChannel SDKToBEAlphaType(QzAlphaType inType) noexcept
{
    return static_cast<AlphaChannel>(
        LookUp(kSDKToBEAlphaTypes, 0, inType, std::int32_t{kAlphaChannel_Opaque}));
}

QzTimeFormat TimeDisplayToSDKTimeFormat(TimeDisplay inDisplay) noexcept
{
    return LookUp(kTimeFormats, kTimeDisplay_First, inDisplay, QzTimeFormat{0});
}

PulldownCadence SDKToQELPulldownCadence(QzPulldownCadence inCadence) noexcept
{
    return static_cast<PulldownCadence>(CadenceOrNone(inCadence));
}

QzPulldownCadence QELToSDKPulldownCadence(PulldownCadence inCadence) noexcept
{
    return CadenceOrNone(inCadence);
}

bool IsCustomSDKPixelFormat(QzPixelFormat inFormat) noexcept
{
    const QzPixelFormat first = inFormat & 0xFF;
    return first == '@' || first == '_';
}

bool IsValidSDKPixelFormat(QzPixelFormat inFormat) noexcept
{
    return IsCustomSDKPixelFormat(inFormat) ||
           LookupPropertiesForName(inFormat) != kPixelFormatProperties_Invalid;
}

QzPixelFormat BEToSDKPixelFormat(PixelFormat inFormat) noexcept
{
    return static_cast<QzPixelFormat>(inFormat);
}

PixelFormat SDKToBEPixelFormat(QzPixelFormat inFormat) noexcept
{
    if (!IsValidSDKPixelFormat(inFormat) && inFormat != kQzPixelFormatInvalid && inFormat != 0)
        return qelmediatypes::kPixelFormat_Invalid;
    return PixelFormat{LookupPropertiesForName(inFormat)} << 32 | inFormat;
}

void BEFrameFormatToSDKClipFrameDescriptor(const FrameFormat& inFormat,
                                           ClipFrameDescriptor& outDescriptor) noexcept
{
    const ZOR::ParamRect<std::int32_t>& rect = inFormat.mFrameRect;
    outDescriptor.pixelFormat = BEToSDKPixelFormat(inFormat.mPixelFormat);
    outDescriptor.width = Distance(rect.left, rect.right);
    outDescriptor.height = Distance(rect.top, rect.bottom);
    outDescriptor.pixelAspectNumerator = inFormat.mPixelAspectRatio.GetNumerator();
    outDescriptor.pixelAspectDenominator = inFormat.mPixelAspectRatio.GetDenominator();
    outDescriptor.fieldType = BEToSDKFieldType(inFormat.mFieldType);
    outDescriptor.renderQuality =
        LookUp(kBEToSDKQualities, kFirstQuality, inFormat.mRenderQuality, 0);
}

void SDKClipFrameDescriptorToBEFrameFormat(const ClipFrameDescriptor& inDescriptor,
                                           FrameFormat& ioFormat) noexcept
{
    if (inDescriptor.pixelAspectNumerator > 0 && inDescriptor.pixelAspectDenominator > 0)
        ioFormat.mPixelAspectRatio = PixelAspectRatio(inDescriptor.pixelAspectNumerator,
                                                      inDescriptor.pixelAspectDenominator);
    ioFormat.mFrameRect = {0, 0, inDescriptor.width, inDescriptor.height};
    ioFormat.mFieldType = SDKToBEFieldType(inDescriptor.fieldType);
    ioFormat.mPixelFormat = SDKToBEPixelFormat(inDescriptor.pixelFormat);
    ioFormat.mRenderQuality = static_cast<RenderQuality>(
        LookUp(kSDKToBEQualities, kFirstQuality, inDescriptor.renderQuality,
               std::int32_t{kRenderQuality_Lowest}));
}

void GuidToPluginID(const qelcore::utility::Guid& inGuid, qzPluginID& outID) noexcept
{
    static constexpr char kDigits[] = "0123456789abcdef";
    const ZOR::CFUUIDBytes bytes = ZOR::ToUUIDBytes(inGuid);
    char* out = outID;
    for (std::size_t i = 0; i < std::size(bytes.bytes); ++i)
    {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            *out++ = '-';
        *out++ = kDigits[bytes.bytes[i] >> 4];
        *out++ = kDigits[bytes.bytes[i] & 0xF];
    }
    *out = '\0';
}

} // namespace RK
