#pragma once

#include <cstdint>

namespace Platform
{

/// Time that never goes back and goes on while the machine sleeps.
class IClock
{
public:
    virtual ~IClock();
    virtual std::uint64_t NowNanoseconds() = 0;

    /// Whether waiting makes this clock advance. A clock turned by hand says no, and calls
    /// ClockMoved() after each turn: nobody waits for it in real time.
    virtual bool RunsByItself();
};

/// The clock in force: the machine's, or what a ScopedClock has put there.
IClock& Clock();

/// Puts a clock in the place of the real one for its life. One at a time, made and destroyed while no
/// other thread reads the clock, except those that wait in a timer.
class ScopedClock
{
public:
    explicit ScopedClock(IClock& inClock);
    ~ScopedClock();
    ScopedClock(const ScopedClock&) = delete;
    ScopedClock& operator=(const ScopedClock&) = delete;

private:
    IClock* mBefore;
};

/// Tells everybody who waits for a time that the clock was turned or exchanged.
void ClockMoved();

// Who waits for times. It reads Clock() only while it holds a lock that OnClockMoved() takes as well,
// so that no reader is left on a clock that is about to go.
class IClockListener
{
public:
    virtual ~IClockListener();
    virtual void OnClockMoved() = 0;
};

/// @param inListener  borrowed for ever: listeners are never destroyed. At most 8 in a process.
void AddClockListener(IClockListener& inListener);

} // namespace Platform
