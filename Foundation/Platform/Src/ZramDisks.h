#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KeptFile.h"

namespace Platform
{

// Compressed disks in memory (zram) that hold files and are not swapped to: what they hold is in no other
// figure. Those that are swapped to are part of the swap in use. One thread at a time.
class ZramDisks
{
public:
    /// @param inRoot  stands before each path of the system.
    explicit ZramDisks(const std::string& inRoot)
        : mRoot(inRoot)
    {
    }

    /// Looks which there are: 10 us where there is none.
    void Refresh();
    /// What those that Refresh() found hold, in its full size. Two microseconds for each.
    std::uint64_t OriginalBytes();

private:
    const std::string mRoot;
    std::vector<std::string> mNames; // sorted, as mStatistics is
    std::vector<std::unique_ptr<KeptFile>> mStatistics;
};

} // namespace Platform
