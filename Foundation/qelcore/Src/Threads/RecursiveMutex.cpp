#include "qelcore/RecursiveMutex.h"

#include <type_traits>

namespace qelcore
{
namespace threads
{

static_assert(std::is_trivially_destructible_v<RecursiveMutex>, "locked during exit as well");

void RecursiveMutex::Lock(const char* inTag)
{
    mMutex.lock();
    ++mDepth;
    mTag.store(inTag, std::memory_order_relaxed);
}

bool RecursiveMutex::TryLock(const char* inTag)
{
    if (!mMutex.try_lock())
        return false;
    ++mDepth;
    mTag.store(inTag, std::memory_order_relaxed);
    return true;
}

void RecursiveMutex::Unlock()
{
    if (--mDepth == 0)
        mTag.store(nullptr, std::memory_order_relaxed);
    mMutex.unlock();
}

const char* RecursiveMutex::HolderTag() const noexcept
{
    return mTag.load(std::memory_order_relaxed);
}

} // namespace threads
} // namespace qelcore
