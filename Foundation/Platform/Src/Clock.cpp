#include "Platform/Clock.h"

#include <atomic>
#include <cstddef>
#include <ctime>

#include "CurrentInstance.h"

namespace Platform
{
namespace
{

class BootTimeClock final : public IClock
{
public:
    constexpr BootTimeClock() = default;

    std::uint64_t NowNanoseconds() override
    {
        timespec now{};
        // Cannot fail on a kernel since 2.6.39; reads without a system call.
        clock_gettime(CLOCK_BOOTTIME, &now);
        return static_cast<std::uint64_t>(now.tv_sec) * 1000000000u +
               static_cast<std::uint64_t>(now.tv_nsec);
    }
    bool RunsByItself() override { return true; }
};

constexpr std::size_t kMaxListeners = 8; // the timer thread and the main thread need two

constinit CurrentInstance<IClock> sCurrent;
constinit std::atomic<IClockListener*> sListeners[kMaxListeners]{};
constinit std::atomic<std::size_t> sListenerCount{0};

IClock& RealClock()
{
    static BootTimeClock* const sReal = new BootTimeClock; // outlives all statics
    return *sReal;
}

} // namespace

IClock::~IClock() = default;

bool IClock::RunsByItself()
{
    return false;
}

IClockListener::~IClockListener() = default;

IClock& Clock()
{
    return sCurrent.Get(RealClock);
}

void ClockMoved()
{
    for (auto& slot : sListeners)
    {
        if (IClockListener* const listener = slot.load())
            listener->OnClockMoved();
    }
}

void AddClockListener(IClockListener& inListener)
{
    const std::size_t slot = sListenerCount.fetch_add(1);
    if (slot < kMaxListeners)
        sListeners[slot].store(&inListener);
}

ScopedClock::ScopedClock(IClock& inClock)
    : mBefore(sCurrent.Exchange(&inClock))
{
    ClockMoved();
}

ScopedClock::~ScopedClock()
{
    sCurrent.Exchange(mBefore);
    ClockMoved();
}

} // namespace Platform
