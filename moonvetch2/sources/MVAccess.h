// Loaded plug-ins: entry and count of uses, most recently acquired first, so that what is unused can be unloaded
// when memory is short.
#pragma once

#include <cstdint>

#include "MVWalk.h"
#include "MoonVetch/Host.h"

/// One for each loaded file, shared by its plug-ins.
struct MVFileAccess
{
    MVFileAccess* next;
    std::int32_t count;
    MVURL* url; ///< retained
};

enum : std::uint8_t
{
    kMVAccessState_Loaded = 0,
    kMVAccessState_Unloading = 1,
    kMVAccessState_Unloaded = 2 ///< while somebody holds it, the record stays
};

struct MVAccess
{
    MVAccess* next; ///< in firstAccess, or among those dropped
    MVAccess* previous;
    bool listed; ///< in firstAccess
    MVPlugin* plugin;
    MVPluginEntry entry;
    std::int32_t count;            ///< acquires outstanding
    std::uint32_t lastAccessTicks; ///< of the last call, in 1/60 second
    MVFileAccess* fileAccess;      ///< null for a host plug-in
    std::int32_t callsUnderWay;    ///< it stays meanwhile, whatever its count
    std::uint8_t state;            ///< kMVAccessState_...
    MVWalkMarks walks;             ///< see MVWalk.h
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
/// Unloads what the flushProc lets go. firstAccess is empty after a full walk, whatever is left standing.
MVResult mvFlushAccesses(MVFlushProc inFlushProc, std::int32_t* outFlushed,
                         kMVAdapterDisposeType inType);
/// "Unload", and the end of the record as soon as nobody holds it. kMVAlreadyInMessageError while its entry is
/// being called.
MVResult mvDestroyAccess(MVAccess* inAccess);
/// Whether its entry is running.
bool mvIsBeingCalled(const MVPlugin* inPlugin);
/// Of a plug-in whose record goes: without a word to it.
void mvForgetAccessesOf(const MVPlugin* inPlugin);
/// Accesses that flushes left standing, and those unloaded while they were held, stand on a list of their own until
/// nobody holds them. Plug-ins are told nothing. @param inHeldToo  the host ends: no holder is left.
void mvFreeDroppedAccesses(bool inHeldToo);
MVResult sendAccessMessage(MVAccess* inAccess, MVWString inSelector, MVResult* outAnswer);
