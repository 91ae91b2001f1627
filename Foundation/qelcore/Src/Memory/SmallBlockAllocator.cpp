#include "qelcore/SmallBlockAllocator.h"

#include <algorithm>

#include "qelcore/Mutex.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) ||                         \
    __has_feature(memory_sanitizer)
#define RK_BLOCKS_MUST_BE_SEEN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RK_BLOCKS_MUST_BE_SEEN 1
#endif

// How it works: sizes are rounded up to classes of 16 bytes. A thread keeps two lists of free blocks for each
// class and works on one of them without a lock. A list holds at most a batch of blocks; when both
// are full, or both are empty, a whole batch moves to or from the class's central stack in constant
// time. Batches are cut from chunks, which are never given back.
//
// Invariants  (1) Two words fit into every free block: the next block of its list, and, in the first
//                 block of a batch on a central stack, the next batch.
//             (2) A batch on a central stack holds exactly BatchLength() blocks. What comes in any other
//                 number, from threads that end, lies on the class's loose list.
//             (3) Central state is set up at compile time and trivially destroyed. A thread's lists
//                 are gone when its thread_local objects are; from then on it works on the central
//                 stacks, block by block.
namespace qelcore
{
namespace utility
{

#if defined(RK_BLOCKS_MUST_BE_SEEN)

// The sanitizers know every block of operator new, and compare the size of the release.
void* SmallBlockAllocator::Allocate(std::size_t inSize)
{
    return ::operator new(std::max<std::size_t>(inSize, 1));
}

void SmallBlockAllocator::Dispose(void* inBlock, std::size_t inSize) noexcept
{
    ::operator delete(inBlock, std::max<std::size_t>(inSize, 1));
}

#else

namespace
{

using threads::Lock;
using threads::Mutex;

constexpr std::size_t kGrain = 16; // also the alignment that is promised
constexpr std::size_t kLargestSmall = 512;
constexpr std::size_t kClasses = kLargestSmall / kGrain;
constexpr std::size_t kChunkBytes = 64 * 1024;
constexpr std::size_t kBatchBytes = 8 * 1024; // a thread keeps at most twice this for each class
constexpr std::size_t kLongestBatch = 64;

static_assert(alignof(std::max_align_t) <= kGrain);

struct Block
{
    Block* mNext;
    Block* mNextBatch;
};
static_assert(sizeof(Block) <= kGrain, "invariant (1)");

constexpr std::size_t BatchLength(std::size_t inClass)
{
    return std::min(kLongestBatch, kBatchBytes / ((inClass + 1) * kGrain));
}

struct FreeList
{
    Block* mFirst = nullptr;
    std::size_t mLength = 0;
};

struct Central
{
    Mutex mMutex;
    Block* mBatches RK_GUARDED_BY(mMutex) = nullptr;
    Block* mLoose RK_GUARDED_BY(mMutex) = nullptr;
    char* mChunk RK_GUARDED_BY(mMutex) = nullptr; // what is left of the newest chunk
    std::size_t mChunkLeft RK_GUARDED_BY(mMutex) = 0;
};

constinit Central sCentral[kClasses];

// Links the next batch of a chunk. Its blocks lie side by side, which the processor's cache likes.
FreeList CutBatch(Central& ioCentral, std::size_t inClass) RK_REQUIRES(ioCentral.mMutex)
{
    const std::size_t size = (inClass + 1) * kGrain;
    const std::size_t length = BatchLength(inClass);
    if (ioCentral.mChunkLeft < size * length)
    {
        // The rest of the old chunk is less than a batch, and is lost.
        ioCentral.mChunk = static_cast<char*>(::operator new(kChunkBytes));
        ioCentral.mChunkLeft = kChunkBytes;
    }
    char* const first = ioCentral.mChunk;
    ioCentral.mChunk += size * length;
    ioCentral.mChunkLeft -= size * length;
    Block* next = nullptr;
    for (std::size_t i = length; i-- > 0;)
        next = new (first + i * size) Block{next, nullptr};
    return {next, length};
}

FreeList TakeLoose(Central& ioCentral, std::size_t inMost) RK_REQUIRES(ioCentral.mMutex)
{
    FreeList taken;
    while (ioCentral.mLoose != nullptr && taken.mLength < inMost)
    {
        Block* const block = ioCentral.mLoose;
        ioCentral.mLoose = block->mNext;
        block->mNext = taken.mFirst;
        taken.mFirst = block;
        ++taken.mLength;
    }
    return taken;
}

/// @return at least one block; a batch where there is one.
FreeList TakeBatch(std::size_t inClass)
{
    Central& central = sCentral[inClass];
    Lock lock(central.mMutex);
    if (Block* const batch = central.mBatches)
    {
        central.mBatches = batch->mNextBatch;
        return {batch, BatchLength(inClass)};
    }
    if (central.mLoose != nullptr)
        return TakeLoose(central, BatchLength(inClass));
    return CutBatch(central, inClass);
}

void GiveBatch(std::size_t inClass, Block* inFirst) noexcept
{
    Central& central = sCentral[inClass];
    Lock lock(central.mMutex);
    inFirst->mNextBatch = central.mBatches;
    central.mBatches = inFirst;
}

void GiveLoose(std::size_t inClass, Block* inFirst, Block* inLast) noexcept
{
    Central& central = sCentral[inClass];
    Lock lock(central.mMutex);
    inLast->mNext = central.mLoose;
    central.mLoose = inFirst;
}

void GiveLoose(std::size_t inClass, Block* inFirst) noexcept
{
    if (inFirst == nullptr)
        return;
    Block* last = inFirst;
    while (last->mNext != nullptr)
        last = last->mNext;
    GiveLoose(inClass, inFirst, last);
}

// The lists of one thread, and what gives them back when the thread ends.
struct ThreadLists
{
    FreeList mCurrent[kClasses];
    FreeList mSpare[kClasses];
};

// What a thread works with: null before its first block, and again when its lists are gone. It is
// only a pointer, so it can lie in the part of the thread's storage that is reached without a call.
enum class ThreadState : unsigned char
{
    kNew,
    kLive,
    kEnded
};
constinit thread_local ThreadLists* tLists __attribute__((tls_model("initial-exec"))) = nullptr;
constinit thread_local ThreadState tState __attribute__((tls_model("initial-exec"))) =
    ThreadState::kNew;

struct ThreadListsOwner
{
    ThreadListsOwner() noexcept
    {
        tLists = &mLists;
        tState = ThreadState::kLive;
    }
    ~ThreadListsOwner()
    {
        tLists = nullptr;
        tState = ThreadState::kEnded;
        for (std::size_t i = 0; i < kClasses; ++i)
        {
            GiveLoose(i, mLists.mCurrent[i].mFirst);
            GiveLoose(i, mLists.mSpare[i].mFirst);
        }
    }
    ThreadListsOwner(const ThreadListsOwner&) = delete;
    ThreadListsOwner& operator=(const ThreadListsOwner&) = delete;

    ThreadLists mLists;
};

/// @return the calling thread's lists, made now if it is the first time; null if they are gone.
ThreadLists* MakeThreadLists()
{
    if (tState == ThreadState::kEnded)
        return nullptr;
    static thread_local ThreadListsOwner tOwner;
    return &tOwner.mLists;
}

void* AllocateWithoutLists(std::size_t inClass)
{
    const FreeList taken = TakeBatch(inClass);
    GiveLoose(inClass, taken.mFirst->mNext);
    return taken.mFirst;
}

/// Called with an empty current list. @return a block.
void* AllocateSlowly(std::size_t inClass)
{
    ThreadLists* const lists = tLists != nullptr ? tLists : MakeThreadLists();
    if (lists == nullptr)
        return AllocateWithoutLists(inClass);
    FreeList& current = lists->mCurrent[inClass];
    if (lists->mSpare[inClass].mLength != 0)
        std::swap(current, lists->mSpare[inClass]);
    else
        current = TakeBatch(inClass);
    Block* const block = current.mFirst;
    current.mFirst = block->mNext;
    --current.mLength;
    return block;
}

/// Called when the current list is full, or is not there.
void DisposeSlowly(Block* inBlock, std::size_t inClass) noexcept
{
    ThreadLists* const lists = tLists != nullptr ? tLists : MakeThreadLists();
    if (lists == nullptr)
        return GiveLoose(inClass, inBlock, inBlock);
    FreeList& current = lists->mCurrent[inClass];
    FreeList& spare = lists->mSpare[inClass];
    if (current.mLength == BatchLength(inClass))
    {
        if (spare.mLength == BatchLength(inClass))
            GiveBatch(inClass, spare.mFirst);
        else
            GiveLoose(inClass, spare.mFirst); // what is left of loose blocks
        spare = current;
        current = FreeList{};
    }
    inBlock->mNext = current.mFirst;
    current.mFirst = inBlock;
    ++current.mLength;
}

std::size_t ClassOf(std::size_t inSize)
{
    return inSize == 0 ? 0 : (inSize - 1) / kGrain;
}

} // namespace

void* SmallBlockAllocator::Allocate(std::size_t inSize)
{
    if (inSize > kLargestSmall)
        return ::operator new(inSize);
    const std::size_t sizeClass = ClassOf(inSize);
    ThreadLists* const lists = tLists;
    if (lists == nullptr || lists->mCurrent[sizeClass].mLength == 0)
        return AllocateSlowly(sizeClass);
    FreeList& current = lists->mCurrent[sizeClass];
    Block* const block = current.mFirst;
    current.mFirst = block->mNext;
    --current.mLength;
    return block;
}

void SmallBlockAllocator::Dispose(void* inBlock, std::size_t inSize) noexcept
{
    if (inBlock == nullptr)
        return;
    if (inSize > kLargestSmall)
        return ::operator delete(inBlock);
    const std::size_t sizeClass = ClassOf(inSize);
    Block* const block = static_cast<Block*>(inBlock);
    ThreadLists* const lists = tLists;
    if (lists == nullptr || lists->mCurrent[sizeClass].mLength == BatchLength(sizeClass))
        return DisposeSlowly(block, sizeClass);
    FreeList& current = lists->mCurrent[sizeClass];
    block->mNext = current.mFirst;
    current.mFirst = block;
    ++current.mLength;
}

#endif

} // namespace utility
} // namespace qelcore
