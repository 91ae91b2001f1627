#pragma once

#include <atomic>
#include <cstdint>

#include "Platform/Clock.h"

namespace Testing
{

/// A clock turned by hand. It begins at one second, so that 0 can stand for "never". Each turn also
/// releases the delayed work of real pools whose time has come; Flush() of the pool waits for it.
class FakeClock : public Platform::IClock
{
public:
    std::uint64_t NowNanoseconds() override { return mNow.load(); }
    void AdvanceSeconds(double inSeconds)
    {
        AdvanceNanoseconds(static_cast<std::uint64_t>(inSeconds * 1e9));
    }
    void AdvanceMilliseconds(std::uint64_t inMilliseconds)
    {
        AdvanceNanoseconds(inMilliseconds * 1000000u);
    }
    void AdvanceNanoseconds(std::uint64_t inNanoseconds)
    {
        mNow += inNanoseconds;
        Platform::ClockMoved();
    }

private:
    std::atomic<std::uint64_t> mNow{1000000000u};
    Platform::ScopedClock mScope{*this};
};

} // namespace Testing
