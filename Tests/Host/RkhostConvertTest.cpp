// rkhost tells what values of the plug-in SDK mean.
#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::HasSubstr;

class RkhostConvertTest : public RkhostTest
{
protected:
    static std::string Converted(std::vector<std::string> inArguments)
    {
        inArguments.insert(inArguments.begin(), "convert");
        const Ended ended = Run(inArguments);
        EXPECT_EQ(0, ended.mCode) << ended.mError;
        return ended.mOutput;
    }
};

TEST_F(RkhostConvertTest, NumbersAreToldBothWays)
{
    EXPECT_EQ("sdk 7 -> be 10\nbe 7 -> sdk 12\n", Converted({"audio-sample-type", "7"}));
    EXPECT_EQ("sdk 0x78 -> be 0\nbe 0x78 -> sdk 0\n", Converted({"audio-channel-label", "0x78"}));
    EXPECT_EQ("sdk 3 -> be 2\nbe 3 -> sdk 4\n", Converted({"audio-channel-type", "3"}));
    EXPECT_EQ("sdk 11 -> be 0\nbe 11 -> sdk 0\n", Converted({"pulldown", "11"}));
}

TEST_F(RkhostConvertTest, ANegativeNumberIsNoOption)
{
    EXPECT_EQ("sdk -1 -> be -1\nbe -1 -> sdk -1\n", Converted({"field-type", "-1"}));
}

TEST_F(RkhostConvertTest, SomeKindsHaveOneWayOnly)
{
    EXPECT_EQ("be 102 -> sdk 0x4001E\n", Converted({"time-display", "102"}));
    EXPECT_EQ("sdk 4 -> be 5\n", Converted({"render-quality", "4"}));
    EXPECT_EQ("sdk 5 -> be refused: 0x80000001\n", Converted({"render-quality", "5"}));
    EXPECT_EQ(
        "be 267A9BAA-13DE-47e7-9652-6067D5212D2E -> sdk 267a9baa-13de-47e7-9652-6067d5212d2e\n",
        Converted({"plugin-id", "267A9BAA-13DE-47e7-9652-6067D5212D2E"}));
}

TEST_F(RkhostConvertTest, APixelFormatIsTakenByNameOrNumber)
{
    EXPECT_EQ("sdk BGRA -> be 0x0001010841524742\n", Converted({"pixel-format", "BGRA"}));
    EXPECT_EQ("sdk 0x41524742 -> be 0x0001010841524742\n",
              Converted({"pixel-format", "0x41524742"}));
    EXPECT_EQ("sdk @abc -> be 0xFFFFFFFF63626140 (custom)\n", Converted({"pixel-format", "@abc"}));
    EXPECT_EQ("sdk nope -> be 0xFFFFFFFF66646162 (not valid)\n",
              Converted({"pixel-format", "nope"}));
}

TEST_F(RkhostConvertTest, TheMatteColourDecidesOverPremultipliedAlpha)
{
    EXPECT_EQ("sdk 2 -> be 2\nbe 2 -> sdk 2\n", Converted({"alpha", "2"}));
    EXPECT_EQ("sdk 2 -> be 2\nbe 2 -> sdk 3\n", Converted({"alpha", "2", "--matte", "FFFFFF"}));
    EXPECT_EQ("sdk 2 -> be 2\nbe 2 -> sdk 4\n", Converted({"alpha", "2", "--matte=808080"}));
}

TEST_F(RkhostConvertTest, WhatMakesNoSenseIsAWrongUse)
{
    const std::vector<std::vector<std::string>> uses = {
        {"convert"},
        {"convert", "alpha"},
        {"convert", "alpha", "1", "2"},
        {"convert", "colour", "1"},
        {"convert", "alpha", "one"},
        {"convert", "alpha", ""},
        {"convert", "alpha", " 1"},
        {"convert", "alpha", "4294967296"},
        {"convert", "alpha", "-2147483649"},
        {"convert", "alpha", "1", "--matte", "white"},
        {"convert", "plugin-id", "267A9BAA"},
    };
    for (const std::vector<std::string>& use : uses)
    {
        const Ended ended = Run(use);
        EXPECT_EQ(2, ended.mCode) << use.back();
        EXPECT_EQ("", ended.mOutput);
        EXPECT_THAT(ended.mError, HasSubstr("rkhost convert --help"));
    }
}

TEST_F(RkhostConvertTest, HelpListsTheKinds)
{
    const std::string help = Converted({"--help"});
    for (const char* kind : {"audio-channel-type", "pixel-format", "plugin-id", "--matte"})
        EXPECT_THAT(help, HasSubstr(kind));
}

} // namespace
} // namespace RKHostTests
