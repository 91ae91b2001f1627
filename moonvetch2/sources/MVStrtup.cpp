// The order in which plug-ins are started, and what starts them.
#include <cstring>
#include <initializer_list>

#include "MVAdapts.h"
#include "MVError.h"
#include "MVHost.h"
#include "MVPlugs.h"
#include "MVProps.h"
#include "MVThread.h"

namespace
{

constexpr std::uint32_t kV2Adapter = 2;
// Fewer bytes hold a count and nothing that is counted.
constexpr std::size_t kLeastExports = 5;

bool answersProperties(const MVPlugin* inPlugin)
{
    return (mvCapabilities(inPlugin) & kMVCapability_AnswersProperties) != 0;
}

// One that was asked, and had none to give, exports nothing.
bool exportsSuites(const MVPlugin* inPlugin)
{
    return mvDeclaredProperty(inPlugin, kMVProperty_Exports) != nullptr;
}

bool startsEarly(const MVPlugin* inPlugin)
{
    return mvDeclares(inPlugin, kMVProperty_StartsEarly);
}

bool isHostPlugin(const MVPlugin* inPlugin)
{
    return inPlugin->hostEntry != nullptr;
}

bool isOrdinary(const MVPlugin* inPlugin)
{
    return !answersProperties(inPlugin) && !exportsSuites(inPlugin) && !startsEarly(inPlugin) &&
           !isHostPlugin(inPlugin);
}

void notifyNotDelivered(MVPlugin* inPlugin, MVResult inError)
{
    MVStartupFailure failure = {};
    MVGetPluginFileSpecification(inPlugin, &failure.file);
    failure.error = inError;
    gMVHostProcs->startupNotify(kMVNotifyEvent_StartupNotDelivered, &failure,
                                gMVHostProcs->hostData);
}

void takeStartupAnswer(MVPlugin* ioPlugin, MVResult inAnswer)
{
    if (inAnswer == kMVSuiteNotFoundError)
    {
        ioPlugin->flags &= static_cast<std::uint8_t>(~kMVPluginFlag_Started);
        return;
    }
    if (inAnswer != kMVNoError)
    {
        ioPlugin->flags |= kMVPluginFlag_Broken | kMVPluginFlag_SkipShutdown;
        return;
    }
    if ((mvCapabilities(ioPlugin) & kMVCapability_SkipShutdown) != 0)
        ioPlugin->flags |= kMVPluginFlag_SkipShutdown;
    ioPlugin->flags |= kMVPluginFlag_StartupAnswered;
}

void startV2Adapters()
{
    for (MVPlugin* plugin = gMVPlugins->head; plugin != nullptr; plugin = plugin->next)
    {
        if (!mvIsV2AdapterPlugin(plugin))
            continue;
        startupMoonVetchPlugin(plugin);
        if ((plugin->flags & kMVPluginFlag_Started) == 0)
            continue;
        MVResult answer = kMVNoError;
        const MVResult sent = MVSendMessage(
            plugin, gPSkMVAdaptersCaller, gPSkMVAdaptersRegisterPluginsSelector, nullptr, &answer);
        if (sent != kMVNoError)
            notifyNotDelivered(plugin, sent);
    }
}

// Puts those that qualify at the head, and so in reverse.
void reorder(bool (*inQualifies)(const MVPlugin*))
{
    MVPlugin** link = &gMVPlugins->head;
    while (MVPlugin* plugin = *link)
    {
        plugin->flags &= static_cast<std::uint8_t>(~kMVPluginFlag_KeepFromStart);
        const bool moves = !mvIsUnderV1Adapter(plugin) && inQualifies(plugin);
        if (moves)
            mvMovePluginToHead(gMVPlugins, link);
        // Behind it stands now what stood there before, or, for the first, what it stands ahead of still.
        if (!moves || *link == plugin)
            link = &plugin->next;
    }
}

MVResult askToGoOn()
{
    const bool goesOn = gMVHostProcs->filterEvent(kMVNotifyEvent_FirstOrdinaryPlugin, nullptr) != 0;
    return goesOn ? kMVNoError : kMVHostStoppedStartupError;
}

void startUnlessHeldBack(MVPlugin* ioPlugin)
{
    constexpr std::uint8_t kHeldBack = kMVPluginFlag_Started | kMVPluginFlag_KeepFromStart;
    if ((ioPlugin->flags & kHeldBack) == 0 && gMVHostProcs->overrideStartup(ioPlugin) == 0)
        startupMoonVetchPlugin(ioPlugin);
}

// Goes back to the head when a suite has come that somebody looked for in vain: who answered that a suite was
// missing is started again then. Each going back takes a new suite; there is no other limit.
MVResult startInOrder()
{
    bool ordinaryReached = false;
    for (MVPlugin* plugin = gMVPlugins->head; plugin != nullptr;)
    {
        const bool started = (plugin->flags & kMVPluginFlag_Started) != 0;
        if (!ordinaryReached && !started && isOrdinary(plugin))
        {
            const MVResult result = askToGoOn();
            if (result != kMVNoError)
                return result;
            ordinaryReached = true;
        }
        startUnlessHeldBack(plugin);
        std::int32_t suiteHasCome = 0;
        MVGetPluginListNeededSuiteAvailable(gMVPlugins, &suiteHasCome);
        plugin = suiteHasCome != 0 ? gMVPlugins->head : plugin->next;
    }
    return ordinaryReached ? kMVNoError : askToGoOn();
}

std::uint32_t wordAt(const unsigned char* inBytes)
{
    std::uint32_t word = 0;
    std::memcpy(&word, inBytes, sizeof word);
    return word;
}

// The name has its NUL, and the version lies within what the entry says it has.
bool isExport(const unsigned char* inEntry, std::size_t inSize, const char* inName,
              std::int32_t inVersion)
{
    const void* end = inSize > 0 ? std::memchr(inEntry, 0, inSize) : nullptr;
    if (end == nullptr)
        return false;
    const std::size_t nameSize =
        static_cast<std::size_t>(static_cast<const unsigned char*>(end) - inEntry) + 1;
    const std::size_t versionOffset = (nameSize + 3) / 4 * 4;
    if (versionOffset + sizeof(std::uint32_t) > inSize)
        return false;
    return MVBasicIsEqual(reinterpret_cast<const char*>(inEntry), inName) != 0 &&
           static_cast<std::int32_t>(wordAt(inEntry + versionOffset)) == inVersion;
}

bool exports(const PIProperty* inProperty, const char* inName, std::int32_t inVersion)
{
    std::size_t left = 0;
    const unsigned char* entry = mvPropertyData(inProperty, &left);
    if (left < kLeastExports)
        return false;
    const std::uint32_t count = wordAt(entry);
    entry += sizeof count;
    left -= sizeof count;
    for (std::uint32_t i = 0; i < count && left >= sizeof(std::uint32_t); ++i)
    {
        const std::size_t size = wordAt(entry);
        entry += sizeof(std::uint32_t);
        left -= sizeof(std::uint32_t);
        if (size > left)
            return false;
        if (isExport(entry, size, inName, inVersion))
            return true;
        entry += size;
        left -= size;
    }
    return false;
}

} // namespace

bool mvIsV2AdapterPlugin(const MVPlugin* inPlugin)
{
    std::size_t bytes = 0;
    const unsigned char* data =
        mvPropertyData(mvDeclaredProperty(inPlugin, kMVProperty_Adapter), &bytes);
    return bytes >= sizeof(std::uint32_t) && wordAt(data) == kV2Adapter;
}

void startupMoonVetchPlugin(MVPlugin* inPlugin)
{
    if ((inPlugin->flags & kMVPluginFlag_Started) != 0)
        return;
    inPlugin->flags |= kMVPluginFlag_Started;
    gMVHostProcs->startupNotify(kMVNotifyEvent_StartingPlugin, inPlugin, gMVHostProcs->hostData);
    MVResult answer = kMVNoError;
    const MVResult sent = MVSendMessage(inPlugin, gPSkMVInterfaceCaller,
                                        gPSkMVInterfaceStartupSelector, nullptr, &answer);
    if (sent != kMVNoError)
        notifyNotDelivered(inPlugin, sent);
    // Who was not reached has answered nothing.
    else
        takeStartupAnswer(inPlugin, answer);
}

MVResult mvStartupPlugins()
{
    if (gMVHostProcs->beforeStartupHook != nullptr)
    {
        const MVResult result = gMVHostProcs->beforeStartupHook();
        if (result != kMVNoError)
            return result;
    }
    startV2Adapters();
    for (const auto qualifies : {answersProperties, exportsSuites, startsEarly, isHostPlugin})
        reorder(qualifies);
    return startInOrder();
}

MVResult MVStartupPlugins(void)
{
    MV_ONE_THREAD();
    if (gMVPlugins == nullptr || gMVAdapters == nullptr)
        return kMVBadParameterError;
    for (MVAdapter* adapter = gMVAdapters->head; adapter != nullptr; adapter = adapter->next)
        adapter->started = 0;
    const MVResult result = mvStartupPlugins();
    if (result == kMVNoError)
        mvStartupV1Adapters();
    return result;
}

MVResult MVStartupExport(MVPluginList* list, const char* name, int32_t version, int32_t* started)
{
    MV_ONE_THREAD();
    if (started == nullptr)
        return kMVBadParameterError;
    *started = 0;
    const MVPluginList* plugins = list != nullptr ? list : gMVPlugins;
    if (plugins == nullptr)
        return kMVBadParameterError;
    for (MVPlugin* plugin = plugins->head; plugin != nullptr; plugin = plugin->next)
    {
        if (mvIsUnderV1Adapter(plugin) || (plugin->flags & kMVPluginFlag_Started) != 0)
            continue;
        PIProperty* property = nullptr;
        const MVResult result =
            MVFindPluginProperty(plugin, kMVVendorID, kMVProperty_Exports, 0, &property);
        if (result == kMVAlreadyInMessageError)
            continue;
        if (result != kMVNoError)
            return result;
        if (!exports(property, name, version))
            continue;
        startupMoonVetchPlugin(plugin);
        *started = 1;
    }
    return kMVNoError;
}
