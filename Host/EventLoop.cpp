#include "EventLoop.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "HostError.h"
#include "qelcore/MainThread.h"

namespace RKHost
{

namespace
{

constexpr int kForEver = -1;

// A signal that the parent has told this process to ignore, as shells do for work in the background,
// stays ignored.
sigset_t EndingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM})
    {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN)
            sigaddset(&signals, signal);
    }
    return signals;
}

} // namespace

EventLoop::EventLoop()
{
    const sigset_t signals = EndingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, &mMaskBefore);
    mSignals = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (mSignals < 0)
        throw HostError(kExit_Failure, std::string("signalfd: ") + std::strerror(errno));
    qelcore::threads::RegisterMainThread();
}

EventLoop::~EventLoop()
{
    close(mSignals);
    pthread_sigmask(SIG_SETMASK, &mMaskBefore, nullptr);
}

void EventLoop::RunPending()
{
    Poll(0);
}

void EventLoop::WaitAndRun()
{
    // After an interruption only what is under way is waited for, and the descriptor of the signals
    // is no longer looked at.
    Poll(kForEver);
}

void EventLoop::Poll(int inTimeoutMilliseconds)
{
    pollfd descriptors[] = {{qelcore::threads::GetMainThreadDescriptor(), POLLIN, 0},
                            {mInterrupted ? -1 : mSignals, POLLIN, 0}};
    const int ready = poll(descriptors, 2, inTimeoutMilliseconds);
    if (ready < 0 && errno != EINTR)
        throw HostError(kExit_Failure, std::string("poll: ") + std::strerror(errno));
    if (ready <= 0)
        return;
    if ((descriptors[1].revents & POLLIN) != 0)
        TakeSignal();
    if (descriptors[0].revents != 0)
        qelcore::threads::DispatchMainThread();
}

void EventLoop::TakeSignal()
{
    signalfd_siginfo ignored;
    if (read(mSignals, &ignored, sizeof ignored) != sizeof ignored)
        return;
    mInterrupted = true;
    const sigset_t signals = EndingSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

} // namespace RKHost
