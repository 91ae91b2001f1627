// Where the characters of a pool's strings lie: blocks that are filled one behind the other. Nothing in them is
// ever moved or removed, so a pointer into one stands as long as the pool.
#pragma once

#include <cstddef>
#include <cstdint>

#include "MoonVetch/Types.h"

constexpr std::size_t kMVPoolHeapBlockBytes = 30000;

struct PoolHeapBlock
{
    PoolHeapBlock* next;
    char* position; ///< where the next string goes
    std::uint64_t bytesLeft;
    char data[kMVPoolHeapBlockBytes];
};

struct MVPoolHeap
{
    PoolHeapBlock* head;
    std::uint32_t count;
};

MVResult mvAllocatePoolHeap(MVPoolHeap** outHeap);
MVResult mvFreePoolHeap(MVPoolHeap* inHeap);
/// Copies inLength bytes into the heap.
/// @return kMVOutOfMemoryError; also for more bytes than a block holds, which the assertTrap is told of.
MVResult mvAddPoolData(MVPoolHeap* ioHeap, const char* inData, std::size_t inLength,
                       const char** outData);
/// Whether it points to what the heap holds.
bool mvIsInPoolHeap(const MVPoolHeap* inHeap, const char* inPointer);
