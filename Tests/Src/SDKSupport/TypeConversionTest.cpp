#include "RKSDKConversion.h"

#include <gtest/gtest.h>

#include <string>

#include "FarNumbers.h"

namespace
{

using namespace RK;
using namespace qelmediatypes;
using RKTests::FarNumbers;

TEST(SDKFieldType, IsTheSameNumberOnBothSidesOrUnknown)
{
    for (const std::int32_t number : FarNumbers())
    {
        const std::int32_t expected = number >= -1 && number <= 4 ? number : 3;
        EXPECT_EQ(expected, SDKToBEFieldType(number)) << number;
        EXPECT_EQ(expected, BEToSDKFieldType(static_cast<FieldType>(number))) << number;
    }
    EXPECT_EQ(kFieldType_Unknown, SDKToBEFieldType(5));
}

TEST(SDKAlphaType, OfPremultipliedAlphaHangsOnTheMatteColour)
{
    EXPECT_EQ(3, BEToSDKAlphaType(kAlphaChannel_Premultiplied, kRGBColor_White));
    EXPECT_EQ(2, BEToSDKAlphaType(kAlphaChannel_Premultiplied, kRGBColor_Black));
    for (const RGBColor& colour : {RGBColor{0.5f, 0.5f, 0.5f}, RGBColor{1, 1, 0}, RGBColor{0, 0, 1},
                                   RGBColor{2, 2, 2}, RGBColor{-1, 0, 0}})
        EXPECT_EQ(4, BEToSDKAlphaType(kAlphaChannel_Premultiplied, colour));
}

TEST(SDKAlphaType, OfAnyOtherAlphaDoesNotLookAtTheColour)
{
    for (const RGBColor& colour : {kRGBColor_White, kRGBColor_Black, RGBColor{0.5f, 0.5f, 0.5f}})
    {
        for (const std::int32_t number : FarNumbers())
        {
            if (number == kAlphaChannel_Premultiplied)
                continue;
            const std::int32_t expected = number == 0 ? 5 : number == 1 ? 1 : number == 3 ? 7 : 0;
            EXPECT_EQ(expected, BEToSDKAlphaType(static_cast<AlphaChannel>(number), colour))
                << number;
        }
    }
}

TEST(SDKAlphaType, ComesBackByItsTable)
{
    constexpr std::int32_t kTable[] = {3, 1, 2, 2, 2, 0, 3, 3};
    for (const std::int32_t number : FarNumbers())
        EXPECT_EQ(number >= 0 && number <= 7 ? kTable[number] : 0, SDKToBEAlphaType(number))
            << number;
}

TEST(SDKTimeFormat, FollowsTheTableOfTimeDisplays)
{
    constexpr QzTimeFormat kTable[] = {0x20018, 0x20019, 0x4001E, 0x2001E, 0x2001E,
                                       0x20032, 0x4003C, 0x2003C, 0x2003C, 0x10000,
                                       0x20018, 0,       0,       0x20030};
    for (const std::int32_t number : FarNumbers())
        EXPECT_EQ(number >= 100 && number <= 113 ? kTable[number - 100] : 0u,
                  TimeDisplayToSDKTimeFormat(static_cast<TimeDisplay>(number)))
            << number;
}

TEST(SDKPulldownCadence, IsTheSameNumberOnBothSidesOrNone)
{
    for (const std::int32_t number : FarNumbers())
    {
        const std::int32_t expected = number >= 1 && number <= 10 ? number : 0;
        EXPECT_EQ(expected, SDKToQELPulldownCadence(number)) << number;
        EXPECT_EQ(expected, QELToSDKPulldownCadence(static_cast<PulldownCadence>(number)))
            << number;
    }
}

std::string PluginID(const qelcore::utility::Guid& inGuid)
{
    qzPluginID id;
    std::fill(std::begin(id), std::end(id), '?');
    GuidToPluginID(inGuid, id);
    EXPECT_EQ('\0', id[36]);
    return std::string(id, 36);
}

TEST(PluginID, IsTheUsualNotationInLowerCase)
{
    const std::string text = "267A9BAA-13DE-47E7-9652-6067D5212D2E";
    EXPECT_EQ("267a9baa-13de-47e7-9652-6067d5212d2e",
              PluginID(qelcore::utility::Guid::StringToGUID(text.data(), text.size())));
}

TEST(PluginID, OfAGuidOfZerosIsZerosAndSeparators)
{
    EXPECT_EQ("00000000-0000-0000-0000-000000000000", PluginID(qelcore::utility::Guid()));
}

} // namespace
