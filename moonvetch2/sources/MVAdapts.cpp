#include "MVAdapts.h"

#include "MVAccess.h"
#include "MVHost.h"
#include "MVPlugs.h"
#include "MVProps.h"
#include "MVRecord.h"
#include "MVThread.h"
#include "MVWalk.h"
#include "edge/MVEAcces.h"

namespace
{

MVAdapterList* listOr(MVAdapterList* inList)
{
    return inList != nullptr ? inList : gMVAdapters;
}

// A hit goes to the head, so that what is asked for often is near. The stamp says nothing of that.
MVAdapter* findAdapter(MVAdapterList* ioList, MVWString inName)
{
    MVAdapter** link = &ioList->head;
    while (*link != nullptr && (*link)->name != inName)
        link = &(*link)->next;
    MVAdapter* adapter = *link;
    if (adapter == nullptr)
        return nullptr;
    *link = adapter->next;
    adapter->next = ioList->head;
    ioList->head = adapter;
    return adapter;
}

// The older record stays, for the plug-ins that have it: both are served by the new host.
MVResult giveWayToNewer(MVAdapter* ioOlder, MVPlugin* inHost, std::int32_t inVersion)
{
    if (ioOlder == nullptr)
        return kMVNoError;
    if (ioOlder->version >= inVersion)
        return mvRaise(kMVAdapterExistsError);
    ioOlder->hostPlugin = inHost;
    ioOlder->version = inVersion;
    ioOlder->started = 0;
    return kMVNoError;
}

void linkAdapter(MVAdapterList* ioList, MVAdapter* inAdapter)
{
    inAdapter->walks = kMVWalkMarks_New;
    inAdapter->next = ioList->head;
    ioList->head = inAdapter;
    ++ioList->count;
    ++ioList->stamp;
}

MVAdapter* firstNotStarted()
{
    MVAdapter* adapter = gMVAdapters->head;
    while (adapter != nullptr && (adapter->started != 0 || adapter->hostPlugin == nullptr))
        adapter = adapter->next;
    return adapter;
}

// One whose host is just being called is passed over, and is the result if it was the last.
MVResult sendToStartedAdapters(MVWString inSelector, MVFlushProc inFlushProc)
{
    if (gMVAdapters == nullptr)
        return kMVNoError;
    MVResult result = kMVNoError;
    const MVWalk walk(gMVAdapters->head);
    while (MVAdapter* adapter = walk.Next(gMVAdapters->head))
    {
        if (adapter == gMV2Adapter || adapter->started == 0 || adapter->hostPlugin == nullptr)
            continue;
        MVAdaptersMessage message = {};
        message.flushProc = inFlushProc;
        MVResult answer = kMVNoError;
        result = mvSendToAdapterHost(adapter, inSelector, message, &answer);
        if (result != kMVNoError && result != kMVAlreadyInMessageError)
            return result;
    }
    return result;
}

MVResult sendToBuiltInAdapter(MVWString inSelector, MVFlushProc inFlushProc)
{
    MVAdaptersMessage message = {};
    message.flushProc = inFlushProc;
    MVResult answer = kMVNoError;
    const MVResult sent = mvSendToAdapterHost(gMV2Adapter, inSelector, message, &answer);
    return sent != kMVNoError ? sent : answer;
}

} // namespace

MVResult mvSendToAdapterHost(MVAdapter* inAdapter, MVWString inSelector,
                             MVAdaptersMessage& ioMessage, MVResult* outAnswer)
{
    *outAnswer = kMVNoError;
    if (inAdapter == nullptr || inAdapter->hostPlugin == nullptr)
        return mvRaise(kMVCantAcquirePluginError);
    ioMessage.adapter = inAdapter;
    return MVSendMessage(inAdapter->hostPlugin, gPSkMVAdaptersCaller, inSelector, &ioMessage,
                         outAnswer);
}

void mvForgetAdapterHost(const MVPlugin* inPlugin)
{
    MVAdapter* adapter = gMVAdapters != nullptr ? gMVAdapters->head : nullptr;
    for (; adapter != nullptr; adapter = adapter->next)
        if (adapter->hostPlugin == inPlugin)
            adapter->hostPlugin = nullptr;
}

// From the head after each, as adapters may be added, and moved, by those that are started. One that adds another
// each time it is started is started for ever.
MVResult mvStartupV1Adapters()
{
    MVResult result = kMVNoError;
    while (MVAdapter* adapter = firstNotStarted())
    {
        adapter->started = 1;
        MVAdaptersMessage message = {};
        MVResult answer = kMVNoError;
        result = mvSendToAdapterHost(adapter, gPSkMVAdaptersStartupSelector, message, &answer);
        if (result != kMVNoError && result != kMVAlreadyInMessageError)
            return result;
        if (result == kMVNoError && answer == kMVHostStoppedStartupError)
            return answer;
    }
    return result;
}

MVResult mvShutdownAdapters()
{
    return sendToStartedAdapters(gPSkMVAdaptersShutdownSelector, nullptr);
}

MVResult mvTermAdapters()
{
    return sendToStartedAdapters(gPSkMVAdaptersDisposeInfoSelector, mvDefaultFlush);
}

// Nobody is left then who holds an access.
MVResult mvShutdownTermMVAdapter()
{
    if (gMV2Adapter == nullptr)
        return kMVNoError;
    const MVResult shutDown = sendToBuiltInAdapter(gPSkMVAdaptersShutdownSelector, nullptr);
    const MVResult disposed =
        sendToBuiltInAdapter(gPSkMVAdaptersDisposeInfoSelector, mvDefaultFlush);
    mvFreeDroppedAccesses(true);
    std::int32_t files = 0;
    mvEdgeFlushAccess(&files);
    return shutDown != kMVNoError ? shutDown : disposed;
}

MVResult MVShutdownPlugins(void)
{
    MV_ONE_THREAD();
    gGeneralAccessPoint = kMVAccessPhase_Shutdown;
    return mvShutdownAdapters();
}

MVResult MVAllocateAdapterList(MVStringPool* pool, MVAdapterList** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    const MVResult result = mvIntAllocateRecord("an MVAdapterList", out);
    if (result == kMVNoError)
        (*out)->strings = pool != nullptr ? pool : gMVStrings;
    return result;
}

MVResult MVFreeAdapterList(MVAdapterList* list)
{
    MV_ONE_THREAD();
    MVAdapterList* freed = listOr(list);
    if (freed == nullptr)
        return kMVBadParameterError;
    if (freed == gMVAdapters && gMVCallsUnderWay > 0)
        return kMVAlreadyInMessageError;
    while (freed->head != nullptr)
    {
        MVAdapter* adapter = freed->head;
        freed->head = adapter->next;
        const MVResult result = mvIntFreeBlock(adapter);
        if (result != kMVNoError)
            return result;
    }
    if (freed == gMVAdapters)
        gMVAdapters = nullptr;
    return mvIntFreeBlock(freed);
}

MVResult MVAddAdapter(MVAdapterList* list, MVPlugin* hostPlugin, const char* name, int32_t version,
                      MVAdapter** out)
{
    MV_ONE_THREAD();
    if (out != nullptr)
        *out = nullptr;
    MVAdapterList* adapters = listOr(list);
    if (out == nullptr || name == nullptr || adapters == nullptr)
        return kMVBadParameterError;
    MVWString interned = nullptr;
    MVResult result = MVMakeWString(adapters->strings, name, &interned);
    if (result == kMVNoError)
        result = giveWayToNewer(findAdapter(adapters, interned), hostPlugin, version);
    if (result == kMVNoError)
        result = mvIntAllocateRecord("an MVAdapter", out);
    if (result != kMVNoError)
        return result;
    (*out)->name = interned;
    (*out)->version = version;
    (*out)->hostPlugin = hostPlugin;
    if (hostPlugin != nullptr && !mvDeclares(hostPlugin, kMVProperty_Adapter))
        (*out)->flags = kMVAdapterFlag_V1;
    linkAdapter(adapters, *out);
    return kMVNoError;
}

MVResult MVFindAdapter(MVAdapterList* list, const char* name, MVAdapter** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = nullptr;
    MVAdapterList* adapters = listOr(list);
    if (adapters == nullptr)
        return kMVBadParameterError;
    MVWString interned = nullptr;
    const MVResult result = MVMakeWString(adapters->strings, name, &interned);
    if (result == kMVNoError && interned != nullptr)
        *out = findAdapter(adapters, interned);
    return result;
}

MVResult MVNewAdapterListIterator(MVAdapterList* list, MVAdapterListIterator** out)
{
    MV_ONE_THREAD();
    return mvNewIterator(listOr(list), "an MVAdapterListIterator", out);
}

MVResult MVNextAdapter(MVAdapterListIterator* iterator, MVAdapter** out)
{
    MV_ONE_THREAD();
    return mvNextOfIterator(iterator, kMVBadAdapterListIteratorError, out);
}

MVResult MVDeleteAdapterListIterator(MVAdapterListIterator* iterator)
{
    MV_ONE_THREAD();
    return mvDeleteIterator(iterator);
}

MVResult MVGetAdapterHost(MVAdapter* adapter, MVPlugin** out)
{
    MV_ONE_THREAD();
    return mvGetField(adapter, &MVAdapter::hostPlugin, out);
}

MVResult MVGetAdapterName(MVAdapter* adapter, MVWString* out)
{
    MV_ONE_THREAD();
    return mvGetField(adapter, &MVAdapter::name, out);
}

MVResult MVGetAdapterVersion(MVAdapter* adapter, int32_t* out)
{
    MV_ONE_THREAD();
    return mvGetField(adapter, &MVAdapter::version, out);
}
