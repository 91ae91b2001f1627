#include "EventLoop.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>

#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "HostError.h"
#include "Stopwatch.h"
#include "qelcore/MainThread.h"

namespace RKHost
{

namespace
{

constexpr int kForEver = -1;

[[noreturn]] void ThrowSystemError(const char* inCall)
{
    throw HostError(kExit_Failure, std::string(inCall) + ": " + std::strerror(errno));
}

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
        ThrowSystemError("signalfd");
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

void EventLoop::WaitAndRunUntil(std::uint64_t inNanoseconds)
{
    constexpr std::uint64_t kMillisecond = 1000000;
    constexpr std::uint64_t kLongest = 60000;
    const std::uint64_t now = NowInNanoseconds();
    const std::uint64_t rest = inNanoseconds > now ? inNanoseconds - now : 0;
    // Rounded up: else the last part of a millisecond would be spent in polling.
    Poll(static_cast<int>(std::min((rest + kMillisecond - 1) / kMillisecond, kLongest)));
}

void EventLoop::Watch(int inDescriptor, short inEvents, const OnReady& inOnReady)
{
    mWatched[inDescriptor] = {inEvents, inOnReady};
}

void EventLoop::Unwatch(int inDescriptor)
{
    mWatched.erase(inDescriptor);
}

void EventLoop::Poll(int inTimeoutMilliseconds)
{
    std::vector<pollfd> polled = {{qelcore::threads::GetMainThreadDescriptor(), POLLIN, 0},
                                  {mInterrupted ? -1 : mSignals, POLLIN, 0}};
    for (const auto& [descriptor, watched] : mWatched)
        polled.push_back({descriptor, watched.mEvents, 0});
    const int ready = poll(polled.data(), polled.size(), inTimeoutMilliseconds);
    if (ready < 0 && errno != EINTR)
        ThrowSystemError("poll");
    if (ready <= 0)
        return;
    if ((polled[1].revents & POLLIN) != 0)
        TakeSignal();
    if (polled[0].revents != 0)
        qelcore::threads::DispatchMainThread();
    CallReady(polled);
}

void EventLoop::CallReady(const std::vector<pollfd>& inPolled)
{
    for (std::size_t i = 2; i < inPolled.size(); ++i)
    {
        if (inPolled[i].revents == 0)
            continue;
        // One that was called before may have ended the watch.
        const auto found = mWatched.find(inPolled[i].fd);
        if (found == mWatched.end())
            continue;
        const OnReady onReady = found->second.mOnReady;
        onReady(inPolled[i].revents);
    }
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

Ticker::Ticker(EventLoop& ioLoop, double inSeconds, const std::function<void()>& inOnTick)
    : mLoop(ioLoop)
    , mTimer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
{
    if (mTimer < 0)
        ThrowSystemError("timerfd_create");
    constexpr double kNanosecond = 1e-9;
    itimerspec times = {};
    times.it_value.tv_sec = static_cast<time_t>(inSeconds);
    times.it_value.tv_nsec = static_cast<long>((inSeconds - std::floor(inSeconds)) / kNanosecond);
    // Both 0 would mean no call at all.
    times.it_value.tv_nsec += times.it_value.tv_sec == 0 && times.it_value.tv_nsec == 0 ? 1 : 0;
    times.it_interval = times.it_value;
    timerfd_settime(mTimer, 0, &times, nullptr);
    mLoop.Watch(mTimer, POLLIN,
                [this, inOnTick](short)
                {
                    std::uint64_t missed;
                    if (read(mTimer, &missed, sizeof missed) == sizeof missed)
                        inOnTick();
                });
}

Ticker::~Ticker()
{
    mLoop.Unwatch(mTimer);
    close(mTimer);
}

} // namespace RKHost
