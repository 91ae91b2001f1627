#include "VRFields.h"

#include <boost/any.hpp>

#include "Text.h"
#include "qelcore/Serialization.h"
#include "qelcore/TextConversion.h"

#include <charconv>
#include <cstddef>
#include <cstdint>

namespace RKHost
{

namespace
{

using RK::VRConfiguration;

constexpr const char* kProjections[] = {"none", "equirectangular"};
constexpr const char* kLayouts[] = {"monoscopic", "over-under", "side-by-side"};
constexpr const char* kEyes[] = {"left", "right", "anaglyph"};
constexpr const char* kMonitoring[] = {"off", "binaural"};

/// Enumerators count from 0 in the order of their words.
template <class Enumerator, std::size_t Count>
bool SetWord(const char* const (&inWords)[Count], const std::string& inText,
             Enumerator& outEnumerator)
{
    for (std::size_t i = 0; i < Count; ++i)
    {
        if (inText == inWords[i])
        {
            outEnumerator = static_cast<Enumerator>(i);
            return true;
        }
    }
    return false;
}

bool SetDegrees(const std::string& inText, std::int32_t inMost, std::int32_t& outDegrees)
{
    std::int32_t degrees = 0;
    const char* end = inText.data() + inText.size();
    const auto [stop, error] = std::from_chars(inText.data(), end, degrees);
    if (error != std::errc() || stop != end || degrees < 1 || degrees > inMost)
        return false;
    outDegrees = degrees;
    return true;
}

/// Text that is UTF-8, since no other comes back from a configuration's text.
bool SetText(const std::string& inText, qelcore::UTF8String& outText)
{
    qelcore::utility::ConversionError error;
    qelcore::utility::NarrowToUTF16(inText, &error);
    if (error.code != qelcore::utility::ConversionErrorCode::kNone)
        return false;
    outText = qelcore::ToUTF8String(inText);
    return true;
}

/// What users read; with the number where the library has no name for it.
std::string Shown(const qelcore::UTF16String& inName, std::int32_t inValue, std::int32_t inLast)
{
    const std::string name = FromLibraryText(inName);
    const bool known = inValue >= 0 && inValue <= inLast;
    return known ? name : name + " (" + std::to_string(inValue) + ")";
}

std::string Degrees(std::int32_t inDegrees)
{
    return std::to_string(inDegrees) + " degrees";
}

} // namespace

const std::vector<VRField>& VRFields()
{
    using Text = const std::string&;
    using Config = VRConfiguration;
    static const std::vector<VRField> sFields = {
        {"projection", "projectionType", "none or equirectangular",
         [](Text t, Config& c) { return SetWord(kProjections, t, c.projectionType); },
         [](const Config& c)
         {
             return Shown(RK::VRProjectionTypeToUIString(c.projectionType), c.projectionType,
                          RK::VRProjectionType_Equirectangular);
         }},
        {"captured-horizontal", "capturedHorizontalView", "degrees from 1 to 360",
         [](Text t, Config& c) { return SetDegrees(t, 360, c.capturedHorizontalView); },
         [](const Config& c) { return Degrees(c.capturedHorizontalView); }},
        {"captured-vertical", "capturedVerticalView", "degrees from 1 to 180",
         [](Text t, Config& c) { return SetDegrees(t, 180, c.capturedVerticalView); },
         [](const Config& c) { return Degrees(c.capturedVerticalView); }},
        {"field-horizontal", "fieldOfHorizontalView", "degrees from 1 to 360",
         [](Text t, Config& c) { return SetDegrees(t, 360, c.fieldOfHorizontalView); },
         [](const Config& c) { return Degrees(c.fieldOfHorizontalView); }},
        {"field-vertical", "fieldOfVerticalView", "degrees from 1 to 180",
         [](Text t, Config& c) { return SetDegrees(t, 180, c.fieldOfVerticalView); },
         [](const Config& c) { return Degrees(c.fieldOfVerticalView); }},
        {"layout", "stereoscopicType", "monoscopic, over-under or side-by-side",
         [](Text t, Config& c) { return SetWord(kLayouts, t, c.stereoscopicType); },
         [](const Config& c)
         {
             return Shown(RK::VRStereoscopicTypeToUIString(c.stereoscopicType), c.stereoscopicType,
                          RK::VRStereoscopicType_SideBySide);
         }},
        {"eye", "stereoscopicEye", "left, right or anaglyph",
         [](Text t, Config& c) { return SetWord(kEyes, t, c.stereoscopicEye); },
         [](const Config& c)
         {
             return Shown(RK::VRStereoscopicEyeToUIString(c.stereoscopicEye), c.stereoscopicEye,
                          RK::VRStereoscopicEye_Anaglyph);
         }},
        {"ambisonics", "ambisonicsMonitoringType", "off or binaural",
         [](Text t, Config& c) { return SetWord(kMonitoring, t, c.ambisonicsMonitoringType); },
         [](const Config& c)
         {
             return Shown(RK::AmbisonicsMonitoringTypeToUIString(c.ambisonicsMonitoringType),
                          c.ambisonicsMonitoringType, RK::AmbisonicsMonitoringType_Binaural);
         }},
        {"hrir", "ambisonicsHRIR", "text in UTF-8, which may be empty",
         [](Text t, Config& c) { return SetText(t, c.ambisonicsHRIR); },
         // In quotes and with escapes: what others wrote must not steer a terminal.
         [](const Config& c)
         {
             return qelcore::ToNarrowString(
                 qelcore::serialization::GetJSONUTF8String(c.ambisonicsHRIR, false));
         }},
    };
    return sFields;
}

} // namespace RKHost
