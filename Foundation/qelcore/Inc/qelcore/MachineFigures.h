// Memory of the machine and of the process, for whoever decides how much to hold.
//
// Limits of the container (control groups of version 1 and 2, at every level) count. A control loop may
// ask for all seven several times a second: one answer costs a few microseconds, whatever the size of
// the process.
//
// Threads  Every function may be called from any thread, also in a child after fork.
// Units    Bytes.
// Errors   None is raised.
#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

/// Memory of the machine, or the least limit of the container if that is less. Never 0. A limit that
/// was changed is seen within a second.
RK_API std::uint64_t TotalPhysicalMemory();
/// Addresses that the process can use: of its kind of processor, or its resource limit if that is
/// less. Never 0.
RK_API std::uint64_t GetTotalVirtualMemory();
/// What can be had without swapping, within every limit of the container: free, or holding files that
/// can be read again.
RK_API std::uint64_t GetFreePhysicalMemory();
/// What can be had at once, within the same limits: unused, or holding files that nobody used lately.
RK_API std::uint64_t GetFreeActiveMemory();
/// Memory of the machine that the process occupies now; 0 if the system does not tell.
RK_API std::uint64_t GetCurrentProcessMemoryUsage();
/// What of the process was swapped out, be it to a disk or into compressed memory, in its full size; 0
/// if the system does not tell.
RK_API std::uint64_t GetCurrentProcessCompressedMemoryUsage();
/// The same for all processes of the machine, and what its compressed disks in memory hold.
RK_API std::uint64_t GetAmountOfCompressedMemoryBySystem();

} // namespace utility
} // namespace qelcore
