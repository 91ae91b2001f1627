#include "qelcore/OnceRegion.h"

namespace qelcore
{
namespace threads
{
namespace
{

// Besides OnceRegion::kCommitted. Waiters sleep on the state itself.
constexpr std::uint32_t kOpen = 0;
constexpr std::uint32_t kRunning = 1;

} // namespace

bool OnceRegion::Enter(OnceFlag& ioFlag) noexcept
{
    for (;;)
    {
        std::uint32_t state = kOpen;
        if (ioFlag.mState.compare_exchange_strong(state, kRunning, std::memory_order_acquire))
            return true;
        if (state == kCommitted)
            return false;
        ioFlag.mState.wait(kRunning, std::memory_order_acquire);
    }
}

void OnceRegion::Commit() noexcept
{
    if (!mEntered)
        return;
    mEntered = false;
    mFlag.mState.store(kCommitted, std::memory_order_release);
    mFlag.mState.notify_all();
}

void OnceRegion::RollBack() noexcept
{
    mFlag.mState.store(kOpen, std::memory_order_release);
    mFlag.mState.notify_all();
}

} // namespace threads
} // namespace qelcore
