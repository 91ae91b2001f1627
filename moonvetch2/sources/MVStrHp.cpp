#include "MVStrHp.h"

#include <cstring>
#include <functional>

#include "MVBlocks.h"
#include "MVError.h"

static_assert(sizeof(PoolHeapBlock) == 30024);
static_assert(offsetof(PoolHeapBlock, data) == 24);

namespace
{

MVResult addBlock(MVPoolHeap* ioHeap)
{
    PoolHeapBlock* block = nullptr;
    const MVResult result = mvIntAllocateRecord("a PoolHeapBlock", &block);
    if (result != kMVNoError)
        return result;
    block->next = ioHeap->head;
    block->position = block->data;
    block->bytesLeft = kMVPoolHeapBlockBytes;
    ioHeap->head = block;
    ++ioHeap->count;
    return kMVNoError;
}

} // namespace

MVResult mvAllocatePoolHeap(MVPoolHeap** outHeap)
{
    return mvIntAllocateRecord("an MVPoolHeap", outHeap);
}

MVResult mvFreePoolHeap(MVPoolHeap* inHeap)
{
    while (PoolHeapBlock* block = inHeap->head)
    {
        inHeap->head = block->next;
        mvIntFreeBlock(block);
    }
    return mvIntFreeBlock(inHeap);
}

MVResult mvAddPoolData(MVPoolHeap* ioHeap, const char* inData, std::size_t inLength,
                       const char** outData)
{
    *outData = nullptr;
    if (inLength > kMVPoolHeapBlockBytes)
    {
        mvAssert("a string pool holds no string of more than 30000 bytes");
        return mvRaise(kMVOutOfMemoryError);
    }
    PoolHeapBlock* block = ioHeap->head;
    while (block != nullptr && block->bytesLeft < inLength)
        block = block->next;
    if (block == nullptr)
    {
        const MVResult result = addBlock(ioHeap);
        if (result != kMVNoError)
            return result;
        block = ioHeap->head;
    }
    std::memcpy(block->position, inData, inLength);
    *outData = block->position;
    block->position += inLength;
    block->bytesLeft -= inLength;
    return kMVNoError;
}

bool mvIsInPoolHeap(const MVPoolHeap* inHeap, const char* inPointer)
{
    const std::less<const char*> isBefore; // a whole order, of pointers to different things as well
    for (const PoolHeapBlock* block = inHeap->head; block != nullptr; block = block->next)
    {
        if (!isBefore(inPointer, block->data) && isBefore(inPointer, block->position))
            return true;
    }
    return false;
}
