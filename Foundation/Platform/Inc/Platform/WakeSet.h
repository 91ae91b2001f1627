#pragma once

#include <cstdint>

namespace Platform
{

// One descriptor that becomes readable when it was signalled or when its alarm is due, for poll, epoll
// and the like in any loop.
// Threads  Any function from any thread.
class WakeSet
{
public:
    /// @throws std::system_error if there are no descriptors left.
    WakeSet();
    ~WakeSet();
    WakeSet(const WakeSet&) = delete;
    WakeSet& operator=(const WakeSet&) = delete;

    int Descriptor() const noexcept { return mEpoll; }

    /// Makes the descriptor readable until Clear().
    void Signal() noexcept;
    void Clear() noexcept;

    /// Makes the descriptor readable at that time, and from then on until the alarm is set anew.
    /// @param inDueNanoseconds  on the machine's clock, the one that goes on during sleep; 0 is never.
    void SetAlarm(std::uint64_t inDueNanoseconds) noexcept;

    /// Waits until the descriptor is readable.
    /// @param inTimeoutMilliseconds  -1 waits without limit.
    void Wait(int inTimeoutMilliseconds) noexcept;

private:
    int mEpoll;
    int mEvent;
    int mTimer;
};

} // namespace Platform
