#include "CommandLine.h"

#include <gtest/gtest.h>

#include "HostError.h"

namespace RKHostTests
{
namespace
{

using RKHost::Given;
using RKHost::HostError;

using Arguments = std::vector<std::string>;

struct Parsed
{
    bool mFlag = false;
    std::string mText;
    Arguments mOthers;
};

Parsed Parse(const Arguments& inArguments)
{
    Parsed parsed;
    parsed.mOthers = RKHost::ParseArguments(
        "rkhost cache turn", "cache turn",
        {{"--flag", false, [&](const Given&) { parsed.mFlag = true; }},
         {"--text", true, [&](const Given& g) { parsed.mText = g.Text("a text"); }}},
        inArguments);
    return parsed;
}

std::string RefusalOf(const Arguments& inArguments)
{
    try
    {
        Parse(inArguments);
    }
    catch (const HostError& error)
    {
        EXPECT_EQ(RKHost::kExit_Usage, error.Code());
        return error.what();
    }
    return std::string();
}

TEST(CommandLine, ByteCountsHaveUnitsOf1024)
{
    const auto bytes = [](const std::string& inText)
    {
        std::uint64_t count = 0;
        return RKHost::ParseByteCount(inText, count) ? count : 0;
    };
    EXPECT_EQ(1234u, bytes("1234"));
    EXPECT_EQ(std::uint64_t{3} << 10, bytes("3K"));
    EXPECT_EQ(std::uint64_t{512} << 20, bytes("512MiB"));
    EXPECT_EQ(std::uint64_t{2} << 30, bytes("2GB"));
    EXPECT_EQ(std::uint64_t{1} << 40, bytes("1T"));
    EXPECT_EQ(INT64_MAX, static_cast<std::int64_t>(bytes("9223372036854775807")));
    for (const char* wrong : {"", "0", "-1", "1.5G", "G", "1X", "1 G", "1Gi", "1GBB", "1g",
                              "9223372036854775808", "8388608T", "99999999999999999999"})
        EXPECT_EQ(0u, bytes(wrong)) << wrong;
}

TEST(CommandLine, DurationsHaveAUnit)
{
    const auto seconds = [](const std::string& inText)
    {
        std::int64_t value = -1;
        return RKHost::ParseDuration(inText, value) ? value : -1;
    };
    EXPECT_EQ(0, seconds("0s"));
    EXPECT_EQ(30, seconds("30s"));
    EXPECT_EQ(600, seconds("10m"));
    EXPECT_EQ(7200, seconds("2h"));
    EXPECT_EQ(7 * 86400, seconds("7d"));
    EXPECT_EQ(std::int64_t{36500} * 86400, seconds("36500d"));
    for (const char* wrong : {"", "s", "7", "-1s", "1.5h", "1 h", "1w", "1D", "1hm", "36501d",
                              "9223372036854775807d", "99999999999999999999s"})
        EXPECT_EQ(-1, seconds(wrong)) << wrong;
}

TEST(CommandLine, ADurationIsWrittenAsItIsRead)
{
    for (const char* text : {"0s", "59s", "61s", "10m", "25h", "7d"})
    {
        std::int64_t seconds = -1;
        EXPECT_TRUE(RKHost::ParseDuration(text, seconds));
        EXPECT_EQ(text, RKHost::DurationText(seconds));
    }
    EXPECT_EQ("2d", RKHost::DurationText(48 * 3600));
}

TEST(CommandLine, OptionsStandAnywhereBeforeTwoDashes)
{
    const Parsed parsed = Parse({"a", "--text", "t", "b", "--flag", "--", "--text"});
    EXPECT_TRUE(parsed.mFlag);
    EXPECT_EQ("t", parsed.mText);
    EXPECT_EQ((Arguments{"a", "b", "--text"}), parsed.mOthers);
    EXPECT_EQ("--flag", Parse({"--text", "--flag"}).mText);
    EXPECT_EQ("=", Parse({"--text=="}).mText);
    EXPECT_EQ((Arguments{"-", ""}), Parse({"-", ""}).mOthers);
}

TEST(CommandLine, ARefusalNamesWhatIsWrongAndWhoHelps)
{
    for (const Arguments& wrong :
         {Arguments{"--text"}, Arguments{"--text="}, Arguments{"--flag=1"}, Arguments{"--txt"}})
    {
        const std::string refusal = RefusalOf(wrong);
        EXPECT_NE(std::string::npos, refusal.find(wrong[0].substr(0, wrong[0].find('='))));
        EXPECT_NE(std::string::npos, refusal.find("rkhost cache turn --help")) << refusal;
    }
}

TEST(CommandLine, HelpIsNotAskedForBehindTwoDashes)
{
    EXPECT_TRUE(RKHost::AsksForHelp({"a", "-h"}));
    EXPECT_FALSE(RKHost::AsksForHelp({"--", "--help"}));
}

} // namespace
} // namespace RKHostTests
