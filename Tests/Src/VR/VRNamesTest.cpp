#include <gtest/gtest.h>

#include "RKVRViewerTypes.h"
#include "qelcore/Localizer.h"

namespace
{

using namespace RK;
using namespace qelcore::literals;

TEST(VRNames, LogsNameTheEnumerator)
{
    EXPECT_EQ("VRProjectionType_None"_utf8, VRProjectionTypeToString(VRProjectionType_None));
    EXPECT_EQ("VRProjectionType_Equirectangular"_utf8,
              VRProjectionTypeToString(VRProjectionType_Equirectangular));
    EXPECT_EQ("VRStereoscopicType_Monoscopic"_utf8,
              VRStereoscopicTypeToString(VRStereoscopicType_Monoscopic));
    EXPECT_EQ("VRStereoscopicType_OverUnder"_utf8,
              VRStereoscopicTypeToString(VRStereoscopicType_OverUnder));
    EXPECT_EQ("VRStereoscopicType_SideBySide"_utf8,
              VRStereoscopicTypeToString(VRStereoscopicType_SideBySide));
    EXPECT_EQ("VRStereoscopicEye_Left"_utf8, VRStereoscopicEyeToString(VRStereoscopicEye_Left));
    EXPECT_EQ("VRStereoscopicEye_Right"_utf8, VRStereoscopicEyeToString(VRStereoscopicEye_Right));
    EXPECT_EQ("VRStereoscopicEye_Anaglyph"_utf8,
              VRStereoscopicEyeToString(VRStereoscopicEye_Anaglyph));
    EXPECT_EQ("AmbisonicsMonitoringType_Off"_utf8,
              AmbisonicsMonitoringTypeToString(AmbisonicsMonitoringType_Off));
    EXPECT_EQ("AmbisonicsMonitoringType_Binaural"_utf8,
              AmbisonicsMonitoringTypeToString(AmbisonicsMonitoringType_Binaural));
}

TEST(VRNames, UsersReadEnglishWithoutATable)
{
    EXPECT_EQ(u"None", VRProjectionTypeToUIString(VRProjectionType_None));
    EXPECT_EQ(u"Equirectangular", VRProjectionTypeToUIString(VRProjectionType_Equirectangular));
    EXPECT_EQ(u"Monoscopic", VRStereoscopicTypeToUIString(VRStereoscopicType_Monoscopic));
    EXPECT_EQ(u"Stereoscopic - Over/Under",
              VRStereoscopicTypeToUIString(VRStereoscopicType_OverUnder));
    EXPECT_EQ(u"Stereoscopic - Side by Side",
              VRStereoscopicTypeToUIString(VRStereoscopicType_SideBySide));
    EXPECT_EQ(u"Left", VRStereoscopicEyeToUIString(VRStereoscopicEye_Left));
    EXPECT_EQ(u"Right", VRStereoscopicEyeToUIString(VRStereoscopicEye_Right));
    EXPECT_EQ(u"Anaglyph", VRStereoscopicEyeToUIString(VRStereoscopicEye_Anaglyph));
    EXPECT_EQ(u"Off", AmbisonicsMonitoringTypeToUIString(AmbisonicsMonitoringType_Off));
    EXPECT_EQ(u"Binaural", AmbisonicsMonitoringTypeToUIString(AmbisonicsMonitoringType_Binaural));
}

TEST(VRNames, AnyOtherValueIsUnknown)
{
    EXPECT_EQ("Unknown"_utf8, VRProjectionTypeToString(static_cast<VRProjectionType>(2)));
    EXPECT_EQ("Unknown"_utf8, VRStereoscopicTypeToString(static_cast<VRStereoscopicType>(3)));
    EXPECT_EQ("Unknown"_utf8, VRStereoscopicEyeToString(static_cast<VRStereoscopicEye>(-1)));
    EXPECT_EQ("Unknown"_utf8,
              AmbisonicsMonitoringTypeToString(static_cast<AmbisonicsMonitoringType>(INT32_MAX)));
    EXPECT_EQ(u"Unknown", VRProjectionTypeToUIString(static_cast<VRProjectionType>(INT32_MIN)));
    EXPECT_EQ(u"Unknown", VRStereoscopicTypeToUIString(static_cast<VRStereoscopicType>(3)));
    EXPECT_EQ(u"Unknown", VRStereoscopicEyeToUIString(static_cast<VRStereoscopicEye>(3)));
    EXPECT_EQ(u"Unknown",
              AmbisonicsMonitoringTypeToUIString(static_cast<AmbisonicsMonitoringType>(2)));
}

// String tables are written for these keys, two of which do not follow the enumerators' names.
TEST(VRNames, UsersReadTheirOwnLanguageByTheKeysThatTablesHave)
{
    struct Table
    {
        Table()
        {
            EXPECT_EQ(qelcore::kResult_OK,
                      qelcore::config::Localizer::Get().LoadTable(
                          "\"$$$/VRViewerTypes/VRProjectionType_None\"=\"p0\"\n"
                          "\"$$$/VRViewerTypes/VRProjectionType_Equirectangular\"=\"p1\"\n"
                          "\"$$$/VRViewerTypes/VRStereoscopicType_None\"=\"s0\"\n"
                          "\"$$$/VRViewerTypes/VRStereoscopicType_OverUnder\"=\"s1\"\n"
                          "\"$$$/VRViewerTypes/VRStereoscopicType_SideBySide\"=\"s2\"\n"
                          "\"$$$/VRViewerTypes/VRStereoscopicEye_Left\"=\"e0\"\n"
                          "\"$$$/VRViewerTypes/VRStereoscopicEye_Right\"=\"e1\"\n"
                          "\"$$$/VRViewerTypes/VRStereoscopicEye_Anaglyph\"=\"e2\"\n"
                          "\"$$$/VRViewerTypes/AmbisonicsMonitoring_Off\"=\"a0\"\n"
                          "\"$$$/VRViewerTypes/AmbisonicsMonitoring_Binaural\"=\"a1\"\n"
                          "\"$$$/VRViewerTypes/CaseUnknown\"=\"u\"\n"));
        }
        ~Table() { qelcore::config::Localizer::Get().Clear(); }
    } table;

    EXPECT_EQ(u"p0", VRProjectionTypeToUIString(VRProjectionType_None));
    EXPECT_EQ(u"p1", VRProjectionTypeToUIString(VRProjectionType_Equirectangular));
    EXPECT_EQ(u"s0", VRStereoscopicTypeToUIString(VRStereoscopicType_Monoscopic));
    EXPECT_EQ(u"s1", VRStereoscopicTypeToUIString(VRStereoscopicType_OverUnder));
    EXPECT_EQ(u"s2", VRStereoscopicTypeToUIString(VRStereoscopicType_SideBySide));
    EXPECT_EQ(u"e0", VRStereoscopicEyeToUIString(VRStereoscopicEye_Left));
    EXPECT_EQ(u"e1", VRStereoscopicEyeToUIString(VRStereoscopicEye_Right));
    EXPECT_EQ(u"e2", VRStereoscopicEyeToUIString(VRStereoscopicEye_Anaglyph));
    EXPECT_EQ(u"a0", AmbisonicsMonitoringTypeToUIString(AmbisonicsMonitoringType_Off));
    EXPECT_EQ(u"a1", AmbisonicsMonitoringTypeToUIString(AmbisonicsMonitoringType_Binaural));
    EXPECT_EQ(u"u", VRStereoscopicTypeToUIString(static_cast<VRStereoscopicType>(3)));
}

} // namespace
