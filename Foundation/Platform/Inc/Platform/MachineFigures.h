// Memory of the machine and of the process, in bytes.
//
// Limits of the container count, at each of its levels. A control loop asks for all seven several
// times a second: each answer costs a few microseconds, whatever the size of the process.
//
// Threads  Every function may be called from any thread, also in a child after fork.
// Errors   None is raised. A source that is missing or makes no sense is left out, as told below.
#pragma once

#include <cstdint>

namespace Platform
{

/// The seven figures of memory, in bytes.
class IMachineFigures
{
public:
    virtual ~IMachineFigures();
    /// Memory of the machine, or the least limit of the container if that is less. May be as old as
    /// one second of Clock(). Never 0.
    virtual std::uint64_t TotalPhysicalMemory() = 0;
    /// Addresses that the process can use. May be as old as one second of Clock(). Never 0.
    virtual std::uint64_t TotalVirtualMemory() = 0;
    /// What can be had without swapping: free, or filled with what can be read again.
    virtual std::uint64_t FreePhysicalMemory() = 0;
    /// The part of FreePhysicalMemory() that can be had at once: unused, or holding files that
    /// nobody has used lately.
    virtual std::uint64_t FreeActiveMemory() = 0;
    /// Memory of the machine that the process occupies now. 0 if unknown.
    virtual std::uint64_t ProcessMemory() = 0;
    /// What of the process was compressed or swapped out, in its full size. 0 if unknown.
    virtual std::uint64_t ProcessCompressedMemory() = 0;
    /// The same for all processes of the machine, and what its compressed disks in memory hold. 0 if
    /// unknown.
    virtual std::uint64_t SystemCompressedMemory() = 0;
};

/// The instance in force.
IMachineFigures& MachineFigures();

/// Puts figures in the place of the real ones for its life. One at a time.
class ScopedMachineFigures
{
public:
    explicit ScopedMachineFigures(IMachineFigures& inFigures);
    ~ScopedMachineFigures();
    ScopedMachineFigures(const ScopedMachineFigures&) = delete;
    ScopedMachineFigures& operator=(const ScopedMachineFigures&) = delete;

private:
    IMachineFigures* mBefore;
};

} // namespace Platform
