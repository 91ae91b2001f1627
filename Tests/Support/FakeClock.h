#pragma once

#include <atomic>
#include <cstdint>

#include "Platform/Clock.h"

namespace Testing
{

/// A clock turned by hand. It begins at one second, so that 0 can stand for "never".
class FakeClock : public Platform::IClock
{
public:
    std::uint64_t NowNanoseconds() override { return mNow.load(); }
    void AdvanceSeconds(double inSeconds) { mNow += static_cast<std::uint64_t>(inSeconds * 1e9); }
    void AdvanceNanoseconds(std::uint64_t inNanoseconds) { mNow += inNanoseconds; }

private:
    std::atomic<std::uint64_t> mNow{1000000000u};
    Platform::ScopedClock mScope{*this};
};

} // namespace Testing
