#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

/// A clock that never goes back, in raw counts; it goes on while the machine sleeps.
class RK_API HighPrecisionTime
{
public:
    static std::uint64_t GetCurrentTime();
    /// Turns a difference of two counts into nanoseconds.
    static std::uint64_t ConvertToNanos(std::uint64_t inDelta);
};

} // namespace utility
} // namespace qelcore
