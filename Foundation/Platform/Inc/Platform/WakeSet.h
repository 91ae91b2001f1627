#pragma once

#include <cstdint>

namespace Platform
{

// What a descriptor is watched for and found ready for; a set of them is a sum.
constexpr unsigned kReady_Readable = 1;
constexpr unsigned kReady_Writable = 2;
constexpr unsigned kReady_Priority = 4;
constexpr unsigned kReady_Broken = 8; // hung up or failed: told whether asked for or not

// One descriptor that becomes readable when it was signalled, when its alarm is due, or when one of the
// watched descriptors is ready, for poll, epoll and the like in any loop.
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

    /// Takes one watched descriptor that is ready. It counts as not ready from then until it is armed
    /// again, so that a loop within the handling of it does not turn round it.
    /// @return false if none is ready.
    bool TakeReady(std::uint64_t& outID, unsigned& outEvents) noexcept;

private:
    friend class WatchedDescriptor;

    int mEpoll;
    int mEvent;
    int mTimer;
};

// A descriptor in a wake set, for its life: the set's descriptor is readable while this one is ready and
// armed, which it is at first. It shares the open file, so whoever gave the descriptor may close it.
class WatchedDescriptor
{
public:
    /// @param ioSet     borrowed until the end of this object.
    /// @param inEvents  a sum of kReady_ values.
    /// @param inID      not 0; what WakeSet::TakeReady tells.
    /// @throws std::system_error with EPERM for what is always ready (a regular file), EBADF for what
    ///         is no descriptor, and if there are no descriptors left.
    WatchedDescriptor(WakeSet& ioSet, int inDescriptor, unsigned inEvents, std::uint64_t inID);
    ~WatchedDescriptor();
    WatchedDescriptor(const WatchedDescriptor&) = delete;
    WatchedDescriptor& operator=(const WatchedDescriptor&) = delete;

    void Arm() noexcept;

private:
    const int mEpoll;
    const int mDescriptor;
    const unsigned mEvents;
    const std::uint64_t mID;
};

} // namespace Platform
