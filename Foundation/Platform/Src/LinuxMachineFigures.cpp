#include "LinuxMachineFigures.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include <boost/optional.hpp>

#include <sys/resource.h>
#include <unistd.h>

#include "CgroupMemory.h"
#include "KeptFile.h"
#include "Platform/Clock.h"
#include "SystemText.h"
#include "ZramDisks.h"

namespace Platform
{
namespace
{

// How long totals are kept: they change when somebody changes a limit, which is rare.
constexpr std::uint64_t kTotalsLifeNanoseconds = 1000000000u;

// What a process can address: 47 bits on x86-64 and on most others of 64 bits.
constexpr std::uint64_t kAddressSpace = std::uint64_t{1} << (sizeof(void*) == 8 ? 47 : 32);

std::uint64_t PagesToBytes(std::uint64_t inPages)
{
    static const std::uint64_t sPageSize = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    return inPages * sPageSize;
}

/// The C library's answer, for when the system's files give none.
std::uint64_t PagesByName(int inName)
{
    const long pages = sysconf(inName);
    return pages > 0 ? PagesToBytes(static_cast<std::uint64_t>(pages)) : 0;
}

std::uint64_t AddressLimit()
{
    rlimit limit;
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur == 0)
        return kAddressSpace;
    return std::min<std::uint64_t>(limit.rlim_cur, kAddressSpace);
}

} // namespace

struct LinuxMachineFigures::Readers
{
    Readers(const std::string& inRoot, Readers* inParents)
        : process(getpid())
        , memoryInfo(inRoot + "/proc/meminfo")
        , sizes(inRoot + "/proc/self/statm")
        , status(inRoot + "/proc/self/status")
        , groups(inRoot)
        , disks(inRoot)
        , parents(inParents)
    {
    }

    const pid_t process;

    std::mutex mutex; // guards all below; a leaf
    KeptFile memoryInfo;
    KeptFile sizes;
    KeptFile status;
    CgroupMemory groups;
    ZramDisks disks;
    bool hasTotals = false;
    std::uint64_t totalsTime = 0; // of Clock(), in nanoseconds
    std::uint64_t totalPhysical = 0;
    std::uint64_t totalVirtual = 0;
    Readers* const parents; // never used again and never freed: their mutex may stay held for ever

    void RefreshTotals()
    {
        const std::uint64_t now = Clock().NowNanoseconds();
        if (hasTotals && now - totalsTime < kTotalsLifeNanoseconds)
            return;
        hasTotals = true;
        totalsTime = now;
        groups.Refresh();
        disks.Refresh();
        std::string text;
        memoryInfo.Read(text);
        const std::uint64_t machine = BytesOfKey(text, "MemTotal").value_or(0);
        totalPhysical =
            std::min(machine != 0 ? machine : PagesByName(_SC_PHYS_PAGES), groups.Limit());
        totalVirtual = AddressLimit();
    }

    /// Unused, or holding files that nobody has used lately: what can be had at once.
    std::uint64_t ActiveFree(const std::string& inMemoryInfo)
    {
        const boost::optional<std::uint64_t> unused = BytesOfKey(inMemoryInfo, "MemFree");
        const std::uint64_t inactive = BytesOfKey(inMemoryInfo, "Inactive(file)").value_or(0);
        return unused ? *unused + inactive : PagesByName(_SC_AVPHYS_PAGES);
    }

    std::uint64_t LimitedByGroups(std::uint64_t inBytes)
    {
        RefreshTotals(); // for the limits
        return std::min(inBytes, groups.Available());
    }
};

LinuxMachineFigures::LinuxMachineFigures(const std::string& inRoot)
    : mRoot(inRoot)
{
}

LinuxMachineFigures::~LinuxMachineFigures()
{
    Readers* const readers = mReaders.load();
    if (readers != nullptr && readers->process == getpid())
        delete readers;
}

LinuxMachineFigures::Readers& LinuxMachineFigures::OwnReaders()
{
    Readers* current = mReaders.load();
    if (current != nullptr && current->process == getpid())
        return *current;
    auto fresh = std::make_unique<Readers>(mRoot, current);
    // A thread that was quicker has put a set of this process there.
    return mReaders.compare_exchange_strong(current, fresh.get()) ? *fresh.release() : *current;
}

std::uint64_t LinuxMachineFigures::TotalPhysicalMemory()
{
    Readers& readers = OwnReaders();
    const std::lock_guard<std::mutex> lock(readers.mutex);
    readers.RefreshTotals();
    return readers.totalPhysical;
}

std::uint64_t LinuxMachineFigures::TotalVirtualMemory()
{
    Readers& readers = OwnReaders();
    const std::lock_guard<std::mutex> lock(readers.mutex);
    readers.RefreshTotals();
    return readers.totalVirtual;
}

std::uint64_t LinuxMachineFigures::FreePhysicalMemory()
{
    Readers& readers = OwnReaders();
    const std::lock_guard<std::mutex> lock(readers.mutex);
    std::string text;
    readers.memoryInfo.Read(text);
    const boost::optional<std::uint64_t> available = BytesOfKey(text, "MemAvailable");
    return readers.LimitedByGroups(available ? *available : readers.ActiveFree(text));
}

std::uint64_t LinuxMachineFigures::FreeActiveMemory()
{
    Readers& readers = OwnReaders();
    const std::lock_guard<std::mutex> lock(readers.mutex);
    std::string text;
    readers.memoryInfo.Read(text);
    return readers.LimitedByGroups(readers.ActiveFree(text));
}

std::uint64_t LinuxMachineFigures::ProcessMemory()
{
    Readers& readers = OwnReaders();
    const std::lock_guard<std::mutex> lock(readers.mutex);
    std::string text;
    if (!readers.sizes.Read(text))
        return 0;
    const std::size_t second = text.find(' '); // size, resident, shared ...: in pages
    if (second == std::string::npos)
        return 0;
    return PagesToBytes(LeadingNumber(std::string_view(text).substr(second)).value_or(0));
}

std::uint64_t LinuxMachineFigures::ProcessCompressedMemory()
{
    Readers& readers = OwnReaders();
    const std::lock_guard<std::mutex> lock(readers.mutex);
    std::string text;
    readers.status.Read(text);
    return BytesOfKey(text, "VmSwap").value_or(0);
}

std::uint64_t LinuxMachineFigures::SystemCompressedMemory()
{
    Readers& readers = OwnReaders();
    const std::lock_guard<std::mutex> lock(readers.mutex);
    std::string text;
    readers.memoryInfo.Read(text);
    const std::uint64_t total = BytesOfKey(text, "SwapTotal").value_or(0);
    const std::uint64_t unused = BytesOfKey(text, "SwapFree").value_or(total);
    const std::uint64_t swapped =
        std::max(total - std::min(total, unused), BytesOfKey(text, "Zswapped").value_or(0));
    readers.RefreshTotals(); // for the disks
    return swapped + readers.disks.OriginalBytes();
}

} // namespace Platform
