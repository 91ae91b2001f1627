#include "qelcore/MachineFigures.h"

#include "Platform/MachineFigures.h"

namespace qelcore
{
namespace utility
{

std::uint64_t TotalPhysicalMemory()
{
    return Platform::MachineFigures().TotalPhysicalMemory();
}

std::uint64_t GetTotalVirtualMemory()
{
    return Platform::MachineFigures().TotalVirtualMemory();
}

std::uint64_t GetFreePhysicalMemory()
{
    return Platform::MachineFigures().FreePhysicalMemory();
}

std::uint64_t GetFreeActiveMemory()
{
    return Platform::MachineFigures().FreeActiveMemory();
}

std::uint64_t GetCurrentProcessMemoryUsage()
{
    return Platform::MachineFigures().ProcessMemory();
}

std::uint64_t GetCurrentProcessCompressedMemoryUsage()
{
    return Platform::MachineFigures().ProcessCompressedMemory();
}

std::uint64_t GetAmountOfCompressedMemoryBySystem()
{
    return Platform::MachineFigures().SystemCompressedMemory();
}

} // namespace utility
} // namespace qelcore
