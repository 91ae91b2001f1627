#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

// Memory of the machine and the process, in bytes. Limits of the container (cgroup v1 and v2, every
// level) count: a total is the lesser of the machine's and the container's. Cheap enough for a control loop.

RK_API std::uint64_t TotalPhysicalMemory();
RK_API std::uint64_t GetTotalVirtualMemory();
RK_API std::uint64_t GetFreePhysicalMemory();
RK_API std::uint64_t GetFreeActiveMemory();
RK_API std::uint64_t GetCurrentProcessMemoryUsage();
RK_API std::uint64_t GetCurrentProcessCompressedMemoryUsage();
RK_API std::uint64_t GetAmountOfCompressedMemoryBySystem();

} // namespace utility
} // namespace qelcore
