#pragma once

#include <atomic>
#include <cstdint>

#include "qelcore/Export.h"

namespace qelcore
{
namespace threads
{

// Whether something has been set up. All zero at first, so a static one needs no constructor to run.
class OnceFlag
{
public:
    constexpr OnceFlag() noexcept = default;
    OnceFlag(const OnceFlag&) = delete;
    OnceFlag& operator=(const OnceFlag&) = delete;

private:
    friend class OnceRegion;
    std::atomic<std::uint32_t> mState{0}; // the states are in OnceRegion.cpp
};

// A set-up that runs once, and again if it failed:
//
//     static OnceFlag sOnce;
//     OnceRegion region(sOnce);
//     if (region.Entered())
//     {
//         SetUp();           // may throw: the region is rolled back, and the next to come tries again
//         region.Commit();
//     }
//
// Threads  Of those that come at the same time one enters; the others wait in the constructor until
//          it has committed, or until it has rolled back and one of them enters. What was written
//          before Commit() is visible to everybody who did not enter.
//          Coming again from within the region on the same thread waits for ever.
class RK_API OnceRegion
{
public:
    explicit OnceRegion(OnceFlag& ioFlag) noexcept
        : mFlag(ioFlag)
        , mEntered(ioFlag.mState.load(std::memory_order_acquire) != kCommitted && Enter(ioFlag))
    {
    }
    /// Rolls back what was entered and not committed.
    ~OnceRegion()
    {
        if (mEntered)
            RollBack();
    }
    OnceRegion(const OnceRegion&) = delete;
    OnceRegion& operator=(const OnceRegion&) = delete;

    /// @return whether it is the caller who must set up.
    bool Entered() const noexcept { return mEntered; }
    /// The set-up is done, for ever. Does nothing in a region that was not entered.
    void Commit() noexcept;

    /// @return whether the set-up of that flag is done; does not wait.
    static bool IsCommitted(const OnceFlag& inFlag) noexcept
    {
        return inFlag.mState.load(std::memory_order_acquire) == kCommitted;
    }

private:
    static constexpr std::uint32_t kCommitted = 2;

    static bool Enter(OnceFlag& ioFlag) noexcept;
    void RollBack() noexcept;

    OnceFlag& mFlag;
    bool mEntered;
};

} // namespace threads
} // namespace qelcore
