#include "MVInterf.h"

#include "MVAdapts.h"
#include "MVError.h"
#include "MVHost.h"
#include "MVPlugs.h"
#include "MVThread.h"

namespace
{

// What the adapter answers is not looked at.
void callForAbout(MVPlugin* ioAdapterHost, MVAccess* inAccess, MVPlugin* inPlugin)
{
    MVAdaptersMessage message = {};
    message.adapter = inPlugin->adapter;
    message.plugin = inPlugin;
    mvFillMessageData(ioAdapterHost, &message.data);
    MVResult answer = kMVNoError;
    MVCallPlugin(inAccess, gPSkMVAdaptersCaller, gPSkMVAdaptersAboutSelector, &message, &answer);
    ioAdapterHost->globals = message.data.globals;
}

// Of what can be said to a plug-in without the message protocol, its adapter hears the only thing.
MVResult tellV1Adapter(MVPlugin* inPlugin, const char* inCaller, const char* inSelector)
{
    if (MVBasicIsEqual(inCaller, kMVInterfaceCaller) == 0 ||
        MVBasicIsEqual(inSelector, kMVInterfaceAboutSelector) == 0)
        return mvRaise(kMVNeedsNativeAdapterError);
    MVPlugin* host = inPlugin->adapter->hostPlugin;
    MVAccess* access = nullptr;
    const MVResult result = MVAcquirePlugin(host, &access);
    if (result != kMVNoError)
        return result;
    callForAbout(host, access, inPlugin);
    MVReleasePlugin(access);
    return kMVNoError;
}

bool isMarkedByCaller(const char* inCaller)
{
    return inCaller == gPSkMVInterfaceCaller || inCaller == gPSkMVPropertiesCaller;
}

// A plug-in whose call was not delivered stays acquired.
MVResult callAcquired(MVPlugin* ioPlugin, MVAccess* inAccess, const char* inCaller,
                      const char* inSelector, MVMessageData* ioData, MVResult* outAnswer)
{
    if (isMarkedByCaller(inCaller))
        ioPlugin->flags |= kMVPluginFlag_InMessage;
    mvFillMessageData(ioPlugin, ioData);
    const MVResult result = MVCallPlugin(inAccess, inCaller, inSelector, ioData, outAnswer);
    ioPlugin->globals = ioData->globals;
    return result == kMVNoError ? MVReleasePlugin(inAccess) : result;
}

MVResult sendMessage(MVPlugin* ioPlugin, const char* inCaller, const char* inSelector,
                     void* ioMessage, MVResult* outAnswer)
{
    if (mvIsUnderV1Adapter(ioPlugin))
    {
        const MVResult told = tellV1Adapter(ioPlugin, inCaller, inSelector);
        if (told != kMVNoError)
            return told;
    }
    if ((ioPlugin->flags & (kMVPluginFlag_InAccessMessage | kMVPluginFlag_InMessage)) != 0)
        return kMVAlreadyInMessageError;
    // Long enough for whoever takes it for the message of an adapter: what is behind the header is zero.
    MVAdaptersMessage none = {};
    void* message = ioMessage != nullptr ? ioMessage : &none;
    MVAccess* access = nullptr;
    const MVResult result = MVAcquirePlugin(ioPlugin, &access);
    if (result != kMVNoError)
        return result;
    return callAcquired(ioPlugin, access, inCaller, inSelector,
                        static_cast<MVMessageData*>(message), outAnswer);
}

} // namespace

void mvFillMessageData(MVPlugin* inPlugin, MVMessageData* outData)
{
    outData->MVCheck = kMVMessageCheck;
    outData->self = inPlugin;
    outData->globals = inPlugin->globals;
    outData->basic = gMVBasic;
}

// The mark goes on every way out, that of a refusal too: a plug-in which sends itself a message out of a marked one
// is refused, and is not marked any more.
MVResult MVSendMessage(MVPlugin* plugin, const char* caller, const char* selector, void* message,
                       MVResult* result)
{
    MV_ONE_THREAD();
    if (result == nullptr)
        return kMVBadParameterError;
    *result = kMVNoError;
    if (plugin == nullptr)
        return kMVBadParameterError;
    const MVResult sent = sendMessage(plugin, caller, selector, message, result);
    plugin->flags &= static_cast<std::uint8_t>(~kMVPluginFlag_InMessage);
    return sent;
}

MVResult MVSetupMessageData(MVPlugin* plugin, MVMessageData* data)
{
    MV_ONE_THREAD();
    if (plugin == nullptr || data == nullptr)
        return kMVBadParameterError;
    if (mvIsUnderV1Adapter(plugin))
        return mvRaise(kMVNeedsNativeAdapterError);
    mvFillMessageData(plugin, data);
    return kMVNoError;
}

MVResult MVEmptyMessageData(MVPlugin* plugin, MVMessageData* data)
{
    MV_ONE_THREAD();
    if (plugin == nullptr || data == nullptr)
        return kMVBadParameterError;
    if (mvIsUnderV1Adapter(plugin))
        return mvRaise(kMVNeedsNativeAdapterError);
    plugin->globals = data->globals;
    return kMVNoError;
}
