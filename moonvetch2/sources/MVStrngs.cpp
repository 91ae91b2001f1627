#include "MVStrngs.h"

#include <algorithm>
#include <cstring>

#include "MVBlocks.h"
#include "MVHost.h"
#include "MVThread.h"

static_assert(sizeof(SortBlock) == 2024);

namespace
{

// A block, and how many strings lie in those before it.
struct SortPlace
{
    SortBlock* block;
    std::uint32_t before;
};

struct SearchResult
{
    MVWString found;
    std::uint32_t place; ///< where it would have to stand
};

SortPlace placeOf(std::uint32_t inIndex, SortPlace inFrom)
{
    while (inIndex - inFrom.before >= inFrom.block->count)
    {
        inFrom.before += inFrom.block->count;
        inFrom.block = inFrom.block->next;
    }
    return inFrom;
}

// Each step walks on from the place of the lower bound, so that all of them together walk the chain once.
SearchResult searchPool(const MVStringPool* inPool, const char* inString)
{
    SortPlace lowPlace{inPool->firstSortBlock, 0};
    std::uint32_t low = 0;
    std::uint32_t high = inPool->count;
    while (low < high)
    {
        const std::uint32_t index = (low + high) / 2;
        const SortPlace place = placeOf(index, lowPlace);
        const MVWString candidate = place.block->entries[index - place.before];
        const int order = std::strcmp(inString, candidate);
        if (order == 0)
            return {candidate, index};
        if (order < 0)
        {
            high = index;
            continue;
        }
        low = index + 1;
        lowPlace = place;
    }
    return {nullptr, high};
}

MVResult appendSortBlock(MVStringPool* ioPool, SortBlock** outBlock)
{
    const MVResult result = mvIntAllocateRecord("a SortBlock", outBlock);
    if (result != kMVNoError)
        return result;
    (*outBlock)->entries = (*outBlock)->strings;
    SortBlock** end = &ioPool->firstSortBlock;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = *outBlock;
    ++ioPool->sortBlockCount;
    return kMVNoError;
}

// All blocks ahead of the place are full, so that 250 are passed with each.
MVResult insertSorted(MVStringPool* ioPool, std::uint32_t inPlace, MVWString inString)
{
    SortBlock* block = ioPool->firstSortBlock;
    while (block != nullptr && inPlace >= kMVSortBlockStrings)
    {
        inPlace -= kMVSortBlockStrings;
        block = block->next;
    }
    const MVResult result = makeGap(ioPool, block, inPlace, 1, &block);
    if (result != kMVNoError)
        return result;
    block->entries[inPlace] = inString;
    ++ioPool->count;
    return kMVNoError;
}

} // namespace

MVResult makeGap(MVStringPool* ioPool, SortBlock* inBlock, std::uint32_t inIndex,
                 std::uint32_t inCount, SortBlock** outBlock)
{
    SortBlock* block = inBlock;
    if (block == nullptr)
    {
        const MVResult result = appendSortBlock(ioPool, &block);
        if (result != kMVNoError)
            return result;
    }
    std::uint32_t overflow = 0;
    if (block->count + inCount > kMVSortBlockStrings)
    {
        overflow = block->count + inCount - kMVSortBlockStrings;
        SortBlock* next = nullptr;
        const MVResult result = makeGap(ioPool, block->next, 0, overflow, &next);
        if (result != kMVNoError)
            return result;
        MVWString* end = block->entries + block->count;
        std::copy(end - overflow, end, next->entries);
    }
    MVWString* gap = block->entries + inIndex;
    MVWString* end = block->entries + block->count - overflow;
    std::copy_backward(gap, end, end + inCount);
    block->count += inCount - overflow;
    *outBlock = block;
    return kMVNoError;
}

MVResult defaultAllocateStringPool(MVStringPool** out)
{
    *out = nullptr;
    MVStringPool* pool = nullptr;
    MVResult result = mvIntAllocateRecord("an MVStringPool", &pool);
    if (result != kMVNoError)
        return result;
    result = mvAllocatePoolHeap(&pool->heap);
    if (result != kMVNoError)
        mvIntFreeBlock(pool);
    else
        *out = pool;
    return result;
}

MVResult defaultFreeStringPool(MVStringPool* pool)
{
    if (pool == nullptr)
        return kMVBadParameterError;
    while (SortBlock* block = pool->firstSortBlock)
    {
        pool->firstSortBlock = block->next;
        mvIntFreeBlock(block);
    }
    mvFreePoolHeap(pool->heap);
    return mvIntFreeBlock(pool);
}

MVResult defaultMakeWString(MVStringPool* pool, const char* string, MVWString* out)
{
    *out = nullptr;
    if (string == nullptr)
        return kMVNoError;
    if (pool == nullptr)
        return kMVBadParameterError;
    if (mvIsInPoolHeap(pool->heap, string))
    {
        *out = string;
        return kMVNoError;
    }
    const SearchResult search = searchPool(pool, string);
    if (search.found != nullptr)
    {
        *out = search.found;
        return kMVNoError;
    }
    MVWString added = nullptr;
    MVResult result = mvAddPoolData(pool->heap, string, std::strlen(string) + 1, &added);
    if (result == kMVNoError)
        result = insertSorted(pool, search.place, added);
    if (result == kMVNoError)
        *out = added;
    return result;
}

MVResult MVAllocateStringPool(MVStringPool** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    return gMVHostProcs->allocateStringPool(out);
}

MVResult MVFreeStringPool(MVStringPool* pool)
{
    MV_ONE_THREAD();
    MVStringPool* freed = pool != nullptr ? pool : gMVStrings;
    const MVResult result = gMVHostProcs->freeStringPool(freed);
    if (result == kMVNoError && freed == gMVStrings)
        gMVStrings = nullptr;
    return result;
}

MVResult MVMakeWString(MVStringPool* pool, const char* string, MVWString* out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    const MVResult result =
        gMVHostProcs->makeWString(pool != nullptr ? pool : gMVStrings, string, out);
    if (result != kMVNoError)
        *out = nullptr;
    return result;
}
