#pragma once

#include <cstdint>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

/// A time of the system as a ptime in UTC. One that ptime cannot hold (years before 1400 or after 9999,
/// which files can have) is the nearest that it can. Any thread; raises nothing.
/// @param inSeconds       since 1970; negative before it.
/// @param inMicroseconds  0..999999, to be added.
RK_API boost::posix_time::ptime ToUTCTime(std::int64_t inSeconds, std::int64_t inMicroseconds = 0);

} // namespace utility
} // namespace qelcore
