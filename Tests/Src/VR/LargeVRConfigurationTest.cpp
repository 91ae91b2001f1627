#include <string>

#include <gtest/gtest.h>

#include "RKVRViewerTypes.h"
#include "Support/Sanitizers.h"

// What somebody may have put where VR text belongs.
namespace
{

using namespace RK;
using qelcore::ToUTF8String;

// 100 MB, and less where each byte costs a multiple.
constexpr std::size_t kLength = RK_TEST_SANITIZER ? 10u << 20 : 100u << 20;

TEST(LargeVRConfiguration, AStringOf100MBGoesThroughBothWays)
{
    VRConfiguration configuration = VRConfigurationFromSerializedString(
        ToUTF8String("{\"ambisonicsHRIR\":\"" + std::string(kLength, 'x') + "\"}"));
    ASSERT_EQ(kLength, configuration.ambisonicsHRIR.size());

    const qelcore::UTF8String text = VRConfigurationToSerializedString(configuration);
    EXPECT_EQ(kLength, VRConfigurationFromSerializedString(text).ambisonicsHRIR.size());
}

TEST(LargeVRConfiguration, ANestOf100MBGivesTheDefaults)
{
    const VRConfiguration read = VRConfigurationFromSerializedString(
        ToUTF8String("{\"projectionType\":1,\"deep\":" + std::string(kLength, '[')));
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
