#include <string>

#include <gtest/gtest.h>

#include "RKVRViewerTypes.h"

// What somebody may have put where VR text belongs.
namespace
{

using namespace RK;
using qelcore::ToUTF8String;

TEST(LargeVRConfiguration, AStringOf100MBGoesThroughBothWays)
{
    constexpr std::size_t kLength = 100u << 20;
    VRConfiguration configuration = VRConfigurationFromSerializedString(
        ToUTF8String("{\"ambisonicsHRIR\":\"" + std::string(kLength, 'x') + "\"}"));
    ASSERT_EQ(kLength, configuration.ambisonicsHRIR.size());

    const qelcore::UTF8String text = VRConfigurationToSerializedString(configuration);
    EXPECT_EQ(kLength, VRConfigurationFromSerializedString(text).ambisonicsHRIR.size());
}

TEST(LargeVRConfiguration, ANestOf100MBGivesTheDefaults)
{
    const VRConfiguration read = VRConfigurationFromSerializedString(
        ToUTF8String("{\"projectionType\":1,\"deep\":" + std::string(100u << 20, '[')));
    EXPECT_EQ(VRProjectionType_None, read.projectionType);
}

TEST(LargeVRConfiguration, AKeyAMillionTimesIsReadOnce)
{
    std::string text = "{";
    for (int i = 0; i < 1000000; ++i)
        text += "\"stereoscopicEye\":1,";
    const VRConfiguration read =
        VRConfigurationFromSerializedString(ToUTF8String(text + "\"stereoscopicEye\":2}"));
    EXPECT_EQ(VRStereoscopicEye_Anaglyph, read.stereoscopicEye);
}

} // namespace
