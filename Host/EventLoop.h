#pragma once

#include <csignal>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include <poll.h>

namespace RKHost
{

// The main thread's loop: it carries what the library posts to the main thread, hears of the signals
// that ask the process to end, and watches descriptors.
//
// To be made on the main thread before any other thread, since threads inherit which signals are
// blocked. A second SIGINT or SIGTERM ends the process at once.
//
// Threads  The main thread only.
class EventLoop
{
public:
    /// Told which of the events that it waits for have come. What it throws passes out of the loop's
    /// functions.
    using OnReady = std::function<void(short)>;

    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Runs what is due on the main thread; never waits.
    void RunPending();
    /// Waits until there is something to run or a signal has come, and runs it.
    void WaitAndRun();
    /// The same, until inNanoseconds (of HighPrecisionTime) at the latest.
    void WaitAndRunUntil(std::uint64_t inNanoseconds);
    /// Whether SIGINT or SIGTERM has come.
    bool IsInterrupted() const { return mInterrupted; }

    /// Calls inOnReady from within the functions above as long as inDescriptor has one of inEvents (of
    /// poll) or an error. In place of what watched it before.
    void Watch(int inDescriptor, short inEvents, const OnReady& inOnReady);
    void Unwatch(int inDescriptor);

private:
    struct Watched
    {
        short mEvents;
        OnReady mOnReady;
    };

    void Poll(int inTimeoutMilliseconds);
    void TakeSignal();
    void CallReady(const std::vector<pollfd>& inPolled);

    sigset_t mMaskBefore; ///< of the main thread, put back at the end
    int mSignals;         ///< descriptor that becomes readable with a signal
    bool mInterrupted = false;
    std::map<int, Watched> mWatched; ///< by descriptor
};

// Calls a function from within the loop, again and again.
class Ticker
{
public:
    /// @param inSeconds  above 0, between two calls. Calls that were missed are not made up for.
    Ticker(EventLoop& ioLoop, double inSeconds, const std::function<void()>& inOnTick);
    ~Ticker();
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;

private:
    EventLoop& mLoop;
    int mTimer;
};

} // namespace RKHost
