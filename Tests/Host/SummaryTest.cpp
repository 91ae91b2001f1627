// What the commands print, as texts of given figures.
#include "Summary.h"

#include <gmock/gmock.h>

#include "BalanceCommand.h"
#include "BalanceTable.h"
#include "Text.h"

namespace RKHostTests
{
namespace
{

using RKHost::BalanceFigures;
using RKHost::BalanceTable;
using RKHost::GrantFigures;
using RKHost::PassFigures;
using RKHost::PlayedFigures;
using RKHost::SummaryFigures;
using RKHost::SummaryTable;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::uint64_t kMiB = 1 << 20;

PassFigures Pass(int inFrames, int inHits, std::uint64_t inChecksum)
{
    PassFigures pass;
    pass.mFrames = inFrames;
    pass.mHits = inHits;
    pass.mSeconds = 2;
    pass.mChecksum = inChecksum;
    return pass;
}

TEST(PlayedFigures, AllPassesAfterTheFirstAreWarmTogether)
{
    PlayedFigures played;
    for (const int hits : {0, 10, 30})
        played.Add(Pass(40, hits, 7));
    EXPECT_EQ(40, played.mCold.mFrames);
    EXPECT_EQ(2, played.mWarmPasses);
    EXPECT_EQ(80, played.mWarm.mFrames);
    EXPECT_EQ(40, played.mWarm.mHits);
    EXPECT_EQ(0, played.mUnlikePasses);
}

RKHost::AnalysisFigures Analyses(int inComputed, int inFromMemory, int inFromDisk)
{
    RKHost::AnalysisFigures figures;
    figures.mComputed = inComputed;
    figures.mFromMemory = inFromMemory;
    figures.mFromDisk = inFromDisk;
    const auto count = static_cast<std::uint64_t>(figures.Count());
    figures.mMeanColorSums = {count * 0x1080, count * 0x2000, count * 0x307f};
    return figures;
}

TEST(SummaryTable, ShowsWhereAnalysesCameFromInTheFirstPassAndInAllOthers)
{
    PlayedFigures played;
    PassFigures pass = Pass(5, 0, 7);
    pass.mAnalysis = Analyses(3, 0, 2);
    played.Add(pass);
    pass.mAnalysis = Analyses(0, 5, 0);
    played.Add(pass);
    pass.mAnalysis = Analyses(1, 4, 0);
    played.Add(pass);
    SummaryFigures figures;
    figures.mPlayed = played;
    const std::string table = SummaryTable(figures);
    EXPECT_THAT(table, ContainsRegex("\nanalysis computed +3 +1\n"));
    EXPECT_THAT(table, ContainsRegex("\nanalysis from memory +0 +9\n"));
    EXPECT_THAT(table, ContainsRegex("\nanalysis from disk +2 +0\n"));
    EXPECT_THAT(table, ContainsRegex("\nanalysis failed +0 +0\n"));
    EXPECT_THAT(table, ContainsRegex("\nmean colour +#302011 +#302011\n")) << "rounded";
}

TEST(SummaryTable, SaysNothingOfAnalysesThatNobodyAskedFor)
{
    SummaryFigures figures;
    figures.mPlayed.Add(Pass(5, 0, 7));
    EXPECT_THAT(SummaryTable(figures), Not(HasSubstr("analysis")));
}

TEST(PlayedFigures, APassWithOtherFramesIsCounted)
{
    PlayedFigures played;
    for (const std::uint64_t checksum : {7, 7, 8, 7})
        played.Add(Pass(40, 0, checksum));
    EXPECT_EQ(1, played.mUnlikePasses);
    SummaryFigures figures;
    figures.mPlayed = played;
    EXPECT_THAT(SummaryTable(figures), ContainsRegex("checksum +0000000000000007 +1 differ"));
}

TEST(SummaryTable, SaysThatWarmPassesWereTheSame)
{
    SummaryFigures figures;
    figures.mPlayed.Add(Pass(40, 0, 0xABCDEF0123456789));
    EXPECT_THAT(SummaryTable(figures), ContainsRegex("checksum +abcdef0123456789 +-\n"));
    figures.mPlayed.Add(Pass(40, 40, 0xABCDEF0123456789));
    EXPECT_THAT(SummaryTable(figures), ContainsRegex("checksum +abcdef0123456789 +same\n"));
}

std::string TableOfGrant(std::uint64_t inGrant, std::uint64_t inBudget, std::uint64_t inReserve)
{
    SummaryFigures figures;
    figures.mGrant = {true, inGrant, 512 * kMiB};
    figures.mBudgetBytes = inBudget;
    figures.mReserveBytes = inReserve;
    return SummaryTable(figures);
}

TEST(SummaryTable, TellsTheGrantAndTheSevenEighthsThatAreTheBudget)
{
    const std::string table = TableOfGrant(800 * kMiB, 600 * kMiB, 100 * kMiB);
    EXPECT_THAT(table, ContainsRegex("cache budget +600\\.00 MB\n"));
    EXPECT_THAT(table, ContainsRegex("balancer's grant +800\\.00 MB\n"));
    EXPECT_THAT(table, ContainsRegex("budget by the grant +700\\.00 MB +7/8 of it\n"));
    EXPECT_THAT(table, ContainsRegex("reserve +100\\.00 MB\n"));
}

TEST(SummaryTable, SaysWhenTheSmallestCacheIsMoreThanTheGrantGives)
{
    EXPECT_THAT(TableOfGrant(256 * kMiB, 512 * kMiB, 0),
                ContainsRegex("budget by the grant +512\\.00 MB +the smallest that is allowed\n"));
}

TEST(SummaryTable, SaysWhenTheMachineAllowsLessThanTheGrantGives)
{
    EXPECT_THAT(TableOfGrant(4096 * kMiB, 1024 * kMiB, 0),
                ContainsRegex("budget by the grant +1\\.00 GB +what the machine allows\n"));
}

TEST(SummaryTable, SaysThatNoGrantHasCome)
{
    SummaryFigures figures;
    EXPECT_THAT(SummaryTable(figures), Not(HasSubstr("grant")));
    figures.mGrant.mAsked = true;
    EXPECT_THAT(SummaryTable(figures), ContainsRegex("balancer's grant +none seen\n"));
}

TEST(SummaryTable, TellsWhatEachPolicyAskedFor)
{
    SummaryFigures figures;
    EXPECT_THAT(SummaryTable(figures), ContainsRegex("policies of the cache +not asked\n"));
    figures.mPolicies = {{u"CacheLimitPolicy", true, kMiB, 3 * kMiB, 5},
                         {u"ActiveMemoryPoli", false, 0, 0, 0}};
    const std::string table = SummaryTable(figures);
    EXPECT_THAT(table, ContainsRegex("CacheLimitPolicy +1\\.00 MB +3\\.00 MB  5 times\n"));
    EXPECT_THAT(table, ContainsRegex("ActiveMemoryPoli \\(off\\) +0 B +0 B  0 times\n"));
}

TEST(SevenEighthsOf, LeavesAnEighthToTheRestOfTheProcess)
{
    EXPECT_EQ(7 * kMiB, RKHost::SevenEighthsOf(8 * kMiB));
    EXPECT_EQ(9u, RKHost::SevenEighthsOf(10)) << "the eighth is rounded down";
}

TEST(BalanceTable, TellsTheSuiteAndEachMember)
{
    const BalanceFigures figures = {1.25,
                                    1000 * kMiB,
                                    {{1, 4711, 1, 128 * kMiB, 900 * kMiB, 50 * kMiB, 300 * kMiB},
                                     {2, 4712, 3, 128 * kMiB, 900 * kMiB, 60 * kMiB, 400 * kMiB}}};
    const std::string table = BalanceTable(figures);
    EXPECT_THAT(table, HasSubstr("2 members, granted 700.00 MB of 1000.00 MB\n"));
    EXPECT_THAT(table,
                ContainsRegex("\n +1 +4711 +1 +128.00 MB +900.00 MB +50.00 MB +300.00 MB\n"));
    EXPECT_THAT(table,
                ContainsRegex("\n +2 +4712 +3 +128.00 MB +900.00 MB +60.00 MB +400.00 MB\n"));
}

TEST(BalanceTable, WhatMembersUseIsNoChangeOfGrants)
{
    std::vector<RKHost::BalanceRow> before = {{1, 4711, 1, 0, 9, 3, 5}};
    std::vector<RKHost::BalanceRow> after = before;
    after[0].mUsed = 4;
    EXPECT_EQ(OnlyGrants(before), OnlyGrants(after));
    after[0].mGrant = 6;
    EXPECT_NE(OnlyGrants(before), OnlyGrants(after));
}

TEST(PlayerArguments, PassOnWhatThePlayersAreToDo)
{
    RKHost::Options options;
    options.mPath = "-1.png";
    options.mFramesPerSecond = 25;
    EXPECT_THAT(PlayerArguments(options, "s"),
                ElementsAre("play", "--suite", "s", "--no-monitor", "--passes", "2147483647",
                            "--rate=25.000000", "--", "-1.png"));
    options.mStill = true;
    options.mLimit = 3;
    options.mBudgetBytes = 5;
    const std::vector<std::string> all = PlayerArguments(options, "s");
    for (const char* argument : {"--still", "--limit=3", "--budget=5"})
        EXPECT_THAT(all, testing::Contains(argument));
}

} // namespace
} // namespace RKHostTests
