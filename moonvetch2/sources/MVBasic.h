// The one table that every plug-in gets. Its entry points stay in the hand of the host: what is behind them is
// set at the end of MVInit.
#pragma once

#include "MVBlocks.h"

struct MVBasicBackEnd
{
    decltype(&MVAcquireSuite) acquireSuite;
    decltype(&MVReleaseSuite) releaseSuite;
    decltype(&mvAllocateBlock) allocateBlock;
    decltype(&mvFreeBlock) freeBlock;
    decltype(&mvReallocateBlock) reallocateBlock;
    const MVHostProcs* procs;
};

void mvSetBasicBackEnd(const MVBasicBackEnd& inBackEnd);
