// Messages, and calls of loaded plug-ins.
#include "PluginsFixture.h"

namespace Testing
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MessagesTest : public PluginsFixture
{
protected:
    /// A message of its own that the host does not mark.
    static constexpr const char* kCaller = "A caller";
    static constexpr const char* kSelector = "A selector";

    static MVResult About(ScriptedPlugin& inTo, MVResult* outAnswer = nullptr)
    {
        return Send(inTo, gPSkMVInterfaceCaller, gPSkMVInterfaceAboutSelector, nullptr, outAnswer);
    }
};

TEST_F(MessagesTest, TheHeaderOfAMessageIsFilled)
{
    MVMessageData seen = {};
    ScriptedPlugin& plugin = AddScripted();
    plugin.plugin->globals = &seen;
    plugin.answer = [&](const std::string&, const std::string&, void* ioMessage)
    {
        seen = *static_cast<MVMessageData*>(ioMessage);
        return kMVNoError;
    };
    EXPECT_EQ(kMVNoError, Send(plugin, kCaller, kSelector));
    EXPECT_EQ(kMVMessageCheck, seen.MVCheck);
    EXPECT_EQ(plugin.plugin, seen.self);
    EXPECT_EQ(&seen, seen.globals);
    EXPECT_EQ(gMVBasic, seen.basic);
}

TEST_F(MessagesTest, TheAnswerIsTheResult_AndDeliveryTheReturn)
{
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [](auto&&...) { return kMVPathError; };
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, Send(plugin, kCaller, kSelector, nullptr, &answer));
    EXPECT_EQ(kMVPathError, answer);
    EXPECT_THAT(app.thrown, IsEmpty());
}

TEST_F(MessagesTest, GlobalsThatAPluginPutsInComeWithItsNextMessage)
{
    int globals = 0;
    void* seen = nullptr;
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [&](const std::string&, const std::string& inSelector, void* ioMessage)
    {
        auto* data = static_cast<MVMessageData*>(ioMessage);
        if (inSelector == kMVInterfaceStartupSelector)
            data->globals = &globals;
        else
            seen = data->globals;
        return kMVNoError;
    };
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(kMVNoError, Send(plugin, kCaller, kSelector));
    EXPECT_EQ(&globals, seen);
}

TEST_F(MessagesTest, AMessageOutOfAMessageIsRefusedAndNotDelivered)
{
    MVResult inner = kMVNoError;
    MVResult answer = kMVPathError;
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [&](auto&&...)
    {
        inner = Send(plugin, kCaller, kSelector, nullptr, &answer);
        return kMVNoError;
    };
    plugin.heard.clear();
    EXPECT_EQ(kMVNoError, About(plugin));
    EXPECT_EQ(kMVAlreadyInMessageError, inner);
    EXPECT_EQ(kMVNoError, answer);
    EXPECT_THAT(plugin.heard, ElementsAre("MV Interface: About"));
    EXPECT_THAT(app.thrown, IsEmpty());
}

TEST_F(MessagesTest, TheRefusalOfAMessageTakesTheMarkAway)
{
    std::vector<MVResult> inner;
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [&](const std::string& inCaller, const std::string&, void*)
    {
        if (inCaller == kMVInterfaceCaller)
            for (int i = 0; i < 2; ++i)
                inner.push_back(Send(plugin, kCaller, kSelector));
        return kMVNoError;
    };
    EXPECT_EQ(kMVNoError, About(plugin));
    EXPECT_THAT(inner, ElementsAre(kMVAlreadyInMessageError, kMVNoError));
    EXPECT_EQ(0, plugin.plugin->flags & kMVPluginFlag_InMessage);
}

TEST_F(MessagesTest, OnlyInternedCallersMarkThePlugin)
{
    std::vector<int> marks;
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [&](auto&&...)
    {
        marks.push_back(plugin.plugin->flags & kMVPluginFlag_InMessage);
        return kMVNoError;
    };
    const std::string text = kMVInterfaceCaller;
    EXPECT_EQ(kMVNoError, Send(plugin, gPSkMVInterfaceCaller, kSelector));
    EXPECT_EQ(kMVNoError, Send(plugin, gPSkMVPropertiesCaller, kSelector));
    EXPECT_EQ(kMVNoError, Send(plugin, text.c_str(), kSelector));
    EXPECT_EQ(kMVNoError, Send(plugin, gPSkMVAdaptersCaller, kSelector));
    EXPECT_THAT(marks, ElementsAre(kMVPluginFlag_InMessage, kMVPluginFlag_InMessage, 0, 0));
}

TEST_F(MessagesTest, ADeliveredMessageGivesThePluginBack)
{
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [](auto&&...) { return kMVPathError; };
    EXPECT_EQ(kMVNoError, Send(plugin, kCaller, kSelector));
    EXPECT_EQ(0, AccessOf(plugin.plugin)->count);
}

TEST_F(MessagesTest, AMessageThatIsNotDeliveredLeavesThePluginAcquired)
{
    ScriptedPlugin& host = AddScripted();
    MVAdapter* adapter = AddAdapter(host, "Foreign");
    MVPlugin* foreign = AddListed("/script", {}, "Foreign");
    MVAccess* access = nullptr;
    ASSERT_EQ(kMVNoError, MVAcquirePlugin(foreign, &access));
    ASSERT_EQ(kMVNoError, MVReleasePlugin(access));
    adapter->hostPlugin = nullptr;
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVCantAcquirePluginError,
              MVSendMessage(foreign, kCaller, kSelector, nullptr, &answer));
    EXPECT_EQ(1, access->count);
    EXPECT_EQ(foreign, gMVCurrentPlugin) << "it stays the current one";
    EXPECT_THAT(app.thrown, ElementsAre(kMVCantAcquirePluginError));
    adapter->hostPlugin = host.plugin;
    gMVCurrentPlugin = nullptr;
}

TEST_F(MessagesTest, ThePluginThatIsCalledIsTheCurrentOne)
{
    MVPlugin* current = nullptr;
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [&](auto&&...) { return MVGetCurrentPlugin(&current); };
    ASSERT_EQ(kMVNoError, MVSetCurrentPlugin(gMV2Adapter->hostPlugin));
    EXPECT_EQ(kMVNoError, Send(plugin, kCaller, kSelector));
    EXPECT_EQ(plugin.plugin, current);
    EXPECT_EQ(kMVNoError, MVGetCurrentPlugin(&current));
    EXPECT_EQ(gMV2Adapter->hostPlugin, current);
}

TEST_F(MessagesTest, AMissingMessageIsAZeroedOne)
{
    MVMessageData header = {};
    std::string rest;
    ScriptedPlugin& plugin = AddScripted();
    plugin.answer = [&](const std::string&, const std::string&, void* ioMessage)
    {
        header = *static_cast<MVMessageData*>(ioMessage);
        rest.assign(static_cast<const char*>(ioMessage) + sizeof header,
                    sizeof(MVAdaptersMessage) - sizeof header);
        return kMVNoError;
    };
    EXPECT_EQ(kMVNoError, Send(plugin, kCaller, kSelector));
    EXPECT_EQ(plugin.plugin, header.self);
    EXPECT_EQ(std::string(120, '\0'), rest) << "also for who takes it for a longer one";
}

TEST_F(MessagesTest, AHeaderIsFilledAndEmptiedByHand)
{
    MVMessageData data = {};
    int globals = 0;
    ScriptedPlugin& plugin = AddScripted();
    EXPECT_EQ(kMVNoError, MVSetupMessageData(plugin.plugin, &data));
    EXPECT_EQ(kMVMessageCheck, data.MVCheck);
    EXPECT_EQ(plugin.plugin, data.self);
    data.globals = &globals;
    EXPECT_EQ(kMVNoError, MVEmptyMessageData(plugin.plugin, &data));
    EXPECT_EQ(&globals, plugin.plugin->globals);
}

class V1MessagesTest : public MessagesTest
{
protected:
    void SetUp() override
    {
        MessagesTest::SetUp();
        mHost = &AddScripted();
        mAdapter = AddAdapter(*mHost, "Old", true);
        mPlugin = AddListed("/old", {}, "Old");
        mHost->heard.clear();
    }
    MVResult SendV1(const char* inCaller, const char* inSelector)
    {
        MVResult answer = kMVNoError;
        return MVSendMessage(mPlugin, inCaller, inSelector, nullptr, &answer);
    }

    ScriptedPlugin* mHost = nullptr;
    MVAdapter* mAdapter = nullptr;
    MVPlugin* mPlugin = nullptr;
};

TEST_F(V1MessagesTest, NothingButAboutReachesTheAdapter)
{
    EXPECT_EQ(kMVNeedsNativeAdapterError, SendV1(kMVInterfaceCaller, kMVInterfaceStartupSelector));
    EXPECT_EQ(kMVNeedsNativeAdapterError, SendV1(kCaller, kMVInterfaceAboutSelector));
    EXPECT_EQ(kMVNeedsNativeAdapterError, SendV1(nullptr, nullptr));
    EXPECT_THAT(mHost->heard, IsEmpty());
    EXPECT_EQ(3u, app.thrown.size());
}

TEST_F(V1MessagesTest, AboutIsComparedByTextAndReachesTheAdapter_AndIsThenRefused)
{
    MVAdaptersMessage seen = {};
    int globals = 0;
    mHost->answer = [&](const std::string&, const std::string&, void* ioMessage)
    {
        auto* message = static_cast<MVAdaptersMessage*>(ioMessage);
        seen = *message;
        message->data.globals = &globals;
        return kMVNoError;
    };
    const std::string caller = kMVInterfaceCaller;
    const std::string selector = kMVInterfaceAboutSelector;
    EXPECT_EQ(kMVNeedsNativeAdapterError, SendV1(caller.c_str(), selector.c_str()));
    EXPECT_THAT(mHost->heard, ElementsAre("MV Adapters: About"));
    EXPECT_EQ(mHost->plugin, seen.data.self);
    EXPECT_EQ(kMVMessageCheck, seen.data.MVCheck);
    EXPECT_EQ(gMVBasic, seen.data.basic);
    EXPECT_EQ(mAdapter, seen.adapter);
    EXPECT_EQ(mPlugin, seen.plugin);
    EXPECT_EQ(&globals, mHost->plugin->globals);
    EXPECT_EQ(0, AccessOf(mHost->plugin)->count);
}

TEST_F(V1MessagesTest, AHostThatIsUnderAV1AdapterItselfIsNotReached)
{
    mHost->plugin->adapter = mAdapter;
    EXPECT_EQ(kMVNeedsNativeAdapterError, SendV1(kMVInterfaceCaller, kMVInterfaceAboutSelector));
    EXPECT_THAT(mHost->heard, IsEmpty());
    mHost->plugin->adapter = gMV2Adapter;
}

TEST_F(V1MessagesTest, HeadersAreNotForIt)
{
    MVMessageData data = {};
    EXPECT_EQ(kMVNeedsNativeAdapterError, MVSetupMessageData(mPlugin, &data));
    EXPECT_EQ(kMVNeedsNativeAdapterError, MVEmptyMessageData(mPlugin, &data));
    EXPECT_EQ(0, data.MVCheck);
    EXPECT_EQ(2u, app.thrown.size());
}

TEST_F(V1MessagesTest, ItCannotBeAcquired)
{
    MVAccess* access = nullptr;
    EXPECT_EQ(kMVNeedsNativeAdapterError, MVAcquirePlugin(mPlugin, &access));
    EXPECT_EQ(nullptr, access);
    EXPECT_THAT(app.thrown, ElementsAre(kMVNeedsNativeAdapterError));
}

TEST_F(V1MessagesTest, ItsStartIsToldAsNotDelivered)
{
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(kMVNotifyEvent_StartupNotDelivered, app.notified.back().event);
    EXPECT_EQ(kMVNeedsNativeAdapterError, app.notified.back().error);
    EXPECT_EQ(1u, mHost->Heard("MV Adapters: Start up"));
}

} // namespace Testing
