#include "MVPlugs.h"

#include <cstring>

#include "MVAccess.h"
#include "MVAdapts.h"
#include "MVHost.h"
#include "MVProps.h"
#include "MVRecord.h"
#include "MVThread.h"
#include "MVWalk.h"
#include "edge/MVEFiles.h"

namespace
{

// Where MVSetPluginPropertyList finds the pointer.
constexpr std::size_t kPropertyListOffset = 128;

MVPluginList* listOr(MVPluginList* inList)
{
    return inList != nullptr ? inList : gMVPlugins;
}

MVResult freePlugin(MVPlugin* inPlugin)
{
    const MVResult result = MVFreePropertyList(inPlugin->propertyList);
    if (result != kMVNoError)
        return result;
    mvForgetAccessesOf(inPlugin);
    mvForgetAdapterHost(inPlugin);
    MVReleaseURL(inPlugin->fileSpec);
    return mvIntFreeBlock(inPlugin);
}

bool isAnyBeingCalled(const MVPluginList* inList)
{
    const MVPlugin* plugin = inList->head;
    while (plugin != nullptr && !mvIsBeingCalled(plugin))
        plugin = plugin->next;
    return plugin != nullptr;
}

// Its data may lack the NUL: then there is one behind the last byte.
MVResult setNameFromData(MVPlugin* ioPlugin, const char* inData, std::size_t inBytes)
{
    if (inBytes == 0 || std::memchr(inData, 0, inBytes) != nullptr)
        return MVSetPluginName(ioPlugin, inBytes == 0 ? nullptr : inData);
    void* block = nullptr;
    MVResult result = mvIntAllocateBlock(inBytes + 1, "a plug-in's name", &block);
    if (result != kMVNoError)
        return result;
    std::memcpy(block, inData, inBytes);
    result = MVSetPluginName(ioPlugin, static_cast<const char*>(block));
    mvIntFreeBlock(block);
    return result;
}

MVResult copyProperties(MVPlugin* ioPlugin, const PIPropertyList* inRecords)
{
    if (inRecords == nullptr)
        return kMVNoError;
    const MVResult result = MVAddProperties(ioPlugin->propertyList, inRecords, 0, 1);
    if (result != kMVNoError)
        return result;
    std::size_t bytes = 0;
    const unsigned char* data =
        mvPropertyData(mvDeclaredProperty(ioPlugin, kMVProperty_Name), &bytes);
    return setNameFromData(ioPlugin, reinterpret_cast<const char*>(data), bytes);
}

MVResult allocatePlugin(MVURL* inURL, const PIPropertyList* inRecords, MVPlugin** outPlugin)
{
    MVPlugin* plugin = nullptr;
    MVResult result = mvIntAllocateRecord("an MVPlugin", &plugin);
    if (result != kMVNoError)
        return result;
    MVRetainURL(inURL);
    plugin->fileSpec = inURL;
    plugin->walks = kMVWalkMarks_New;
    result = MVAllocatePropertyList(&plugin->propertyList);
    if (result == kMVNoError)
        result = copyProperties(plugin, inRecords);
    if (result == kMVNoError)
        *outPlugin = plugin;
    else
        freePlugin(plugin);
    return result;
}

// Retained. Null where there is none, and for a text that is no place.
MVURL* placeOf(const char* inPath)
{
    if (inPath != nullptr)
        return MVCreateURL(inPath);
    if (gMVHostBundle == nullptr)
        return mvEdgeCopyMainBundleURL();
    MVRetainURL(gMVHostBundle);
    return gMVHostBundle;
}

// Whether it answers is not examined: it is listed all the same.
MVResult askForExports(MVPlugin* ioPlugin)
{
    MVPropertiesMessage message = {};
    message.vendorID = kMVVendorID;
    message.propertyKey = kMVProperty_Exports;
    MVResult answer = kMVNoError;
    const MVResult sent = MVSendMessage(ioPlugin, gPSkMVPropertiesCaller,
                                        gPSkMVPropertiesAcquireSelector, &message, &answer);
    if (sent != kMVNoError || answer != kMVNoError)
        return kMVNoError;
    const MVResult result =
        MVAddProperty(ioPlugin->propertyList, kMVVendorID, kMVProperty_Exports, 0, message.property,
                      message.refCon, message.cacheable, nullptr);
    MVSendMessage(ioPlugin, gPSkMVPropertiesCaller, gPSkMVPropertiesReleaseSelector, &message,
                  &answer);
    return result;
}

MVResult getFlag(const MVPlugin* inPlugin, std::uint8_t inFlag, std::int32_t* outValue)
{
    const MVResult result = mvGetField(inPlugin, &MVPlugin::flags, outValue);
    if (result == kMVNoError)
        *outValue = (*outValue & inFlag) != 0;
    return result;
}

MVResult setFlag(MVPlugin* ioPlugin, std::uint8_t inFlag, std::int32_t inValue)
{
    if (ioPlugin == nullptr)
        return kMVBadParameterError;
    const int others = ioPlugin->flags & ~inFlag;
    ioPlugin->flags = static_cast<std::uint8_t>(others | (inValue != 0 ? inFlag : 0));
    return kMVNoError;
}

// A plug-in that may be asked answers through its adapter, which keeps the answer in its list.
MVResult askForProperty(MVPlugin* inPlugin, std::uint32_t inVendorID, std::uint32_t inKey,
                        std::uint32_t inID, PIProperty** outProperty)
{
    MVAdaptersMessage message = {};
    message.plugin = inPlugin;
    message.vendorID = inVendorID;
    message.propertyKey = inKey;
    message.propertyID = inID;
    MVResult answer = kMVNoError;
    const MVResult sent = mvSendToAdapterHost(inPlugin->adapter, gPSkMVAdaptersFindPropertySelector,
                                              message, &answer);
    if (sent == kMVNoError && answer == kMVNoError)
        *outProperty = message.property;
    return sent != kMVNoError ? sent : answer;
}

} // namespace

bool mvIsUnderV1Adapter(const MVPlugin* inPlugin)
{
    return inPlugin->adapter != nullptr && (inPlugin->adapter->flags & kMVAdapterFlag_V1) != 0;
}

bool mvIsNative(const MVPlugin* inPlugin)
{
    return inPlugin->adapter != nullptr && inPlugin->adapter->name == gPSkMVMoonVetch2Adapter;
}

MVResult MVAllocatePluginList(MVStringPool* pool, MVPluginList** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    const MVResult result = mvIntAllocateRecord("an MVPluginList", out);
    if (result == kMVNoError)
        (*out)->strings = pool != nullptr ? pool : gMVStrings;
    return result;
}

// A call that comes back needs the record of its plug-in, and a walk the whole list.
MVResult MVFreePluginList(MVPluginList* list)
{
    MV_ONE_THREAD();
    MVPluginList* freed = listOr(list);
    if (freed == nullptr)
        return kMVBadParameterError;
    if (gMVCallsUnderWay > 0 && (freed == gMVPlugins || isAnyBeingCalled(freed)))
        return kMVAlreadyInMessageError;
    while (freed->head != nullptr)
    {
        MVPlugin* plugin = freed->head;
        freed->head = plugin->next;
        const MVResult result = freePlugin(plugin);
        if (result != kMVNoError)
            return result;
    }
    if (freed == gMVPlugins)
        gMVPlugins = nullptr;
    return mvIntFreeBlock(freed);
}

void mvLinkPlugin(MVPluginList* ioList, MVPlugin* inPlugin)
{
    inPlugin->next = ioList->head;
    ioList->head = inPlugin;
    ++ioList->count;
    ++ioList->stamp;
}

void mvMovePluginToHead(MVPluginList* ioList, MVPlugin** ioLink)
{
    MVPlugin* plugin = *ioLink;
    *ioLink = plugin->next;
    --ioList->count;
    ++ioList->stamp;
    mvLinkPlugin(ioList, plugin);
}

MVResult MVAddPluginSpecification(MVPluginList* list, MVURL* url,
                                  const PIPropertyList* propertyList, const char* adapterName,
                                  void* adapterInfo, MVPlugin** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    MVPluginList* plugins = listOr(list);
    if (plugins == nullptr)
        return kMVBadParameterError;
    MVAdapter* adapter = nullptr;
    MVResult result = MVFindAdapter(nullptr, adapterName, &adapter);
    if (result != kMVNoError)
        return result;
    if (adapter == nullptr)
        return mvRaise(kMVAdapterNotFoundError);
    MVPlugin* plugin = nullptr;
    result = allocatePlugin(url, propertyList, &plugin);
    if (result != kMVNoError)
        return result;
    plugin->adapter = adapter;
    plugin->adapterInfo = adapterInfo;
    mvLinkPlugin(plugins, plugin);
    *out = plugin;
    return kMVNoError;
}

MVResult MVAddPlugin(MVPluginList* list, const char* path, const PIPropertyList* propertyList,
                     const char* adapterName, void* adapterInfo, MVPlugin** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    MVURL* url = placeOf(path);
    if (url == nullptr)
        return kMVPluginNotFoundError;
    const MVResult result =
        MVAddPluginSpecification(list, url, propertyList, adapterName, adapterInfo, out);
    MVReleaseURL(url);
    return result;
}

MVResult MVAddHostPlugin(MVPluginList* list, MVPluginEntry entry, void* hostData,
                         const char* adapterName, void* adapterInfo, MVPlugin** out,
                         const char* name)
{
    MV_ONE_THREAD();
    MVResult result = MVAddPlugin(list, nullptr, nullptr, adapterName, adapterInfo, out);
    if (result != kMVNoError)
        return result;
    MVPlugin* plugin = *out;
    if (name != nullptr)
        result = MVSetPluginName(plugin, name);
    plugin->hostEntry = entry;
    plugin->hostData = hostData;
    const MVResult asked = askForExports(plugin);
    return result != kMVNoError ? result : asked;
}

MVResult MVNewPluginListIterator(MVPluginList* list, MVPluginListIterator** out)
{
    MV_ONE_THREAD();
    return mvNewIterator(listOr(list), "an MVPluginListIterator", out);
}

MVResult MVNextPlugin(MVPluginListIterator* iterator, MVPlugin** out)
{
    MV_ONE_THREAD();
    return mvNextOfIterator(iterator, kMVBadPluginListIteratorError, out);
}

MVResult MVDeletePluginListIterator(MVPluginListIterator* iterator)
{
    MV_ONE_THREAD();
    return mvDeleteIterator(iterator);
}

MVResult MVGetPluginListNeededSuiteAvailable(MVPluginList* list, int32_t* out)
{
    MV_ONE_THREAD();
    MVPluginList* plugins = listOr(list);
    const MVResult result = mvGetField(plugins, &MVPluginList::neededSuiteAvailable, out);
    if (result == kMVNoError)
        plugins->neededSuiteAvailable = 0;
    return result;
}

MVResult MVGetNamedPlugin(const char* name, MVPlugin** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    MVPlugin* plugin = gMVPlugins != nullptr ? gMVPlugins->head : nullptr;
    while (plugin != nullptr && MVBasicIsEqual(plugin->name, name) == 0)
        plugin = plugin->next;
    *out = plugin;
    return plugin != nullptr ? kMVNoError : kMVPluginNotFoundError;
}

MVResult MVFindPluginProperty(MVPlugin* plugin, uint32_t vendorID, uint32_t propertyKey,
                              uint32_t propertyID, PIProperty** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    if (plugin == nullptr)
        return kMVBadParameterError;
    MVProperty* property = nullptr;
    MVFindProperty(plugin->propertyList, vendorID, propertyKey, propertyID, &property);
    if (property != nullptr)
    {
        *out = property->piProperty;
        return kMVNoError;
    }
    const bool answers = (mvCapabilities(plugin) & kMVCapability_AnswersProperties) != 0;
    if (!answers && plugin->hostEntry == nullptr)
        return kMVNoError;
    return askForProperty(plugin, vendorID, propertyKey, propertyID, out);
}

MVResult MVGetHostPluginEntry(MVPlugin* plugin, MVPluginEntry* out)
{
    MV_ONE_THREAD();
    return mvGetField(plugin, &MVPlugin::hostEntry, out);
}

MVResult MVGetPluginFileSpecification(MVPlugin* plugin, MVFileSpecification* out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = {};
    if (plugin == nullptr)
        return kMVBadParameterError;
    return plugin->fileSpec != nullptr ? mvEdgeFillFileSpecification(plugin->fileSpec, out)
                                       : kMVPluginNotFoundError;
}

MVResult MVGetPluginPropertyList(MVPlugin* plugin, MVPropertyList** out)
{
    MV_ONE_THREAD();
    return mvGetField(plugin, &MVPlugin::propertyList, out);
}

MVResult MVSetPluginPropertyList(MVPlugin* plugin, const void* source)
{
    MV_ONE_THREAD();
    if (plugin == nullptr || source == nullptr)
        return kMVBadParameterError;
    MVPropertyList* list = nullptr;
    std::memcpy(&list, static_cast<const unsigned char*>(source) + kPropertyListOffset,
                sizeof list);
    if (list == plugin->propertyList)
        return kMVNoError;
    const MVResult result = MVFreePropertyList(plugin->propertyList);
    plugin->propertyList = list;
    return result;
}

MVResult MVGetPluginGlobals(MVPlugin* plugin, void** out)
{
    MV_ONE_THREAD();
    return mvGetField(plugin, &MVPlugin::globals, out);
}

MVResult MVSetPluginGlobals(MVPlugin* plugin, void* globals)
{
    MV_ONE_THREAD();
    return mvSetField(plugin, &MVPlugin::globals, globals);
}

MVResult MVGetPluginStarted(MVPlugin* plugin, int32_t* out)
{
    MV_ONE_THREAD();
    return getFlag(plugin, kMVPluginFlag_Started, out);
}

MVResult MVSetPluginStarted(MVPlugin* plugin, int32_t started)
{
    MV_ONE_THREAD();
    return setFlag(plugin, kMVPluginFlag_Started, started);
}

MVResult MVGetPluginSkipShutdown(MVPlugin* plugin, int32_t* out)
{
    MV_ONE_THREAD();
    return getFlag(plugin, kMVPluginFlag_SkipShutdown, out);
}

MVResult MVSetPluginSkipShutdown(MVPlugin* plugin, int32_t skip)
{
    MV_ONE_THREAD();
    return setFlag(plugin, kMVPluginFlag_SkipShutdown, skip);
}

MVResult MVGetPluginBroken(MVPlugin* plugin, int32_t* out)
{
    MV_ONE_THREAD();
    return getFlag(plugin, kMVPluginFlag_Broken, out);
}

MVResult MVSetPluginBroken(MVPlugin* plugin, int32_t broken)
{
    MV_ONE_THREAD();
    return setFlag(plugin, kMVPluginFlag_Broken, broken);
}

MVResult MVGetPluginAdapter(MVPlugin* plugin, MVAdapter** out)
{
    MV_ONE_THREAD();
    return mvGetField(plugin, &MVPlugin::adapter, out);
}

MVResult MVGetPluginAdapterInfo(MVPlugin* plugin, void** out)
{
    MV_ONE_THREAD();
    return mvGetField(plugin, &MVPlugin::adapterInfo, out);
}

MVResult MVSetPluginAdapterInfo(MVPlugin* plugin, void* adapterInfo)
{
    MV_ONE_THREAD();
    return mvSetField(plugin, &MVPlugin::adapterInfo, adapterInfo);
}

MVResult MVGetPluginName(MVPlugin* plugin, MVWString* out)
{
    MV_ONE_THREAD();
    return mvGetField(plugin, &MVPlugin::name, out);
}

MVResult MVSetPluginName(MVPlugin* plugin, const char* name)
{
    MV_ONE_THREAD();
    return plugin != nullptr ? MVMakeWString(nullptr, name, &plugin->name) : kMVBadParameterError;
}

MVResult MVGetPluginHostInfo(MVPlugin* plugin, void** out)
{
    MV_ONE_THREAD();
    return mvGetField(plugin, &MVPlugin::hostInfo, out);
}

MVResult MVSetPluginHostInfo(MVPlugin* plugin, void* hostInfo)
{
    MV_ONE_THREAD();
    return mvSetField(plugin, &MVPlugin::hostInfo, hostInfo);
}
