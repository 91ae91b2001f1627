#pragma once

#include <atomic>
#include <cstdint>

#include "Platform/MachineFigures.h"

namespace Testing
{

/// A machine of 16 GiB with 8 GiB free, until the test says otherwise.
class FakeMachineFigures : public Platform::IMachineFigures
{
public:
    std::atomic<std::uint64_t> totalPhysical{16ull << 30};
    std::atomic<std::uint64_t> totalVirtual{1ull << 47};
    std::atomic<std::uint64_t> freePhysical{8ull << 30};
    std::atomic<std::uint64_t> freeActive{8ull << 30};
    std::atomic<std::uint64_t> process{0};
    std::atomic<std::uint64_t> processCompressed{0};
    std::atomic<std::uint64_t> systemCompressed{0};

    std::uint64_t TotalPhysicalMemory() override { return totalPhysical; }
    std::uint64_t TotalVirtualMemory() override { return totalVirtual; }
    std::uint64_t FreePhysicalMemory() override { return freePhysical; }
    std::uint64_t FreeActiveMemory() override { return freeActive; }
    std::uint64_t ProcessMemory() override { return process; }
    std::uint64_t ProcessCompressedMemory() override { return processCompressed; }
    std::uint64_t SystemCompressedMemory() override { return systemCompressed; }

private:
    Platform::ScopedMachineFigures mScope{*this};
};

} // namespace Testing
