#include "BalanceCommand.h"

#include <algorithm>
#include <csignal>
#include <iostream>
#include <memory>
#include <utility>

#include <unistd.h>

#include "BalanceTable.h"
#include "ChildPlayer.h"
#include "MemoryBalancer/MemoryBalancer.h"
#include "Player.h"
#include "ReportScreen.h"
#include "Sequence.h"
#include "Stopwatch.h"
#include "Text.h"

namespace RKHost
{

namespace
{

constexpr double kSecondsBetweenLooks = 0.25;

void WriteOut(const std::string& inText)
{
    std::cout << inText << std::flush;
}

class BalanceCommand
{
public:
    BalanceCommand(const Options& inOptions, EventLoop& ioLoop)
        : mOptions(inOptions)
        , mLoop(ioLoop)
        , mIsTerminal(SizeOfTerminal().mColumns > 0)
        , mScreen(&WriteOut, &SizeOfTerminal)
    {
    }

    ExitCode Run()
    {
        StartPlayers();
        {
            const Ticker ticker(mLoop, kSecondsBetweenLooks, [this] { Look(); });
            while (!mLoop.IsInterrupted() && !IsTimeUp() && PlayersAlive() > 0)
                mLoop.WaitAndRun();
        }
        EndPlayers();
        if (mLoop.IsInterrupted())
            throw Interrupted();
        return mFailed ? kExit_Failure : kExit_OK;
    }

private:
    void StartPlayers()
    {
        // The members of a suite of its own are the players, and nobody else.
        const std::string suite = "rkhost-balance-" + std::to_string(getpid());
        memorybalancer::SetSuiteName(ToLibraryText(suite));
        const std::vector<std::string> arguments = PlayerArguments(mOptions, suite);
        for (int number = 1; number <= mOptions.mPlayers; ++number)
            mPlayers.push_back(std::make_unique<ChildPlayer>(
                mLoop, arguments, [this, number](const std::string& l) { OnLine(number, l); },
                [this, number](const std::string& e) { OnEnd(number, e); }));
    }

    void EndPlayers()
    {
        constexpr double kPatienceSeconds = 10; // for a decode that is under way
        mEnding = true;
        for (const auto& player : mPlayers)
            player->Signal(SIGTERM);
        const Stopwatch waited;
        const Ticker ticker(mLoop, kSecondsBetweenLooks, [] {});
        while (PlayersAlive() > 0 && waited.Seconds() < kPatienceSeconds)
            mLoop.WaitAndRun();
        if (PlayersAlive() > 0)
            Tell(std::to_string(PlayersAlive()) + " players did not end when they were asked to");
    }

    void Look()
    {
        const BalanceFigures figures = FiguresNow();
        // A terminal shows what each uses as it moves; elsewhere that would be a block for each look.
        const std::vector<BalanceRow> grants = OnlyGrants(figures.mRows);
        if (!mIsTerminal && grants == mShown)
            return;
        mShown = grants;
        mScreen.Show(BalanceTable(figures));
    }

    BalanceFigures FiguresNow() const
    {
        const memorybalancer::Balance balance = memorybalancer::GetBalance();
        BalanceFigures figures;
        figures.mSeconds = mStopwatch.Seconds();
        figures.mCapacity = balance.capacity;
        for (const memorybalancer::Member& member : balance.members)
            figures.mRows.push_back({NumberOf(member.processID), member.processID, member.priority,
                                     member.minimum, member.maximum, member.used, member.grant});
        std::sort(figures.mRows.begin(), figures.mRows.end());
        return figures;
    }

    int NumberOf(std::int64_t inProcess) const
    {
        const auto found = std::find_if(mPlayers.begin(), mPlayers.end(),
                                        [&](const auto& p) { return p->Process() == inProcess; });
        return static_cast<int>(found - mPlayers.begin()) + 1;
    }

    void OnLine(int inNumber, const std::string& inLine)
    {
        if (mEnding && inLine == "rkhost: interrupted") // as it was asked to
            return;
        Tell("player " + std::to_string(inNumber) + ": " + inLine);
    }

    void OnEnd(int inNumber, const std::string& inEnd)
    {
        if (!mEnding)
            Tell("player " + std::to_string(inNumber) + " has ended: " + inEnd);
    }

    void Tell(const std::string& inLine)
    {
        mFailed = true;
        mScreen.Leave();
        std::cerr << "rkhost: " << inLine << "\n";
    }

    bool IsTimeUp() const
    {
        return mOptions.mSeconds > 0 && mStopwatch.Seconds() >= mOptions.mSeconds;
    }

    long PlayersAlive() const
    {
        return std::count_if(mPlayers.begin(), mPlayers.end(),
                             [](const auto& p) { return !p->HasEnded(); });
    }

    const Options& mOptions;
    EventLoop& mLoop;
    const bool mIsTerminal;
    const Stopwatch mStopwatch;
    ReportScreen mScreen;
    std::vector<BalanceRow> mShown;
    bool mEnding = false; ///< the players are asked to end
    bool mFailed = false;
    std::vector<std::unique_ptr<ChildPlayer>> mPlayers;
};

void RefuseWhatCannotBePlayed(const Options& inOptions)
{
    if (inOptions.mStill)
        Sequence::FromStill(inOptions.mPath);
    else
        Sequence::FromExampleFile(inOptions.mPath);
}

} // namespace

std::vector<std::string> PlayerArguments(const Options& inOptions, const std::string& inSuite)
{
    constexpr const char* kForEver = "2147483647";
    std::vector<std::string> arguments = {"play",
                                          "--suite",
                                          inSuite,
                                          "--no-monitor",
                                          "--passes",
                                          kForEver,
                                          "--rate=" + NumberText(inOptions.mFramesPerSecond, 6)};
    if (inOptions.mStill)
        arguments.emplace_back("--still");
    if (inOptions.mLimit > 0)
        arguments.push_back("--limit=" + std::to_string(inOptions.mLimit));
    if (inOptions.mBudgetBytes > 0)
        arguments.push_back("--budget=" + std::to_string(inOptions.mBudgetBytes));
    arguments.insert(arguments.end(), {"--", inOptions.mPath});
    return arguments;
}

ExitCode RunBalance(const Options& inOptions, EventLoop& ioLoop)
{
    RefuseWhatCannotBePlayed(inOptions);
    return BalanceCommand(inOptions, ioLoop).Run();
}

} // namespace RKHost
