#pragma once

#include <csignal>

namespace RKHost
{

// The main thread's loop: it carries what the library posts to the main thread, and hears of the
// signals that ask the process to end.
//
// To be made on the main thread before any other thread, since threads inherit which signals are
// blocked. A second SIGINT or SIGTERM ends the process at once.
class EventLoop
{
public:
    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Runs what is due on the main thread; never waits.
    void RunPending();
    /// Waits until there is something to run or a signal has come, and runs it.
    void WaitAndRun();
    /// Whether SIGINT or SIGTERM has come.
    bool IsInterrupted() const { return mInterrupted; }

private:
    void Poll(int inTimeoutMilliseconds);
    void TakeSignal();

    sigset_t mMaskBefore; ///< of the main thread, put back at the end
    int mSignals;         ///< descriptor that becomes readable with a signal
    bool mInterrupted = false;
};

} // namespace RKHost
