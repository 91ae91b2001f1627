#include "CgroupMemory.h"

#include <algorithm>

#include <boost/optional.hpp>

#include "CgroupFolders.h"
#include "SystemText.h"

namespace Platform
{
namespace
{

// Version 1 says "no limit" by the greatest number of bytes that whole pages can have.
constexpr std::uint64_t kVersion1NoLimit = 9223372036854771712u;

// A number of bytes that a group may use, and how much of it is used.
struct Allowance
{
    Allowance(const std::string& inLimitPath, const std::string& inUsagePath)
        : limitFile(inLimitPath)
        , usageFile(inUsagePath)
    {
    }

    KeptFile limitFile;
    KeptFile usageFile;
    std::uint64_t limit = CgroupMemory::kNoLimit;

    /// @param inReclaimable  the part of what is used that can be had back at once.
    std::uint64_t Available(std::uint64_t inReclaimable)
    {
        std::string text;
        if (limit == CgroupMemory::kNoLimit || !usageFile.Read(text))
            return CgroupMemory::kNoLimit;
        const boost::optional<std::uint64_t> used = LeadingNumber(text);
        if (!used)
            return CgroupMemory::kNoLimit;
        return limit - std::min(limit, *used - std::min(inReclaimable, *used));
    }
};

std::uint64_t ToLimit(const boost::optional<std::uint64_t>& inNumber)
{
    // No process runs within a limit of 0: somebody's slip, and no statement about memory.
    return inNumber && *inNumber != 0 && *inNumber < kVersion1NoLimit ? *inNumber
                                                                      : CgroupMemory::kNoLimit;
}

std::uint64_t ReadLimit(KeptFile& ioFile)
{
    std::string text;
    // The highest group has no such file, and "max" is no number.
    return ioFile.Read(text) ? ToLimit(LeadingNumber(text)) : CgroupMemory::kNoLimit;
}

} // namespace

// One group. What version 2 grants of swap (memory.swap.max) is an allowance of its own and bounds no
// memory; version 1 counts memory and swap together as well, and so what was swapped out takes from what can
// still be had.
struct CgroupMemory::Level
{
    Level(const std::string& inFolder, bool inVersion1)
        : version1(inVersion1)
        , memory(inFolder + (inVersion1 ? "/memory.limit_in_bytes" : "/memory.max"),
                 inFolder + (inVersion1 ? "/memory.usage_in_bytes" : "/memory.current"))
        , memoryAndSwap(inFolder + "/memory.memsw.limit_in_bytes",
                        inFolder + "/memory.memsw.usage_in_bytes")
        , softLimit(inFolder + "/memory.high")
        , statistics(inFolder + "/memory.stat")
    {
    }

    const bool version1;
    Allowance memory;
    Allowance memoryAndSwap; // version 1
    KeptFile softLimit;      // version 2: beyond it the group is slowed down rather than refused
    KeptFile statistics;

    std::uint64_t Limit() const { return memory.limit; }

    void Refresh()
    {
        memory.limit = ReadLimit(memory.limitFile);
        if (!version1)
        {
            memory.limit = std::min(memory.limit, ReadLimit(softLimit));
            return;
        }
        memoryAndSwap.limit = ReadLimit(memoryAndSwap.limitFile);
        std::string text;
        if (!statistics.Read(text))
            return;
        // The least of all levels above too, of which a container may see none.
        memory.limit =
            std::min(memory.limit, ToLimit(NumberOfKey(text, "hierarchical_memory_limit")));
        memoryAndSwap.limit =
            std::min(memoryAndSwap.limit, ToLimit(NumberOfKey(text, "hierarchical_memsw_limit")));
    }

    std::uint64_t Available()
    {
        if (memory.limit == kNoLimit && memoryAndSwap.limit == kNoLimit)
            return kNoLimit;
        const std::uint64_t reclaimable = InactiveFileBytes();
        return std::min(memory.Available(reclaimable), memoryAndSwap.Available(reclaimable));
    }

    std::uint64_t InactiveFileBytes()
    {
        std::string text;
        if (!statistics.Read(text))
            return 0;
        // In version 1 the plain names count the group without those below it.
        const boost::optional<std::uint64_t> all =
            version1 ? NumberOfKey(text, "total_inactive_file") : boost::none;
        return all ? *all : NumberOfKey(text, "inactive_file").value_or(0);
    }
};

CgroupMemory::CgroupMemory(const std::string& inRoot)
    : mRoot(inRoot)
    , mMembershipFile(inRoot + "/proc/self/cgroup")
{
}

CgroupMemory::~CgroupMemory() = default;

void CgroupMemory::Refresh()
{
    std::string membership;
    if (!mMembershipFile.Read(membership))
        membership.clear();
    if (membership != mMembership)
        FindLevels(membership);
    mLimit = kNoLimit;
    for (const std::unique_ptr<Level>& level : mLevels)
    {
        level->Refresh();
        mLimit = std::min(mLimit, level->Limit());
    }
}

std::uint64_t CgroupMemory::Available()
{
    std::uint64_t available = kNoLimit;
    for (const std::unique_ptr<Level>& level : mLevels)
        available = std::min(available, level->Available());
    return available;
}

void CgroupMemory::FindLevels(const std::string& inMembership)
{
    mMembership.clear();
    mLevels.clear();
    std::string text;
    KeptFile mountInfo(mRoot + "/proc/self/mountinfo");
    if (!mountInfo.Read(text))
        return; // the next Refresh() tries again
    mMembership = inMembership;
    for (const CgroupFolder& folder : FindCgroupFolders(inMembership, text))
        AddLevels(folder);
}

void CgroupMemory::AddLevels(const CgroupFolder& inFolder)
{
    const std::string top = mRoot + inFolder.mountPoint;
    for (std::string relative = inFolder.relative;; relative.resize(relative.rfind('/')))
    {
        mLevels.push_back(std::make_unique<Level>(top + relative, inFolder.version1));
        if (relative.empty() || relative[0] != '/')
            return;
    }
}

} // namespace Platform
