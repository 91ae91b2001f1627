#include "ChildPlayer.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "HostError.h"
#include "ThisProgram.h"

namespace RKHost
{

namespace
{

[[noreturn]] void ThrowCannotStart()
{
    throw HostError(kExit_Failure, std::string("cannot start a player: ") + std::strerror(errno));
}

// Between fork and exec only what is safe in a signal handler may be called.
[[noreturn]] void Become(char* const* inArguments, int inError, pid_t inParent)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int nowhere = open("/dev/null", O_RDWR);
    // The parent may have ended before it could be heard of.
    if (getppid() != inParent || nowhere < 0 || dup2(nowhere, STDIN_FILENO) < 0 ||
        dup2(nowhere, STDOUT_FILENO) < 0 || dup2(inError, STDERR_FILENO) < 0)
        _exit(kCannotRun);
    if (nowhere > STDERR_FILENO)
        close(nowhere);
    execv(kThisProgram, inArguments);
    _exit(kCannotRun);
}

} // namespace

ChildPlayer::ChildPlayer(EventLoop& ioLoop, const std::vector<std::string>& inArguments,
                         const OnLine& inOnLine, const OnEnd& inOnEnd)
    : mLoop(ioLoop)
    , mOnLine(inOnLine)
    , mOnEnd(inOnEnd)
{
    Start(inArguments);
    mLoop.Watch(mError, POLLIN, [this](short) { ReadError(); });
}

ChildPlayer::~ChildPlayer()
{
    if (HasEnded())
        return;
    Signal(SIGKILL);
    Reap();
}

void ChildPlayer::Signal(int inSignal) const
{
    if (!HasEnded())
        kill(mProcess, inSignal);
}

void ChildPlayer::Start(const std::vector<std::string>& inArguments)
{
    const ProgramArguments arguments(inArguments);
    std::array<int, 2> error;
    if (pipe2(error.data(), O_CLOEXEC) != 0 || fcntl(error[0], F_SETFL, O_NONBLOCK) != 0)
        ThrowCannotStart();
    const pid_t parent = getpid();
    mProcess = fork();
    if (mProcess == 0)
        Become(arguments.Get(), error[1], parent);
    close(error[1]);
    if (mProcess < 0)
    {
        close(error[0]);
        ThrowCannotStart();
    }
    mError = error[0];
}

void ChildPlayer::ReadError()
{
    std::array<char, 4096> piece;
    const ssize_t got = read(mError, piece.data(), piece.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (got > 0)
    {
        mText.append(piece.data(), static_cast<std::size_t>(got));
        TellLines();
        return;
    }
    const std::string end = Reap();
    mOnEnd(end);
}

void ChildPlayer::TellLines()
{
    for (std::size_t end; (end = mText.find('\n')) != std::string::npos;)
    {
        const std::string line = mText.substr(0, end);
        mText.erase(0, end + 1);
        mOnLine(line);
    }
}

std::string ChildPlayer::Reap()
{
    mLoop.Unwatch(mError);
    close(mError);
    mError = -1;
    int status = 0;
    while (waitpid(mProcess, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit code " + std::to_string(WEXITSTATUS(status));
}

} // namespace RKHost
