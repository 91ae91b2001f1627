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

} // namespace
} // namespace RKHostTests
