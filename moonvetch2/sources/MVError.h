#pragma once

#include "MoonVetch/Types.h"

/// Tells the application of an error, by its throwTrap. No transfer of control: the caller goes on, and returns
/// the code as usual.
void mvThrow(MVResult inCode);
/// Tells it of misuse, by its assertTrap.
void mvAssert(const char* inText);

/// Tells the application of an error that is returned.
inline MVResult mvRaise(MVResult inCode)
{
    mvThrow(inCode);
    return inCode;
}
