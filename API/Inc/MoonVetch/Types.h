/*
 * What passes between the plug-in host and plug-ins: types, result codes, callers and selectors, message
 * records, properties. Plain C, so that a plug-in may be written in anything that speaks it.
 *
 * A plug-in is an entry point with a list of properties. The entry is called with a caller, a selector and a
 * record whose shape these two settle, and answers a result code. All records begin with MVMessageData.
 *
 * Codes      32 bits, 0 for success. All but one are four characters, read as a big-endian number.
 * Outputs    go through pointers, which are set to null (or 0) first.
 * Threads    One at a time, for everything here. What RK::GetMVBasicSuite() hands out may be called by any.
 * Ownership  Records are the host's. What is handed out lives until it is given back or the host ends.
 */
#ifndef MOONVETCH_TYPES_H
#define MOONVETCH_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define MV_API __attribute__((visibility("default")))
#else
#define MV_API
#endif

#ifdef __cplusplus
extern "C"
{
#endif

typedef int32_t MVResult;
/* Interned: equal strings of one pool are one pointer. */
typedef const char* MVWString;

typedef struct MVStringPool MVStringPool;
typedef struct MVSuite MVSuite;
typedef struct MVSuiteList MVSuiteList;
typedef struct MVSuiteListIterator MVSuiteListIterator;
typedef struct MVPlugin MVPlugin;
typedef struct MVPluginList MVPluginList;
typedef struct MVPluginListIterator MVPluginListIterator;
typedef struct MVProperty MVProperty;
typedef struct MVPropertyList MVPropertyList;
typedef struct MVPropertyListIterator MVPropertyListIterator;
typedef struct MVAdapter MVAdapter;
typedef struct MVAdapterList MVAdapterList;
typedef struct MVAdapterListIterator MVAdapterListIterator;
typedef struct MVAccess MVAccess;
/* Where a plug-in or a bundle lies; counted, see Host.h. */
typedef struct MVURL MVURL;
struct MVBasicSuite;
struct MVHostProcs;

/* The entry of a plug-in. What it answers is the plug-in's own result, not that of the delivery. A C++ exception
   that comes out is caught and answered for it; one out of code that was compiled to let none out ends the process. */
typedef MVResult (*MVPluginEntry)(const char* caller, const char* selector, void* message);
/* Asked before something is flushed: flush becomes non-zero if it may go. */
typedef MVResult (*MVFlushProc)(const char* type, MVAccess* access, int32_t* flush);

/* Result codes. */
enum
{
    kMVNoError = 0,
    kMVBadParameterError = 0x5061726D,              /* 'Parm' */
    kMVNotImplementedError = 0x21494D50,            /* '!IMP' */
    kMVAdapterExistsError = 0x41644578,             /* 'AdEx' */
    kMVBadAdapterListIteratorError = 0x4264414C,    /* 'BdAL' */
    kMVAdapterNotFoundError = 0x3F416470,           /* '?Adp' */
    kMVNoHostFileSpecError = 0x4164486F,            /* 'AdHo' */
    kMVAlreadyInMessageError = 0x41495343,          /* 'AISC' */
    kMVAlreadyReleasedError = 0x416C526C,           /* 'AlRl' */
    kMVCantAcquirePluginError = 0x21416371,         /* '!Acq' */
    kMVNeedsNativeAdapterError = 0x4E4D5650,        /* 'NMVP' */
    kMVHostStoppedStartupError = 0x48215374,        /* 'H!St' */
    kMVPluginNotFoundError = 0x50214664,            /* 'P!Fd' */
    kMVBadPluginListIteratorError = 0x50694C49,     /* 'PiLI' */
    kMVBadPropertyListIteratorError = 0x42507249,   /* 'BPrI' */
    kMVPluginStartedWithoutSuiteError = 0x50694830, /* 'PiH0' */
    kMVSuiteNotFoundError = 0x53214664,             /* 'S!Fd' */
    kMVSuiteExistsError = 0x53457869,               /* 'SExi' */
    kMVSuiteInternalVersionError = 0x53495673,      /* 'SIVs' */
    kMVSuiteOverReleasedError = 0x5352656C,         /* 'SRel' */
    kMVBadSuiteListIteratorError = 0x534C4974,      /* 'SLIt' */
    kMVBlockDebugLockedError = 0x214E6F77,          /* '!Now' */
    kMVBlockDebugOffError = 0x214E626C,             /* '!Nbl' */
    kMVPathError = 0x66626172,                      /* 'fbar' */
    kMVPurgedResult = 0x70466C73,                   /* 'pFls': something was freed; no failure */
    /* 'PExc': what the host answers for a plug-in when a C++ exception came out of its entry. */
    kMVPluginThrewError = 0x50457863,
    kMVOutOfMemoryError = -148
};

/* Callers and selectors. The host compares its own by pointer; a plug-in compares by text. */
#define kMVPropertiesCaller "MV Properties"
#define kMVPropertiesAcquireSelector "Acquire"
#define kMVPropertiesReleaseSelector "Release"
#define kMVInterfaceCaller "MV Interface"
#define kMVInterfaceStartupSelector "Startup"
#define kMVInterfaceShutdownSelector "Shutdown"
#define kMVInterfaceAboutSelector "About"
#define kMVAdaptersCaller "MV Adapters"
#define kMVAdaptersStartupSelector "Start up"
#define kMVAdaptersShutdownSelector "Shut down"
#define kMVAdaptersDisposeInfoSelector "Dispose info"
#define kMVAdaptersFindPropertySelector "Find property"
#define kMVAdaptersFlushSelector "Flush"
#define kMVAdaptersAboutSelector "About"
#define kMVAdaptersAcquireSuiteHostSelector "Acquire Suite"
#define kMVAdaptersReleaseSuiteHostSelector "Release Suite"
#define kMVAdaptersRegisterPluginsSelector "Register plugins"
#define kMVAdaptersLoadPluginSelector "Load plugin"
#define kMVAdaptersReleasePluginSelector "Release plugin"
#define kMVAdaptersSendMessageSelector "Send message"
#define kMVAccessCaller "MV Access"
#define kMVAccessReloadSelector "Reload"
#define kMVAccessUnloadSelector "Unload"
#define kMVMoonVetch2Adapter "Moon Vetch 2 Adapter"
#define kMVFlushAccessType "MV Flush Access"
#define kMVCacheCaller "MV Cache"
#define kMVPluginPurgeCachesSelector "Plug-in Purge"

/* 'MVCk', the check word of every message. */
#define kMVMessageCheck 0x4D56436B

/* The first 32 bytes of every message record. */
typedef struct MVMessageData
{
    int32_t MVCheck; /* kMVMessageCheck */
    int32_t padding;
    MVPlugin* self;
    /* The plug-in's own. What it puts here during any message comes again with the next. */
    void* globals;
    const struct MVBasicSuite* basic;
} MVMessageData;

/* "MV Access" with "Reload" and "Unload". */
typedef struct MVAccessMessage
{
    MVMessageData data;
    int32_t accessPhase; /* kMVAccessPhase_... */
    int32_t padding;
} MVAccessMessage;

enum
{
    kMVAccessPhase_BeforeStartup = 0,
    kMVAccessPhase_Started = 1,
    kMVAccessPhase_Shutdown = 2, /* not started, while the host shuts plug-ins down */
    kMVAccessPhase_Disposal = 3  /* not started, while the host disposes of what they hold */
};

/*
 * A property as it is stored, in native byte order. The data follow the record: propertyLength bytes, padded
 * to a multiple of 4.
 */
typedef struct PIProperty
{
    uint32_t vendorID;
    uint32_t propertyKey;
    uint32_t propertyID;
    uint32_t propertyLength;
} PIProperty;

/* The records follow, one after the other. */
typedef struct PIPropertyList
{
    uint32_t version; /* not examined */
    uint32_t count;
} PIPropertyList;

/* The vendor of all properties that the host knows, 'RVNS', and their keys. */
enum
{
    kMVVendorID = 0x52564E53,
    /* The plug-in is an adapter. A first 32-bit word of 2 says that it is to be started ahead of all. */
    kMVProperty_Adapter = 0x61647074, /* 'adpt' */
    /* Exported suites: a 32-bit count, and for each the 32-bit size of what follows, a name with its NUL,
       padding to the next multiple of 4 counted from the name's start, a 32-bit version. */
    kMVProperty_Exports = 0x65787074, /* 'expt' */
    /* Started early, disposed of last; without data. */
    kMVProperty_StartsEarly = 0x53747350, /* 'StsP' */
    /* The first byte of the data holds the bits below. */
    kMVProperty_Capabilities = 0x4163704D, /* 'AcpM' */
    /* Where the code is: a Pascal string with the entry's name; empty for the names tried by default. */
    kMVProperty_CodeEntry = 0x6D693332, /* 'mi32' */
    /* The plug-in's name with its NUL. */
    kMVProperty_Name = 0x70696E6D /* 'pinm' */
};

enum
{
    kMVCapability_AnswersProperties = 1, /* may be asked for properties, and is started early */
    kMVCapability_SkipShutdown = 2,
    kMVCapability_Purges = 4 /* answers "Plug-in Purge" */
};

/* "MV Properties" with "Acquire" and "Release". */
typedef struct MVPropertiesMessage
{
    MVMessageData data;
    uint32_t vendorID;
    uint32_t propertyKey;
    uint32_t propertyID;
    uint32_t padding;
    PIProperty* property; /* the answer; the plug-in's, until "Release" */
    int32_t refCon;
    int32_t cacheable;
} MVPropertiesMessage;

/* What an adapter's plug-in is sent by "MV Adapters". Zero but for what its selector uses. */
typedef struct MVAdaptersMessage
{
    MVMessageData data;
    MVAdapter* adapter;
    MVPlugin* plugin;  /* all but "Start up" */
    MVResult error;    /* "Find property", "About": the answer of the inner call */
    uint32_t vendorID; /* "Find property" */
    uint32_t propertyKey;
    uint32_t propertyID;
    PIProperty* property;  /* "Find property": the answer */
    MVFlushProc flushProc; /* "Flush", "Dispose info" */
    int32_t flushed;       /* "Flush", "Dispose info": the answer */
    int32_t padding0;
    MVSuiteList* suiteList; /* "Acquire Suite", "Release Suite" */
    MVSuite* suite;         /* the same */
    MVPlugin* suitePlugin;  /* the same */
    const void* suiteProcs; /* "Acquire Suite": the answer */
    int32_t suiteAcquired;  /* "Acquire Suite": the answer; 0 if there is no such suite */
    int32_t padding1;
    const char* caller;   /* "Send message" */
    const char* selector; /* "Send message" */
    void* message;        /* "Send message" */
} MVAdaptersMessage;

/* Where a file is. The reference is for platforms that know such a thing, and zero where there is none. */
typedef struct MVFileSpecification
{
    char path[300]; /* UTF-8, with its NUL; cut at a whole character if longer */
    unsigned char reference[80];
} MVFileSpecification;

typedef struct MVAccessInfo
{
    void* handle;
    void* resourceAccess;
    uint32_t lastAccessTicks; /* of the last call, in 1/60 second */
} MVAccessInfo;

#ifdef __cplusplus
}
#endif

#endif
