// The end of native plug-ins, by the built-in adapter.
#include "AdaptersFixture.h"
#include "edge/MVEAcces.h"

namespace Testing
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ShutdownTest : public AdapterLifeTest
{
protected:
    static MVResult ShutDown(MVResult* outAnswer = nullptr)
    {
        MVAdaptersMessage message = {};
        MVResult answer = kMVNoError;
        const MVResult sent =
            mvSendToAdapterHost(gMV2Adapter, gPSkMVAdaptersShutdownSelector, message, &answer);
        if (outAnswer != nullptr)
            *outAnswer = answer;
        return sent;
    }
    void Order(ScriptedPlugin& ioPlugin, const std::string& inName)
    {
        ioPlugin.answer = [this, inName](const std::string&, const std::string& inSelector, void*)
        {
            if (inSelector == kMVInterfaceShutdownSelector)
                mOrder.push_back(inName);
            return kMVNoError;
        };
    }

    std::vector<std::string> mOrder;
};

TEST_F(ShutdownTest, ThoseThatSupplySuitesGoDownLast)
{
    ScriptedPlugin& supplier = AddFile("/supplier.so");
    ScriptedPlugin& user = AddFile("/user.so");
    ScriptedPlugin& host = AddScripted();
    MVSuite* suite = nullptr;
    ASSERT_EQ(kMVNoError, MVAddSuite(nullptr, host.plugin, "Suite", 1, 1, this, &suite));
    ASSERT_EQ(kMVNoError, MVAddSuite(nullptr, supplier.plugin, "Other", 1, 1, this, &suite));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    Order(supplier, "supplier");
    Order(user, "user");
    Order(host, "host");
    EXPECT_EQ(kMVNoError, ShutDown());
    EXPECT_THAT(mOrder, ElementsAre("user", "host", "supplier"));
    EXPECT_EQ(kMVPluginFlag_StartupAnswered, user.plugin->flags);
}

TEST_F(ShutdownTest, UnusedCodeWithoutSuitesIsUnloadedAtOnceWithItsFile)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    ScriptedPlugin& supplier = AddFile("/b.so");
    MVSuite* suite = nullptr;
    ASSERT_EQ(kMVNoError, MVAddSuite(nullptr, supplier.plugin, "Suite", 1, 1, this, &suite));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(2, fileAccessCount);
    EXPECT_EQ(kMVNoError, ShutDown());
    EXPECT_THAT(plugin.heard, ElementsAre(kReload, kStartup, kShutdown, kUnload));
    EXPECT_THAT(supplier.heard, ElementsAre(kReload, kStartup, kShutdown));
    EXPECT_EQ(1, fileAccessCount);
}

TEST_F(ShutdownTest, UsedCodeStaysLoaded)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    MVAccess* access = nullptr;
    ASSERT_EQ(kMVNoError, MVAcquirePlugin(plugin.plugin, &access));
    EXPECT_EQ(kMVNoError, ShutDown());
    EXPECT_EQ(0u, plugin.Heard(kUnload));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(ShutdownTest, WhoNeverAnsweredStartupIsNotToldOfTheEndUnlessItSuppliesSuites)
{
    ScriptedPlugin& plain = AddFile("/a.so");
    ScriptedPlugin& supplier = AddFile("/b.so");
    supplier.plugin->flags = kMVPluginFlag_ExportsSuites;
    MVSetPluginStarted(plain.plugin, 1);
    MVSetPluginStarted(supplier.plugin, 1);
    EXPECT_EQ(kMVNoError, ShutDown());
    EXPECT_THAT(plain.heard, IsEmpty());
    EXPECT_EQ(1u, supplier.Heard(kShutdown));
    EXPECT_EQ(0, plain.plugin->flags);
}

TEST_F(ShutdownTest, AnUndeliveredShutdownOfThoseWithoutSuitesEndsTheShutdown)
{
    ScriptedPlugin& behind = AddFile("/behind.so");
    ScriptedPlugin& busy = AddFile("/busy.so");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    busy.plugin->flags |= kMVPluginFlag_InAccessMessage;
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, ShutDown(&answer));
    EXPECT_EQ(kMVAlreadyInMessageError, answer);
    EXPECT_EQ(0u, behind.Heard(kShutdown));
    EXPECT_EQ(0, busy.plugin->flags & kMVPluginFlag_Started);
    busy.plugin->flags = 0;
}

TEST_F(ShutdownTest, AmongThoseWithSuitesABusyOneIsPassedOver)
{
    ScriptedPlugin& behind = AddFile("/behind.so");
    ScriptedPlugin& busy = AddFile("/busy.so");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    for (ScriptedPlugin* plugin : {&behind, &busy})
        plugin->plugin->flags |= kMVPluginFlag_ExportsSuites;
    busy.plugin->flags |= kMVPluginFlag_InAccessMessage;
    MVResult answer = kMVPathError;
    EXPECT_EQ(kMVNoError, ShutDown(&answer));
    EXPECT_EQ(kMVNoError, answer);
    EXPECT_EQ(1u, behind.Heard(kShutdown));
    busy.plugin->flags = 0;
}

TEST_F(ShutdownTest, DisposalFreesWhatPluginsDeclareAndReportsThePhase)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(kMVNoError, ShutDown());
    MVAdaptersMessage message = {};
    message.flushProc = mvDefaultFlush;
    MVResult answer = kMVPathError;
    EXPECT_EQ(kMVNoError, mvSendToAdapterHost(gMV2Adapter, gPSkMVAdaptersDisposeInfoSelector,
                                              message, &answer));
    EXPECT_EQ(kMVNoError, answer);
    EXPECT_EQ(kMVAccessPhase_Disposal, gGeneralAccessPoint);
    EXPECT_EQ(nullptr, plugin.plugin->propertyList);
    EXPECT_EQ(nullptr, firstAccess);
    MVAccess* access = nullptr;
    EXPECT_EQ(kMVNeedsNativeAdapterError, MVAcquirePlugin(plugin.plugin, &access));
}

TEST_F(ShutdownTest, DisposalOfAPluginInAMessageEndsWithThatError)
{
    ScriptedPlugin& busy = AddFile("/busy.so");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    busy.plugin->flags |= kMVPluginFlag_InMessage;
    MVAdaptersMessage message = {};
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, mvSendToAdapterHost(gMV2Adapter, gPSkMVAdaptersDisposeInfoSelector,
                                              message, &answer));
    EXPECT_EQ(kMVAlreadyInMessageError, answer);
    EXPECT_NE(nullptr, busy.plugin->propertyList);
    busy.plugin->flags = 0;
}

TEST_F(ShutdownTest, WhatIsUnloadedMayGiveOthersBack_WhichGoInALaterRound)
{
    ScriptedPlugin& behind = AddFile("/behind.so");
    ScriptedPlugin& holder = AddFile("/holder.so");
    MVAccess* held = nullptr;
    ASSERT_EQ(kMVNoError, MVAcquirePlugin(behind.plugin, &held));
    EXPECT_EQ(kMVNoError, Send(holder, "A caller", "A selector"));
    holder.answer = [&](const std::string&, const std::string& inSelector, void*)
    {
        return inSelector == kMVAccessUnloadSelector ? MVReleasePlugin(held) : MVResult{kMVNoError};
    };
    MVAdaptersMessage message = {};
    message.flushProc = mvDefaultFlush;
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, mvSendToAdapterHost(gMV2Adapter, gPSkMVAdaptersDisposeInfoSelector,
                                              message, &answer));
    EXPECT_EQ(1u, holder.Heard(kUnload));
    EXPECT_EQ(1u, behind.Heard(kUnload)) << "which stood behind, in the same walk";
    EXPECT_LE(2, message.flushed);
}

TEST_F(ShutdownTest, AboutOfTheBuiltInAdapterIsPassedOn)
{
    ScriptedPlugin& plugin = AddFile("/a.so", [](auto&&...) { return MVResult{kMVNoError}; });
    plugin.answer = [](const std::string&, const std::string& inSelector, void*)
    { return inSelector == kMVInterfaceAboutSelector ? kMVPathError : kMVNoError; };
    MVAdaptersMessage message = {};
    message.plugin = plugin.plugin;
    MVResult answer = kMVPathError;
    EXPECT_EQ(kMVNoError,
              mvSendToAdapterHost(gMV2Adapter, gPSkMVAdaptersAboutSelector, message, &answer));
    EXPECT_EQ(kMVNoError, answer);
    EXPECT_EQ(kMVPathError, message.error);
    EXPECT_EQ(1u, plugin.Heard("MV Interface: About"));
}

TEST_F(ShutdownTest, TheBuiltInAdapterAnswersOthersAndWhatItDoesNotKnowWithSuccess)
{
    MVAdaptersMessage message = {};
    EXPECT_EQ(kMVNoError, mvAdapter("MV Adapters", gPSkMVAdaptersShutdownSelector, &message))
        << "by text it is somebody else";
    EXPECT_EQ(kMVNoError, mvAdapter(gPSkMVAdaptersCaller, "Shut down", &message));
    EXPECT_EQ(kMVNoError,
              mvAdapter(gPSkMVAdaptersCaller, gPSkMVAdaptersFindPropertySelector, nullptr));
    EXPECT_EQ(kMVBadParameterError,
              mvAdapter(gPSkMVAdaptersCaller, gPSkMVAdaptersFindPropertySelector, &message));
}

} // namespace Testing
