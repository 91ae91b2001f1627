#pragma once

#include <atomic>
#include <mutex>

#include "qelcore/Export.h"
#include "qelcore/ThreadAnnotations.h"

namespace qelcore
{
namespace threads
{

// A mutex that its holder may lock again. Each lock names its caller with a literal, for diagnostics.
// Usable before main() and during exit: set up at compile time, and trivially destroyed.
class RK_API RK_CAPABILITY("mutex") RecursiveMutex
{
public:
    constexpr RecursiveMutex() noexcept = default;
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    /// @param inTag  a literal that names the caller, or null.
    void Lock(const char* inTag) RK_ACQUIRE();
    bool TryLock(const char* inTag) RK_TRY_ACQUIRE(true);
    void Unlock() RK_RELEASE();

    /// The tag of the last successful lock, for diagnostics only. Null when nobody holds the mutex.
    const char* HolderTag() const noexcept;

    class RK_SCOPED_CAPABILITY ScopedLock
    {
    public:
        explicit ScopedLock(RecursiveMutex& inMutex, const char* inTag = nullptr)
            RK_ACQUIRE(inMutex)
            : mMutex(inMutex)
        {
            mMutex.Lock(inTag);
        }
        ~ScopedLock() RK_RELEASE() { mMutex.Unlock(); }
        ScopedLock(const ScopedLock&) = delete;
        ScopedLock& operator=(const ScopedLock&) = delete;

    private:
        RecursiveMutex& mMutex;
    };

private:
    std::recursive_mutex mMutex;
    std::atomic<const char*> mTag{nullptr};
    unsigned mDepth = 0; // the holder's own
};

} // namespace threads
} // namespace qelcore
