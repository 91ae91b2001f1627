#include "MVBlocks.h"

#include <cstring>
#include <new>

#include "MVError.h"
#include "MVHost.h"
#include "MVThread.h"

static_assert(sizeof(MVBlockHeader) == 28);
static_assert(offsetof(MVBlockHeader, debug) == 0);
static_assert(offsetof(MVBlockHeader, next) == 8);
static_assert(offsetof(MVBlockHeader, prev) == 16);

constinit std::int32_t blockDebug = 0;
constinit std::int32_t numBlocks = 0;
constinit MVBlockHeader* firstBlock = nullptr;

namespace
{

MVBlockHeader* headerOf(void* inBlock)
{
    return static_cast<MVBlockHeader*>(inBlock) - 1;
}

void* blockOf(MVBlockHeader* inHeader)
{
    return inHeader + 1;
}

MVBlockHeader* linkBlock(void* inMemory, const char* inDebug)
{
    MVBlockHeader* header = ::new (inMemory) MVBlockHeader{inDebug, firstBlock, nullptr, 0};
    if (firstBlock != nullptr)
        firstBlock->prev = header;
    firstBlock = header;
    return header;
}

// One that is in no list stays so: a block that was reallocated to nothing can still be freed.
void unlinkBlock(MVBlockHeader* ioHeader)
{
    if (ioHeader->prev != nullptr)
        ioHeader->prev->next = ioHeader->next;
    else if (firstBlock == ioHeader)
        firstBlock = ioHeader->next;
    if (ioHeader->next != nullptr)
        ioHeader->next->prev = ioHeader->prev;
    ioHeader->next = nullptr;
    ioHeader->prev = nullptr;
}

bool hasRoomForHeader(std::size_t inSize)
{
    return inSize <= SIZE_MAX - sizeof(MVBlockHeader);
}

void* allocateWithHeader(MVAllocateProc inAllocate, std::size_t inSize, const char* inDebug)
{
    if (!hasRoomForHeader(inSize))
        return nullptr;
    void* memory = inAllocate(inSize + sizeof(MVBlockHeader), gMVHostProcs->hostData);
    return memory != nullptr ? blockOf(linkBlock(memory, inDebug)) : nullptr;
}

// A block that cannot grow stays what and where it was, but goes to the head of the list.
MVResult reallocateWithHeader(MVReallocateProc inReallocate, void* inBlock, std::size_t inSize,
                              const char* inDebug, void** outBlock)
{
    if (!hasRoomForHeader(inSize))
        return mvRaise(kMVOutOfMemoryError);
    MVBlockHeader* header = inBlock != nullptr ? headerOf(inBlock) : nullptr;
    if (header != nullptr)
        unlinkBlock(header);
    void* memory = inReallocate(header, inSize + sizeof(MVBlockHeader), gMVHostProcs->hostData);
    if (memory == nullptr)
    {
        if (header != nullptr)
            linkBlock(header, header->debug);
        return mvRaise(kMVOutOfMemoryError);
    }
    *outBlock = blockOf(linkBlock(memory, inDebug));
    return kMVNoError;
}

// What is left is a header that stands in no list.
MVResult reallocateToNothing(MVReallocateProc inReallocate, void* inBlock, void** outBlock)
{
    MVBlockHeader* header = headerOf(inBlock);
    unlinkBlock(header);
    void* memory = inReallocate(header, sizeof(MVBlockHeader), gMVHostProcs->hostData);
    *outBlock = memory != nullptr ? blockOf(static_cast<MVBlockHeader*>(memory)) : inBlock;
    return kMVNoError;
}

MVResult reallocateWithDebug(MVReallocateProc inReallocate, void* inBlock, std::size_t inSize,
                             const char* inDebug, void** outBlock)
{
    if (inSize > 0)
        return reallocateWithHeader(inReallocate, inBlock, inSize, inDebug, outBlock);
    if (inBlock != nullptr)
        return reallocateToNothing(inReallocate, inBlock, outBlock);
    return kMVNoError;
}

MVResult findHeader(void* inBlock, MVBlockHeader** outHeader)
{
    if (blockDebug == 0)
        return mvRaise(kMVBlockDebugOffError);
    if (inBlock == nullptr)
        return kMVBadParameterError;
    *outHeader = headerOf(inBlock);
    return kMVNoError;
}

} // namespace

MVResult mvAllocateBlock(MVAllocateProc inAllocate, std::size_t inSize, const char* inDebug,
                         void** outBlock)
{
    *outBlock = blockDebug != 0 ? allocateWithHeader(inAllocate, inSize, inDebug)
                                : inAllocate(inSize, gMVHostProcs->hostData);
    if (*outBlock == nullptr)
        return mvRaise(kMVOutOfMemoryError);
    ++numBlocks;
    return kMVNoError;
}

MVResult mvFreeBlock(MVFreeProc inFree, void* inBlock)
{
    void* memory = inBlock;
    if (blockDebug != 0 && inBlock != nullptr)
    {
        MVBlockHeader* header = headerOf(inBlock);
        unlinkBlock(header);
        memory = header;
    }
    inFree(memory, gMVHostProcs->hostData);
    --numBlocks;
    return kMVNoError;
}

MVResult mvReallocateBlock(MVReallocateProc inReallocate, void* inBlock, std::size_t inSize,
                           const char* inDebug, void** outBlock)
{
    *outBlock = nullptr;
    if (blockDebug != 0)
        return reallocateWithDebug(inReallocate, inBlock, inSize, inDebug, outBlock);
    *outBlock = inReallocate(inBlock, inSize, gMVHostProcs->hostData);
    return *outBlock == nullptr && inSize > 0 ? mvRaise(kMVOutOfMemoryError) : kMVNoError;
}

MVResult mvIntAllocateBlock(std::size_t inSize, const char* inDebug, void** outBlock)
{
    const MVResult result =
        mvAllocateBlock(gMVHostProcs->internalAllocate, inSize, inDebug, outBlock);
    if (result == kMVNoError)
        std::memset(*outBlock, 0, inSize);
    return result;
}

MVResult mvIntFreeBlock(void* inBlock)
{
    return mvFreeBlock(gMVHostProcs->internalFree, inBlock);
}

MVResult MVAllocateBlock(size_t size, const char* debug, void** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    return mvAllocateBlock(gMVHostProcs->allocate, size, debug, out);
}

MVResult MVFreeBlock(void* block)
{
    MV_ONE_THREAD();
    return mvFreeBlock(gMVHostProcs->free, block);
}

MVResult MVReallocateBlock(void* block, size_t size, const char* debug, void** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    return mvReallocateBlock(gMVHostProcs->reallocate, block, size, debug, out);
}

MVResult MVGetBlockDebugEnabled(int32_t* out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = blockDebug;
    return kMVNoError;
}

MVResult MVSetBlockDebugEnabled(int32_t enabled)
{
    MV_ONE_THREAD();
    if (numBlocks != 0)
        return mvRaise(kMVBlockDebugLockedError);
    blockDebug = enabled;
    return kMVNoError;
}

MVResult MVGetFirstBlock(void** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    if (blockDebug == 0)
        return mvRaise(kMVBlockDebugOffError);
    if (firstBlock != nullptr)
        *out = blockOf(firstBlock);
    return kMVNoError;
}

MVResult MVGetNextBlock(void* block, void** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    MVBlockHeader* header = nullptr;
    const MVResult result = findHeader(block, &header);
    if (result == kMVNoError && header->next != nullptr)
        *out = blockOf(header->next);
    return result;
}

MVResult MVGetBlockDebug(void* block, const char** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    MVBlockHeader* header = nullptr;
    const MVResult result = findHeader(block, &header);
    if (result == kMVNoError)
        *out = header->debug;
    return result;
}
