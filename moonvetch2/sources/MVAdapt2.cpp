// The built-in adapter: what native plug-ins are sent on behalf of others, and how they go down.
#include "MVAccess.h"
#include "MVAdapts.h"
#include "MVCaches.h"
#include "MVHost.h"
#include "MVPlugs.h"
#include "MVProps.h"
#include "MVWalk.h"
#include "edge/MVEAcces.h"

static_assert(sizeof(MVAdaptersMessage) == 152);
static_assert(sizeof(MVPropertiesMessage) == 64);

namespace
{

constexpr int kMostFlushRounds = 6;

MVResult sendShutdown(MVPlugin* ioPlugin)
{
    MVResult answer = kMVNoError;
    return MVSendMessage(ioPlugin, gPSkMVInterfaceCaller, gPSkMVInterfaceShutdownSelector, nullptr,
                         &answer);
}

bool isMarkedStarted(const MVPlugin* inPlugin, std::uint8_t inMarks)
{
    return !mvIsUnderV1Adapter(inPlugin) && (inPlugin->flags & inMarks) == kMVPluginFlag_Started;
}

void clearStarted(MVPlugin* ioPlugin)
{
    ioPlugin->flags &= static_cast<std::uint8_t>(~kMVPluginFlag_Started);
}

// Code that nobody uses goes at once.
MVResult unloadUnused(MVPlugin* inPlugin)
{
    MVAccess* access = nullptr;
    MVResult result = MVGetPluginAccess(inPlugin, &access);
    if (result != kMVNoError || access == nullptr || access->count != 0)
        return result;
    MVFileAccess* file = access->fileAccess;
    result = mvDestroyAccess(access);
    const bool ours = mvIsNative(inPlugin) && inPlugin->hostEntry == nullptr;
    return result == kMVNoError && file != nullptr && ours ? mvDestroyFileAccess(file) : result;
}

MVResult shutDownWithoutSuites(MVPlugin* ioPlugin)
{
    clearStarted(ioPlugin);
    const auto answered =
        ioPlugin->flags & (kMVPluginFlag_StartupAnswered | kMVPluginFlag_SkipShutdown);
    if (answered == kMVPluginFlag_StartupAnswered)
    {
        const MVResult result = sendShutdown(ioPlugin);
        if (result != kMVNoError)
            return result;
    }
    return unloadUnused(ioPlugin);
}

MVResult shutDownPluginsWithoutSuites()
{
    constexpr std::uint8_t kMarks =
        kMVPluginFlag_Started | kMVPluginFlag_Broken | kMVPluginFlag_ExportsSuites;
    MVResult result = kMVNoError;
    MVWalk walk(gMVPlugins->head);
    while (MVPlugin* plugin = walk.Next(gMVPlugins->head, gMVPlugins->stamp))
    {
        if (isMarkedStarted(plugin, kMarks))
            result = shutDownWithoutSuites(plugin);
        if (result != kMVNoError)
            return result;
    }
    return kMVNoError;
}

MVResult shutDownTheOthers()
{
    constexpr std::uint8_t kMarks =
        kMVPluginFlag_Started | kMVPluginFlag_Broken | kMVPluginFlag_SkipShutdown;
    MVResult result = kMVNoError;
    MVWalk walk(gMVPlugins->head);
    while (MVPlugin* plugin = walk.Next(gMVPlugins->head, gMVPlugins->stamp))
    {
        if (!isMarkedStarted(plugin, kMarks))
            continue;
        clearStarted(plugin);
        result = sendShutdown(plugin);
        if (result != kMVNoError && result != kMVAlreadyInMessageError)
            return result;
    }
    return result;
}

// Who supplies suites goes down after all others.
MVResult shutDown()
{
    const MVResult result = shutDownPluginsWithoutSuites();
    return result == kMVNoError ? shutDownTheOthers() : result;
}

MVResult sendProperties(MVPlugin* ioPlugin, MVWString inSelector, MVPropertiesMessage& ioMessage,
                        MVResult* outAnswer)
{
    return MVSendMessage(ioPlugin, gPSkMVPropertiesCaller, inSelector, &ioMessage, outAnswer);
}

MVResult keepAnswer(MVAdaptersMessage& ioMessage, const MVPropertiesMessage& inAnswer)
{
    MVProperty* property = nullptr;
    const MVResult result = MVAddProperty(
        ioMessage.plugin->propertyList, ioMessage.vendorID, ioMessage.propertyKey,
        ioMessage.propertyID, inAnswer.property, inAnswer.refCon, inAnswer.cacheable, &property);
    ioMessage.property = property != nullptr ? property->piProperty : nullptr;
    return result;
}

MVResult findProperty(MVAdaptersMessage& ioMessage)
{
    MVPropertiesMessage properties = {};
    properties.vendorID = ioMessage.vendorID;
    properties.propertyKey = ioMessage.propertyKey;
    properties.propertyID = ioMessage.propertyID;
    const MVResult sent = sendProperties(ioMessage.plugin, gPSkMVPropertiesAcquireSelector,
                                         properties, &ioMessage.error);
    if (sent != kMVNoError)
        return sent;
    const MVResult kept =
        ioMessage.error == kMVNoError ? keepAnswer(ioMessage, properties) : kMVNoError;
    MVResult answer = kMVNoError;
    const MVResult released =
        sendProperties(ioMessage.plugin, gPSkMVPropertiesReleaseSelector, properties, &answer);
    return kept != kMVNoError ? kept : released;
}

MVResult flush(MVAdaptersMessage& ioMessage)
{
    ioMessage.flushed = 0;
    MVResult result = mvFlushPluginCaches(&ioMessage.flushed);
    if (result != kMVNoError)
        return result;
    std::int32_t count = 0;
    result = mvFlushAccesses(ioMessage.flushProc, &count, kMVAdapterDisposeType_Unused);
    ioMessage.flushed += count;
    return result;
}

// What is unloaded gives others back, which can then be unloaded as well: hence the rounds.
MVResult flushUnused(MVAdaptersMessage& ioMessage)
{
    std::int32_t count = 1;
    for (int round = 0; round < kMostFlushRounds && count != 0; ++round)
    {
        const MVResult result =
            mvFlushAccesses(ioMessage.flushProc, &count, kMVAdapterDisposeType_Unused);
        ioMessage.flushed += count;
        if (result != kMVNoError)
            return result;
    }
    return kMVNoError;
}

MVResult flushType(MVAdaptersMessage& ioMessage, kMVAdapterDisposeType inType)
{
    std::int32_t count = 0;
    const MVResult result = mvFlushAccesses(ioMessage.flushProc, &count, inType);
    ioMessage.flushed += count;
    return result;
}

MVResult freePropertyLists()
{
    MVResult result = kMVNoError;
    for (MVPlugin* plugin = gMVPlugins->head; plugin != nullptr; plugin = plugin->next)
    {
        result = MVFreePropertyList(plugin->propertyList);
        plugin->propertyList = nullptr;
    }
    return result;
}

MVResult disposeInfo(MVAdaptersMessage& ioMessage)
{
    ioMessage.flushed = 0;
    MVResult result = flushUnused(ioMessage);
    if (result != kMVNoError)
        return result;
    gGeneralAccessPoint = kMVAccessPhase_Disposal;
    result = flushType(ioMessage, kMVAdapterDisposeType_Ordinary);
    if (result == kMVNoError)
        result = flushType(ioMessage, kMVAdapterDisposeType_StartsEarly);
    return result == kMVNoError ? freePropertyLists() : result;
}

MVResult about(MVAdaptersMessage& ioMessage)
{
    return MVSendMessage(ioMessage.plugin, gPSkMVInterfaceCaller, gPSkMVInterfaceAboutSelector,
                         nullptr, &ioMessage.error);
}

} // namespace

MVResult mvAdapter(const char* inCaller, const char* inSelector, void* ioMessage)
{
    if (inCaller != gPSkMVAdaptersCaller || ioMessage == nullptr)
        return kMVNoError;
    auto& message = *static_cast<MVAdaptersMessage*>(ioMessage);
    if (inSelector == gPSkMVAdaptersShutdownSelector)
        return shutDown();
    if (inSelector == gPSkMVAdaptersFindPropertySelector)
        return findProperty(message);
    if (inSelector == gPSkMVAdaptersFlushSelector)
        return flush(message);
    if (inSelector == gPSkMVAdaptersDisposeInfoSelector)
        return disposeInfo(message);
    if (inSelector == gPSkMVAdaptersAboutSelector)
        return about(message);
    return kMVNoError;
}
