#pragma once

#include "MediaManager/MediaManager.h"

namespace RK
{

/// Marks that the maps of items are being walked or changed, for its life. They may nest.
struct MediaManager::Walk
{
    explicit Walk(bool& ioWalking) noexcept
        : mWalking(ioWalking)
        , mBefore(ioWalking)
    {
        mWalking = true;
    }
    ~Walk() { mWalking = mBefore; }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

private:
    bool& mWalking;
    const bool mBefore;
};

} // namespace RK
