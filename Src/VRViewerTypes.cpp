#include "RKVRViewerTypes.h"

#include <cstddef>

#include <boost/any.hpp>

#include "qelcore/Localizer.h"
#include "qelcore/Serialization.h"

namespace RK
{

using qelcore::UTF16String;
using qelcore::UTF8String;
using qelcore::serialization::Variant;

namespace
{

constexpr std::uint16_t kVersion = 3;
constexpr std::uint16_t kFirstVersionWithAmbisonics = 3;
constexpr std::uint16_t kVersionWithoutProjections = 1; // everything was equirectangular

// An enumerator's name for logs, and its literal for users. Where keys do not match the names they are kept,
// since string tables hold them.
struct Label
{
    const char* name;
    const char* literal;
};

constexpr Label kUnknown = {"Unknown", "$$$/VRViewerTypes/CaseUnknown=Unknown"};

constexpr Label kProjectionTypes[] = {
    {"VRProjectionType_None", "$$$/VRViewerTypes/VRProjectionType_None=None"},
    {"VRProjectionType_Equirectangular",
     "$$$/VRViewerTypes/VRProjectionType_Equirectangular=Equirectangular"},
};
constexpr Label kStereoscopicTypes[] = {
    {"VRStereoscopicType_Monoscopic", "$$$/VRViewerTypes/VRStereoscopicType_None=Monoscopic"},
    {"VRStereoscopicType_OverUnder",
     "$$$/VRViewerTypes/VRStereoscopicType_OverUnder=Stereoscopic - Over/Under"},
    {"VRStereoscopicType_SideBySide",
     "$$$/VRViewerTypes/VRStereoscopicType_SideBySide=Stereoscopic - Side by Side"},
};
constexpr Label kStereoscopicEyes[] = {
    {"VRStereoscopicEye_Left", "$$$/VRViewerTypes/VRStereoscopicEye_Left=Left"},
    {"VRStereoscopicEye_Right", "$$$/VRViewerTypes/VRStereoscopicEye_Right=Right"},
    {"VRStereoscopicEye_Anaglyph", "$$$/VRViewerTypes/VRStereoscopicEye_Anaglyph=Anaglyph"},
};
constexpr Label kMonitoringTypes[] = {
    {"AmbisonicsMonitoringType_Off", "$$$/VRViewerTypes/AmbisonicsMonitoring_Off=Off"},
    {"AmbisonicsMonitoringType_Binaural",
     "$$$/VRViewerTypes/AmbisonicsMonitoring_Binaural=Binaural"},
};

template <std::size_t Count>
const Label& LabelOf(const Label (&inLabels)[Count], std::int32_t inValue)
{
    const bool known = inValue >= 0 && static_cast<std::size_t>(inValue) < Count;
    return known ? inLabels[inValue] : kUnknown;
}

UTF8String NameIn(const Label& inLabel)
{
    return qelcore::ToUTF8String(inLabel.name);
}

UTF16String UITextIn(const Label& inLabel)
{
    return qelcore::config::Localizer::Get().GetText(inLabel.literal);
}

// The object that a text is made from.
class Fields
{
public:
    void AddNumber(const char* inKey, std::int32_t inValue)
    {
        Add(inKey, static_cast<unsigned long long>(static_cast<std::uint32_t>(inValue)));
    }
    void Add(const char* inKey, const boost::any& inValue)
    {
        qelcore::serialization::AddToObject(mObject, qelcore::ToUTF8String(inKey), inValue);
    }
    UTF8String ToText() const { return qelcore::serialization::GetJSONUTF8String(mObject, false); }

private:
    boost::any mObject = qelcore::serialization::Object();
};

Variant Find(const Variant& inParsed, const char* inKey)
{
    return qelcore::serialization::GetVariantInObject(inParsed, qelcore::ToUTF8String(inKey));
}

/// Sets a field if its key is there, to as many low bits as it holds.
template <typename T>
void ReadNumber(const Variant& inParsed, const char* inKey, T& ioField)
{
    if (const Variant value = Find(inParsed, inKey))
        ioField =
            static_cast<T>(static_cast<std::uint32_t>(boost::any_cast<unsigned long long>(*value)));
}

void ReadAmbisonics(const Variant& inParsed, VRConfiguration& ioConfiguration)
{
    ReadNumber(inParsed, "ambisonicsMonitoringType", ioConfiguration.ambisonicsMonitoringType);
    if (const Variant value = Find(inParsed, "ambisonicsHRIR"))
        ioConfiguration.ambisonicsHRIR = boost::any_cast<const UTF8String&>(*value);
}

} // namespace

UTF8String VRConfigurationToSerializedString(const VRConfiguration& inConfiguration)
{
    Fields fields;
    fields.AddNumber("version", kVersion);
    fields.AddNumber("projectionType", inConfiguration.projectionType);
    fields.AddNumber("capturedHorizontalView", inConfiguration.capturedHorizontalView);
    fields.AddNumber("capturedVerticalView", inConfiguration.capturedVerticalView);
    fields.AddNumber("fieldOfHorizontalView", inConfiguration.fieldOfHorizontalView);
    fields.AddNumber("fieldOfVerticalView", inConfiguration.fieldOfVerticalView);
    fields.AddNumber("stereoscopicType", inConfiguration.stereoscopicType);
    fields.AddNumber("stereoscopicEye", inConfiguration.stereoscopicEye);
    fields.AddNumber("ambisonicsMonitoringType", inConfiguration.ambisonicsMonitoringType);
    fields.Add("ambisonicsHRIR", inConfiguration.ambisonicsHRIR);
    return fields.ToText();
}

VRConfiguration VRConfigurationFromSerializedString(const UTF8String& inText)
{
    VRConfiguration configuration;
    const Variant parsed = inText.empty() ? Variant() : qelcore::serialization::JSONParse(inText);
    if (!parsed)
        return configuration;

    std::uint16_t version = kVersion;
    ReadNumber(parsed, "version", version);
    ReadNumber(parsed, "projectionType", configuration.projectionType);
    ReadNumber(parsed, "capturedHorizontalView", configuration.capturedHorizontalView);
    ReadNumber(parsed, "capturedVerticalView", configuration.capturedVerticalView);
    ReadNumber(parsed, "fieldOfHorizontalView", configuration.fieldOfHorizontalView);
    ReadNumber(parsed, "fieldOfVerticalView", configuration.fieldOfVerticalView);
    ReadNumber(parsed, "stereoscopicType", configuration.stereoscopicType);
    ReadNumber(parsed, "stereoscopicEye", configuration.stereoscopicEye);
    if (version >= kFirstVersionWithAmbisonics)
        ReadAmbisonics(parsed, configuration);
    if (version == kVersionWithoutProjections &&
        configuration.projectionType == VRProjectionType_None)
        configuration.projectionType = VRProjectionType_Equirectangular;
    return configuration;
}

UTF8String VRProjectionTypeToString(VRProjectionType inType)
{
    return NameIn(LabelOf(kProjectionTypes, inType));
}

UTF8String VRStereoscopicTypeToString(VRStereoscopicType inType)
{
    return NameIn(LabelOf(kStereoscopicTypes, inType));
}

UTF8String VRStereoscopicEyeToString(VRStereoscopicEye inEye)
{
    return NameIn(LabelOf(kStereoscopicEyes, inEye));
}

UTF8String AmbisonicsMonitoringTypeToString(AmbisonicsMonitoringType inType)
{
    return NameIn(LabelOf(kMonitoringTypes, inType));
}

UTF16String VRProjectionTypeToUIString(VRProjectionType inType)
{
    return UITextIn(LabelOf(kProjectionTypes, inType));
}

UTF16String VRStereoscopicTypeToUIString(VRStereoscopicType inType)
{
    return UITextIn(LabelOf(kStereoscopicTypes, inType));
}

UTF16String VRStereoscopicEyeToUIString(VRStereoscopicEye inEye)
{
    return UITextIn(LabelOf(kStereoscopicEyes, inEye));
}

UTF16String AmbisonicsMonitoringTypeToUIString(AmbisonicsMonitoringType inType)
{
    return UITextIn(LabelOf(kMonitoringTypes, inType));
}

} // namespace RK
