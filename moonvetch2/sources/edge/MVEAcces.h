// Loading the code of plug-ins, and calling it.
#pragma once

#include <cstdint>

#include "../MVAccess.h"

extern MVFileAccess* firstFileAccess;
extern std::int32_t fileAccessCount;

/// Finds the entry of a plug-in. @return kMVNeedsNativeAdapterError, kMVCantAcquirePluginError
MVResult mvEdgeCreateAccess(MVPlugin* inPlugin, MVAccess* ioAccess);
MVResult mvEdgeDestroyAccess(MVAccess* ioAccess);
MVResult mvDestroyFileAccess(MVFileAccess* inFileAccess);
/// Frees the records of files that no plug-in uses; adds how many.
MVResult mvEdgeFlushAccess(std::int32_t* ioFlushed);
/// 0 means delivered; the answer goes to outResult.
MVResult mvEdgeCallPlugin(MVAccess* ioAccess, const char* inCaller, const char* inSelector,
                          void* ioMessage, MVResult* outResult);
