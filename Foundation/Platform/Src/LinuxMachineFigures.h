#pragma once

#include <atomic>
#include <string>

#include "Platform/MachineFigures.h"

namespace Platform
{

// Sources; Bench/MachineFiguresBench.cpp has what each costs, beside a bare pread of its file:
//   totals      MemTotal of /proc/meminfo, limits of the control groups, RLIMIT_AS; kept one second
//   free        MemAvailable of /proc/meminfo, less if a control group has less
//   active      MemFree and Inactive(file) of /proc/meminfo, likewise limited
//   process     /proc/self/statm: the resident pages, exact to some tens of pages a thread
//   compressed  VmSwap of /proc/self/status; of the system, the swap in use (what zswap and zram disks for
//               swapping compress has slots in it, and is not added), and what other zram disks hold
// The sum over the address ranges of the process (smaps_rollup) would be exact, and takes 10 ms for
// each half GiB: never here.
class LinuxMachineFigures : public IMachineFigures
{
public:
    /// @param inRoot  stands before each path of the system, so that a recorded tree can be read.
    explicit LinuxMachineFigures(const std::string& inRoot = std::string());
    ~LinuxMachineFigures() override;
    LinuxMachineFigures(const LinuxMachineFigures&) = delete;
    LinuxMachineFigures& operator=(const LinuxMachineFigures&) = delete;

    std::uint64_t TotalPhysicalMemory() override;
    std::uint64_t TotalVirtualMemory() override;
    std::uint64_t FreePhysicalMemory() override;
    std::uint64_t FreeActiveMemory() override;
    std::uint64_t ProcessMemory() override;
    std::uint64_t ProcessCompressedMemory() override;
    std::uint64_t SystemCompressedMemory() override;

private:
    struct Readers;

    /// The open files of this process: a child after fork makes its own, since those that it
    /// inherits tell of its parent, and their mutex may have been held by a thread that it has not.
    Readers& OwnReaders();

    const std::string mRoot;
    std::atomic<Readers*> mReaders{nullptr};
};

} // namespace Platform
