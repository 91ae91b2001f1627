#include "PluginTrial.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "HostError.h"
#include "Text.h"
#include "ThisProgram.h"
#include "qelcore/HighPrecisionTime.h"

namespace RKHost
{

namespace
{

using qelcore::utility::HighPrecisionTime;

constexpr int kCannotReport = 126;
constexpr int kReportDescriptor = 3;
constexpr std::size_t kMostBytes = std::size_t{4} << 20; // of a report
constexpr double kLookSeconds = 0.02; // where the end of a process cannot be waited for
constexpr char kReady[] = "ready";
constexpr char kEnd[] = "end";

[[noreturn]] void ThrowCannotStart()
{
    throw HostError(kExit_Failure,
                    std::string("cannot start a process for plug-ins: ") + std::strerror(errno));
}

// Between fork and exec only what is safe in a signal handler may be called.
[[noreturn]] void Become(char* const* inArguments, int inReport, pid_t inParent)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const int nowhere = open("/dev/null", O_RDWR);
    // Whichever of the two had the number of the report's end: dup2 of a number to itself would leave it closing.
    const int report = fcntl(inReport, F_DUPFD_CLOEXEC, kReportDescriptor + 1);
    if (getppid() != inParent || nowhere < 0 || report < 0 || dup2(nowhere, STDIN_FILENO) < 0 ||
        dup2(nowhere, STDOUT_FILENO) < 0 || dup2(nowhere, STDERR_FILENO) < 0 ||
        dup2(report, kReportDescriptor) < 0)
        _exit(kCannotRun);
    execv(kThisProgram, inArguments);
    _exit(kCannotRun);
}

/// "SIGSEGV"
std::string SignalName(int inSignal)
{
    const char* const name = sigabbrev_np(inSignal);
    return name != nullptr ? std::string("SIG") + name : "signal " + std::to_string(inSignal);
}

/// Ends what a child has left behind: its processes have come to this one, which has no other children.
void EndOrphans()
{
    constexpr int kRounds = 100; // one that goes on making processes is not waited for
    for (int round = 0; round < kRounds; ++round)
    {
        std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
        pid_t child = 0;
        bool hasAny = false;
        while (children >> child)
        {
            hasAny = true;
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        if (!hasAny)
            return;
    }
}

// One child, which is gone at the end however that comes.
class Trial
{
public:
    Trial(EventLoop& ioLoop, const std::vector<std::string>& inArguments)
        : mLoop(ioLoop)
    {
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        Start(inArguments);
        mLoop.Watch(mReport, POLLIN, [this](short) { Read(); });
        mLife = static_cast<int>(syscall(SYS_pidfd_open, mProcess, 0));
        if (mLife >= 0)
            mLoop.Watch(mLife, POLLIN, [this](short) { mHasEnded = true; });
    }
    ~Trial()
    {
        mLoop.Unwatch(mReport);
        close(mReport);
        if (mLife >= 0)
        {
            mLoop.Unwatch(mLife);
            close(mLife);
        }
        End();
    }
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    PluginTrial Run(double inLimitSeconds, std::size_t inSteps)
    {
        AwaitEnd(Nanoseconds(inLimitSeconds), inSteps);
        Read(); // what came last
        const bool hasEnded = mHasEnded;
        const int status = End();
        if (mBytes >= kMostBytes)
            mTrial.mFailure = "wrote too much into the report";
        else
            mTrial.mFailure =
                hasEnded ? FailureOf(status) : "took longer than " + LimitText(inLimitSeconds);
        if (mTrial.mLines.empty() || mTrial.mLines.front() != kReady)
            throw HostError(kExit_Failure,
                            "the process for plug-ins did not come to run any: " + mTrial.mFailure);
        mTrial.mLines.erase(mTrial.mLines.begin());
        return std::move(mTrial);
    }

private:
    static std::uint64_t Now() { return HighPrecisionTime::GetCurrentTime(); }
    static std::uint64_t Nanoseconds(double inSeconds)
    {
        return static_cast<std::uint64_t>(inSeconds * 1e9);
    }
    void AwaitEnd(std::uint64_t inLimit, std::size_t inSteps)
    {
        // Each line gives more time, but a plug-in can write lines too.
        const std::uint64_t last = Now() + inSteps * inLimit;
        std::uint64_t deadline = Now() + inLimit;
        while (!mHasEnded && Now() < deadline && mBytes < kMostBytes)
        {
            const std::size_t before = mTrial.mLines.size();
            const std::uint64_t look = Now() + Nanoseconds(kLookSeconds);
            mLoop.WaitAndRunUntil(mLife >= 0 ? deadline : std::min(look, deadline));
            if (mLoop.IsInterrupted())
                throw Interrupted();
            if (mLife < 0)
                LookForEnd();
            if (mTrial.mLines.size() != before)
                deadline = std::min(Now() + inLimit, last);
        }
    }
    static std::string LimitText(double inSeconds)
    {
        const bool isWhole = inSeconds == static_cast<double>(static_cast<long>(inSeconds));
        return NumberText(inSeconds, isWhole ? 0 : 2) + " s";
    }
    void Start(const std::vector<std::string>& inArguments)
    {
        const ProgramArguments arguments(inArguments);
        std::array<int, 2> report;
        if (pipe2(report.data(), O_CLOEXEC | O_NONBLOCK) != 0)
            ThrowCannotStart();
        fcntl(report[1], F_SETFL, 0); // the child waits for room
        const pid_t parent = getpid();
        mProcess = fork();
        if (mProcess == 0)
            Become(arguments.Get(), report[1], parent);
        close(report[1]);
        mReport = report[0];
        if (mProcess < 0)
        {
            close(mReport);
            ThrowCannotStart();
        }
        setpgid(mProcess, mProcess); // whoever comes first
    }
    void Read()
    {
        std::array<char, 4096> piece;
        ssize_t got = 0;
        while ((got = read(mReport, piece.data(), piece.size())) > 0)
        {
            mText.append(piece.data(), static_cast<std::size_t>(got));
            mBytes += static_cast<std::size_t>(got);
            TakeLines();
            if (mBytes >= kMostBytes)
                return;
        }
        if (got == 0)
            mLoop.Unwatch(mReport); // its end alone says nothing: a plug-in may have closed it
    }
    void TakeLines()
    {
        std::size_t begin = 0;
        for (std::size_t end; (end = mText.find('\n', begin)) != std::string::npos; begin = end + 1)
            mTrial.mLines.push_back(mText.substr(begin, end - begin));
        mText.erase(0, begin);
    }
    void LookForEnd()
    {
        siginfo_t info = {};
        mHasEnded =
            waitid(P_PID, static_cast<id_t>(mProcess), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            info.si_pid == mProcess;
    }
    /// @return how it ended; once.
    int End()
    {
        if (mProcess < 0)
            return 0;
        kill(-mProcess, SIGKILL); // while it is not reaped its number is nobody else's
        kill(mProcess, SIGKILL);
        int status = 0;
        while (waitpid(mProcess, &status, 0) < 0 && errno == EINTR)
        {
        }
        mProcess = -1;
        EndOrphans();
        return status;
    }
    std::string FailureOf(int inStatus)
    {
        if (WIFSIGNALED(inStatus))
            return SignalName(WTERMSIG(inStatus));
        const int code = WEXITSTATUS(inStatus);
        const bool saidEnd = !mTrial.mLines.empty() && mTrial.mLines.back() == kEnd;
        if (code == kExit_OK && saidEnd)
        {
            mTrial.mLines.pop_back();
            return std::string();
        }
        if (code == kCannotReport)
            return "closed descriptors of its process";
        return "ended the process (exit code " + std::to_string(code) + ")";
    }

    EventLoop& mLoop;
    pid_t mProcess = -1;
    int mReport = -1;
    int mLife = -1; ///< readable once the process has ended; -1 where the system has no such thing
    bool mHasEnded = false;
    std::size_t mBytes = 0; ///< of the report, up to now
    std::string mText;      ///< the line that is still coming
    PluginTrial mTrial;
};

} // namespace

PluginTrial RunPluginTrial(EventLoop& ioLoop, const std::vector<std::string>& inArguments,
                           double inLimitSeconds, std::size_t inSteps)
{
    return Trial(ioLoop, inArguments).Run(inLimitSeconds, inSteps);
}

PluginReport::PluginReport()
    : mDescriptor(kReportDescriptor)
    , mProcess(getpid())
{
    if (fcntl(mDescriptor, F_SETFD, FD_CLOEXEC) != 0)
        throw HostError(kExit_Usage, "this is for \"plugins scan\" to run, which listens");
}

void PluginReport::Say(const std::string& inLine) const
{
    if (getpid() != mProcess)
        _exit(kExit_OK);
    const std::string line = inLine + "\n";
    for (std::size_t at = 0; at < line.size();)
    {
        const ssize_t put = write(mDescriptor, line.data() + at, line.size() - at);
        if (put < 0 && errno != EINTR)
            _exit(kCannotReport); // a plug-in has closed it, or nobody listens any more
        at += put > 0 ? static_cast<std::size_t>(put) : 0;
    }
}

void PluginReport::SayReady() const
{
    Say(kReady);
}

void PluginReport::SayEnd() const
{
    Say(kEnd);
}

} // namespace RKHost
