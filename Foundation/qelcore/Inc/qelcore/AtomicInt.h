#pragma once

#include <atomic>
#include <cstdint>

namespace qelcore
{
namespace threads
{

/// An atomic signed 32-bit integer; every operation is sequentially consistent.
using AtomicInt = std::atomic<std::int32_t>;

} // namespace threads
} // namespace qelcore
