#pragma once

#include <cstdint>
#include <string>

#include <RiverKit/RKMediaManager.h>

#include "EventLoop.h"
#include "Options.h"

namespace RKHost
{

/// What the memory balancer has given to this process.
struct GrantFigures
{
    bool mAsked = false;
    std::uint64_t mGrantBytes = 0;         ///< 0: none has come, or it cannot be seen
    std::uint64_t mSmallestCacheBytes = 0; ///< the cache is allowed that much whatever the grant is
};

/// What comes of a grant as the budget of the cache, as far as that is allowed so much or so little: an
/// eighth is left to the rest of the process.
constexpr std::uint64_t SevenEighthsOf(std::uint64_t inGrantBytes)
{
    return inGrantBytes - inGrantBytes / 8;
}

// What the options say on the memory of this process, in force for the life of the object.
class MemorySettings
{
public:
    /// Names the suite; to be called before the library starts.
    static void NameSuite(const Options& inOptions);

    /// Where the balancer is asked it waits for the first grant, but not for long.
    MemorySettings(const Options& inOptions, EventLoop& ioLoop);
    ~MemorySettings();
    MemorySettings(const MemorySettings&) = delete;
    MemorySettings& operator=(const MemorySettings&) = delete;

    GrantFigures Grant() const;

private:
    void AskBalancer(EventLoop& ioLoop);

    const Options& mOptions;
    const RK::IMediaManagerRef mManager;
};

} // namespace RKHost
