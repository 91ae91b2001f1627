// String pools: each text is kept once, so that two of one pool are equal when their pointers are. Known texts are
// found by bisection of a sorted list, which lies in blocks of 250; all of them are full but the last.
#pragma once

#include <cstddef>
#include <cstdint>

#include "MVStrHp.h"

constexpr std::uint32_t kMVSortBlockStrings = 250;

struct SortBlock
{
    SortBlock* next;
    MVWString* entries; ///< strings
    std::uint32_t count;
    MVWString strings[kMVSortBlockStrings];
};

struct MVStringPool
{
    MVPoolHeap* heap;
    std::uint32_t count; ///< of strings
    SortBlock* firstSortBlock;
    std::uint32_t sortBlockCount;
};

// What fills empty slots of an MVHostProcs.
MVResult defaultAllocateStringPool(MVStringPool** out);
MVResult defaultFreeStringPool(MVStringPool* pool);
/// A pointer into the pool's own characters is taken for interned, and comes back as it is.
MVResult defaultMakeWString(MVStringPool* pool, const char* string, MVWString* out);

/// Makes room for inCount entries at inIndex of a block; what does not fit goes to the start of the next.
/// @param inBlock  null: a new one at the chain's end. @param outBlock  where the room is.
/// @param inIndex  with inCount, 250 at most. @return an error of allocation, and then nothing has been moved.
MVResult makeGap(MVStringPool* ioPool, SortBlock* inBlock, std::uint32_t inIndex,
                 std::uint32_t inCount, SortBlock** outBlock);
