#include "Options.h"

#include <gtest/gtest.h>

#include "HostError.h"

namespace RKHostTests
{
namespace
{

using RKHost::HostError;
using RKHost::Options;
using RKHost::ParseOptions;
using RKHost::Word;

using Arguments = std::vector<std::string>;

std::string RefusalOf(const Arguments& inArguments)
{
    try
    {
        ParseOptions(inArguments);
    }
    catch (const HostError& error)
    {
        EXPECT_EQ(RKHost::kExit_Usage, error.Code());
        return error.what();
    }
    return std::string();
}

TEST(Options, APathAloneIsPlayedWhole)
{
    const Options options = ParseOptions({"play", "a_1.png"});
    EXPECT_EQ(Word::kPlay, options.mWord);
    EXPECT_EQ("a_1.png", options.mPath);
    EXPECT_EQ("", options.mContactSheet);
    EXPECT_EQ("", options.mAnalysis);
    EXPECT_EQ(0, options.mLimit);
    EXPECT_FALSE(options.mStill);
    EXPECT_FALSE(options.mEveryByte);
}

TEST(Options, OptionsStandBeforeOrBehindThePath)
{
    const Options options = ParseOptions(
        {"play", "--still", "--contact-sheet", "s.png", "a.png", "--every-byte", "--limit=7"});
    EXPECT_EQ("a.png", options.mPath);
    EXPECT_EQ("s.png", options.mContactSheet);
    EXPECT_EQ(7, options.mLimit);
    EXPECT_TRUE(options.mStill);
    EXPECT_TRUE(options.mEveryByte);
}

TEST(Options, WhatFollowsTwoDashesIsAPath)
{
    EXPECT_EQ("--still", ParseOptions({"play", "--", "--still"}).mPath);
}

TEST(Options, HelpIsToldWhereverItIsAskedFor)
{
    EXPECT_EQ(Word::kHelp, ParseOptions({"--help"}).mWord);
    EXPECT_EQ(Word::kHelp, ParseOptions({"play", "-h", "--nonsense"}).mWord);
    EXPECT_EQ(Word::kVersion, ParseOptions({"--version"}).mWord);
    EXPECT_EQ(Word::kInfo, ParseOptions({"info"}).mWord);
}

TEST(Options, EachArgumentOfTheConsoleIsALine)
{
    const Options options = ParseOptions({"console", "help", "RK.PurgeMediaManager 5"});
    EXPECT_EQ(Word::kConsole, options.mWord);
    EXPECT_EQ((Arguments{"help", "RK.PurgeMediaManager 5"}), options.mLines);
}

TEST(Options, WhatFollowsCacheIsLeftToItsVerb)
{
    const Options options = ParseOptions({"cache", "manage", "--help"});
    EXPECT_EQ(Word::kCache, options.mWord);
    EXPECT_EQ((Arguments{"manage", "--help"}), options.mLines);
}

TEST(Options, WhatMakesNoSenseIsRefusedByName)
{
    EXPECT_NE("", RefusalOf({}));
    EXPECT_NE(std::string::npos, RefusalOf({"dance"}).find("dance"));
    EXPECT_NE(std::string::npos, RefusalOf({"play"}).find("path"));
    EXPECT_NE(std::string::npos, RefusalOf({"play", ""}).find("path"));
    EXPECT_NE(std::string::npos, RefusalOf({"play", "a.png", "b.png"}).find("b.png"));
    EXPECT_NE(std::string::npos, RefusalOf({"play", "--fast", "a.png"}).find("--fast"));
    EXPECT_NE(std::string::npos, RefusalOf({"play", "a.png", "--contact-sheet"}).find("value"));
    EXPECT_NE("", RefusalOf({"play", "a.png", "--contact-sheet="}));
    EXPECT_NE("", RefusalOf({"info", "more"}));
}

TEST(Options, ALimitIsAWholeNumberAboveNothing)
{
    EXPECT_EQ(1, ParseOptions({"play", "--limit", "1", "a.png"}).mLimit);
    for (const char* wrong : {"0", "-1", "", "x", "3x", " 3", "99999999999"})
        EXPECT_NE(std::string::npos, RefusalOf({"play", "--limit", wrong, "a.png"}).find("--limit"))
            << wrong;
}

TEST(Options, MemoryIsAskedForByPlayAndMonitor)
{
    for (const char* word : {"play", "monitor"})
    {
        const Options options =
            ParseOptions({word, "a1.png", "--budget", "1G", "--reserve=64M", "--high-throughput",
                          "--priority", "3", "--suite", "s"});
        EXPECT_EQ(std::uint64_t{1} << 30, options.mBudgetBytes);
        EXPECT_EQ(std::uint64_t{64} << 20, options.mReserveBytes);
        EXPECT_TRUE(options.mHighThroughput);
        EXPECT_EQ(3, options.mPriority);
        EXPECT_EQ("s", options.mSuite);
    }
}

TEST(Options, TheBalancerIsAskedOnlyWhereAnOptionSaysSo)
{
    EXPECT_FALSE(ParseOptions({"play", "a1.png", "--reserve=1M"}).mBalanced);
    for (const char* option : {"--budget=1G", "--priority=0", "--suite=s"})
        EXPECT_TRUE(ParseOptions({"play", option, "a1.png"}).mBalanced) << option;
}

TEST(Options, PlayEndsAfterTwoPassesUnlessItIsToldOtherwise)
{
    EXPECT_EQ(2, ParseOptions({"play", "a1.png"}).mPasses);
    EXPECT_EQ(5, ParseOptions({"play", "a1.png", "--passes=5"}).mPasses);
    EXPECT_EQ(0, ParseOptions({"play", "a1.png", "--seconds=1.5"}).mPasses);
    EXPECT_EQ(0, ParseOptions({"monitor", "a1.png"}).mPasses);
}

TEST(Options, MonitorAndBalancePlayAtARateUnlessTheyAreToldOtherwise)
{
    EXPECT_EQ(0, ParseOptions({"play", "a1.png"}).mFramesPerSecond);
    EXPECT_EQ(25, ParseOptions({"monitor", "a1.png"}).mFramesPerSecond);
    EXPECT_EQ(1000, ParseOptions({"balance", "a1.png", "--rate=1000"}).mFramesPerSecond);
}

TEST(Options, AMonitorPlaysOrLooksAtAProcess)
{
    EXPECT_EQ(4711, ParseOptions({"monitor", "--pid", "4711", "--count=3"}).mProcess);
    EXPECT_NE(std::string::npos, RefusalOf({"monitor"}).find("path"));
    EXPECT_NE(std::string::npos, RefusalOf({"monitor", "--pid=4711", "a1.png"}).find("--pid"));
}

TEST(Options, AnOptionOfAnotherCommandIsRefusedByName)
{
    const std::vector<Arguments> wrong = {{"play", "--pid", "1", "a1.png"},
                                          {"monitor", "--contact-sheet", "s.png", "a1.png"},
                                          {"balance", "--reserve=1M", "a1.png"},
                                          {"play", "--players=2", "a1.png"}};
    for (const Arguments& arguments : wrong)
    {
        const std::string refusal = RefusalOf(arguments);
        EXPECT_NE(std::string::npos, refusal.find(arguments[0] + " has no option --")) << refusal;
    }
    EXPECT_NE(std::string::npos, RefusalOf({"play", "--still=no", "a.png"}).find("no value"));
}

TEST(Options, AmountsAreAboveNothing)
{
    EXPECT_EQ(0.5, ParseOptions({"monitor", "--interval=0.5", "a1.png"}).mIntervalSeconds);
    for (const char* wrong : {"0", "-1", "", "x", "1s", "nan", "inf", "1e300"})
        EXPECT_NE("", RefusalOf({"monitor", std::string("--interval=") + wrong, "a1.png"}))
            << wrong;
    EXPECT_NE("", RefusalOf({"play", "--budget=0", "a1.png"}));
    EXPECT_NE("", RefusalOf({"play", "--suite=", "a1.png"}));
}

} // namespace
} // namespace RKHostTests
