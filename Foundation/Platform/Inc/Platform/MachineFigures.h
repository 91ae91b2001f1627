#pragma once

#include <cstdint>

namespace Platform
{

/// The seven figures of memory, in bytes.
class IMachineFigures
{
public:
    virtual ~IMachineFigures();
    virtual std::uint64_t TotalPhysicalMemory() = 0;
    virtual std::uint64_t TotalVirtualMemory() = 0;
    virtual std::uint64_t FreePhysicalMemory() = 0;
    virtual std::uint64_t FreeActiveMemory() = 0;
    virtual std::uint64_t ProcessMemory() = 0;
    virtual std::uint64_t ProcessCompressedMemory() = 0;
    virtual std::uint64_t SystemCompressedMemory() = 0;
};

IMachineFigures& MachineFigures();

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
