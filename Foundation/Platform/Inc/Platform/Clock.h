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
};

IClock& Clock();

/// Puts a clock in the place of the real one for its life. One at a time per kind of edge.
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

} // namespace Platform
