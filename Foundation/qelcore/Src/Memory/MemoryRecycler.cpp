#include "qelcore/MemoryRecycler.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#include "Platform/Clock.h"
#include "Platform/Pages.h"
#include "qelcore/Mutex.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RK_POISON_POOL 1
#endif
#endif
#if defined(RK_POISON_POOL) || defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(inStart, inSize) ((void)(inStart), (void)(inSize))
#define ASAN_UNPOISON_MEMORY_REGION(inStart, inSize) ((void)(inStart), (void)(inSize))
#endif

namespace qelcore
{
namespace utility
{
namespace
{

using threads::Lock;
using threads::Mutex;

// Malloc recycles what is smaller. Of what is not it returns the pages when one thread frees what another has
// allocated, as a read and its completion do: a page fault for each page of each block.
constexpr std::size_t kLargestSmall = 32 * 1024;
constexpr unsigned kLargestSmallBits = 15;
constexpr std::size_t kSmallGrain = 16;
constexpr std::size_t kLargestBlock = std::size_t{1} << 46; // half of the address space
constexpr std::size_t kClasses = (46 - kLargestSmallBits) * 8;
constexpr std::size_t kFirstLimit = 128u << 20; // four frames of UHD in 8 bits RGBA
constexpr std::uint64_t kStaleNanoseconds =
    60 * 1000000000ull; // a pause at the desk, not in playback

struct SizeClass
{
    std::size_t mIndex;
    std::size_t mBytes;
};

/// @param inSize  above kLargestSmall, at most kLargestBlock.
SizeClass ClassOf(std::size_t inSize)
{
    const auto power = static_cast<unsigned>(std::bit_width(inSize - 1)) - 1; // 2^power < inSize
    const std::size_t step = std::size_t{1} << (power - 3);
    const std::size_t base = std::size_t{1} << power;
    const std::size_t steps = (inSize - base + step - 1) / step; // 1 to 8
    return {(power - kLargestSmallBits) * 8 + steps - 1, base + steps * step};
}

// A block that waits, described in its own first bytes. It is in two lists: of its class, last in
// first out because its pages are the warmest, and of all blocks by age.
struct Waiting
{
    std::size_t mBytes;
    std::uint64_t mSince; // nanoseconds
    Waiting* mNextOfClass;
    Waiting* mPreviousOfClass;
    Waiting* mYounger;
    Waiting* mOlder;
};

class Pool
{
public:
    Waiting* Take(std::size_t inClass) RK_REQUIRES(mMutex)
    {
        Waiting* const block = mClasses[inClass];
        if (block != nullptr)
            Remove(*block);
        return block;
    }

    void Add(Waiting& inBlock) RK_REQUIRES(mMutex)
    {
        Waiting*& first = mClasses[ClassOf(inBlock.mBytes).mIndex];
        inBlock.mNextOfClass = first;
        inBlock.mPreviousOfClass = nullptr;
        if (first != nullptr)
            first->mPreviousOfClass = &inBlock;
        first = &inBlock;

        inBlock.mYounger = nullptr;
        inBlock.mOlder = mYoungest;
        (mYoungest != nullptr ? mYoungest->mYounger : mOldest) = &inBlock;
        mYoungest = &inBlock;
        mBytes += inBlock.mBytes;
    }

    void Remove(Waiting& inBlock) RK_REQUIRES(mMutex)
    {
        (inBlock.mPreviousOfClass != nullptr ? inBlock.mPreviousOfClass->mNextOfClass
                                             : mClasses[ClassOf(inBlock.mBytes).mIndex]) =
            inBlock.mNextOfClass;
        if (inBlock.mNextOfClass != nullptr)
            inBlock.mNextOfClass->mPreviousOfClass = inBlock.mPreviousOfClass;
        (inBlock.mOlder != nullptr ? inBlock.mOlder->mYounger : mOldest) = inBlock.mYounger;
        (inBlock.mYounger != nullptr ? inBlock.mYounger->mOlder : mYoungest) = inBlock.mOlder;
        mBytes -= inBlock.mBytes;
    }

    // It is a leaf: nothing is called with it held.
    Mutex mMutex;
    std::array<Waiting*, kClasses> mClasses RK_GUARDED_BY(mMutex){};
    Waiting* mOldest RK_GUARDED_BY(mMutex) = nullptr;
    Waiting* mYoungest RK_GUARDED_BY(mMutex) = nullptr;
    std::size_t mBytes RK_GUARDED_BY(mMutex) = 0;
    std::size_t mLimit RK_GUARDED_BY(mMutex) = kFirstLimit;
    bool mAutomatic RK_GUARDED_BY(mMutex) = true;
};

constinit Pool sPool;

// Blocks that have left the pool, linked by mOlder; freed at the end of its life, after the lock.
class Leaving
{
public:
    Leaving() = default;
    Leaving(const Leaving&) = delete;
    Leaving& operator=(const Leaving&) = delete;
    ~Leaving()
    {
        while (mFirst != nullptr)
        {
            Waiting* const block = mFirst;
            mFirst = block->mOlder;
            const std::size_t bytes = block->mBytes;
            ASAN_UNPOISON_MEMORY_REGION(block, bytes);
            Platform::FreePages(block, bytes);
        }
    }

    void Move(Waiting& inBlock) RK_REQUIRES(sPool.mMutex)
    {
        sPool.Remove(inBlock);
        inBlock.mOlder = mFirst;
        mFirst = &inBlock;
        mBytes += inBlock.mBytes;
    }
    std::size_t Bytes() const { return mBytes; }

private:
    Waiting* mFirst = nullptr;
    std::size_t mBytes = 0;
};

void MoveOldestUntilWithinLimit(Leaving& ioLeaving) RK_REQUIRES(sPool.mMutex)
{
    while (sPool.mBytes > sPool.mLimit)
        ioLeaving.Move(*sPool.mOldest);
}

void* AllocateSmall(std::size_t inSize, std::size_t& outActual)
{
    const std::size_t size =
        inSize == 0 ? kSmallGrain : (inSize + kSmallGrain - 1) / kSmallGrain * kSmallGrain;
    void* const block = std::malloc(size);
    if (block == nullptr)
        throw std::bad_alloc();
    outActual = size;
    return block;
}

void* TakeFromPool(std::size_t inClass)
{
    Lock lock(sPool.mMutex);
    return sPool.Take(inClass);
}

} // namespace

void* MemoryRecycler::Allocate(std::size_t inSize, std::size_t& outActual)
{
    if (inSize <= kLargestSmall)
        return AllocateSmall(inSize, outActual);
    if (inSize > kLargestBlock)
        throw std::bad_alloc();
    const SizeClass sizeClass = ClassOf(inSize);
    void* block = TakeFromPool(sizeClass.mIndex);
    if (block == nullptr)
        block = Platform::AllocatePages(sizeClass.mBytes);
    if (block == nullptr && PurgeBytes(std::numeric_limits<std::size_t>::max()) > 0)
        block = Platform::AllocatePages(sizeClass.mBytes);
    if (block == nullptr)
        throw std::bad_alloc();
    ASAN_UNPOISON_MEMORY_REGION(block, sizeClass.mBytes);
    outActual = sizeClass.mBytes;
    return block;
}

void MemoryRecycler::Recycle(void* inBlock, std::size_t inActual) noexcept
{
    if (inBlock == nullptr)
        return;
    if (inActual <= kLargestSmall)
        return std::free(inBlock);
    Waiting* const block = new (inBlock) Waiting{};
    block->mBytes = inActual;
    block->mSince = Platform::Clock().NowNanoseconds();
    ASAN_POISON_MEMORY_REGION(block + 1, inActual - sizeof(Waiting));
    Leaving leaving;
    Lock lock(sPool.mMutex);
    sPool.Add(*block);
    if (sPool.mAutomatic)
        MoveOldestUntilWithinLimit(leaving);
}

std::size_t MemoryRecycler::PurgeBytes(std::size_t inSize)
{
    Leaving leaving;
    {
        Lock lock(sPool.mMutex);
        for (Waiting* block = sPool.mOldest; block != nullptr;)
        {
            Waiting* const next = block->mYounger;
            if (block->mBytes <= inSize - leaving.Bytes())
                leaving.Move(*block);
            block = next;
        }
    }
    return leaving.Bytes();
}

void MemoryRecycler::SetPoolLimit(std::size_t inBytes)
{
    Leaving leaving;
    Lock lock(sPool.mMutex);
    sPool.mLimit = inBytes;
    if (sPool.mAutomatic)
        MoveOldestUntilWithinLimit(leaving);
}

std::size_t MemoryRecycler::GetPoolLimit()
{
    Lock lock(sPool.mMutex);
    return sPool.mLimit;
}

std::size_t MemoryRecycler::GetCurrentPoolSize()
{
    Lock lock(sPool.mMutex);
    return sPool.mBytes;
}

void MemoryRecycler::ReconcileSize()
{
    Leaving leaving;
    Lock lock(sPool.mMutex);
    MoveOldestUntilWithinLimit(leaving);
}

void MemoryRecycler::ReconcileStaleEntries()
{
    const std::uint64_t now = Platform::Clock().NowNanoseconds();
    Leaving leaving;
    Lock lock(sPool.mMutex);
    // A block can be younger than now: it came back after the clock was read.
    while (sPool.mOldest != nullptr && sPool.mOldest->mSince + kStaleNanoseconds <= now)
        leaving.Move(*sPool.mOldest);
}

void MemoryRecycler::SetReconcileSizeAutomatically(bool inAutomatically)
{
    Leaving leaving;
    Lock lock(sPool.mMutex);
    sPool.mAutomatic = inAutomatically;
    if (sPool.mAutomatic)
        MoveOldestUntilWithinLimit(leaving);
}

} // namespace utility
} // namespace qelcore
