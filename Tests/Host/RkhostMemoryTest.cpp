// rkhost follows memory: budgets and reserves, the monitor, players that share.
#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class MemoryOfRkhost : public RkhostTest
{
protected:
    /// A suite that no other process is in.
    std::string Suite() const { return "rkhost-test-" + std::to_string(getpid()); }

    const std::string mPath = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2, 3});
};

TEST_F(MemoryOfRkhost, ABudgetIsAGrantOfTheBalancer)
{
    const Ended ended = Run({"play", "--budget", "1G", "--suite", Suite(), mPath});

    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("1.00 GB", Row(ended, "balancer's grant"));
    EXPECT_EQ("896.00 MB 7/8 of it", Row(ended, "budget by the grant"));
    EXPECT_EQ("896.00 MB", Row(ended, "cache budget"));
}

TEST_F(MemoryOfRkhost, ABudgetBelowTheSmallestCacheSaysThatItIsNotKept)
{
    const Ended ended = Run({"play", "--budget", "64M", "--suite", Suite(), mPath});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("64.00 MB", Row(ended, "balancer's grant"));
    EXPECT_THAT(Row(ended, "budget by the grant"),
                ContainsRegex("^[1-9][0-9]*\\.00 MB the smallest that is allowed$"));
}

TEST_F(MemoryOfRkhost, NobodyIsAskedForAGrantWithoutAnOption)
{
    EXPECT_THAT(Run({"play", mPath}).mOutput, Not(HasSubstr("grant")));
}

TEST_F(MemoryOfRkhost, AReserveIsTakenOutOfTheBudget)
{
    const Ended ended =
        Run({"play", "--budget", "1G", "--suite", Suite(), "--reserve", "96M", mPath});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("96.00 MB", Row(ended, "reserve"));
    EXPECT_EQ("800.00 MB", Row(ended, "cache budget"));
}

TEST_F(MemoryOfRkhost, HighThroughputTurnsItsPoliciesOn)
{
    const auto policies = [this](const std::vector<std::string>& inMore)
    {
        std::vector<std::string> arguments = {"play", "--seconds", "0.5", mPath};
        arguments.insert(arguments.end(), inMore.begin(), inMore.end());
        return Run(arguments).mOutput;
    };
    EXPECT_THAT(policies({"--high-throughput"}),
                ContainsRegex("CacheGrowthPolic[^(]* [0-9]+ times"));
}

class MonitorOfRkhost : public RkhostTest
{
protected:
    // Plays for as long as nobody interrupts it.
    std::vector<std::string> PlayForEver() const
    {
        return {RKHOST_TEST_PROGRAM, "play", "--passes", "1000000", "--rate", "100", mPath};
    }

    const std::string mPath = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2, 3});
};

TEST_F(MonitorOfRkhost, ShowsAsManyReportsAsItIsAskedFor)
{
    const Ended ended = Run({"monitor", "--count", "2", "--interval", "0.05", mPath});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, HasSubstr("f[0001-0003].jpg: 3 frames\n"));
    EXPECT_EQ(2, Count(ended.mOutput, "Maximum Space: "));
    EXPECT_EQ(1, Count(ended.mOutput, "\n-----"));
    EXPECT_EQ(std::string::npos, ended.mOutput.find_first_of("\r\033"));
}

TEST_F(MonitorOfRkhost, EndsWithAReportWhenThePassesAreOver)
{
    const Ended ended = Run({"monitor", "--passes", "2", "--rate", "1000", mPath});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(ended.mOutput, HasSubstr("warm  3/3  "));
    EXPECT_THAT(ended.mOutput, HasSubstr("Maximum Space: "));
}

TEST_F(MonitorOfRkhost, TellsOfAFrameThatFailedAndAnswersWithOne)
{
    mFolder.WriteFrames("quadrants-420.jpg", "f", {5});
    const Ended ended = Run({"monitor", "--passes", "1", mPath});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("f0004.jpg"));
}

TEST_F(MonitorOfRkhost, OnATerminalOneReportTakesThePlaceOfTheOther)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        GTEST_SKIP() << "needs a pseudo-terminal";
    const int output = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(output, 0);

    const ChildProcess child(
        {RKHOST_TEST_PROGRAM, "monitor", "--count", "2", "--interval", "0.05", mPath}, "", {},
        output);
    const std::string text = ChildProcess::ReadAll(terminal);
    EXPECT_EQ(0, child.Wait());
    close(terminal);

    EXPECT_THAT(text, ContainsRegex("\033\\[[0-9]+A"));
    EXPECT_THAT(text, HasSubstr("\033[J"));
}

TEST_F(MonitorOfRkhost, LooksAtAnotherProcessUntilEnoughIsSeen)
{
    const ChildProcess player(PlayForEver(), "", {});
    EXPECT_THAT(player.ReadLine(), HasSubstr("3 frames"));
    EXPECT_THAT(player.ReadLine(), HasSubstr("cold")); // from here on it can be looked at

    const Ended ended = Run({"monitor", "--pid", std::to_string(player.Process()), "--count", "3",
                             "--interval", "0.02"});
    player.Signal(SIGINT);

    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ(3, Count(ended.mOutput, "process " + std::to_string(player.Process()) + "\n"));
    EXPECT_EQ(3, Count(ended.mOutput, "Maximum Space: "));
    player.ReadOutput();
    EXPECT_EQ(130, player.Wait());
}

TEST_F(MonitorOfRkhost, SeesTheEndOfTheProcessThatItLooksAt)
{
    const ChildProcess player(PlayForEver(), "", {});
    player.ReadLine();
    player.ReadLine();
    const ChildProcess viewer({RKHOST_TEST_PROGRAM, "monitor", "--pid",
                               std::to_string(player.Process()), "--interval", "0.02"},
                              "", {});
    EXPECT_THAT(viewer.ReadLine(), HasSubstr("process "));

    player.Signal(SIGKILL);

    EXPECT_THAT(viewer.ReadOutput(),
                HasSubstr("process " + std::to_string(player.Process()) + " has ended\n"));
    EXPECT_EQ(0, viewer.Wait());
    EXPECT_EQ(-SIGKILL, player.Wait());
}

TEST_F(MonitorOfRkhost, AProcessThatDoesNotWantToBeLookedAtIsNot)
{
    std::vector<std::string> command = PlayForEver();
    command.emplace_back("--no-monitor");
    const ChildProcess player(command, "", {});
    player.ReadLine();
    player.ReadLine();

    const Ended ended = Run({"monitor", "--pid", std::to_string(player.Process())});
    player.Signal(SIGTERM);

    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("cannot look at process"));
    player.ReadOutput();
    EXPECT_EQ(130, player.Wait());
}

class BalanceOfRkhost : public RkhostTest
{
protected:
    /// Reads blocks up to a line that has inPart. @return everything read.
    static std::string ReadUntil(const ChildProcess& inChild, const std::string& inPart)
    {
        std::string text;
        for (std::string line; text.find(inPart) == std::string::npos;)
        {
            line = inChild.ReadLine();
            if (line.empty())
                break; // the end: no line of the command's is empty
            text += line + "\n";
        }
        return text;
    }

    /// The process of a player, by the last table of a text.
    static pid_t ProcessOf(const std::string& inText, int inPlayer)
    {
        const std::size_t table = inText.rfind("player  process");
        std::smatch match;
        const std::string rows = inText.substr(table == std::string::npos ? 0 : table);
        const std::regex row("\n +" + std::to_string(inPlayer) + " +([0-9]+) ");
        return std::regex_search(rows, match, row) ? std::stoi(match[1]) : -1;
    }

    const std::string mPath = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2, 3});
};

TEST_F(BalanceOfRkhost, TwoPlayersShareAndEndWhenTheTimeIsUp)
{
    const Ended ended = Run({"balance", "--seconds", "2.5", mPath});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_EQ("", ended.mError);
    EXPECT_THAT(ended.mOutput, HasSubstr("2 members, granted "));
    EXPECT_THAT(ended.mOutput, ContainsRegex("\n +1 +[0-9]+ +1 "));
    EXPECT_THAT(ended.mOutput, ContainsRegex("\n +2 +[0-9]+ +1 "));
}

TEST_F(BalanceOfRkhost, APlayerThatDiesIsSeenLeavingAndIsAFailure)
{
    const ChildProcess balance({RKHOST_TEST_PROGRAM, "balance", mPath}, "", {});
    std::string text = ReadUntil(balance, "2 members");
    for (int line = 0; line < 3; ++line)
        text += balance.ReadLine() + "\n";
    const pid_t victim = ProcessOf(text, 2);
    ASSERT_GT(victim, 0) << text;

    kill(victim, SIGKILL);
    EXPECT_THAT(ReadUntil(balance, "1 member,"), HasSubstr("1 member, granted "));
    const pid_t other = ProcessOf(text, 1);
    kill(other, SIGKILL);

    balance.ReadOutput();
    EXPECT_THAT(balance.ReadError(), HasSubstr("player 2 has ended: signal 9"));
    EXPECT_EQ(1, balance.Wait()) << "nobody is left";
}

TEST_F(BalanceOfRkhost, AnInterruptionEndsThePlayersToo)
{
    const ChildProcess balance({RKHOST_TEST_PROGRAM, "balance", "--players=3", mPath}, "", {});
    std::string text = ReadUntil(balance, "3 members");
    for (int line = 0; line < 4; ++line)
        text += balance.ReadLine() + "\n";
    const pid_t player = ProcessOf(text, 3);
    ASSERT_GT(player, 0) << text;

    balance.Signal(SIGINT);
    balance.ReadOutput();

    EXPECT_EQ("rkhost: interrupted\n", balance.ReadError());
    EXPECT_EQ(130, balance.Wait());
    EXPECT_EQ(-1, kill(player, 0)) << "the player is still there";
}

TEST_F(BalanceOfRkhost, WhatAPlayerTellsIsPassedOnAndIsAFailure)
{
    mFolder.WriteFrames("quadrants-420.jpg", "f", {5});
    const Ended ended = Run({"balance", "--players=1", "--seconds=1", "--rate=1000", mPath});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, ContainsRegex("player 1: rkhost: .*f0004.jpg: No such file"));
}

TEST_F(BalanceOfRkhost, WhatCannotBePlayedStartsNobody)
{
    const Ended ended = Run({"balance", mFolder.Path("none1.jpg")});
    EXPECT_EQ(1, ended.mCode);
    EXPECT_EQ("rkhost: " + mFolder.Path("none1.jpg") + ": there is no such file\n", ended.mError);
}

} // namespace
} // namespace RKHostTests
