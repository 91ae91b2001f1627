// Loaded plug-ins: entry and count of uses, most recently acquired first, so that what is unused can be unloaded
// when memory is short.
#pragma once

#include <cstdint>

#include "MoonVetch/Host.h"

/// One for each loaded file, shared by its plug-ins.
struct MVFileAccess
{
    MVFileAccess* next;
    std::int32_t count;
    MVURL* url; ///< retained
};

struct MVAccess
{
    MVAccess* next; ///< in firstAccess
    MVPlugin* plugin;
    MVPluginEntry entry;
    std::int32_t count;            ///< acquires outstanding
    std::uint32_t lastAccessTicks; ///< of the last call, in 1/60 second
    MVFileAccess* fileAccess;      ///< null for a host plug-in
    std::int32_t callsUnderWay;    ///< it stays meanwhile, whatever its count
    bool unloading;                ///< it is being destroyed
    std::uint64_t lastWalk;        ///< see MVWalk.h
};

extern MVAccess* firstAccess;
extern std::int32_t countAccess;

enum kMVAdapterDisposeType : std::int32_t
{
    kMVAdapterDisposeType_Unused = 0,     ///< with a count of 0
    kMVAdapterDisposeType_Ordinary = 1,   ///< without 'StsP'
    kMVAdapterDisposeType_StartsEarly = 2 ///< with it
};

MVResult mvDefaultFlush(const char* inType, MVAccess* inAccess, std::int32_t* outFlush);
/// By the call of the entry: firstAccess is empty after a full walk, whatever is left standing.
MVResult mvFlushAccesses(MVFlushProc inFlushProc, std::int32_t* outFlushed,
                         kMVAdapterDisposeType inType);
MVResult mvDestroyAccess(MVAccess* inAccess);
MVResult sendAccessMessage(MVAccess* inAccess, MVWString inSelector, MVResult* outAnswer);
