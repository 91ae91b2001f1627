#include "MVBasic.h"

#include <cstring>

#include "MVHost.h"
#include "MVThread.h"

namespace
{

constinit MVBasicBackEnd sBackEnd = {MVAcquireSuite, MVReleaseSuite,    mvAllocateBlock,
                                     mvFreeBlock,    mvReallocateBlock, &gMVDefaultHostProcs};

} // namespace

void mvSetBasicBackEnd(const MVBasicBackEnd& inBackEnd)
{
    sBackEnd = inBackEnd;
}

MVResult MVBasicAcquireSuite(const char* name, int32_t version, const void** out)
{
    MV_ONE_THREAD();
    if (out != nullptr)
        *out = nullptr;
    if (out == nullptr || name == nullptr)
        return kMVBadParameterError;
    return sBackEnd.acquireSuite(nullptr, name, version, 0, out);
}

MVResult MVBasicReleaseSuite(const char* name, int32_t version)
{
    MV_ONE_THREAD();
    if (name == nullptr)
        return kMVBadParameterError;
    return sBackEnd.releaseSuite(nullptr, name, version, 0);
}

int32_t MVBasicIsEqual(const char* a, const char* b)
{
    return a != nullptr && b != nullptr && std::strcmp(a, b) == 0 ? 1 : 0;
}

MVResult MVBasicAllocateBlock(size_t size, void** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    return sBackEnd.allocateBlock(sBackEnd.procs->allocate, size, "", out);
}

MVResult MVBasicFreeBlock(void* block)
{
    MV_ONE_THREAD();
    if (block == nullptr)
        return kMVBadParameterError;
    return sBackEnd.freeBlock(sBackEnd.procs->free, block);
}

MVResult MVBasicReallocateBlock(void* block, size_t size, void** out)
{
    MV_ONE_THREAD();
    if (out != nullptr)
        *out = nullptr;
    if (block == nullptr || out == nullptr)
        return kMVBadParameterError;
    return sBackEnd.reallocateBlock(sBackEnd.procs->reallocate, block, size, "", out);
}

MVResult MVBasicUndefined(void)
{
    return kMVNoError;
}
