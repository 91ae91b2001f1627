#include "MVCaches.h"

#include "MVAccess.h"
#include "MVAdapts.h"
#include "MVHost.h"
#include "MVProps.h"
#include "MVThread.h"
#include "MVWalk.h"

namespace
{

constinit bool sPurging = false;

bool isLoaded(MVPlugin* inPlugin)
{
    MVAccess* access = nullptr;
    return inPlugin != nullptr && MVGetPluginAccess(inPlugin, &access) == kMVNoError &&
           access != nullptr;
}

MVResult flushAdapter(MVAdapter* inAdapter, MVFlushProc inFlushProc, std::int32_t* outFlushed)
{
    MVAdaptersMessage message = {};
    message.plugin = inAdapter->hostPlugin;
    message.flushProc = inFlushProc;
    MVResult answer = kMVNoError;
    const MVResult result =
        mvSendToAdapterHost(inAdapter, gPSkMVAdaptersFlushSelector, message, &answer);
    *outFlushed = result == kMVNoError ? message.flushed : 0;
    return result;
}

// The answer is that of the last one.
MVResult purgePlugins(MVResult* outAnswer)
{
    const MVWalk walk(firstAccess);
    while (MVAccess* access = walk.Next(firstAccess))
    {
        if ((mvCapabilities(access->plugin) & kMVCapability_Purges) == 0)
            continue;
        const MVResult result = MVSendMessage(access->plugin, gPSkMVCacheCaller,
                                              gPSkMVPluginPurgeCachesSelector, nullptr, outAnswer);
        if (result != kMVNoError)
            return result;
    }
    return kMVNoError;
}

} // namespace

MVResult MVFlushCaches(MVFlushProc flushProc, int32_t* flushed)
{
    MV_ONE_THREAD();
    if (flushed == nullptr)
        return kMVBadParameterError;
    *flushed = 0;
    if (gMVAdapters == nullptr)
        return kMVNoError;
    MVResult last = kMVNoError;
    const MVWalk walk(gMVAdapters->head);
    while (MVAdapter* adapter = walk.Next(gMVAdapters->head))
    {
        if (!isLoaded(adapter->hostPlugin))
            continue;
        last = flushAdapter(adapter, flushProc != nullptr ? flushProc : &mvDefaultFlush, flushed);
        if (last != kMVNoError && last != kMVAlreadyInMessageError)
            return last;
        if (*flushed != 0)
            return kMVNoError;
    }
    return last;
}

// A plug-in may run out of memory while it purges, and flush in its turn: then nobody is asked anew.
MVResult mvFlushPluginCaches(std::int32_t* outFlushed)
{
    *outFlushed = 0;
    if (sPurging)
        return kMVNoError;
    sPurging = true;
    MVResult answer = kMVNoError;
    const MVResult result = purgePlugins(&answer);
    sPurging = false;
    if (result == kMVNoError && answer == kMVPurgedResult)
        ++*outFlushed;
    return result;
}
