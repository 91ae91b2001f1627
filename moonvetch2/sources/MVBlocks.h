// Memory of the host and of plug-ins, by the application's procedures. With block debug on, a header of 28 bytes
// ahead of each block keeps it on a list, newest first, with a text that says what it is.
#pragma once

#include <cstddef>
#include <cstdint>

#include "MoonVetch/Host.h"

/// With block debug on, ahead of each block. What follows it begins at a multiple of 4 only.
#pragma pack(push, 4)
struct MVBlockHeader
{
    const char* debug;
    MVBlockHeader* next;
    MVBlockHeader* prev;
    std::uint32_t unused;
};
#pragma pack(pop)

extern std::int32_t blockDebug;
/// Allocated less freed, with and without block debug. What is reallocated from or to nothing is not counted,
/// and a null block that is freed is.
extern std::int32_t numBlocks;
extern MVBlockHeader* firstBlock; ///< the newest

using MVAllocateProc = void* (*)(std::size_t, void*);
using MVFreeProc = void (*)(void*, void*);
using MVReallocateProc = void* (*)(void*, std::size_t, void*);

/// For the host's own records: zeroed. @param inDebug  what it is, such as "an MVAccess"; kept, not copied.
MVResult mvIntAllocateBlock(std::size_t inSize, const char* inDebug, void** outBlock);
MVResult mvIntFreeBlock(void* inBlock);

MVResult mvAllocateBlock(MVAllocateProc inAllocate, std::size_t inSize, const char* inDebug,
                         void** outBlock);
MVResult mvFreeBlock(MVFreeProc inFree, void* inBlock);
MVResult mvReallocateBlock(MVReallocateProc inReallocate, void* inBlock, std::size_t inSize,
                           const char* inDebug, void** outBlock);

/// A record of the host's own.
template <class Record>
MVResult mvIntAllocateRecord(const char* inDebug, Record** outRecord)
{
    void* block = nullptr;
    const MVResult result = mvIntAllocateBlock(sizeof(Record), inDebug, &block);
    *outRecord = static_cast<Record*>(block);
    return result;
}
