/*
 * The tables of functions that the host publishes. The order of a table is contract: later versions add at
 * its end. A suite is acquired by name and version from the basic suite, which comes in every message:
 *
 *     const MVStringsSuite* strings = NULL;
 *     message->basic->AcquireSuite(kMVStringsSuite, kMVStringsSuiteVersion, (const void**)&strings);
 *
 * A null list means the host's own, in all of them. What each function does stands in Host.h, under the
 * name of the slot with "MV" before it ("MVBasic" in the basic suite).
 */
#ifndef MOONVETCH_SUITES_H
#define MOONVETCH_SUITES_H

#include "Types.h"

#ifdef __cplusplus
extern "C"
{
#endif

/* Loaded plug-ins. */
#define kMVAccessSuite "MV Access Suite"
#define kMVAccessSuiteVersion 3

typedef struct MVAccessSuite
{
    MVResult (*AcquirePlugin)(MVPlugin* plugin, MVAccess** out);
    MVResult (*ReleasePlugin)(MVAccess* access);
    MVResult (*GetPluginAccess)(MVPlugin* plugin, MVAccess** out);
    MVResult (*GetAccessPlugin)(MVAccess* access, MVPlugin** out);
    MVResult (*GetAccessEntry)(MVAccess* access, MVPluginEntry* out);
    MVResult (*GetAccessCount)(MVAccess* access, int32_t* out);
    MVResult (*GetAccessInfo)(MVAccess* access, MVAccessInfo* out);
    MVResult (*GetPluginResourceAccess)(MVPlugin* plugin, void** out);
    MVResult (*SetPluginResourceAccess)(MVPlugin* plugin, void* resourceAccess);
    MVResult (*CallPlugin)(MVAccess* access, const char* caller, const char* selector,
                           void* message, MVResult* result);
    MVResult (*GetCurrentPlugin)(MVPlugin** out);
    MVResult (*SetCurrentPlugin)(MVPlugin* plugin);
} MVAccessSuite;

/* What loads and calls one kind of plug-in. */
#define kMVAdaptersSuite "MV Adapters Suite"
#define kMVAdaptersSuiteVersion 3

typedef struct MVAdaptersSuite
{
    MVResult (*AllocateAdapterList)(MVStringPool* pool, MVAdapterList** out);
    MVResult (*FreeAdapterList)(MVAdapterList* list);
    MVResult (*AddAdapter)(MVAdapterList* list, MVPlugin* hostPlugin, const char* name,
                           int32_t version, MVAdapter** out);
    MVResult (*FindAdapter)(MVAdapterList* list, const char* name, MVAdapter** out);
    MVResult (*NewAdapterListIterator)(MVAdapterList* list, MVAdapterListIterator** out);
    MVResult (*NextAdapter)(MVAdapterListIterator* iterator, MVAdapter** out);
    MVResult (*DeleteAdapterListIterator)(MVAdapterListIterator* iterator);
    MVResult (*GetAdapterHost)(MVAdapter* adapter, MVPlugin** out);
    MVResult (*GetAdapterName)(MVAdapter* adapter, MVWString* out);
    MVResult (*GetAdapterVersion)(MVAdapter* adapter, int32_t* out);
} MVAdaptersSuite;

/* In the header of every message. */
#define kMVBasicSuite "MV Basic Suite"
#define kMVBasicSuiteVersion 4

typedef struct MVBasicSuite
{
    MVResult (*AcquireSuite)(const char* name, int32_t version, const void** out);
    MVResult (*ReleaseSuite)(const char* name, int32_t version);
    int32_t (*IsEqual)(const char* a, const char* b);
    MVResult (*AllocateBlock)(size_t size, void** out);
    MVResult (*FreeBlock)(void* block);
    MVResult (*ReallocateBlock)(void* block, size_t size, void** out);
    MVResult (*Undefined)(void);
} MVBasicSuite;

/* Memory by the host's procedures. */
#define kMVBlocksSuite "MV Blocks Suite"
#define kMVBlocksSuiteVersion 2

typedef struct MVBlocksSuite
{
    MVResult (*AllocateBlock)(size_t size, const char* debug, void** out);
    MVResult (*FreeBlock)(void* block);
    MVResult (*ReallocateBlock)(void* block, size_t size, const char* debug, void** out);
} MVBlocksSuite;

/* Which blocks are held, and for what. */
#define kMVBlockDebugSuite "MV Block Debug Suite"
#define kMVBlockDebugSuiteVersion 2

typedef struct MVBlockDebugSuite
{
    MVResult (*GetBlockDebugEnabled)(int32_t* out);
    MVResult (*SetBlockDebugEnabled)(int32_t enabled);
    MVResult (*GetFirstBlock)(void** out);
    MVResult (*GetNextBlock)(void* block, void** out);
    MVResult (*GetBlockDebug)(void* block, const char** out);
} MVBlockDebugSuite;

/* What can be given up when memory is short. */
#define kMVCachesSuite "MV Caches Suite"
#define kMVCachesSuiteVersion 2

typedef struct MVCachesSuite
{
    MVResult (*FlushCaches)(MVFlushProc flushProc, int32_t* flushed);
} MVCachesSuite;

/* Messages. */
#define kMVInterfaceSuite "MV Interface Suite"
#define kMVInterfaceSuiteVersion 2

typedef struct MVInterfaceSuite
{
    MVResult (*SendMessage)(MVPlugin* plugin, const char* caller, const char* selector,
                            void* message, MVResult* result);
    MVResult (*SetupMessageData)(MVPlugin* plugin, MVMessageData* data);
    MVResult (*EmptyMessageData)(MVPlugin* plugin, MVMessageData* data);
    MVResult (*StartupExport)(MVPluginList* list, const char* name, int32_t version,
                              int32_t* started);
} MVInterfaceSuite;

/* Versions 4 and 5 are one table. */
#define kMVPluginsSuite "MV Plug-ins Suite"
#define kMVPluginsSuiteVersion 5

typedef struct MVPluginsSuite
{
    MVResult (*AllocatePluginList)(MVStringPool* pool, MVPluginList** out);
    MVResult (*FreePluginList)(MVPluginList* list);
    MVResult (*AddPlugin)(MVPluginList* list, const char* path, const PIPropertyList* propertyList,
                          const char* adapterName, void* adapterInfo, MVPlugin** out);
    MVResult (*NewPluginListIterator)(MVPluginList* list, MVPluginListIterator** out);
    MVResult (*NextPlugin)(MVPluginListIterator* iterator, MVPlugin** out);
    MVResult (*DeletePluginListIterator)(MVPluginListIterator* iterator);
    MVResult (*GetPluginListNeededSuiteAvailable)(MVPluginList* list, int32_t* out);
    MVResult (*GetHostPluginEntry)(MVPlugin* plugin, MVPluginEntry* out);
    MVResult (*GetPluginFileSpecification)(MVPlugin* plugin, MVFileSpecification* out);
    MVResult (*GetPluginPropertyList)(MVPlugin* plugin, MVPropertyList** out);
    MVResult (*GetPluginGlobals)(MVPlugin* plugin, void** out);
    MVResult (*SetPluginGlobals)(MVPlugin* plugin, void* globals);
    MVResult (*GetPluginStarted)(MVPlugin* plugin, int32_t* out);
    MVResult (*SetPluginStarted)(MVPlugin* plugin, int32_t started);
    MVResult (*GetPluginSkipShutdown)(MVPlugin* plugin, int32_t* out);
    MVResult (*SetPluginSkipShutdown)(MVPlugin* plugin, int32_t skip);
    MVResult (*GetPluginBroken)(MVPlugin* plugin, int32_t* out);
    MVResult (*SetPluginBroken)(MVPlugin* plugin, int32_t broken);
    MVResult (*GetPluginAdapter)(MVPlugin* plugin, MVAdapter** out);
    MVResult (*GetPluginAdapterInfo)(MVPlugin* plugin, void** out);
    MVResult (*SetPluginAdapterInfo)(MVPlugin* plugin, void* adapterInfo);
    MVResult (*FindPluginProperty)(MVPlugin* plugin, uint32_t vendorID, uint32_t propertyKey,
                                   uint32_t propertyID, PIProperty** out);
    MVResult (*GetPluginName)(MVPlugin* plugin, MVWString* out);
    MVResult (*SetPluginName)(MVPlugin* plugin, const char* name);
    MVResult (*GetNamedPlugin)(const char* name, MVPlugin** out);
    MVResult (*SetPluginPropertyList)(MVPlugin* plugin, const void* source);
    MVResult (*GetPluginHostInfo)(MVPlugin* plugin, void** out);
    MVResult (*SetPluginHostInfo)(MVPlugin* plugin, void* hostInfo);
} MVPluginsSuite;

/* Versions 2 and 3 are one table. */
#define kMVPropertiesSuite "MV Properties Suite"
#define kMVPropertiesSuiteVersion 3

typedef struct MVPropertiesSuite
{
    MVResult (*AllocatePropertyList)(MVPropertyList** out);
    MVResult (*FreePropertyList)(MVPropertyList* list);
    MVResult (*AddProperties)(MVPropertyList* list, const PIPropertyList* records, int32_t refCon,
                              int32_t cacheable);
    MVResult (*AddProperty)(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                            uint32_t propertyID, const PIProperty* record, int32_t refCon,
                            int32_t cacheable, MVProperty** out);
    MVResult (*FindProperty)(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                             uint32_t propertyID, MVProperty** out);
    MVResult (*NewPropertyListIterator)(MVPropertyList* list, MVPropertyListIterator** out);
    MVResult (*NextProperty)(MVPropertyListIterator* iterator, MVProperty** out);
    MVResult (*DeletePropertyListIterator)(MVPropertyListIterator* iterator);
    MVResult (*GetPropertyPIProperty)(MVProperty* property, PIProperty** out);
    MVResult (*GetPropertyRefCon)(MVProperty* property, int32_t* out);
    MVResult (*GetPropertyCacheable)(MVProperty* property, int32_t* out);
    MVResult (*GetPropertyAllocatedByPlugin)(MVProperty* property, int32_t* out);
    MVResult (*HasMultiplePropertyLists)(MVPropertyList* list, int32_t* out);
    MVResult (*GetNextPropertyList)(MVPropertyList* list, MVPropertyList** out);
    MVResult (*FindPropertyLocal)(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                                  uint32_t propertyID, MVProperty** out);
} MVPropertiesSuite;

/* What the host works with. */
#define kMVRuntimeSuite "MV Runtime Suite"
#define kMVRuntimeSuiteVersion 5

typedef struct MVRuntimeSuite
{
    MVResult (*GetRuntimeStringPool)(MVStringPool** out);
    MVResult (*GetRuntimeSuiteList)(MVSuiteList** out);
    MVResult (*GetRuntimeFileList)(void** out);
    MVResult (*GetRuntimePluginList)(MVPluginList** out);
    MVResult (*GetRuntimeAdapterList)(MVAdapterList** out);
    MVResult (*GetRuntimeHostProcs)(struct MVHostProcs** out);
    MVResult (*GetRuntimePluginsFolder)(MVFileSpecification* out);
    MVResult (*GetRuntimeHostFileSpec)(MVFileSpecification* out);
} MVRuntimeSuite;

/* Interned strings. */
#define kMVStringsSuite "MV Strings Suite"
#define kMVStringsSuiteVersion 2

typedef struct MVStringsSuite
{
    MVResult (*AllocateStringPool)(MVStringPool** out);
    MVResult (*FreeStringPool)(MVStringPool* pool);
    MVResult (*MakeWString)(MVStringPool* pool, const char* string, MVWString* out);
} MVStringsSuite;

/* The registry of suites. */
#define kMVSuitesSuite "MV Suites Suite"
#define kMVSuitesSuiteVersion 2

typedef struct MVSuitesSuite
{
    MVResult (*AllocateSuiteList)(MVStringPool* pool, MVPluginList* plugins, MVSuiteList** out);
    MVResult (*FreeSuiteList)(MVSuiteList* list);
    MVResult (*AddSuite)(MVSuiteList* list, MVPlugin* plugin, const char* name, int32_t apiVersion,
                         int32_t internalVersion, const void* suiteProcs, MVSuite** out);
    MVResult (*AcquireSuite)(MVSuiteList* list, const char* name, int32_t apiVersion,
                             int32_t internalVersion, const void** out);
    MVResult (*ReleaseSuite)(MVSuiteList* list, const char* name, int32_t apiVersion,
                             int32_t internalVersion);
    MVResult (*FindSuite)(MVSuiteList* list, const char* name, int32_t apiVersion,
                          int32_t internalVersion, MVSuite** out);
    MVResult (*NewSuiteListIterator)(MVSuiteList* list, MVSuiteListIterator** out);
    MVResult (*NextSuite)(MVSuiteListIterator* iterator, MVSuite** out);
    MVResult (*DeleteSuiteListIterator)(MVSuiteListIterator* iterator);
    MVResult (*GetSuiteHost)(MVSuite* suite, MVPlugin** out);
    MVResult (*GetSuiteName)(MVSuite* suite, MVWString* out);
    MVResult (*GetSuiteAPIVersion)(MVSuite* suite, int32_t* out);
    MVResult (*GetSuiteInternalVersion)(MVSuite* suite, int32_t* out);
    MVResult (*GetSuiteProcs)(MVSuite* suite, const void** out);
    MVResult (*GetSuiteAcquireCount)(MVSuite* suite, int32_t* out);
} MVSuitesSuite;

#ifdef __cplusplus
}
#endif

#endif
