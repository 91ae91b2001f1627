#include "MVError.h"

#include "MVHost.h"

void mvThrow(MVResult inCode)
{
    gMVHostProcs->throwTrap(inCode, gMVHostProcs->hostData);
}

void mvAssert(const char* inText)
{
    gMVHostProcs->assertTrap(inText, gMVHostProcs->hostData);
}
