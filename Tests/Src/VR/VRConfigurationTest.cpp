#include <string>

#include <boost/any.hpp>

#include <gtest/gtest.h>

#include "RKVRViewerTypes.h"

namespace
{

using namespace RK;
using namespace qelcore::literals;
using qelcore::UTF8String;

VRConfiguration Read(const std::string& inText)
{
    return VRConfigurationFromSerializedString(qelcore::ToUTF8String(inText));
}

void ExpectEqual(const VRConfiguration& inExpected, const VRConfiguration& inRead)
{
    EXPECT_EQ(inExpected.projectionType, inRead.projectionType);
    EXPECT_EQ(inExpected.capturedHorizontalView, inRead.capturedHorizontalView);
    EXPECT_EQ(inExpected.capturedVerticalView, inRead.capturedVerticalView);
    EXPECT_EQ(inExpected.fieldOfHorizontalView, inRead.fieldOfHorizontalView);
    EXPECT_EQ(inExpected.fieldOfVerticalView, inRead.fieldOfVerticalView);
    EXPECT_EQ(inExpected.stereoscopicType, inRead.stereoscopicType);
    EXPECT_EQ(inExpected.stereoscopicEye, inRead.stereoscopicEye);
    EXPECT_EQ(inExpected.ambisonicsMonitoringType, inRead.ambisonicsMonitoringType);
    EXPECT_EQ(inExpected.ambisonicsHRIR, inRead.ambisonicsHRIR);
}

void ExpectRoundTrip(const VRConfiguration& inConfiguration)
{
    const UTF8String text = VRConfigurationToSerializedString(inConfiguration);
    ExpectEqual(inConfiguration, VRConfigurationFromSerializedString(text));
}

void ExpectBadCast(const std::string& inText)
{
    try
    {
        Read(inText);
        ADD_FAILURE() << "was read: " << inText;
    }
    catch (const boost::bad_any_cast& error)
    {
        EXPECT_STREQ("boost::bad_any_cast: failed conversion using boost::any_cast", error.what());
    }
}

const VRConfiguration kEveryFieldDiffers = {VRProjectionType_Equirectangular,
                                            361,
                                            181,
                                            109,
                                            110,
                                            VRStereoscopicType_SideBySide,
                                            VRStereoscopicEye_Anaglyph,
                                            AmbisonicsMonitoringType_Binaural,
                                            "hall \"A\"/\\ caf\xC3\xA9 \xF0\x9F\x98\x80\n"_utf8};

TEST(VRConfigurationText, KeepsAllNineFields)
{
    ExpectRoundTrip(kEveryFieldDiffers);
    ExpectRoundTrip(VRConfiguration());
}

TEST(VRConfigurationText, KeepsEvery32BitValue)
{
    VRConfiguration configuration;
    configuration.capturedHorizontalView = -1;
    configuration.capturedVerticalView = INT32_MIN;
    configuration.fieldOfHorizontalView = INT32_MAX;
    configuration.stereoscopicType = static_cast<VRStereoscopicType>(-7);
    ExpectRoundTrip(configuration);
}

TEST(VRConfigurationText, IsOneLineWithItsKeysInOrder)
{
    EXPECT_EQ("{\"ambisonicsHRIR\":\"\",\"ambisonicsMonitoringType\":0,"
              "\"capturedHorizontalView\":360,\"capturedVerticalView\":180,"
              "\"fieldOfHorizontalView\":108,\"fieldOfVerticalView\":108,\"projectionType\":0,"
              "\"stereoscopicEye\":0,\"stereoscopicType\":0,\"version\":3}"_utf8,
              VRConfigurationToSerializedString(VRConfiguration()));
}

TEST(VRConfigurationText, WritesNumbersAsTheir32BitsWithoutASign)
{
    VRConfiguration configuration;
    configuration.capturedHorizontalView = -1;
    const std::string text =
        qelcore::ToNarrowString(VRConfigurationToSerializedString(configuration));
    EXPECT_NE(std::string::npos, text.find("\"capturedHorizontalView\":4294967295,")) << text;
}

TEST(VRConfigurationText, BytesThatAreNoUTF8BecomeReplacements)
{
    VRConfiguration configuration;
    configuration.ambisonicsHRIR = "a\xFFz"_utf8;
    const UTF8String text = VRConfigurationToSerializedString(configuration);
    EXPECT_EQ("a\xEF\xBF\xBDz"_utf8, VRConfigurationFromSerializedString(text).ambisonicsHRIR);
}

TEST(VRConfiguration, HasTheDefaultsWithoutText)
{
    const VRConfiguration read = Read("");
    EXPECT_EQ(0, read.projectionType);
    EXPECT_EQ(360, read.capturedHorizontalView);
    EXPECT_EQ(180, read.capturedVerticalView);
    EXPECT_EQ(108, read.fieldOfHorizontalView);
    EXPECT_EQ(108, read.fieldOfVerticalView);
    EXPECT_EQ(0, read.stereoscopicType);
    EXPECT_EQ(0, read.stereoscopicEye);
    EXPECT_EQ(0, read.ambisonicsMonitoringType);
    EXPECT_EQ(UTF8String(), read.ambisonicsHRIR);
}

TEST(VRConfiguration, HasTheDefaultsForTextThatIsNoJSON)
{
    for (const char* text :
         {"{", "nul", "{\"projectionType\":1", "{\"projectionType\":1}x", "{\"version\":NaN}",
          "{\"projectionType\":1,\"capturedHorizontalView\":1e400}",
          "{\"projectionType\":1,\"ambisonicsHRIR\":\"\\ud83d\"}",
          "{\"projectionType\":1,\"ambisonicsHRIR\":\"\xFF\"}"})
        ExpectEqual(VRConfiguration(), Read(text));
}

TEST(VRConfiguration, HasTheDefaultsForJSONThatIsNoObject)
{
    for (const char* text : {"null", "3", "\"version\"", "[1]", "{}"})
        ExpectEqual(VRConfiguration(), Read(text));
}

TEST(VRConfiguration, OfVersion1IsEquirectangularWhereItSaysNone)
{
    EXPECT_EQ(1, Read("{\"version\":1,\"projectionType\":0}").projectionType);
    EXPECT_EQ(1, Read("{\"version\":1}").projectionType);
    EXPECT_EQ(1, Read("{\"version\":1,\"projectionType\":1}").projectionType);
    EXPECT_EQ(5, Read("{\"version\":1,\"projectionType\":5}").projectionType);
}

TEST(VRConfiguration, OfVersion2IsOfNoProjectionWhereItSaysNone)
{
    EXPECT_EQ(0, Read("{\"version\":2,\"projectionType\":0}").projectionType);
    EXPECT_EQ(0, Read("{\"version\":2}").projectionType);
    EXPECT_EQ(0, Read("{\"version\":0}").projectionType);
}

TEST(VRConfiguration, BeforeVersion3IgnoresAmbisonics)
{
    for (const char* version : {"0", "1", "2"})
    {
        const VRConfiguration read =
            Read(std::string("{\"version\":") + version +
                 ",\"ambisonicsMonitoringType\":1,\"ambisonicsHRIR\":\"hall\"}");
        EXPECT_EQ(0, read.ambisonicsMonitoringType) << version;
        EXPECT_EQ(UTF8String(), read.ambisonicsHRIR) << version;
    }
    EXPECT_NO_THROW(Read("{\"version\":2,\"ambisonicsHRIR\":7}"));
}

TEST(VRConfiguration, WithoutAVersionIsReadAsTheCurrentOne)
{
    const VRConfiguration read =
        Read("{\"ambisonicsMonitoringType\":1,\"ambisonicsHRIR\":\"hall\"}");
    EXPECT_EQ(0, read.projectionType);
    EXPECT_EQ(1, read.ambisonicsMonitoringType);
    EXPECT_EQ("hall"_utf8, read.ambisonicsHRIR);
}

TEST(VRConfiguration, OfALaterVersionIsReadAsTheCurrentOneAndNewKeysArePassedOver)
{
    const VRConfiguration read = Read(
        "{\"version\":40,\"later\":[{\"a\":1}],\"stereoscopicEye\":2,\"ambisonicsHRIR\":\"x\"}");
    EXPECT_EQ(2, read.stereoscopicEye);
    EXPECT_EQ("x"_utf8, read.ambisonicsHRIR);
}

TEST(VRConfiguration, ReadsAnyValueWithoutLookingAtItsRange)
{
    EXPECT_EQ(7, Read("{\"stereoscopicType\":7}").stereoscopicType);
    EXPECT_EQ("Unknown"_utf8,
              VRStereoscopicTypeToString(Read("{\"stereoscopicType\":7}").stereoscopicType));
}

TEST(VRConfiguration, TakesTheLow32BitsOfANumber)
{
    EXPECT_EQ(5, Read("{\"capturedVerticalView\":4294967301}").capturedVerticalView);
    EXPECT_EQ(-1, Read("{\"capturedVerticalView\":4294967295}").capturedVerticalView);
    EXPECT_EQ(-1, Read("{\"capturedVerticalView\":18446744073709551615}").capturedVerticalView);
}

TEST(VRConfiguration, TakesTheLow16BitsOfTheVersion)
{
    EXPECT_EQ(1, Read("{\"version\":65537}").projectionType);
    EXPECT_EQ(""_utf8, Read("{\"version\":65536,\"ambisonicsHRIR\":\"x\"}").ambisonicsHRIR);
    EXPECT_EQ("x"_utf8, Read("{\"version\":4294967299,\"ambisonicsHRIR\":\"x\"}").ambisonicsHRIR);
}

TEST(VRConfiguration, RaisesWhereANumberBelongsAndIsNot)
{
    for (const char* key : {"version", "projectionType", "capturedHorizontalView",
                            "capturedVerticalView", "fieldOfHorizontalView", "fieldOfVerticalView",
                            "stereoscopicType", "stereoscopicEye", "ambisonicsMonitoringType"})
        for (const char* value : {"\"1\"", "-1", "-0", "1.0", "1e2", "18446744073709551616", "true",
                                  "null", "[1]", "{}"})
            ExpectBadCast(std::string("{\"") + key + "\":" + value + "}");
}

TEST(VRConfiguration, RaisesWhereTextBelongsAndIsNot)
{
    for (const char* value : {"7", "-1", "0.5", "false", "null", "[\"x\"]", "{}"})
        ExpectBadCast(std::string("{\"ambisonicsHRIR\":") + value + "}");
}

TEST(VRConfiguration, TakesTheLastOfSeveralValuesOfOneKey)
{
    EXPECT_EQ(2, Read("{\"stereoscopicEye\":1,\"stereoscopicEye\":2}").stereoscopicEye);
    EXPECT_EQ(2, Read("{\"stereoscopicEye\":\"x\",\"stereoscopicEye\":2}").stereoscopicEye);
    ExpectBadCast("{\"stereoscopicEye\":2,\"stereoscopicEye\":\"x\"}");
}

TEST(VRConfiguration, KeysAreTheirVeryLetters)
{
    ExpectEqual(VRConfiguration(), Read("{\"ProjectionType\":1,\"projectionType \":1}"));
    EXPECT_EQ(1, Read("{\"projection\\u0054ype\":1}").projectionType);
}

} // namespace
