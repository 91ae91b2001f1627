#include "MVAccess.h"

#include <cstddef>
#include <initializer_list>

#include "MVAdapts.h"
#include "MVBlocks.h"
#include "MVError.h"
#include "MVHost.h"
#include "MVInterf.h"
#include "MVPlugs.h"
#include "MVProps.h"
#include "MVThread.h"
#include "MVWalk.h"
#include "edge/MVEAcces.h"

static_assert(sizeof(MVAccessMessage) == 40);
static_assert(offsetof(MVAccessMessage, accessPhase) == 32);

constinit MVAccess* firstAccess = nullptr;
constinit std::int32_t countAccess = 0;

namespace
{

constinit MVAccess* sDropped = nullptr;

// Plug-ins know which of their accesses are in firstAccess, so that nobody has to search for one.
void linkAccess(MVAccess*& ioHead, MVAccess* ioAccess)
{
    ioAccess->next = ioHead;
    ioAccess->previous = nullptr;
    if (ioHead != nullptr)
        ioHead->previous = ioAccess;
    ioHead = ioAccess;
    ioAccess->listed = &ioHead == &firstAccess;
    if (!ioAccess->listed)
        return;
    ioAccess->plugin->access = ioAccess;
    ++ioAccess->plugin->accesses;
}

void unlinkAccess(MVAccess* ioAccess)
{
    MVAccess*& head = ioAccess->listed ? firstAccess : sDropped;
    (ioAccess->previous != nullptr ? ioAccess->previous->next : head) = ioAccess->next;
    if (ioAccess->next != nullptr)
        ioAccess->next->previous = ioAccess->previous;
    if (!ioAccess->listed)
        return;
    --ioAccess->plugin->accesses;
    if (ioAccess->plugin->access == ioAccess)
        ioAccess->plugin->access = nullptr;
}

// The one nearest to the head. There are two where a plug-in was acquired while its adapter was loading it.
MVAccess* findAccess(const MVPlugin* inPlugin)
{
    if (inPlugin == nullptr)
        return nullptr;
    if (inPlugin->access != nullptr || inPlugin->accesses == 0)
        return inPlugin->access;
    MVAccess* access = firstAccess;
    while (access != nullptr && access->plugin != inPlugin)
        access = access->next;
    return access;
}

bool isListed(const MVAccess* inAccess)
{
    const MVAccess* access = firstAccess;
    while (access != nullptr && access != inAccess)
        access = access->next;
    return access != nullptr;
}

MVResult allocateAccess(MVPlugin* inPlugin, MVAccess** outAccess)
{
    const MVResult result = mvIntAllocateRecord("an MVAccess", outAccess);
    if (result != kMVNoError)
        return result;
    (*outAccess)->plugin = inPlugin;
    (*outAccess)->walks = kMVWalkMarks_New;
    return kMVNoError;
}

void listAcquired(MVAccess* ioAccess)
{
    ++ioAccess->count;
    linkAccess(firstAccess, ioAccess);
    ++countAccess;
}

// Of a delivery and what was answered, the first that is no success. An answer is raised, a delivery has been.
MVResult raiseAnswer(MVResult inDelivery, MVResult inAnswer)
{
    if (inDelivery != kMVNoError || inAnswer == kMVNoError)
        return inDelivery;
    return mvRaise(inAnswer);
}

// An access whose plug-in refuses "Reload" stays on the list, and the next acquire finds it there.
MVResult reload(MVAccess* ioAccess)
{
    MVResult answer = kMVNoError;
    const MVResult sent = sendAccessMessage(ioAccess, gPSkMVAccessReloadSelector, &answer);
    const MVResult result = raiseAnswer(sent, answer);
    if (result != kMVNoError)
        --ioAccess->count;
    return result;
}

void markIfNotLoaded(MVPlugin* ioPlugin, MVResult inResult)
{
    if (inResult == kMVCantAcquirePluginError)
        ioPlugin->flags |= kMVPluginFlag_Broken;
}

MVResult acquireNative(MVPlugin* ioPlugin, MVAccess** outAccess)
{
    MVAccess* access = nullptr;
    MVResult result = allocateAccess(ioPlugin, &access);
    if (result != kMVNoError)
        return result;
    result = mvEdgeCreateAccess(ioPlugin, access);
    if (result != kMVNoError)
    {
        mvIntFreeBlock(access);
        markIfNotLoaded(ioPlugin, result);
        return result;
    }
    listAcquired(access);
    result = reload(access);
    if (result == kMVNoError)
        *outAccess = access;
    return result;
}

MVResult sendThroughAdapter(MVPlugin* inPlugin, MVWString inAdaptersSelector, const char* inCaller,
                            const char* inSelector, void* ioMessage, MVResult* outAnswer)
{
    MVAdaptersMessage message = {};
    message.plugin = inPlugin;
    message.caller = inCaller;
    message.selector = inSelector;
    message.message = ioMessage;
    return mvSendToAdapterHost(inPlugin->adapter, inAdaptersSelector, message, outAnswer);
}

MVResult reloadThroughAdapter(MVPlugin* ioPlugin)
{
    MVAccessMessage message = {};
    MVResult result = MVSetupMessageData(ioPlugin, &message.data);
    if (result != kMVNoError)
        return result;
    MVResult answer = kMVNoError;
    result = sendThroughAdapter(ioPlugin, gPSkMVAdaptersSendMessageSelector, gPSkMVAccessCaller,
                                gPSkMVAccessReloadSelector, &message, &answer);
    MVEmptyMessageData(ioPlugin, &message.data);
    return raiseAnswer(result, answer);
}

MVResult acquireForeign(MVPlugin* ioPlugin, MVAccess** outAccess)
{
    if (ioPlugin->adapter == nullptr || ioPlugin->adapter->hostPlugin == nullptr)
        return mvRaise(kMVCantAcquirePluginError);
    MVResult answer = kMVNoError;
    const MVResult sent = sendThroughAdapter(ioPlugin, gPSkMVAdaptersLoadPluginSelector, nullptr,
                                             nullptr, nullptr, &answer);
    MVResult result = raiseAnswer(sent, answer);
    markIfNotLoaded(ioPlugin, result);
    if (result == kMVNoError)
        result = reloadThroughAdapter(ioPlugin);
    if (result == kMVNoError)
        result = allocateAccess(ioPlugin, outAccess);
    if (result == kMVNoError)
        listAcquired(*outAccess);
    return result;
}

std::int32_t accessPhase(const MVPlugin* inPlugin)
{
    if ((inPlugin->flags & kMVPluginFlag_Started) != 0)
        return kMVAccessPhase_Started;
    const bool ends = gGeneralAccessPoint == kMVAccessPhase_Shutdown ||
                      gGeneralAccessPoint == kMVAccessPhase_Disposal;
    return ends ? gGeneralAccessPoint : kMVAccessPhase_BeforeStartup;
}

MVResult callForAccess(MVAccess* inAccess, MVWString inSelector, MVResult* outAnswer)
{
    MVPlugin* plugin = inAccess->plugin;
    MVAccessMessage message = {};
    mvFillMessageData(plugin, &message.data);
    message.accessPhase = accessPhase(plugin);
    MVPlugin* const before = gMVCurrentPlugin;
    const MVResult result =
        MVCallPlugin(inAccess, gPSkMVAccessCaller, inSelector, &message, outAnswer);
    gMVCurrentPlugin = before;
    return result == kMVNoError ? MVEmptyMessageData(plugin, &message.data) : result;
}

MVResult unload(MVAccess* ioAccess)
{
    MVPlugin* plugin = ioAccess->plugin;
    MVResult answer = kMVNoError;
    const MVResult sent = sendAccessMessage(ioAccess, gPSkMVAccessUnloadSelector, &answer);
    const MVResult result = raiseAnswer(sent, answer);
    if (result != kMVNoError)
        return result;
    if (mvIsNative(plugin))
        return mvEdgeDestroyAccess(ioAccess);
    return sendThroughAdapter(plugin, gPSkMVAdaptersReleasePluginSelector, nullptr, nullptr,
                              nullptr, &answer);
}

// Only those in files go by what they declare: what is in the program stays.
bool isOfType(const MVPlugin* inPlugin, kMVAdapterDisposeType inType)
{
    if (inType == kMVAdapterDisposeType_Unused)
        return true;
    if (inPlugin->hostEntry != nullptr)
        return false;
    const bool early = mvDeclares(inPlugin, kMVProperty_StartsEarly);
    return early == (inType == kMVAdapterDisposeType_StartsEarly);
}

MVResult flushOne(MVFlushProc inFlushProc, MVAccess* inAccess, kMVAdapterDisposeType inType,
                  std::int32_t* ioFlushed)
{
    if (inType == kMVAdapterDisposeType_Unused && inAccess->count != 0)
        return kMVNoError;
    std::int32_t flush = 0;
    MVResult result = inFlushProc(gPSkMVFlushAccessType, inAccess, &flush);
    // Whoever was asked may have had it flushed already.
    const bool goes = result == kMVNoError && flush != 0 && isListed(inAccess) &&
                      isOfType(inAccess->plugin, inType);
    if (!goes)
        return result;
    result = mvDestroyAccess(inAccess);
    if (result == kMVNoError)
        ++*ioFlushed;
    return result;
}

// They are in no list that is searched from now on: the next acquire of such a plug-in makes a new access.
void dropStanding()
{
    while (firstAccess != nullptr)
    {
        MVAccess* access = firstAccess;
        unlinkAccess(access);
        linkAccess(sDropped, access);
    }
}

} // namespace

MVResult mvDefaultFlush(const char*, MVAccess*, std::int32_t* outFlush)
{
    *outFlush = 1;
    return kMVNoError;
}

MVResult mvFlushAccesses(MVFlushProc inFlushProc, std::int32_t* outFlushed,
                         kMVAdapterDisposeType inType)
{
    *outFlushed = 0;
    const MVFlushProc flushProc = inFlushProc != nullptr ? inFlushProc : mvDefaultFlush;
    const MVWalk walk(firstAccess);
    while (MVAccess* access = walk.Next(firstAccess))
    {
        const MVResult result = flushOne(flushProc, access, inType, outFlushed);
        if (result != kMVNoError)
            return result;
    }
    mvFreeDroppedAccesses(false);
    dropStanding();
    return mvEdgeFlushAccess(outFlushed);
}

void mvFreeDroppedAccesses(bool inHeldToo)
{
    for (MVAccess* access = sDropped; access != nullptr;)
    {
        MVAccess* next = access->next;
        const bool held = access->count > 0 && !inHeldToo;
        if (!held && access->callsUnderWay == 0 && access->state != kMVAccessState_Unloading)
        {
            if (access->state == kMVAccessState_Loaded)
            {
                mvEdgeDestroyAccess(access);
                --countAccess;
            }
            unlinkAccess(access);
            mvIntFreeBlock(access);
        }
        access = next;
    }
}

namespace
{

void forgetIn(MVAccess*& ioHead, const MVPlugin* inPlugin)
{
    for (MVAccess* access = ioHead; access != nullptr;)
    {
        MVAccess* next = access->next;
        if (access->plugin == inPlugin)
        {
            if (access->state != kMVAccessState_Unloaded)
                --countAccess;
            access->state = kMVAccessState_Unloaded;
            MVFileAccess* const file = access->fileAccess;
            mvEdgeDestroyAccess(access);
            // Unless other plug-ins are in it. There may be no flush any more.
            if (file != nullptr)
                mvDestroyFileAccess(file);
            unlinkAccess(access);
            access->plugin = nullptr;
            linkAccess(sDropped, access);
        }
        access = next;
    }
}

} // namespace

bool mvIsBeingCalled(const MVPlugin* inPlugin)
{
    for (const MVAccess* head : {firstAccess, sDropped})
    {
        for (const MVAccess* access = head; access != nullptr; access = access->next)
        {
            if (access->plugin == inPlugin && access->callsUnderWay != 0)
                return true;
        }
    }
    return false;
}

void mvForgetAccessesOf(const MVPlugin* inPlugin)
{
    forgetIn(sDropped, inPlugin);
    forgetIn(firstAccess, inPlugin);
    mvFreeDroppedAccesses(false);
    if (gMVCurrentPlugin == inPlugin)
        gMVCurrentPlugin = nullptr;
}

MVResult mvDestroyAccess(MVAccess* inAccess)
{
    if (inAccess->callsUnderWay != 0 || inAccess->state != kMVAccessState_Loaded)
        return kMVAlreadyInMessageError;
    inAccess->state = kMVAccessState_Unloading;
    const MVResult result = unload(inAccess);
    inAccess->state = result == kMVNoError ? kMVAccessState_Unloaded : kMVAccessState_Loaded;
    if (result != kMVNoError)
        return result;
    unlinkAccess(inAccess);
    --countAccess;
    if (inAccess->count <= 0)
        return mvIntFreeBlock(inAccess);
    linkAccess(sDropped, inAccess);
    return kMVNoError;
}

MVResult sendAccessMessage(MVAccess* inAccess, MVWString inSelector, MVResult* outAnswer)
{
    *outAnswer = kMVNoError;
    MVPlugin* plugin = inAccess->plugin;
    if ((plugin->flags & (kMVPluginFlag_InAccessMessage | kMVPluginFlag_InMessage)) != 0)
        return kMVAlreadyInMessageError;
    plugin->flags |= kMVPluginFlag_InAccessMessage;
    const MVResult result = callForAccess(inAccess, inSelector, outAnswer);
    plugin->flags &= static_cast<std::uint8_t>(~kMVPluginFlag_InAccessMessage);
    return result;
}

MVResult MVAcquirePlugin(MVPlugin* plugin, MVAccess** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    if (plugin == nullptr)
        return kMVBadParameterError;
    if (mvIsUnderV1Adapter(plugin))
        return mvRaise(kMVNeedsNativeAdapterError);
    MVAccess* access = findAccess(plugin);
    if (access == nullptr)
        return mvIsNative(plugin) ? acquireNative(plugin, out) : acquireForeign(plugin, out);
    if (access != firstAccess)
    {
        unlinkAccess(access);
        linkAccess(firstAccess, access);
    }
    ++access->count;
    *out = access;
    return kMVNoError;
}

MVResult MVReleasePlugin(MVAccess* access)
{
    MV_ONE_THREAD();
    if (access == nullptr)
        return kMVBadParameterError;
    if (access->count < 1)
        return mvRaise(kMVAlreadyReleasedError);
    --access->count;
    return kMVNoError;
}

namespace
{

// A scope, since the thread may end within the call.
struct CallUnderWay
{
    explicit CallUnderWay(MVAccess* inAccess)
        : access(inAccess)
    {
        ++access->callsUnderWay;
        ++gMVCallsUnderWay;
    }
    ~CallUnderWay()
    {
        --access->callsUnderWay;
        --gMVCallsUnderWay;
    }
    CallUnderWay(const CallUnderWay&) = delete;
    CallUnderWay& operator=(const CallUnderWay&) = delete;

    MVAccess* access;
};

} // namespace

// Without an adapter or its host the plug-in stays the current one.
MVResult MVCallPlugin(MVAccess* access, const char* caller, const char* selector, void* message,
                      MVResult* result)
{
    MV_ONE_THREAD();
    if (result == nullptr)
        return kMVBadParameterError;
    *result = kMVNoError;
    if (access == nullptr || access->plugin == nullptr)
        return kMVBadParameterError;
    MVPlugin* plugin = access->plugin;
    MVPlugin* const before = gMVCurrentPlugin;
    gMVCurrentPlugin = plugin;
    const bool native = mvIsNative(plugin);
    if (!native && (plugin->adapter == nullptr || plugin->adapter->hostPlugin == nullptr))
        return mvRaise(kMVCantAcquirePluginError);
    const CallUnderWay call(access);
    const MVResult called = native ? mvEdgeCallPlugin(access, caller, selector, message, result)
                                   : sendThroughAdapter(plugin, gPSkMVAdaptersSendMessageSelector,
                                                        caller, selector, message, result);
    gMVCurrentPlugin = before;
    return called;
}

MVResult MVGetPluginAccess(MVPlugin* plugin, MVAccess** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    if (gMVHostProcs->getPluginAccess != nullptr &&
        gMVHostProcs->getPluginAccess(plugin, out) == kMVNoError)
        return kMVNoError;
    *out = findAccess(plugin);
    return kMVNoError;
}
