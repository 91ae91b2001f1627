#pragma once

#include <cstdint>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

// How a piece of media is to be treated as immersive video, and the text by which clients keep that in their
// own metadata.
//
// Threads  Free functions without state, and a plain record.
// Units    Angles are whole degrees.
// Errors   Those told at VRConfigurationFromSerializedString(), and std::bad_alloc.
namespace RK
{

enum VRProjectionType : std::int32_t
{
    VRProjectionType_None = 0,
    VRProjectionType_Equirectangular = 1,
};

enum VRStereoscopicType : std::int32_t
{
    VRStereoscopicType_Monoscopic = 0,
    VRStereoscopicType_OverUnder = 1,
    VRStereoscopicType_SideBySide = 2,
};

enum VRStereoscopicEye : std::int32_t
{
    VRStereoscopicEye_Left = 0,
    VRStereoscopicEye_Right = 1,
    VRStereoscopicEye_Anaglyph = 2,
};

enum AmbisonicsMonitoringType : std::int32_t
{
    AmbisonicsMonitoringType_Off = 0,
    AmbisonicsMonitoringType_Binaural = 1,
};

// Nothing checks the values: they go into the text and come out of it as they are.
struct VRConfiguration
{
    VRProjectionType projectionType = VRProjectionType_None;
    std::int32_t capturedHorizontalView = 360; ///< what the material covers
    std::int32_t capturedVerticalView = 180;
    std::int32_t fieldOfHorizontalView = 108; ///< what a viewer shows
    std::int32_t fieldOfVerticalView = 108;
    VRStereoscopicType stereoscopicType = VRStereoscopicType_Monoscopic; ///< layout of a frame
    VRStereoscopicEye stereoscopicEye = VRStereoscopicEye_Left;          ///< the eye to show
    AmbisonicsMonitoringType ambisonicsMonitoringType = AmbisonicsMonitoringType_Off;
    qelcore::UTF8String ambisonicsHRIR; ///< names the head-related impulse response to use
};

/// A JSON object on one line: "version", which is 3, and each field by its name. Numbers and enumerators
/// stand as their 32 bits without a sign. Bytes of ambisonicsHRIR that are no UTF-8 become U+FFFD.
RK_API qelcore::UTF8String
VRConfigurationToSerializedString(const VRConfiguration& inConfiguration);

/// Reads the text of any version. A key that is missing leaves its field at the default, and unknown ones
/// are passed over. Numbers give their low 32 bits, the version its low 16.
///   no version         read as version 3
///   above 3            read as version 3
///   1                  a projection of none, or no projection, is equirectangular
///   below 3            the two ambisonic keys are passed over
/// @return the defaults if the text is empty or no JSON, and for JSON that is no object.
/// @throws boost::bad_any_cast  if a key that is read holds a value of another kind: text, a fraction or
///         a number with a minus where a number belongs, anything but text for "ambisonicsHRIR". Whoever
///         reads the texts of others catches it.
RK_API VRConfiguration VRConfigurationFromSerializedString(const qelcore::UTF8String& inText);

/// The enumerator's name, for logs; "Unknown" for any other value.
RK_API qelcore::UTF8String VRProjectionTypeToString(VRProjectionType inType);
RK_API qelcore::UTF8String VRStereoscopicTypeToString(VRStereoscopicType inType);
RK_API qelcore::UTF8String VRStereoscopicEyeToString(VRStereoscopicEye inEye);
RK_API qelcore::UTF8String AmbisonicsMonitoringTypeToString(AmbisonicsMonitoringType inType);

/// The same for users, in their language; the localised "Unknown" for any other value.
RK_API qelcore::UTF16String VRProjectionTypeToUIString(VRProjectionType inType);
RK_API qelcore::UTF16String VRStereoscopicTypeToUIString(VRStereoscopicType inType);
RK_API qelcore::UTF16String VRStereoscopicEyeToUIString(VRStereoscopicEye inEye);
RK_API qelcore::UTF16String AmbisonicsMonitoringTypeToUIString(AmbisonicsMonitoringType inType);

} // namespace RK
