/*
 * The plug-in host for the application that embeds it, and what the functions of the suites do.
 *
 * RK::Initializer brings the host up and takes it down, so that most applications only add plug-ins and start
 * them: MVAddPluginFile for each, then MVStartupPlugins.
 *
 * Everything here answers a result code unless it says otherwise, and is for one thread at a time. Debug builds
 * watch that, and say which call broke it.
 */
#ifndef MOONVETCH_HOST_H
#define MOONVETCH_HOST_H

#include "Suites.h"
#include "Types.h"

#ifdef __cplusplus
extern "C"
{
#endif

/* What the host tells and asks. */
enum
{
    kMVNotifyEvent_FirstOrdinaryPlugin = 3, /* filterEvent, data null: 0 stops the start-up */
    kMVNotifyEvent_StartupNotDelivered = 4, /* startupNotify, data an MVStartupFailure */
    kMVNotifyEvent_StartingPlugin = 5       /* startupNotify, data the plug-in */
};

typedef struct MVStartupFailure
{
    MVFileSpecification file;
    MVResult error;
} MVStartupFailure;

/* The application's procedures. A slot that is null gets the default, in MVInit. */
typedef struct MVHostProcs
{
    void* hostData; /* comes back as last argument of allocation and notify procedures */
    void* (*allocate)(size_t size,
                      void* hostData); /* memory for plug-ins; null when there is none */
    void (*free)(void* block, void* hostData);
    void* (*reallocate)(void* block, size_t size, void* hostData);
    void* (*internalAllocate)(size_t size, void* hostData); /* for the host's own records */
    void (*internalFree)(void* block, void* hostData);
    void* (*internalReallocate)(void* block, size_t size, void* hostData);
    void (*startupNotify)(int32_t event, void* data, void* hostData);
    void (*shutdownNotify)(int32_t event, void* data, void* hostData); /* not called */
    /* told of misuse: a string too long to be interned; in debug builds a second thread in the host, on that thread */
    void (*assertTrap)(const char* text, void* hostData);
    void (*throwTrap)(MVResult code,
                      void* hostData); /* told of most errors before they are returned */
    void (*debugTrap)(const char* text, void* hostData); /* not called */
    MVResult (*allocateStringPool)(MVStringPool** out);
    MVResult (*freeStringPool)(MVStringPool* pool);
    MVResult (*makeWString)(MVStringPool* pool, const char* string, MVWString* out);
    MVStringPool* stringPool; /* used, and never freed, if set */
    int32_t (*filterEvent)(int32_t event, void* data);
    MVResult (*beforeStartupHook)(void);          /* may be null; non-zero ends the start-up */
    int32_t (*overrideStartup)(MVPlugin* plugin); /* non-zero: the host must not start it */
    MVResult (*getPluginAccess)(MVPlugin* plugin,
                                MVAccess** out); /* may be null; 0 settles MVGetPluginAccess */
    int32_t (*memoryIsCritical)(void);           /* may be null */
} MVHostProcs;

/* @param hostProcs  kept, also beyond MVTerm, since blocks may be freed later; its empty slots are filled. Null for
   the defaults. @param reserved  ignored.
   @param flags  bit 0 switches block debug on. Nests with MVTerm; the outermost pair acts. */
MV_API MVResult MVInit(MVHostProcs* hostProcs, int32_t reserved, int32_t flags);
/* Can be tried again after an error. Does nothing without an MVInit. kMVAlreadyInMessageError for the last one while a
   plug-in is being called. */
MV_API MVResult MVTerm(void);
/* Non-zero while initialised; no result code. */
MV_API int32_t MVInited(void);
/* 0x000B0002; no result code. */
MV_API int32_t MVVersion(void);

/* Places of files and bundles. MVRetainURL and MVReleaseURL count; a null url does nothing. */
/* @param text  UTF-8: "file://" with percent signs, or an absolute path. Null for what is neither. */
MV_API MVURL* MVCreateURL(const char* text);
MV_API void MVRetainURL(MVURL* url);
MV_API void MVReleaseURL(MVURL* url);
/* The path, UTF-8; owned by url. */
MV_API const char* MVGetURLPath(const MVURL* url);

/* The bundle that stands for the host; retained. Null means the running program's file. */
MV_API MVResult MVSetHostBundleRef(MVURL* bundle);

MV_API MVResult MVStartupPlugins(void);
MV_API MVResult MVShutdownPlugins(void);

MV_API MVResult MVAddPluginSpecification(MVPluginList* list, MVURL* url,
                                         const PIPropertyList* propertyList,
                                         const char* adapterName, void* adapterInfo,
                                         MVPlugin** out);
/* Lists the plug-ins of a file or a bundle folder. Their properties are read without running any of its
   code, and all are checked before the first is listed. What is added again is listed again.
   @param added  how many were listed: where memory runs out, perhaps not all.
   @return kMVPluginNotFoundError if there is nothing of that name, kMVNeedsNativeAdapterError if it carries no
   properties and so is no plug-in, kMVBadParameterError if they are damaged. */
MV_API MVResult MVAddPluginFile(MVPluginList* list, const char* path, int32_t* added);
/* Why code could last not be loaded, by the words of the system's loader where it was asked; "" if it was. */
MV_API const char* MVGetLoadFailureText(void);
/* A plug-in whose code is in the program. It is asked for its exports at once; what it answers does not keep it
   from being listed. @param name  may be null. */
MV_API MVResult MVAddHostPlugin(MVPluginList* list, MVPluginEntry entry, void* hostData,
                                const char* adapterName, void* adapterInfo, MVPlugin** out,
                                const char* name);
/* The last part of the path. @param size  of buffer, in bytes. */
MV_API MVResult MVGetPluginSpecificationName(MVURL* url, char* buffer, size_t size);
MV_API void MVSetRuntimePluginsFolder(const MVFileSpecification* folder);

/* Of property data that come from outside.
   @param bytes  how many there are. @return kMVBadParameterError unless every record lies within them. */
MV_API MVResult MVCheckPropertyList(const void* data, size_t bytes);

/* "MV Access Suite": Loaded plug-ins. */
/* Loads a plug-in, or counts one more use of it. kMVCantAcquirePluginError if it cannot be loaded: it is
   broken then. */
MV_API MVResult MVAcquirePlugin(MVPlugin* plugin, MVAccess** out);
/* It stays loaded until it is flushed, and the access is to be used no more. kMVAlreadyReleasedError below 0. */
MV_API MVResult MVReleasePlugin(MVAccess* access);
/* Null and 0 if it is not loaded. */
MV_API MVResult MVGetPluginAccess(MVPlugin* plugin, MVAccess** out);
MV_API MVResult MVGetAccessPlugin(MVAccess* access, MVPlugin** out);
MV_API MVResult MVGetAccessEntry(MVAccess* access, MVPluginEntry* out);
MV_API MVResult MVGetAccessCount(MVAccess* access, int32_t* out);
/* The handle is null for a plug-in in a file, else what the host gave as hostData. Where that is null, handle is
   left, and the pointer to the host's bundle is written at byte 8 of what it points to. */
MV_API MVResult MVGetAccessInfo(MVAccess* access, MVAccessInfo* out);
MV_API MVResult MVGetPluginResourceAccess(MVPlugin* plugin, void** out);
MV_API MVResult MVSetPluginResourceAccess(MVPlugin* plugin, void* resourceAccess);
/* Calls the entry. 0 means delivered; the plug-in's answer is in result: kMVPluginThrewError or
   kMVOutOfMemoryError stands for it if a C++ exception came out. kMVCantAcquirePluginError for one that has been
   unloaded, or whose adapter has no host: the plug-in stays the current one then. */
MV_API MVResult MVCallPlugin(MVAccess* access, const char* caller, const char* selector,
                             void* message, MVResult* result);
MV_API MVResult MVGetCurrentPlugin(MVPlugin** out);
MV_API MVResult MVSetCurrentPlugin(MVPlugin* plugin);

/* "MV Adapters Suite": What loads and calls one kind of plug-in. */
MV_API MVResult MVAllocateAdapterList(MVStringPool* pool, MVAdapterList** out);
MV_API MVResult MVFreeAdapterList(MVAdapterList* list);
/* kMVAdapterExistsError where one of this name has an equal or higher version. */
MV_API MVResult MVAddAdapter(MVAdapterList* list, MVPlugin* hostPlugin, const char* name,
                             int32_t version, MVAdapter** out);
/* Null and 0 if there is none. What is found goes to the head of the list, so that an iterator may meet others
   twice, or not at all. */
MV_API MVResult MVFindAdapter(MVAdapterList* list, const char* name, MVAdapter** out);
MV_API MVResult MVNewAdapterListIterator(MVAdapterList* list, MVAdapterListIterator** out);
/* Null and 0 at the end; kMVBadAdapterListIteratorError when the list changed meanwhile. */
MV_API MVResult MVNextAdapter(MVAdapterListIterator* iterator, MVAdapter** out);
MV_API MVResult MVDeleteAdapterListIterator(MVAdapterListIterator* iterator);
MV_API MVResult MVGetAdapterHost(MVAdapter* adapter, MVPlugin** out);
MV_API MVResult MVGetAdapterName(MVAdapter* adapter, MVWString* out);
MV_API MVResult MVGetAdapterVersion(MVAdapter* adapter, int32_t* out);

/* "MV Basic Suite": In the header of every message. */
/* The newest internal version. kMVBadParameterError for a null name or out. */
MV_API MVResult MVBasicAcquireSuite(const char* name, int32_t version, const void** out);
MV_API MVResult MVBasicReleaseSuite(const char* name, int32_t version);
/* 1 if both are given and equal, else 0; no result code. */
MV_API int32_t MVBasicIsEqual(const char* a, const char* b);
MV_API MVResult MVBasicAllocateBlock(size_t size, void** out);
MV_API MVResult MVBasicFreeBlock(void* block);
MV_API MVResult MVBasicReallocateBlock(void* block, size_t size, void** out);
MV_API MVResult MVBasicUndefined(void);

/* "MV Blocks Suite": Memory by the host's procedures. */
/* For plug-ins, by slots 1 to 3. @param debug  what it is; kept, not copied, while block debug is on. */
MV_API MVResult MVAllocateBlock(size_t size, const char* debug, void** out);
MV_API MVResult MVFreeBlock(void* block);
MV_API MVResult MVReallocateBlock(void* block, size_t size, const char* debug, void** out);

/* "MV Block Debug Suite": Which blocks are held, and for what. */
MV_API MVResult MVGetBlockDebugEnabled(int32_t* out);
/* kMVBlockDebugLockedError while blocks exist. */
MV_API MVResult MVSetBlockDebugEnabled(int32_t enabled);
/* The newest block, then older ones; kMVBlockDebugOffError without block debug. */
MV_API MVResult MVGetFirstBlock(void** out);
MV_API MVResult MVGetNextBlock(void* block, void** out);
MV_API MVResult MVGetBlockDebug(void* block, const char** out);

/* "MV Caches Suite": What can be given up when memory is short. */
/* Asks adapters, one after the other, until one has freed something. A null flushProc lets all go.
   @param flushed  how much that one freed. */
MV_API MVResult MVFlushCaches(MVFlushProc flushProc, int32_t* flushed);

/* "MV Interface Suite": Messages. */
/* Loads the plug-in if need be, fills the header of message (null: a record of its own) and calls it. 0 means
   delivered; the plug-in's answer is in result. kMVAlreadyInMessageError while it is being called with
   "MV Interface" or "MV Properties" as the host has them, or loaded or unloaded; one such refusal takes the mark
   away. After an error of the call itself the plug-in stays acquired. */
MV_API MVResult MVSendMessage(MVPlugin* plugin, const char* caller, const char* selector,
                              void* message, MVResult* result);
/* Fills the header for a plug-in. */
MV_API MVResult MVSetupMessageData(MVPlugin* plugin, MVMessageData* data);
/* Takes the globals back from the header. */
MV_API MVResult MVEmptyMessageData(MVPlugin* plugin, MVMessageData* data);
/* Starts the plug-ins that export this suite. @param started  whether there was any. */
MV_API MVResult MVStartupExport(MVPluginList* list, const char* name, int32_t version,
                                int32_t* started);

/* "MV Plug-ins Suite": Versions 4 and 5 are one table. */
MV_API MVResult MVAllocatePluginList(MVStringPool* pool, MVPluginList** out);
/* Frees the plug-ins' records and properties as well. They hear nothing of it; what they supply has to go first.
   kMVAlreadyInMessageError while one of them is being called; for the host's list, while any plug-in is. */
MV_API MVResult MVFreePluginList(MVPluginList* list);
/* Lists a plug-in. @param path  of its file or bundle folder, as a URL or an absolute path; null for the host's.
   @param propertyList  copied; trusted: of strangers, MVCheckPropertyList comes first.
   @return kMVAdapterNotFoundError, kMVPluginNotFoundError for a text that is no place. */
MV_API MVResult MVAddPlugin(MVPluginList* list, const char* path,
                            const PIPropertyList* propertyList, const char* adapterName,
                            void* adapterInfo, MVPlugin** out);
MV_API MVResult MVNewPluginListIterator(MVPluginList* list, MVPluginListIterator** out);
/* Null and 0 at the end; kMVBadPluginListIteratorError when the list changed meanwhile. */
MV_API MVResult MVNextPlugin(MVPluginListIterator* iterator, MVPlugin** out);
MV_API MVResult MVDeletePluginListIterator(MVPluginListIterator* iterator);
/* Whether a suite that was looked for in vain has come; reading clears it. */
MV_API MVResult MVGetPluginListNeededSuiteAvailable(MVPluginList* list, int32_t* out);
MV_API MVResult MVGetHostPluginEntry(MVPlugin* plugin, MVPluginEntry* out);
/* kMVPluginNotFoundError without a place, kMVPathError without a path. */
MV_API MVResult MVGetPluginFileSpecification(MVPlugin* plugin, MVFileSpecification* out);
MV_API MVResult MVGetPluginPropertyList(MVPlugin* plugin, MVPropertyList** out);
MV_API MVResult MVGetPluginGlobals(MVPlugin* plugin, void** out);
MV_API MVResult MVSetPluginGlobals(MVPlugin* plugin, void* globals);
MV_API MVResult MVGetPluginStarted(MVPlugin* plugin, int32_t* out);
MV_API MVResult MVSetPluginStarted(MVPlugin* plugin, int32_t started);
MV_API MVResult MVGetPluginSkipShutdown(MVPlugin* plugin, int32_t* out);
MV_API MVResult MVSetPluginSkipShutdown(MVPlugin* plugin, int32_t skip);
MV_API MVResult MVGetPluginBroken(MVPlugin* plugin, int32_t* out);
MV_API MVResult MVSetPluginBroken(MVPlugin* plugin, int32_t broken);
MV_API MVResult MVGetPluginAdapter(MVPlugin* plugin, MVAdapter** out);
MV_API MVResult MVGetPluginAdapterInfo(MVPlugin* plugin, void** out);
MV_API MVResult MVSetPluginAdapterInfo(MVPlugin* plugin, void* adapterInfo);
/* Among its properties, then by asking it if it may be asked. Null and 0 if there is none. */
MV_API MVResult MVFindPluginProperty(MVPlugin* plugin, uint32_t vendorID, uint32_t propertyKey,
                                     uint32_t propertyID, PIProperty** out);
MV_API MVResult MVGetPluginName(MVPlugin* plugin, MVWString* out);
MV_API MVResult MVSetPluginName(MVPlugin* plugin, const char* name);
/* kMVPluginNotFoundError. */
MV_API MVResult MVGetNamedPlugin(const char* name, MVPlugin** out);
/* Frees the present list, and takes the one whose pointer is at byte 128 of source. */
MV_API MVResult MVSetPluginPropertyList(MVPlugin* plugin, const void* source);
MV_API MVResult MVGetPluginHostInfo(MVPlugin* plugin, void** out);
MV_API MVResult MVSetPluginHostInfo(MVPlugin* plugin, void* hostInfo);

/* "MV Properties Suite": Versions 2 and 3 are one table. */
MV_API MVResult MVAllocatePropertyList(MVPropertyList** out);
MV_API MVResult MVFreePropertyList(MVPropertyList* list);
/* Copies count records. They are trusted: of strangers, MVCheckPropertyList comes first. */
MV_API MVResult MVAddProperties(MVPropertyList* list, const PIPropertyList* records, int32_t refCon,
                                int32_t cacheable);
/* Copies one; record may be null. */
MV_API MVResult MVAddProperty(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                              uint32_t propertyID, const PIProperty* record, int32_t refCon,
                              int32_t cacheable, MVProperty** out);
/* In the list, then in those chained to it. Null and 0 if there is none. */
MV_API MVResult MVFindProperty(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                               uint32_t propertyID, MVProperty** out);
MV_API MVResult MVNewPropertyListIterator(MVPropertyList* list, MVPropertyListIterator** out);
/* Null and 0 at the end; kMVBadPropertyListIteratorError when the list changed meanwhile. */
MV_API MVResult MVNextProperty(MVPropertyListIterator* iterator, MVProperty** out);
MV_API MVResult MVDeletePropertyListIterator(MVPropertyListIterator* iterator);
MV_API MVResult MVGetPropertyPIProperty(MVProperty* property, PIProperty** out);
MV_API MVResult MVGetPropertyRefCon(MVProperty* property, int32_t* out);
MV_API MVResult MVGetPropertyCacheable(MVProperty* property, int32_t* out);
/* Non-zero if the list does not own the data. */
MV_API MVResult MVGetPropertyAllocatedByPlugin(MVProperty* property, int32_t* out);
MV_API MVResult MVHasMultiplePropertyLists(MVPropertyList* list, int32_t* out);
MV_API MVResult MVGetNextPropertyList(MVPropertyList* list, MVPropertyList** out);
/* In this list alone. */
MV_API MVResult MVFindPropertyLocal(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                                    uint32_t propertyID, MVProperty** out);

/* "MV Runtime Suite": What the host works with. */
MV_API MVResult MVGetRuntimeStringPool(MVStringPool** out);
MV_API MVResult MVGetRuntimeSuiteList(MVSuiteList** out);
/* kMVNotImplementedError. */
MV_API MVResult MVGetRuntimeFileList(void** out);
MV_API MVResult MVGetRuntimePluginList(MVPluginList** out);
MV_API MVResult MVGetRuntimeAdapterList(MVAdapterList** out);
MV_API MVResult MVGetRuntimeHostProcs(struct MVHostProcs** out);
MV_API MVResult MVGetRuntimePluginsFolder(MVFileSpecification* out);
/* kMVNoHostFileSpecError if the host's bundle has no path. */
MV_API MVResult MVGetRuntimeHostFileSpec(MVFileSpecification* out);

/* "MV Strings Suite": Interned strings. */
/* By the host procedure of slot 12. */
MV_API MVResult MVAllocateStringPool(MVStringPool** out);
/* By slot 13. Strings of the pool die with it. */
MV_API MVResult MVFreeStringPool(MVStringPool* pool);
/* By slot 14: the one pointer that stands for this text; null for a null text. A null pool means the host's. A
   text of 30000 bytes or more, which no pool holds, gives kMVOutOfMemoryError. */
MV_API MVResult MVMakeWString(MVStringPool* pool, const char* string, MVWString* out);

/* "MV Suites Suite": The registry of suites. */
/* A null pool or plug-in list means the host's. */
MV_API MVResult MVAllocateSuiteList(MVStringPool* pool, MVPluginList* plugins, MVSuiteList** out);
MV_API MVResult MVFreeSuiteList(MVSuiteList* list);
/* Publishes a table. A null table makes a placeholder, which the plug-in is to fill when it is started.
   kMVSuiteInternalVersionError for internal version 0, kMVSuiteExistsError where there is a table already. */
MV_API MVResult MVAddSuite(MVSuiteList* list, MVPlugin* plugin, const char* name,
                           int32_t apiVersion, int32_t internalVersion, const void* suiteProcs,
                           MVSuite** out);
/* The table; internal version 0 asks for the highest. Starts and loads the plug-in that supplies it.
   kMVSuiteNotFoundError is remembered: when the suite appears, start-up goes round again. */
MV_API MVResult MVAcquireSuite(MVSuiteList* list, const char* name, int32_t apiVersion,
                               int32_t internalVersion, const void** out);
/* Names the suite as it was acquired; with internal version 0 it is the one that is highest now.
   kMVSuiteOverReleasedError below 0. */
MV_API MVResult MVReleaseSuite(MVSuiteList* list, const char* name, int32_t apiVersion,
                               int32_t internalVersion);
/* Not finding is no error: null and 0. What was looked for in vain is remembered. */
MV_API MVResult MVFindSuite(MVSuiteList* list, const char* name, int32_t apiVersion,
                            int32_t internalVersion, MVSuite** out);
MV_API MVResult MVNewSuiteListIterator(MVSuiteList* list, MVSuiteListIterator** out);
/* Null and 0 at the end; kMVBadSuiteListIteratorError when a suite was added meanwhile. */
MV_API MVResult MVNextSuite(MVSuiteListIterator* iterator, MVSuite** out);
MV_API MVResult MVDeleteSuiteListIterator(MVSuiteListIterator* iterator);
MV_API MVResult MVGetSuiteHost(MVSuite* suite, MVPlugin** out);
MV_API MVResult MVGetSuiteName(MVSuite* suite, MVWString* out);
MV_API MVResult MVGetSuiteAPIVersion(MVSuite* suite, int32_t* out);
MV_API MVResult MVGetSuiteInternalVersion(MVSuite* suite, int32_t* out);
MV_API MVResult MVGetSuiteProcs(MVSuite* suite, const void** out);
MV_API MVResult MVGetSuiteAcquireCount(MVSuite* suite, int32_t* out);

#ifdef __cplusplus
}
#endif

#endif
