// Plug-ins that do what no plug-in should. The host may refuse them, and must not fall, hang or forget others.
#include <stdexcept>

#include <pthread.h>

#include "PluginsFixture.h"
#include "edge/MVEAcces.h"

namespace Testing
{

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class HostilePluginsTest : public PluginsFixture
{
protected:
    static MVResult Tell(ScriptedPlugin& inTo) { return Send(inTo, "A caller", "A selector"); }
    static std::int32_t FlushAll()
    {
        std::int32_t flushed = 0;
        MVFlushCaches(nullptr, &flushed);
        return flushed;
    }
};

TEST_F(HostilePluginsTest, GarbageForAnAnswerBreaksThePluginAlone)
{
    ScriptedPlugin& next = AddFile("/next.so");
    ScriptedPlugin& garbage =
        AddFile("/garbage.so",
                [](const std::string& inCaller, const std::string&, void* ioMessage)
                {
                    auto* data = static_cast<MVMessageData*>(ioMessage);
                    if (inCaller == kMVAccessCaller)
                        return MVResult{kMVNoError};
                    std::memset(static_cast<void*>(data), 0xA5, sizeof *data);
                    return MVResult{0x5A5A5A5A};
                });
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_TRUE(IsBroken(garbage.plugin));
    EXPECT_EQ(reinterpret_cast<void*>(0xA5A5A5A5A5A5A5A5), garbage.plugin->globals)
        << "they are its own";
    EXPECT_EQ(1u, next.Heard(kStartup));
}

TEST_F(HostilePluginsTest, GarbageForAPropertyKeyIsKeptByTheKeyThatWasAsked)
{
    AlignedBytes record(RecordBytes(0x12345678, "data", 0x87654321, 99));
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [&](const std::string&, const std::string& inSelector, void* ioMessage)
    {
        auto* message = static_cast<MVPropertiesMessage*>(ioMessage);
        if (inSelector == kMVPropertiesAcquireSelector)
            *message = {message->data, 1, 2, 3, 4, record.Property(), 5, 6};
        return kMVNoError;
    };
    PIProperty* property = nullptr;
    EXPECT_EQ(kMVNoError,
              MVFindPluginProperty(plugin.plugin, kMVVendorID, 0x61626364, 0, &property));
    MVProperty* kept = nullptr;
    MVFindProperty(plugin.plugin->propertyList, kMVVendorID, 0x61626364, 0, &kept);
    ASSERT_NE(nullptr, kept);
}

TEST_F(HostilePluginsTest, AnExceptionOutOfAnEntryIsAnAnswer)
{
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [](auto&&...) -> MVResult { throw std::runtime_error("out of the entry"); };
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, Send(plugin, gPSkMVInterfaceCaller, "any", nullptr, &answer));
    EXPECT_EQ(kMVPluginThrewError, answer);
    EXPECT_EQ(0, AccessOf(plugin.plugin)->count);
    EXPECT_EQ(0, AccessOf(plugin.plugin)->callsUnderWay);
    EXPECT_EQ(0, plugin.plugin->flags & kMVPluginFlag_InMessage);
    EXPECT_EQ(nullptr, gMVCurrentPlugin);
    plugin.answer = [](auto&&...) -> MVResult { throw std::bad_alloc(); };
    EXPECT_EQ(kMVNoError, Send(plugin, gPSkMVInterfaceCaller, "any", nullptr, &answer));
    EXPECT_EQ(kMVOutOfMemoryError, answer);
    plugin.answer = [](auto&&...) -> MVResult { throw 5; };
    EXPECT_EQ(kMVNoError, Send(plugin, gPSkMVInterfaceCaller, "any", nullptr, &answer));
    EXPECT_EQ(kMVPluginThrewError, answer);
}

TEST_F(HostilePluginsTest, AnExceptionAtStartupBreaksThePluginAlone)
{
    ScriptedPlugin& next = AddFile("/next.so");
    ScriptedPlugin& thrower =
        AddFile("/thrower.so",
                [](const std::string& inCaller, const std::string&, void*) -> MVResult
                {
                    if (inCaller == kMVInterfaceCaller)
                        throw std::runtime_error("at startup");
                    return kMVNoError;
                });
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_TRUE(IsBroken(thrower.plugin));
    EXPECT_EQ(1u, next.Heard(kStartup));
}

TEST_F(HostilePluginsTest, AnExceptionAtReloadKeepsThePluginFromBeingAcquired)
{
    ScriptedPlugin& thrower = AddFile("/thrower.so", [](auto&&...) -> MVResult
                                      { throw std::runtime_error("at reload"); });
    MVAccess* access = nullptr;
    EXPECT_EQ(kMVPluginThrewError, MVAcquirePlugin(thrower.plugin, &access));
    EXPECT_EQ(0, thrower.plugin->flags & kMVPluginFlag_InAccessMessage);
}

TEST_F(HostilePluginsTest, TheEndOfAThreadWithinAnEntryIsNoAnswerAndLeavesTheHostInOrder)
{
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [](auto&&...) -> MVResult { pthread_exit(nullptr); };
    pthread_t thread;
    ASSERT_EQ(0, pthread_create(
                     &thread, nullptr,
                     [](void* inPlugin) -> void*
                     {
                         MVResult answer = kMVNoError;
                         MVSendMessage(static_cast<MVPlugin*>(inPlugin), "A caller", "A selector",
                                       nullptr, &answer);
                         return inPlugin;
                     },
                     plugin.plugin));
    void* returned = plugin.plugin;
    EXPECT_EQ(0, pthread_join(thread, &returned));
    EXPECT_EQ(nullptr, returned);
    EXPECT_EQ(0, AccessOf(plugin.plugin)->callsUnderWay);
    plugin.answer = nullptr;
    EXPECT_EQ(kMVNoError, Tell(plugin));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(AccessOf(plugin.plugin))) << "acquired by the thread";
}

TEST_F(HostilePluginsTest, MessagesToItselfAreRefusedWhileItIsCalled)
{
    std::vector<MVResult> refused;
    ScriptedPlugin& plugin = AddFile("/self.so");
    plugin.answer = [&](const std::string& inCaller, const std::string&, void*)
    {
        if (inCaller != "A caller")
            refused.push_back(Tell(plugin));
        return kMVNoError;
    };
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(refused, ElementsAre(kMVAlreadyInMessageError, kMVAlreadyInMessageError))
        << "at Reload and at Startup";
    EXPECT_EQ(0u, plugin.Heard("A caller: A selector"));
}

TEST_F(HostilePluginsTest, PluginsThatAreAddedWhileOthersAreStartedAreStartedLater)
{
    std::vector<ScriptedPlugin*> added;
    ScriptedPlugin& last = AddFile("/last.so");
    ScriptedPlugin& adder = AddFile("/adder.so");
    adder.answer = [&](const std::string&, const std::string& inSelector, void*)
    {
        if (inSelector == kMVInterfaceStartupSelector)
            for (int i = 0; i < 5; ++i)
                added.push_back(&AddFile("/added" + std::to_string(i) + ".so"));
        return kMVNoError;
    };
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(Started(), ElementsAre(adder.plugin, last.plugin));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    for (const ScriptedPlugin* plugin : added)
        EXPECT_EQ(1u, plugin->Heard(kStartup));
}

TEST_F(HostilePluginsTest, StartsWithinStartsEnd)
{
    std::vector<ScriptedPlugin*> plugins;
    for (int i = 0; i < 4; ++i)
        plugins.push_back(&AddScripted());
    for (ScriptedPlugin* plugin : plugins)
    {
        plugin->answer = [](const std::string&, const std::string& inSelector, void*)
        {
            if (inSelector != kMVInterfaceStartupSelector)
                return MVResult{kMVNoError};
            MVStartupPlugins();
            return MVResult{kMVSuiteNotFoundError};
        };
    }
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    for (const ScriptedPlugin* plugin : plugins)
        EXPECT_LE(1u, plugin->Heard(kStartup));
}

TEST_F(HostilePluginsTest, AShutdownThatStartsEverybodyAgainEnds)
{
    std::vector<ScriptedPlugin*> plugins;
    for (int i = 0; i < 6; ++i)
        plugins.push_back(&AddFile("/" + std::to_string(i) + ".so"));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    for (ScriptedPlugin* plugin : plugins)
        plugin->answer = [](const std::string&, const std::string& inSelector, void*)
        {
            return inSelector == kMVInterfaceShutdownSelector ? MVStartupPlugins()
                                                              : MVResult{kMVNoError};
        };
    EXPECT_EQ(kMVNoError, MVTerm());
    for (const ScriptedPlugin* plugin : plugins)
        EXPECT_LE(1u, plugin->Heard(kShutdown));
}

TEST_F(HostilePluginsTest, AFlushOutOfAFlushReadsNothingThatHasGone)
{
    std::vector<ScriptedPlugin*> plugins;
    for (int i = 0; i < 6; ++i)
        plugins.push_back(&AddFile("/" + std::to_string(i) + ".so"));
    for (ScriptedPlugin* plugin : plugins)
    {
        EXPECT_EQ(kMVNoError, Tell(*plugin));
        plugin->answer = [](const std::string&, const std::string& inSelector, void*)
        {
            if (inSelector == kMVAccessUnloadSelector)
                FlushAll();
            return kMVNoError;
        };
    }
    FlushAll();
    for (const ScriptedPlugin* plugin : plugins)
        EXPECT_EQ(1u, plugin->Heard(kUnload));
}

TEST_F(HostilePluginsTest, AFlushProcThatFlushesEndsWithItsOwnWalk)
{
    std::vector<ScriptedPlugin*> plugins;
    for (int i = 0; i < 6; ++i)
    {
        plugins.push_back(&AddFile("/" + std::to_string(i) + ".so"));
        EXPECT_EQ(kMVNoError, Tell(*plugins.back()));
    }
    static int sDepth = 0;
    const auto flushMore = [](const char*, MVAccess*, std::int32_t* outFlush)
    {
        *outFlush = 1;
        if (sDepth++ == 0)
            FlushAll();
        return MVResult{kMVNoError};
    };
    std::int32_t flushed = 0;
    EXPECT_EQ(kMVNoError, mvFlushAccesses(flushMore, &flushed, kMVAdapterDisposeType_Unused));
    for (const ScriptedPlugin* plugin : plugins)
        EXPECT_EQ(1u, plugin->Heard(kUnload));
}

TEST_F(HostilePluginsTest, AFlushProcThatMovesAccessesAboutIsAskedOnceOfEach)
{
    static std::vector<MVPlugin*> sPlugins;
    static int sAsked = 0;
    sPlugins.clear();
    sAsked = 0;
    for (int i = 0; i < 6; ++i)
    {
        ScriptedPlugin& plugin = AddFile("/" + std::to_string(i) + ".so");
        EXPECT_EQ(kMVNoError, Tell(plugin));
        sPlugins.push_back(plugin.plugin);
    }
    const auto touchAll = [](const char*, MVAccess*, std::int32_t*)
    {
        ++sAsked;
        for (MVPlugin* plugin : sPlugins)
        {
            MVAccess* access = nullptr;
            if (MVAcquirePlugin(plugin, &access) == kMVNoError)
                MVReleasePlugin(access);
        }
        return MVResult{kMVNoError};
    };
    std::int32_t flushed = 0;
    EXPECT_EQ(kMVNoError, mvFlushAccesses(touchAll, &flushed, kMVAdapterDisposeType_Unused));
    EXPECT_EQ(7, sAsked) << "with the built-in adapter's";
}

TEST_F(HostilePluginsTest, APluginThatGivesItselfAwayWhileItIsCalledIsNotUnloadedUnderItself)
{
    ScriptedPlugin& plugin = AddFile("/self.so");
    MVResult flushed = kMVNoError;
    plugin.answer = [&](const std::string& inCaller, const std::string&, void*)
    {
        if (inCaller != "A caller")
            return MVResult{kMVNoError};
        EXPECT_EQ(kMVNoError, MVReleasePlugin(AccessOf(plugin.plugin)));
        std::int32_t count = 0;
        flushed = mvFlushAccesses(nullptr, &count, kMVAdapterDisposeType_Unused);
        return MVResult{kMVNoError};
    };
    EXPECT_EQ(kMVAlreadyReleasedError, Tell(plugin)) << "once too often";
    EXPECT_EQ(kMVAlreadyInMessageError, flushed);
    EXPECT_EQ(0u, plugin.Heard(kUnload));
}

TEST_F(HostilePluginsTest, AnAdapterThatFlushesWhileItReleasesAPluginDoesNotReleaseItTwice)
{
    ScriptedPlugin& host = AddScripted();
    AddAdapter(host, "Foreign");
    MVPlugin* foreign = AddListed("/script", {}, "Foreign");
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, MVSendMessage(foreign, "A caller", "A selector", nullptr, &answer));
    host.answer = [](const std::string&, const std::string& inSelector, void*)
    {
        if (inSelector == kMVAdaptersReleasePluginSelector)
            FlushAll();
        return kMVNoError;
    };
    FlushAll();
    EXPECT_EQ(1u, host.Heard("MV Adapters: Release plugin"));
}

TEST_F(HostilePluginsTest, AnUnloadThatGivesASuiteBackFindsItsAccessStill)
{
    ScriptedPlugin& supplier = AddFile("/supplier.so");
    ScriptedPlugin& user = AddFile("/user.so");
    MVSuite* suite = nullptr;
    ASSERT_EQ(kMVNoError, MVAddSuite(nullptr, supplier.plugin, "Suite", 1, 1, this, &suite));
    MVAccess* access = nullptr;
    ASSERT_EQ(kMVNoError, MVAcquirePlugin(user.plugin, &access));
    const void* procs = nullptr;
    ASSERT_EQ(kMVNoError, MVAcquireSuite(nullptr, "Suite", 1, 0, &procs));
    MVResult released = kMVPathError;
    user.answer = [&](const std::string&, const std::string& inSelector, void*)
    {
        if (inSelector == kMVAccessUnloadSelector)
            released = MVReleaseSuite(nullptr, "Suite", 1, 0);
        return kMVNoError;
    };
    std::int32_t flushed = 0;
    EXPECT_EQ(kMVNoError, mvFlushAccesses(nullptr, &flushed, kMVAdapterDisposeType_Ordinary));
    EXPECT_EQ(1u, supplier.Heard(kUnload)) << "it went first";
    EXPECT_EQ(kMVNoError, released);
}

TEST_F(HostilePluginsTest, NoListIsFreedUnderAPluginThatIsBeingCalled)
{
    MVPluginList* own = nullptr;
    MVPluginList* other = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocatePluginList(nullptr, &own));
    ASSERT_EQ(kMVNoError, MVAllocatePluginList(nullptr, &other));
    ScriptedPlugin& plugin = ScriptedPlugin::All().at(9);
    ASSERT_EQ(kMVNoError, MVAddHostPlugin(own, ScriptedPlugin::EntryOf(9), nullptr,
                                          kMVMoonVetch2Adapter, nullptr, &plugin.plugin, nullptr));
    std::vector<MVResult> freed;
    plugin.answer = [&](auto&&...)
    {
        freed = {MVFreePluginList(nullptr), MVFreePluginList(own), MVFreeAdapterList(nullptr),
                 MVFreePluginList(other)};
        return MVResult{kMVNoError};
    };
    EXPECT_EQ(kMVNoError, Tell(plugin));
    EXPECT_THAT(freed, ElementsAre(kMVAlreadyInMessageError, kMVAlreadyInMessageError,
                                   kMVAlreadyInMessageError, kMVNoError));
    EXPECT_EQ(kMVNoError, MVFreePluginList(own));
}

TEST_F(HostilePluginsTest, AMessageToTheBuiltInAdapterWithoutARecordIsHarmless)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    for (const MVWString selector :
         {gPSkMVAdaptersFindPropertySelector, gPSkMVAdaptersAboutSelector,
          gPSkMVAdaptersFlushSelector, gPSkMVAdaptersLoadPluginSelector,
          gPSkMVAdaptersSendMessageSelector, gPSkMVAdaptersAcquireSuiteHostSelector})
    {
        MVResult answer = kMVNoError;
        EXPECT_EQ(kMVNoError, MVSendMessage(gMV2Adapter->hostPlugin, gPSkMVAdaptersCaller, selector,
                                            nullptr, &answer));
    }
    EXPECT_EQ(0u, plugin.Heard("MV Interface: About"));
}

TEST_F(HostilePluginsTest, APluginThatFreesItsOwnPropertiesIsStartedAllTheSame)
{
    ScriptedPlugin& plugin =
        AddFile("/a.so", {}, {RecordBytes(kMVProperty_Exports, ExportsData({{"Suite", 1}}))});
    plugin.answer = [&](const std::string&, const std::string& inSelector, void*)
    {
        unsigned char nothing[136] = {};
        return inSelector == kMVInterfaceStartupSelector
                   ? MVSetPluginPropertyList(plugin.plugin, nothing)
                   : MVResult{kMVNoError};
    };
    std::int32_t started = 0;
    EXPECT_EQ(kMVNoError, MVStartupExport(nullptr, "Suite", 1, &started));
    EXPECT_EQ(1, started);
    EXPECT_EQ(nullptr, plugin.plugin->propertyList);
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
}

TEST_F(HostilePluginsTest, AHostPluginThatFailsForEverIsStartedOnceAStart)
{
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [](const std::string&, const std::string& inSelector, void*)
    { return inSelector == kMVInterfaceStartupSelector ? kMVSuiteNotFoundError : kMVNoError; };
    for (std::size_t starts = 1; starts < 4; ++starts)
    {
        EXPECT_EQ(kMVNoError, MVStartupPlugins());
        EXPECT_EQ(starts, plugin.Heard(kStartup));
    }
}

} // namespace Testing
