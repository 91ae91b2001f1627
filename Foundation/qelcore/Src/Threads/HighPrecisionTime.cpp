#include "qelcore/HighPrecisionTime.h"

#include "Platform/Clock.h"

namespace qelcore
{
namespace utility
{

std::uint64_t HighPrecisionTime::GetCurrentTime()
{
    return Platform::Clock().NowNanoseconds();
}

std::uint64_t HighPrecisionTime::ConvertToNanos(std::uint64_t inDelta)
{
    return inDelta; // a raw count is a nanosecond here; elsewhere it need not be
}

} // namespace utility
} // namespace qelcore
