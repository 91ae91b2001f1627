// rkhost prints and draws the ease between two keyframes.
#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::HasSubstr;
using testing::StartsWith;

class RkhostCurveTest : public RkhostTest
{
protected:
    static Ended Curve(std::vector<std::string> inArguments)
    {
        inArguments.insert(inArguments.begin(), "curve");
        return Run(inArguments);
    }
    static std::string Refusal(const std::vector<std::string>& inArguments)
    {
        const Ended ended = Curve(inArguments);
        EXPECT_EQ(2, ended.mCode) << ended.mOutput;
        return ended.mError;
    }
};

TEST_F(RkhostCurveTest, EachFrameHasItsPartOfTheWayAndItsSpeed)
{
    const Ended ended = Curve({"--out-influence", "0.25", "--in-influence=0.25", "--out-speed", "1",
                               "--in-speed", "1", "--frames", "4"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("frame     way   speed\n"
              "    0  0.0000       1\n"
              "    1  0.2500       1\n"
              "    2  0.5000       1\n"
              "    3  0.7500       1\n"
              "    4  1.0000       1\n",
              ended.mOutput);
}

TEST_F(RkhostCurveTest, APictureHasTheCurveItsHandlesAndASpeed)
{
    const std::string path = mFolder.Path("ease.svg");
    const Ended ended = Curve({"--out-influence", "0.5", "--svg", path});
    ASSERT_EQ(0, ended.mCode) << ended.mError;
    const std::string picture = mFolder.Read("ease.svg");
    EXPECT_THAT(picture, StartsWith("<?xml"));
    EXPECT_THAT(picture, HasSubstr("out 50.0 % at speed 0.00, in 33.3 % at speed 0.00"));
    EXPECT_EQ(2, Count(picture, "<polyline"));
    // The left graph is 280 pixels wide and 56 in, 84 down: the handle of departure at (0.5, 0).
    EXPECT_THAT(picture, HasSubstr("M56.00,364.00 L196.00,364.00"));
    for (const char* element : {"svg", "g", "text"})
        EXPECT_EQ(Count(picture, std::string("<") + element + " ") +
                      Count(picture, std::string("<") + element + ">"),
                  Count(picture, std::string("</") + element + ">"))
            << element;
}

TEST_F(RkhostCurveTest, WhatMakesNoSenseIsRefusedByName)
{
    EXPECT_THAT(Refusal({"--out-influence", "1.5"}), HasSubstr("--out-influence"));
    EXPECT_THAT(Refusal({"--in-influence", "-0.1"}), HasSubstr("--in-influence"));
    EXPECT_THAT(Refusal({"--in-speed", "fast"}), HasSubstr("fast"));
    EXPECT_THAT(Refusal({"--out-speed", "nan"}), HasSubstr("--out-speed"));
    EXPECT_THAT(Refusal({"--frames", "0"}), HasSubstr("--frames"));
    EXPECT_THAT(Refusal({"--svg="}), HasSubstr("--svg"));
    EXPECT_THAT(Refusal({"ease.svg"}), HasSubstr("ease.svg"));
}

TEST_F(RkhostCurveTest, APictureThatCannotBeWrittenIsAFailure)
{
    const Ended ended = Curve({"--svg", mFolder.Path("none/ease.svg")});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("ease.svg"));
}

TEST_F(RkhostCurveTest, TellsItsOptions)
{
    EXPECT_THAT(Curve({"--help"}).mOutput, HasSubstr("--out-influence"));
}

} // namespace
} // namespace RKHostTests
