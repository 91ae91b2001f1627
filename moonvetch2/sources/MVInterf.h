// Messages to plug-ins.
#pragma once

#include "MoonVetch/Host.h"

/// The header of a message: check word, plug-in, its globals, basic suite.
void mvFillMessageData(MVPlugin* inPlugin, MVMessageData* outData);
