#include "MVSuites.h"

#include <functional>
#include <new>

#include "MVAdapts.h"
#include "MVHost.h"
#include "MVPlugs.h"
#include "MVRecord.h"
#include "MVThread.h"

bool operator<(const MVSAS& inLeft, const MVSAS& inRight) noexcept
{
    if (inLeft.name != inRight.name)
        return std::less<MVWString>()(inLeft.name, inRight.name);
    if (inLeft.apiVersion != inRight.apiVersion)
        return inLeft.apiVersion < inRight.apiVersion;
    return inLeft.internalVersion < inRight.internalVersion;
}

bool operator<(const MVSUAS& inLeft, const MVSUAS& inRight) noexcept
{
    if (inLeft.name != inRight.name)
        return std::less<MVWString>()(inLeft.name, inRight.name);
    return inLeft.apiVersion < inRight.apiVersion;
}

namespace
{

MVSuiteList* listOrHosts(MVSuiteList* inList)
{
    return inList != nullptr ? inList : gMVSuites;
}

// Internal version 0 stands for the highest.
MVSuite* findSuite(const MVSuiteList* inList, MVWString inName, std::int32_t inAPIVersion,
                   std::int32_t inInternalVersion)
{
    if (inInternalVersion == 0)
    {
        const auto highest = inList->highest.find({inName, inAPIVersion});
        if (highest == inList->highest.end())
            return nullptr;
        inInternalVersion = highest->second;
    }
    const auto found = inList->suites.find({inName, inAPIVersion, inInternalVersion});
    return found != inList->suites.end() ? found->second : nullptr;
}

bool isSearch(const MVSuiteSearch* inSearch, MVWString inName, std::int32_t inAPIVersion)
{
    return inSearch->name == inName && inSearch->apiVersion == inAPIVersion;
}

// Without memory for the record, the search is forgotten.
void recordSearch(MVSuiteList* ioList, MVWString inName, std::int32_t inAPIVersion)
{
    for (const MVSuiteSearch* search = ioList->searchedFor; search != nullptr;
         search = search->next)
    {
        if (isSearch(search, inName, inAPIVersion))
            return;
    }
    MVSuiteSearch* search = nullptr;
    if (mvIntAllocateRecord("a search for suite", &search) != kMVNoError)
        return;
    *search = {ioList->searchedFor, inName, inAPIVersion};
    ioList->searchedFor = search;
}

bool takeSearch(MVSuiteList* ioList, MVWString inName, std::int32_t inAPIVersion)
{
    MVSuiteSearch** link = &ioList->searchedFor;
    while (*link != nullptr && !isSearch(*link, inName, inAPIVersion))
        link = &(*link)->next;
    MVSuiteSearch* search = *link;
    if (search == nullptr)
        return false;
    *link = search->next;
    mvIntFreeBlock(search);
    return true;
}

// Of a key that is there already, the map keeps the first record.
void insertSuite(MVSuiteList* ioList, MVSuite* inSuite)
{
    const MVSAS key{inSuite->name, inSuite->apiVersion, inSuite->internalVersion};
    const auto [place, isFirst] = ioList->suites.emplace(key, inSuite);
    try
    {
        const auto highest =
            ioList->highest.emplace(MVSUAS{key.name, key.apiVersion}, key.internalVersion).first;
        if (highest->second < key.internalVersion)
            highest->second = key.internalVersion;
        if (!isFirst)
            ioList->seconds.push_back(inSuite);
    }
    catch (...)
    {
        if (isFirst)
            ioList->suites.erase(place);
        throw;
    }
}

MVResult insertSuiteOrFail(MVSuiteList* ioList, MVSuite* inSuite)
{
    try
    {
        insertSuite(ioList, inSuite);
        return kMVNoError;
    }
    catch (const std::bad_alloc&)
    {
        return mvRaise(kMVOutOfMemoryError);
    }
}

MVResult addNewSuite(MVSuiteList* ioList, const MVSuite& inSuite, MVSuite** outSuite)
{
    MVSuite* suite = nullptr;
    MVResult result = mvIntAllocateRecord("an MVSuite", &suite);
    if (result != kMVNoError)
        return result;
    *suite = inSuite;
    result = insertSuiteOrFail(ioList, suite);
    if (result != kMVNoError)
    {
        mvIntFreeBlock(suite);
        return result;
    }
    ++ioList->count;
    ++ioList->stamp;
    if (suite->plugin != nullptr)
        suite->plugin->flags |= kMVPluginFlag_ExportsSuites;
    if (takeSearch(ioList, suite->name, suite->apiVersion) && ioList->plugins != nullptr)
        ioList->plugins->neededSuiteAvailable = 1;
    *outSuite = suite;
    return kMVNoError;
}

MVResult addSuite(MVSuiteList* ioList, const MVSuite& inSuite, MVSuite** outSuite)
{
    MVSuite* present = findSuite(ioList, inSuite.name, inSuite.apiVersion, inSuite.internalVersion);
    if (present != nullptr && present->suiteProcs != nullptr)
        return kMVSuiteExistsError;
    if (present == nullptr || inSuite.suiteProcs == nullptr)
        return addNewSuite(ioList, inSuite, outSuite);
    present->suiteProcs = inSuite.suiteProcs;
    present->plugin = inSuite.plugin;
    *outSuite = present;
    return kMVNoError;
}

constexpr std::uint8_t kStartedWithSuccess = kMVPluginFlag_Started | kMVPluginFlag_StartupAnswered;

// The plug-in of a placeholder is to supply the table while it starts.
MVResult startSupplier(const MVSuite* inSuite)
{
    MVPlugin* plugin = inSuite->plugin;
    if (inSuite->suiteProcs != nullptr || plugin == nullptr)
        return kMVNoError;
    if ((plugin->flags & kStartedWithSuccess) == kStartedWithSuccess)
        return kMVPluginStartedWithoutSuiteError;
    plugin->flags &= static_cast<std::uint8_t>(~kMVPluginFlag_Started);
    startupMoonVetchPlugin(plugin);
    return kMVNoError;
}

MVAdaptersMessage suiteMessage(MVSuiteList* inList, MVSuite* inSuite)
{
    MVAdaptersMessage message = {};
    message.plugin = inSuite->plugin;
    message.suiteList = inList;
    message.suite = inSuite;
    message.suitePlugin = inSuite->plugin;
    return message;
}

bool isUnderV1Adapter(const MVSuite* inSuite)
{
    return inSuite->plugin != nullptr && mvIsUnderV1Adapter(inSuite->plugin);
}

MVResult acquireByAdapter(MVSuiteList* inList, MVSuite* ioSuite)
{
    MVAdaptersMessage message = suiteMessage(inList, ioSuite);
    MVResult answer = kMVNoError;
    const MVResult result = mvSendToAdapterHost(
        ioSuite->plugin->adapter, gPSkMVAdaptersAcquireSuiteHostSelector, message, &answer);
    if (result != kMVNoError)
        return result;
    if (message.suiteAcquired == 0)
        return kMVSuiteNotFoundError;
    if (message.suiteProcs != nullptr)
        ioSuite->suiteProcs = message.suiteProcs;
    return answer;
}

// A plug-in that is loaded just now may acquire its own suite meanwhile: one acquire of it is enough.
MVResult acquireSupplier(MVSuite* ioSuite)
{
    if (ioSuite->acquireCount != 0 || ioSuite->plugin == nullptr)
        return kMVNoError;
    MVAccess* access = nullptr;
    const MVResult result = MVAcquirePlugin(ioSuite->plugin, &access);
    if (result != kMVNoError)
        return result;
    if (ioSuite->acquireCount != 0)
        return MVReleasePlugin(access);
    ioSuite->access = access;
    return kMVNoError;
}

MVResult releaseByAdapter(MVSuiteList* inList, MVSuite* ioSuite)
{
    if (ioSuite->acquireCount < 1)
        return mvRaise(kMVSuiteOverReleasedError);
    --ioSuite->acquireCount;
    MVAdaptersMessage message = suiteMessage(inList, ioSuite);
    MVResult answer = kMVNoError;
    return mvSendToAdapterHost(ioSuite->plugin->adapter, gPSkMVAdaptersReleaseSuiteHostSelector,
                               message, &answer);
}

MVResult releaseSuite(MVSuite* ioSuite)
{
    if (ioSuite->acquireCount < 1)
        return mvRaise(kMVSuiteOverReleasedError);
    if (--ioSuite->acquireCount > 0 || ioSuite->access == nullptr)
        return kMVNoError;
    MVAccess* access = ioSuite->access;
    ioSuite->access = nullptr;
    return MVReleasePlugin(access);
}

} // namespace

MVResult MVAllocateSuiteList(MVStringPool* pool, MVPluginList* plugins, MVSuiteList** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = new (std::nothrow) MVSuiteList{};
    if (*out == nullptr)
        return mvRaise(kMVOutOfMemoryError);
    (*out)->strings = pool != nullptr ? pool : gMVStrings;
    (*out)->plugins = plugins != nullptr ? plugins : gMVPlugins;
    return kMVNoError;
}

MVResult MVFreeSuiteList(MVSuiteList* list)
{
    MV_ONE_THREAD();
    MVSuiteList* freed = listOrHosts(list);
    if (freed == nullptr)
        return kMVBadParameterError;
    for (const auto& [key, suite] : freed->suites)
        mvIntFreeBlock(suite);
    for (MVSuite* suite : freed->seconds)
        mvIntFreeBlock(suite);
    while (MVSuiteSearch* search = freed->searchedFor)
    {
        freed->searchedFor = search->next;
        mvIntFreeBlock(search);
    }
    if (freed == gMVSuites)
        gMVSuites = nullptr;
    delete freed;
    return kMVNoError;
}

MVResult MVAddSuite(MVSuiteList* list, MVPlugin* plugin, const char* name, int32_t apiVersion,
                    int32_t internalVersion, const void* suiteProcs, MVSuite** out)
{
    MV_ONE_THREAD();
    MVSuite* unwanted = nullptr;
    MVSuite** suite = out != nullptr ? out : &unwanted;
    *suite = nullptr;
    MVSuiteList* asked = listOrHosts(list);
    if (asked == nullptr || name == nullptr)
        return kMVBadParameterError;
    if (internalVersion == 0)
        return mvRaise(kMVSuiteInternalVersionError);
    MVWString interned = nullptr;
    const MVResult result = MVMakeWString(asked->strings, name, &interned);
    if (result != kMVNoError)
        return result;
    return addSuite(asked, {plugin, interned, apiVersion, internalVersion, suiteProcs, 0, nullptr},
                    suite);
}

MVResult MVFindSuite(MVSuiteList* list, const char* name, int32_t apiVersion,
                     int32_t internalVersion, MVSuite** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    MVSuiteList* asked = listOrHosts(list);
    if (asked == nullptr)
        return kMVSuiteNotFoundError;
    if (name == nullptr)
        return kMVBadParameterError;
    MVWString interned = nullptr;
    const MVResult result = MVMakeWString(asked->strings, name, &interned);
    if (result != kMVNoError)
        return result;
    *out = findSuite(asked, interned, apiVersion, internalVersion);
    if (*out == nullptr)
        recordSearch(asked, interned, apiVersion);
    return kMVNoError;
}

MVResult MVAcquireSuite(MVSuiteList* list, const char* name, int32_t apiVersion,
                        int32_t internalVersion, const void** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    MVSuite* suite = nullptr;
    MVResult result = MVFindSuite(list, name, apiVersion, internalVersion, &suite);
    if (result != kMVNoError)
        return result;
    if (suite == nullptr)
        return mvRaise(kMVSuiteNotFoundError);
    result = startSupplier(suite);
    if (result != kMVNoError)
        return result;
    result = isUnderV1Adapter(suite) ? acquireByAdapter(listOrHosts(list), suite)
                                     : acquireSupplier(suite);
    if (result != kMVNoError)
        return result;
    ++suite->acquireCount;
    *out = suite->suiteProcs;
    return kMVNoError;
}

MVResult MVReleaseSuite(MVSuiteList* list, const char* name, int32_t apiVersion,
                        int32_t internalVersion)
{
    MV_ONE_THREAD();
    MVSuite* suite = nullptr;
    const MVResult result = MVFindSuite(list, name, apiVersion, internalVersion, &suite);
    if (result != kMVNoError)
        return result;
    if (suite == nullptr)
        return mvRaise(kMVSuiteNotFoundError);
    return isUnderV1Adapter(suite) ? releaseByAdapter(listOrHosts(list), suite)
                                   : releaseSuite(suite);
}

MVResult MVNewSuiteListIterator(MVSuiteList* list, MVSuiteListIterator** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    MVSuiteList* asked = listOrHosts(list);
    if (asked == nullptr)
        return kMVBadParameterError;
    void* block = nullptr;
    const MVResult result =
        mvIntAllocateBlock(sizeof(MVSuiteListIterator), "an MVSuiteListIterator", &block);
    if (result == kMVNoError)
        *out = ::new (block) MVSuiteListIterator{asked->suites.cbegin(), asked, asked->stamp};
    return result;
}

MVResult MVNextSuite(MVSuiteListIterator* iterator, MVSuite** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    if (iterator == nullptr)
        return kMVBadParameterError;
    if (iterator->stamp != iterator->list->stamp)
        return mvRaise(kMVBadSuiteListIteratorError);
    if (iterator->current != iterator->list->suites.cend())
        *out = (iterator->current++)->second;
    return kMVNoError;
}

MVResult MVDeleteSuiteListIterator(MVSuiteListIterator* iterator)
{
    MV_ONE_THREAD();
    return mvDeleteIterator(iterator);
}

MVResult MVGetSuiteHost(MVSuite* suite, MVPlugin** out)
{
    MV_ONE_THREAD();
    return mvGetField(suite, &MVSuite::plugin, out);
}

MVResult MVGetSuiteName(MVSuite* suite, MVWString* out)
{
    MV_ONE_THREAD();
    return mvGetField(suite, &MVSuite::name, out);
}

MVResult MVGetSuiteAPIVersion(MVSuite* suite, int32_t* out)
{
    MV_ONE_THREAD();
    return mvGetField(suite, &MVSuite::apiVersion, out);
}

MVResult MVGetSuiteInternalVersion(MVSuite* suite, int32_t* out)
{
    MV_ONE_THREAD();
    return mvGetField(suite, &MVSuite::internalVersion, out);
}

MVResult MVGetSuiteProcs(MVSuite* suite, const void** out)
{
    MV_ONE_THREAD();
    return mvGetField(suite, &MVSuite::suiteProcs, out);
}

MVResult MVGetSuiteAcquireCount(MVSuite* suite, int32_t* out)
{
    MV_ONE_THREAD();
    return mvGetField(suite, &MVSuite::acquireCount, out);
}
