// What all of the host shares: the application's procedures and the one instance of each list.
//
// Nothing here is locked: the host is for one thread at a time.
#pragma once

#include <cstdint>

#include "MoonVetch/Host.h"

/// The built-in table: all defaults, so that blocks and errors have a way before the first MVInit as well.
extern MVHostProcs gMVDefaultHostProcs;
extern MVHostProcs* gMVHostProcs; ///< never null
extern MVAdapterList* gMVAdapters;
extern MVPluginList* gMVPlugins;
extern MVSuiteList* gMVSuites;
extern MVStringPool* gMVStrings;
extern bool gHostSuppliedStringPool;
extern const MVBasicSuite* gMVBasic; ///< as the host itself acquired it
extern MVAdapter* gMV2Adapter;       ///< the built-in one
extern MVPlugin* gMVCurrentPlugin;   ///< which is being called
extern std::int32_t
    gGeneralAccessPoint;     ///< kMVAccessPhase_Shutdown and _Disposal while the host ends
extern MVURL* gMVHostBundle; ///< retained; null means the running program
extern MVFileSpecification gPluginFolder;
extern bool gPluginFolderSet;
extern std::int32_t initCount;        ///< outstanding calls of MVInit
extern std::int32_t gMVCallsUnderWay; ///< of plug-ins, that have not come back

// Interned by MVInit, so that a comparison of two is one of pointers.
extern MVWString gPSkMVPropertiesCaller;
extern MVWString gPSkMVPropertiesAcquireSelector;
extern MVWString gPSkMVPropertiesReleaseSelector;
extern MVWString gPSkMVInterfaceCaller;
extern MVWString gPSkMVInterfaceStartupSelector;
extern MVWString gPSkMVInterfaceShutdownSelector;
extern MVWString gPSkMVInterfaceAboutSelector;
extern MVWString gPSkMVAdaptersCaller;
extern MVWString gPSkMVAdaptersStartupSelector;
extern MVWString gPSkMVAdaptersShutdownSelector;
extern MVWString gPSkMVAdaptersDisposeInfoSelector;
extern MVWString gPSkMVAdaptersFindPropertySelector;
extern MVWString gPSkMVAdaptersFlushSelector;
extern MVWString gPSkMVAdaptersAboutSelector;
extern MVWString gPSkMVAdaptersAcquireSuiteHostSelector;
extern MVWString gPSkMVAdaptersReleaseSuiteHostSelector;
extern MVWString gPSkMVAdaptersRegisterPluginsSelector;
extern MVWString gPSkMVAdaptersLoadPluginSelector;
extern MVWString gPSkMVAdaptersReleasePluginSelector;
extern MVWString gPSkMVAdaptersSendMessageSelector;
extern MVWString gPSkMVAccessCaller;
extern MVWString gPSkMVAccessReloadSelector;
extern MVWString gPSkMVAccessUnloadSelector;
extern MVWString gPSkMVMoonVetch2Adapter;
extern MVWString gPSkMVFlushAccessType;
extern MVWString gPSkMVCacheCaller;
extern MVWString gPSkMVPluginPurgeCachesSelector;

/// Fills the empty slots of a table.
void mvFillHostProcs(MVHostProcs& ioProcs);
/// In the order of the variables above. Failures are not looked at.
void mvInternHostStrings();
/// What slot 20 answers; 0 if it is empty.
std::int32_t mvMemoryIsCritical();
