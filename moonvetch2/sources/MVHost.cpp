#include "MVHost.h"

#include <cstddef>
#include <cstdlib>

#include "MVStrngs.h"

namespace
{

void* defaultAllocate(std::size_t inSize, void*)
{
    return std::malloc(inSize);
}
void defaultFree(void* inBlock, void*)
{
    std::free(inBlock);
}
void* defaultReallocate(void* inBlock, std::size_t inSize, void*)
{
    return std::realloc(inBlock, inSize);
}
void defaultStartupNotify(std::int32_t, void*, void*) {}
void defaultShutdownNotify(std::int32_t, void*, void*) {}
void defaultAssertTrap(const char*, void*) {}
void defaultThrowTrap(MVResult, void*) {}
void defaultDebugTrap(const char*, void*) {}
std::int32_t defaultFilterEvent(std::int32_t inEvent, void*)
{
    return inEvent == kMVNotifyEvent_FirstOrdinaryPlugin ? 1 : 0;
}
std::int32_t defaultOverrideStartup(MVPlugin*)
{
    return 0;
}

constexpr MVHostProcs kDefaultProcs = {
    .hostData = nullptr,
    .allocate = defaultAllocate,
    .free = defaultFree,
    .reallocate = defaultReallocate,
    .internalAllocate = defaultAllocate,
    .internalFree = defaultFree,
    .internalReallocate = defaultReallocate,
    .startupNotify = defaultStartupNotify,
    .shutdownNotify = defaultShutdownNotify,
    .assertTrap = defaultAssertTrap,
    .throwTrap = defaultThrowTrap,
    .debugTrap = defaultDebugTrap,
    .allocateStringPool = defaultAllocateStringPool,
    .freeStringPool = defaultFreeStringPool,
    .makeWString = defaultMakeWString,
    .stringPool = nullptr,
    .filterEvent = defaultFilterEvent,
    .beforeStartupHook = nullptr,
    .overrideStartup = defaultOverrideStartup,
    .getPluginAccess = nullptr,
    .memoryIsCritical = nullptr,
};

template <class Slot>
void fillSlot(Slot& ioSlot, Slot inDefault)
{
    if (ioSlot == nullptr)
        ioSlot = inDefault;
}

struct HostString
{
    MVWString* variable;
    const char* text;
};

constexpr HostString kHostStrings[] = {
    {&gPSkMVPropertiesCaller, kMVPropertiesCaller},
    {&gPSkMVPropertiesAcquireSelector, kMVPropertiesAcquireSelector},
    {&gPSkMVPropertiesReleaseSelector, kMVPropertiesReleaseSelector},
    {&gPSkMVInterfaceCaller, kMVInterfaceCaller},
    {&gPSkMVInterfaceStartupSelector, kMVInterfaceStartupSelector},
    {&gPSkMVInterfaceShutdownSelector, kMVInterfaceShutdownSelector},
    {&gPSkMVInterfaceAboutSelector, kMVInterfaceAboutSelector},
    {&gPSkMVAdaptersCaller, kMVAdaptersCaller},
    {&gPSkMVAdaptersStartupSelector, kMVAdaptersStartupSelector},
    {&gPSkMVAdaptersShutdownSelector, kMVAdaptersShutdownSelector},
    {&gPSkMVAdaptersDisposeInfoSelector, kMVAdaptersDisposeInfoSelector},
    {&gPSkMVAdaptersFindPropertySelector, kMVAdaptersFindPropertySelector},
    {&gPSkMVAdaptersFlushSelector, kMVAdaptersFlushSelector},
    {&gPSkMVAdaptersAboutSelector, kMVAdaptersAboutSelector},
    {&gPSkMVAdaptersAcquireSuiteHostSelector, kMVAdaptersAcquireSuiteHostSelector},
    {&gPSkMVAdaptersReleaseSuiteHostSelector, kMVAdaptersReleaseSuiteHostSelector},
    {&gPSkMVAdaptersRegisterPluginsSelector, kMVAdaptersRegisterPluginsSelector},
    {&gPSkMVAdaptersLoadPluginSelector, kMVAdaptersLoadPluginSelector},
    {&gPSkMVAdaptersReleasePluginSelector, kMVAdaptersReleasePluginSelector},
    {&gPSkMVAdaptersSendMessageSelector, kMVAdaptersSendMessageSelector},
    {&gPSkMVAccessCaller, kMVAccessCaller},
    {&gPSkMVAccessReloadSelector, kMVAccessReloadSelector},
    {&gPSkMVAccessUnloadSelector, kMVAccessUnloadSelector},
    {&gPSkMVMoonVetch2Adapter, kMVMoonVetch2Adapter},
    {&gPSkMVFlushAccessType, kMVFlushAccessType},
    {&gPSkMVCacheCaller, kMVCacheCaller},
    {&gPSkMVPluginPurgeCachesSelector, kMVPluginPurgeCachesSelector},
};

} // namespace

constinit MVHostProcs gMVDefaultHostProcs = kDefaultProcs;

constinit MVHostProcs* gMVHostProcs = &gMVDefaultHostProcs;
constinit MVAdapterList* gMVAdapters = nullptr;
constinit MVPluginList* gMVPlugins = nullptr;
constinit MVSuiteList* gMVSuites = nullptr;
constinit MVStringPool* gMVStrings = nullptr;
constinit bool gHostSuppliedStringPool = false;
constinit const MVBasicSuite* gMVBasic = nullptr;
constinit MVAdapter* gMV2Adapter = nullptr;
constinit MVPlugin* gMVCurrentPlugin = nullptr;
constinit std::int32_t gGeneralAccessPoint = kMVAccessPhase_BeforeStartup;
constinit MVURL* gMVHostBundle = nullptr;
constinit MVFileSpecification gPluginFolder = {};
constinit bool gPluginFolderSet = false;
constinit std::int32_t initCount = 0;
constinit std::int32_t gMVCallsUnderWay = 0;

constinit MVWString gPSkMVPropertiesCaller = nullptr;
constinit MVWString gPSkMVPropertiesAcquireSelector = nullptr;
constinit MVWString gPSkMVPropertiesReleaseSelector = nullptr;
constinit MVWString gPSkMVInterfaceCaller = nullptr;
constinit MVWString gPSkMVInterfaceStartupSelector = nullptr;
constinit MVWString gPSkMVInterfaceShutdownSelector = nullptr;
constinit MVWString gPSkMVInterfaceAboutSelector = nullptr;
constinit MVWString gPSkMVAdaptersCaller = nullptr;
constinit MVWString gPSkMVAdaptersStartupSelector = nullptr;
constinit MVWString gPSkMVAdaptersShutdownSelector = nullptr;
constinit MVWString gPSkMVAdaptersDisposeInfoSelector = nullptr;
constinit MVWString gPSkMVAdaptersFindPropertySelector = nullptr;
constinit MVWString gPSkMVAdaptersFlushSelector = nullptr;
constinit MVWString gPSkMVAdaptersAboutSelector = nullptr;
constinit MVWString gPSkMVAdaptersAcquireSuiteHostSelector = nullptr;
constinit MVWString gPSkMVAdaptersReleaseSuiteHostSelector = nullptr;
constinit MVWString gPSkMVAdaptersRegisterPluginsSelector = nullptr;
constinit MVWString gPSkMVAdaptersLoadPluginSelector = nullptr;
constinit MVWString gPSkMVAdaptersReleasePluginSelector = nullptr;
constinit MVWString gPSkMVAdaptersSendMessageSelector = nullptr;
constinit MVWString gPSkMVAccessCaller = nullptr;
constinit MVWString gPSkMVAccessReloadSelector = nullptr;
constinit MVWString gPSkMVAccessUnloadSelector = nullptr;
constinit MVWString gPSkMVMoonVetch2Adapter = nullptr;
constinit MVWString gPSkMVFlushAccessType = nullptr;
constinit MVWString gPSkMVCacheCaller = nullptr;
constinit MVWString gPSkMVPluginPurgeCachesSelector = nullptr;

void mvFillHostProcs(MVHostProcs& ioProcs)
{
    fillSlot(ioProcs.allocate, kDefaultProcs.allocate);
    fillSlot(ioProcs.free, kDefaultProcs.free);
    fillSlot(ioProcs.reallocate, kDefaultProcs.reallocate);
    fillSlot(ioProcs.internalAllocate, kDefaultProcs.internalAllocate);
    fillSlot(ioProcs.internalFree, kDefaultProcs.internalFree);
    fillSlot(ioProcs.internalReallocate, kDefaultProcs.internalReallocate);
    fillSlot(ioProcs.startupNotify, kDefaultProcs.startupNotify);
    fillSlot(ioProcs.shutdownNotify, kDefaultProcs.shutdownNotify);
    fillSlot(ioProcs.assertTrap, kDefaultProcs.assertTrap);
    fillSlot(ioProcs.throwTrap, kDefaultProcs.throwTrap);
    fillSlot(ioProcs.debugTrap, kDefaultProcs.debugTrap);
    fillSlot(ioProcs.allocateStringPool, kDefaultProcs.allocateStringPool);
    fillSlot(ioProcs.freeStringPool, kDefaultProcs.freeStringPool);
    fillSlot(ioProcs.makeWString, kDefaultProcs.makeWString);
    fillSlot(ioProcs.filterEvent, kDefaultProcs.filterEvent);
    fillSlot(ioProcs.overrideStartup, kDefaultProcs.overrideStartup);
}

void mvInternHostStrings()
{
    for (const HostString& string : kHostStrings)
        MVMakeWString(nullptr, string.text, string.variable);
}

std::int32_t mvMemoryIsCritical()
{
    return gMVHostProcs->memoryIsCritical != nullptr ? gMVHostProcs->memoryIsCritical() : 0;
}
