#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KeptFile.h"

namespace Platform
{

struct CgroupFolder;

// What the control groups that the process is in, from its own up to the highest that can be seen,
// let it have of memory. Versions 1 and 2 and a mixture of them; each level counts, since any of them
// may be the narrowest. One thread at a time.
class CgroupMemory
{
public:
    /// @param inRoot  stands before each path of the system; empty for the real one.
    explicit CgroupMemory(const std::string& inRoot);
    ~CgroupMemory();

    /// Looks whether the process was moved to other groups, and reads all limits again. About four
    /// microseconds a level; some tens more when it was moved.
    void Refresh();

    /// The least limit, as of the last Refresh(); kNoLimit if there is none.
    std::uint64_t Limit() const { return mLimit; }

    /// What can still be had below every limit: the limit, less what is used, plus what of it are
    /// pages of files that were not used lately. kNoLimit if there is no limit. About four microseconds
    /// for each level that has one.
    std::uint64_t Available();

    static constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

private:
    struct Level;

    void FindLevels(const std::string& inMembership);
    void AddLevels(const CgroupFolder& inFolder);

    const std::string mRoot;
    KeptFile mMembershipFile;
    std::string mMembership; // the text that mLevels was made from
    std::vector<std::unique_ptr<Level>> mLevels;
    std::uint64_t mLimit = kNoLimit;
};

} // namespace Platform
