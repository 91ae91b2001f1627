// "play --scrub", and the errors at the end of a play.
#include <numeric>

#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::HasSubstr;
using testing::Not;

class RkhostScrubTest : public RkhostTest
{
protected:
    static long Number(const std::string& inRow) { return std::strtol(inRow.c_str(), nullptr, 10); }
    std::string WriteFrames(int inCount)
    {
        std::vector<int> numbers(static_cast<std::size_t>(inCount));
        std::iota(numbers.begin(), numbers.end(), 1);
        return mFolder.WriteFrames("quadrants-420.jpg", "f", numbers);
    }
};

TEST_F(RkhostScrubTest, FramesAskedForAgainJoinTheFirstRequestOrComeFromTheCache)
{
    const Ended ended = Run({"play", "--scrub", "7", "--passes", "1", WriteFrames(300)});

    EXPECT_EQ(0, ended.mCode) << ended.mError;
    const long decoded = Number(Row(ended, "requests decoded"));
    EXPECT_GT(Number(Row(ended, "requests joined")), 0) << ended.mOutput;
    EXPECT_GT(decoded, 0);
    EXPECT_LT(decoded, 300);
    EXPECT_EQ("300 0", Row(ended, "frames"));
}

TEST_F(RkhostScrubTest, TheWarmPassAsksInTheSameOrder)
{
    const Ended ended = Run({"play", "--scrub=3", WriteFrames(100)});

    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(Row(ended, "checksum"), HasSubstr(" same"));
    EXPECT_THAT(Row(ended, "hit ratio"), HasSubstr(" 100.0 %"));
}

TEST_F(RkhostScrubTest, PlayedInTheirOrderNoRequestJoinsAnother)
{
    const Ended ended = Run({"play", WriteFrames(20)});

    EXPECT_EQ("20", Row(ended, "requests decoded"));
    EXPECT_EQ("0", Row(ended, "requests joined"));
}

TEST_F(RkhostScrubTest, ErrorsAreToldOnceMoreAtTheEndAsOne)
{
    const std::string path = mFolder.WriteFrames("quadrants.png", "f", {1, 2, 4, 6});

    const Ended ended = Run({"play", path});

    EXPECT_EQ(1, ended.mCode);
    EXPECT_EQ(1, Count(ended.mOutput, "Frames failed")) << ended.mOutput;
    EXPECT_THAT(
        ended.mOutput,
        HasSubstr("\nFrames failed: Not every frame could be shown. The first that failed:\n"
                  "\nReading with importer: "));
    EXPECT_THAT(ended.mOutput, HasSubstr("\nReading from file: " + mFolder.Path("f0003.png") +
                                         "\nAt frame number: 2"
                                         "\nException: No such file or directory\n"));
    EXPECT_THAT(ended.mOutput, Not(HasSubstr("f0005.png")));
}

TEST_F(RkhostScrubTest, WithoutErrorsNothingIsToldOfThem)
{
    EXPECT_THAT(Run({"play", WriteFrames(3)}).mOutput, Not(HasSubstr("failed")));
}

TEST_F(RkhostScrubTest, ASeedIsAWholeNumberAboveNothing)
{
    const Ended ended = Run({"play", "--scrub", "0", "f.png"});
    EXPECT_EQ(2, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("--scrub takes a whole number from 1 up"));
}

} // namespace
} // namespace RKHostTests
