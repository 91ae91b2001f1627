#include "qelcore/UTCTime.h"

namespace qelcore
{
namespace utility
{
namespace
{

// The first and the last second that a ptime can hold, from 1970: 1400-01-01 and 9999-12-31 23:59:59.
constexpr std::int64_t kFirstSecond = -17987443200;
constexpr std::int64_t kLastSecond = 253402300799;

} // namespace

boost::posix_time::ptime ToUTCTime(std::int64_t inSeconds, std::int64_t inMicroseconds)
{
    std::int64_t seconds = inSeconds;
    std::int64_t microseconds = inMicroseconds;
    if (seconds < kFirstSecond)
    {
        seconds = kFirstSecond;
        microseconds = 0;
    }
    else if (seconds > kLastSecond)
    {
        seconds = kLastSecond;
        microseconds = 999999;
    }
    const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    return epoch + boost::posix_time::seconds(seconds) +
           boost::posix_time::microseconds(microseconds);
}

} // namespace utility
} // namespace qelcore
