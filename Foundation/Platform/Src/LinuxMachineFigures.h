#pragma once

#include <atomic>
#include <string>

#include "Platform/MachineFigures.h"

namespace Platform
{

// Sources, and the processor time of one answer where no group sets a limit, beside a bare pread of the same
// file kept open (Bench/MachineFiguresBench.cpp):
//   totals      MemTotal of /proc/meminfo, limits of the control groups, RLIMIT_AS; kept one second: 0.2 us
//   free        MemAvailable of /proc/meminfo, less if a control group has less: 6.5 us, pread 5.8. A group
//               with a limit adds the preads of its usage, 0.5 us, and of its memory.stat, 8 us
//   active      MemFree and Inactive(file) of /proc/meminfo, likewise limited: 6.6 us
//   process     /proc/self/statm: the resident pages, exact to some tens of pages a thread: 1.4 us, pread 1.0
//   compressed  VmSwap of /proc/self/status: 8.7 us, pread 7.6
//   system      the swap in use (what zswap and zram disks for swapping compress has slots in it, and is not
//               added), and what other zram disks hold: 9.3 us and one pread a disk
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
