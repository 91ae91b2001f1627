#include "MVBoot.h"

#include "MVAccess.h"
#include "MVAdapts.h"
#include "MVBasic.h"
#include "MVBlocks.h"
#include "MVError.h"
#include "MVHost.h"
#include "MVThread.h"

namespace
{

constexpr std::int32_t kVersion = 0x000B0002;
constexpr std::int32_t kFlag_BlockDebug = 1;

constexpr MVAccessSuite kAccessSuite = {
    .AcquirePlugin = MVAcquirePlugin,
    .ReleasePlugin = MVReleasePlugin,
    .GetPluginAccess = MVGetPluginAccess,
    .GetAccessPlugin = MVGetAccessPlugin,
    .GetAccessEntry = MVGetAccessEntry,
    .GetAccessCount = MVGetAccessCount,
    .GetAccessInfo = MVGetAccessInfo,
    .GetPluginResourceAccess = MVGetPluginResourceAccess,
    .SetPluginResourceAccess = MVSetPluginResourceAccess,
    .CallPlugin = MVCallPlugin,
    .GetCurrentPlugin = MVGetCurrentPlugin,
    .SetCurrentPlugin = MVSetCurrentPlugin,
};

constexpr MVAdaptersSuite kAdaptersSuite = {
    .AllocateAdapterList = MVAllocateAdapterList,
    .FreeAdapterList = MVFreeAdapterList,
    .AddAdapter = MVAddAdapter,
    .FindAdapter = MVFindAdapter,
    .NewAdapterListIterator = MVNewAdapterListIterator,
    .NextAdapter = MVNextAdapter,
    .DeleteAdapterListIterator = MVDeleteAdapterListIterator,
    .GetAdapterHost = MVGetAdapterHost,
    .GetAdapterName = MVGetAdapterName,
    .GetAdapterVersion = MVGetAdapterVersion,
};

constexpr MVBasicSuite kBasicSuite = {
    .AcquireSuite = MVBasicAcquireSuite,
    .ReleaseSuite = MVBasicReleaseSuite,
    .IsEqual = MVBasicIsEqual,
    .AllocateBlock = MVBasicAllocateBlock,
    .FreeBlock = MVBasicFreeBlock,
    .ReallocateBlock = MVBasicReallocateBlock,
    .Undefined = MVBasicUndefined,
};

constexpr MVBlocksSuite kBlocksSuite = {
    .AllocateBlock = MVAllocateBlock,
    .FreeBlock = MVFreeBlock,
    .ReallocateBlock = MVReallocateBlock,
};

constexpr MVBlockDebugSuite kBlockDebugSuite = {
    .GetBlockDebugEnabled = MVGetBlockDebugEnabled,
    .SetBlockDebugEnabled = MVSetBlockDebugEnabled,
    .GetFirstBlock = MVGetFirstBlock,
    .GetNextBlock = MVGetNextBlock,
    .GetBlockDebug = MVGetBlockDebug,
};

constexpr MVCachesSuite kCachesSuite = {
    .FlushCaches = MVFlushCaches,
};

constexpr MVInterfaceSuite kInterfaceSuite = {
    .SendMessage = MVSendMessage,
    .SetupMessageData = MVSetupMessageData,
    .EmptyMessageData = MVEmptyMessageData,
    .StartupExport = MVStartupExport,
};

constexpr MVPluginsSuite kPluginsSuite = {
    .AllocatePluginList = MVAllocatePluginList,
    .FreePluginList = MVFreePluginList,
    .AddPlugin = MVAddPlugin,
    .NewPluginListIterator = MVNewPluginListIterator,
    .NextPlugin = MVNextPlugin,
    .DeletePluginListIterator = MVDeletePluginListIterator,
    .GetPluginListNeededSuiteAvailable = MVGetPluginListNeededSuiteAvailable,
    .GetHostPluginEntry = MVGetHostPluginEntry,
    .GetPluginFileSpecification = MVGetPluginFileSpecification,
    .GetPluginPropertyList = MVGetPluginPropertyList,
    .GetPluginGlobals = MVGetPluginGlobals,
    .SetPluginGlobals = MVSetPluginGlobals,
    .GetPluginStarted = MVGetPluginStarted,
    .SetPluginStarted = MVSetPluginStarted,
    .GetPluginSkipShutdown = MVGetPluginSkipShutdown,
    .SetPluginSkipShutdown = MVSetPluginSkipShutdown,
    .GetPluginBroken = MVGetPluginBroken,
    .SetPluginBroken = MVSetPluginBroken,
    .GetPluginAdapter = MVGetPluginAdapter,
    .GetPluginAdapterInfo = MVGetPluginAdapterInfo,
    .SetPluginAdapterInfo = MVSetPluginAdapterInfo,
    .FindPluginProperty = MVFindPluginProperty,
    .GetPluginName = MVGetPluginName,
    .SetPluginName = MVSetPluginName,
    .GetNamedPlugin = MVGetNamedPlugin,
    .SetPluginPropertyList = MVSetPluginPropertyList,
    .GetPluginHostInfo = MVGetPluginHostInfo,
    .SetPluginHostInfo = MVSetPluginHostInfo,
};

constexpr MVPropertiesSuite kPropertiesSuite = {
    .AllocatePropertyList = MVAllocatePropertyList,
    .FreePropertyList = MVFreePropertyList,
    .AddProperties = MVAddProperties,
    .AddProperty = MVAddProperty,
    .FindProperty = MVFindProperty,
    .NewPropertyListIterator = MVNewPropertyListIterator,
    .NextProperty = MVNextProperty,
    .DeletePropertyListIterator = MVDeletePropertyListIterator,
    .GetPropertyPIProperty = MVGetPropertyPIProperty,
    .GetPropertyRefCon = MVGetPropertyRefCon,
    .GetPropertyCacheable = MVGetPropertyCacheable,
    .GetPropertyAllocatedByPlugin = MVGetPropertyAllocatedByPlugin,
    .HasMultiplePropertyLists = MVHasMultiplePropertyLists,
    .GetNextPropertyList = MVGetNextPropertyList,
    .FindPropertyLocal = MVFindPropertyLocal,
};

constexpr MVRuntimeSuite kRuntimeSuite = {
    .GetRuntimeStringPool = MVGetRuntimeStringPool,
    .GetRuntimeSuiteList = MVGetRuntimeSuiteList,
    .GetRuntimeFileList = MVGetRuntimeFileList,
    .GetRuntimePluginList = MVGetRuntimePluginList,
    .GetRuntimeAdapterList = MVGetRuntimeAdapterList,
    .GetRuntimeHostProcs = MVGetRuntimeHostProcs,
    .GetRuntimePluginsFolder = MVGetRuntimePluginsFolder,
    .GetRuntimeHostFileSpec = MVGetRuntimeHostFileSpec,
};

constexpr MVStringsSuite kStringsSuite = {
    .AllocateStringPool = MVAllocateStringPool,
    .FreeStringPool = MVFreeStringPool,
    .MakeWString = MVMakeWString,
};

constexpr MVSuitesSuite kSuitesSuite = {
    .AllocateSuiteList = MVAllocateSuiteList,
    .FreeSuiteList = MVFreeSuiteList,
    .AddSuite = MVAddSuite,
    .AcquireSuite = MVAcquireSuite,
    .ReleaseSuite = MVReleaseSuite,
    .FindSuite = MVFindSuite,
    .NewSuiteListIterator = MVNewSuiteListIterator,
    .NextSuite = MVNextSuite,
    .DeleteSuiteListIterator = MVDeleteSuiteListIterator,
    .GetSuiteHost = MVGetSuiteHost,
    .GetSuiteName = MVGetSuiteName,
    .GetSuiteAPIVersion = MVGetSuiteAPIVersion,
    .GetSuiteInternalVersion = MVGetSuiteInternalVersion,
    .GetSuiteProcs = MVGetSuiteProcs,
    .GetSuiteAcquireCount = MVGetSuiteAcquireCount,
};

struct BuiltInSuite
{
    const char* name;
    std::int32_t apiVersion;
    const void* table;
};

// Two versions of one name share a table, which has the longer form.
constexpr BuiltInSuite kBuiltInSuites[] = {
    {kMVAccessSuite, kMVAccessSuiteVersion, &kAccessSuite},
    {kMVAdaptersSuite, kMVAdaptersSuiteVersion, &kAdaptersSuite},
    {kMVBasicSuite, kMVBasicSuiteVersion, &kBasicSuite},
    {kMVBlocksSuite, kMVBlocksSuiteVersion, &kBlocksSuite},
    {kMVBlockDebugSuite, kMVBlockDebugSuiteVersion, &kBlockDebugSuite},
    {kMVCachesSuite, kMVCachesSuiteVersion, &kCachesSuite},
    {kMVInterfaceSuite, kMVInterfaceSuiteVersion, &kInterfaceSuite},
    {kMVPluginsSuite, 4, &kPluginsSuite},
    {kMVPluginsSuite, kMVPluginsSuiteVersion, &kPluginsSuite},
    {kMVPropertiesSuite, 2, &kPropertiesSuite},
    {kMVPropertiesSuite, kMVPropertiesSuiteVersion, &kPropertiesSuite},
    {kMVRuntimeSuite, kMVRuntimeSuiteVersion, &kRuntimeSuite},
    {kMVStringsSuite, kMVStringsSuiteVersion, &kStringsSuite},
    {kMVSuitesSuite, kMVSuitesSuiteVersion, &kSuitesSuite},
};

MVResult takeStringPool()
{
    gHostSuppliedStringPool = gMVHostProcs->stringPool != nullptr;
    if (!gHostSuppliedStringPool)
        return MVAllocateStringPool(&gMVStrings);
    gMVStrings = gMVHostProcs->stringPool;
    return kMVNoError;
}

MVResult allocateLists()
{
    MVResult result = MVAllocateAdapterList(nullptr, &gMVAdapters);
    if (result == kMVNoError)
        result = MVAllocatePluginList(nullptr, &gMVPlugins);
    if (result == kMVNoError)
        result = MVAllocateSuiteList(nullptr, nullptr, &gMVSuites);
    return result;
}

MVResult addBuiltInAdapter()
{
    const MVResult result = MVAddAdapter(nullptr, nullptr, kMVMoonVetch2Adapter, 1, &gMV2Adapter);
    if (result != kMVNoError)
        return result;
    return MVAddHostPlugin(nullptr, mvAdapter, nullptr, kMVMoonVetch2Adapter, nullptr,
                           &gMV2Adapter->hostPlugin, "Moon Vetch 2 Adapter Plugin");
}

MVResult acquireBasicSuite()
{
    const void* basic = nullptr;
    const MVResult result = MVAcquireSuite(nullptr, kMVBasicSuite, kMVBasicSuiteVersion, 0, &basic);
    gMVBasic = static_cast<const MVBasicSuite*>(basic);
    return result;
}

void releaseBasicSuite()
{
    if (gMVBasic == nullptr)
        return;
    gMVBasic = nullptr;
    MVReleaseSuite(nullptr, kMVBasicSuite, kMVBasicSuiteVersion, 0);
}

MVResult freeStringPool()
{
    if (gMVStrings == nullptr)
        return kMVNoError;
    const MVResult result =
        gHostSuppliedStringPool ? MVResult{kMVNoError} : MVFreeStringPool(gMVStrings);
    if (result == kMVNoError)
        gMVStrings = nullptr;
    return result;
}

template <class List>
MVResult freeList(List*& ioList, MVResult (*inFree)(List*))
{
    if (ioList == nullptr)
        return kMVNoError;
    const MVResult result = inFree(ioList);
    if (result == kMVNoError)
        ioList = nullptr;
    return result;
}

MVResult startHost()
{
    MVResult result = takeStringPool();
    if (result != kMVNoError)
        return result;
    mvInternHostStrings();
    result = allocateLists();
    if (result == kMVNoError)
        result = MVBootstrap();
    if (result == kMVNoError)
        result = addBuiltInAdapter();
    return result == kMVNoError ? acquireBasicSuite() : result;
}

void undoStart()
{
    releaseBasicSuite();
    freeList(gMVSuites, MVFreeSuiteList);
    freeList(gMVPlugins, MVFreePluginList);
    freeList(gMVAdapters, MVFreeAdapterList);
    gMV2Adapter = nullptr;
    freeStringPool();
}

// Can be tried again after an error: what is gone is passed over. A plug-in cannot end the host that is calling it.
MVResult endHost()
{
    if (gMVCallsUnderWay > 0)
        return mvRaise(kMVAlreadyInMessageError);
    MVResult result = kMVNoError;
    if (gMVPlugins != nullptr)
    {
        result = mvTermAdapters();
        if (result != kMVNoError)
            return result;
        mvShutdownTermMVAdapter();
        releaseBasicSuite();
    }
    result = freeList(gMVPlugins, MVFreePluginList);
    if (result == kMVNoError)
        result = freeList(gMVAdapters, MVFreeAdapterList);
    if (result == kMVNoError)
        result = freeList(gMVSuites, MVFreeSuiteList);
    if (result == kMVNoError)
        result = freeStringPool();
    if (result != kMVNoError)
        return result;
    gMV2Adapter = nullptr;
    gMVCurrentPlugin = nullptr;
    return kMVNoError;
}

} // namespace

MVResult MVBootstrap()
{
    for (const BuiltInSuite& suite : kBuiltInSuites)
    {
        MVSuite* added = nullptr;
        const MVResult result =
            MVAddSuite(nullptr, nullptr, suite.name, suite.apiVersion, 1, suite.table, &added);
        if (result != kMVNoError)
            return result;
    }
    return kMVNoError;
}

MVResult MVInit(MVHostProcs* hostProcs, int32_t, int32_t flags)
{
    MV_ONE_THREAD();
    if (initCount > 0)
    {
        ++initCount;
        return kMVNoError;
    }
    gMVHostProcs = hostProcs != nullptr ? hostProcs : &gMVDefaultHostProcs;
    mvFillHostProcs(*gMVHostProcs);
    mvTellOfCallsBesideAnother(gMVHostProcs);
    gGeneralAccessPoint = kMVAccessPhase_BeforeStartup;
    MVResult result =
        (flags & kFlag_BlockDebug) != 0 ? MVSetBlockDebugEnabled(1) : MVResult{kMVNoError};
    if (result != kMVNoError)
        return result;
    result = startHost();
    if (result != kMVNoError)
    {
        undoStart();
        return result;
    }
    mvSetBasicBackEnd({MVAcquireSuite, MVReleaseSuite, mvAllocateBlock, mvFreeBlock,
                       mvReallocateBlock, gMVHostProcs});
    ++initCount;
    return kMVNoError;
}

MVResult MVTerm(void)
{
    MV_ONE_THREAD();
    if (initCount == 0)
        return kMVNoError;
    if (initCount == 1)
    {
        const MVResult result = endHost();
        if (result != kMVNoError)
            return result;
    }
    --initCount;
    return kMVNoError;
}

int32_t MVInited(void)
{
    return initCount;
}

int32_t MVVersion(void)
{
    return kVersion;
}
