#pragma once

#include <cstdint>

#include "qelcore/HighPrecisionTime.h"

namespace RKHost
{

/// Now, in nanoseconds of HighPrecisionTime.
inline std::uint64_t NowInNanoseconds()
{
    using qelcore::utility::HighPrecisionTime;
    return HighPrecisionTime::ConvertToNanos(HighPrecisionTime::GetCurrentTime());
}

class Stopwatch
{
public:
    double Seconds() const { return static_cast<double>(NowInNanoseconds() - mStart) * 1e-9; }

private:
    std::uint64_t mStart = NowInNanoseconds();
};

} // namespace RKHost
