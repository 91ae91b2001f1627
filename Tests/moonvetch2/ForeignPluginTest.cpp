// Plug-ins of another kind, called through their adapter.
#include "AdaptersFixture.h"
#include "edge/MVEAcces.h"

namespace Testing
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ForeignPluginTest : public AdapterLifeTest
{
protected:
    void SetUp() override
    {
        AdapterLifeTest::SetUp();
        mHost = &AddScripted();
        mAdapter = AddAdapter(*mHost, "Foreign");
        mPlugin = AddListed("/script", {}, "Foreign");
        mHost->heard.clear();
        mHost->answer = [this](const std::string&, const std::string& inSelector, void* ioMessage)
        {
            auto& message = *static_cast<MVAdaptersMessage*>(ioMessage);
            if (inSelector == kMVAdaptersSendMessageSelector)
                return Hear(message);
            if (inSelector != kMVAdaptersLoadPluginSelector)
                return MVResult{kMVNoError};
            EXPECT_EQ(mPlugin, message.plugin);
            return mLoadAnswer;
        };
    }
    MVResult Hear(MVAdaptersMessage& inMessage)
    {
        EXPECT_EQ(mPlugin, inMessage.plugin);
        EXPECT_EQ(mAdapter, inMessage.adapter);
        mHeard.push_back(std::string(inMessage.caller) + ": " + inMessage.selector);
        EXPECT_EQ(mPlugin, static_cast<MVMessageData*>(inMessage.message)->self);
        return mAnswer;
    }

    ScriptedPlugin* mHost = nullptr;
    MVAdapter* mAdapter = nullptr;
    MVPlugin* mPlugin = nullptr;
    MVResult mLoadAnswer = kMVNoError;
    MVResult mAnswer = kMVNoError;
    std::vector<std::string> mHeard; ///< by the plug-in behind the adapter
};

TEST_F(ForeignPluginTest, ItIsLoadedAndCalledThroughItsAdapter)
{
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, MVSendMessage(mPlugin, "A caller", "A selector", nullptr, &answer));
    EXPECT_THAT(mHeard, ElementsAre(kReload, "A caller: A selector"));
    EXPECT_THAT(mHost->heard, ElementsAre("MV Adapters: Load plugin", "MV Adapters: Send message",
                                          "MV Adapters: Send message"));
    MVAccess* access = AccessOf(mPlugin);
    ASSERT_NE(nullptr, access);
    EXPECT_EQ(0, access->count);
    EXPECT_EQ(nullptr, access->entry);
    EXPECT_EQ(nullptr, access->fileAccess);
}

TEST_F(ForeignPluginTest, TheAdaptersAnswerIsThatOfThePlugin)
{
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, MVSendMessage(mPlugin, "A caller", "A selector", nullptr, &answer));
    mAnswer = kMVPathError;
    EXPECT_EQ(kMVNoError, MVSendMessage(mPlugin, "A caller", "A selector", nullptr, &answer));
    EXPECT_EQ(kMVPathError, answer);
}

TEST_F(ForeignPluginTest, AnAdapterThatCannotLoadItBreaksIt)
{
    mLoadAnswer = kMVCantAcquirePluginError;
    MVAccess* access = nullptr;
    EXPECT_EQ(kMVCantAcquirePluginError, MVAcquirePlugin(mPlugin, &access));
    EXPECT_EQ(nullptr, access);
    EXPECT_TRUE(IsBroken(mPlugin));
    EXPECT_THAT(app.thrown, ElementsAre(kMVCantAcquirePluginError));
    EXPECT_THAT(mHeard, IsEmpty());
}

TEST_F(ForeignPluginTest, AnAdapterWithoutAHostCannotLoad)
{
    mAdapter->hostPlugin = nullptr;
    MVAccess* access = nullptr;
    EXPECT_EQ(kMVCantAcquirePluginError, MVAcquirePlugin(mPlugin, &access));
    EXPECT_THAT(app.thrown, ElementsAre(kMVCantAcquirePluginError));
    mAdapter->hostPlugin = mHost->plugin;
}

TEST_F(ForeignPluginTest, AFlushUnloadsItAndTellsTheAdapter)
{
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError, MVSendMessage(mPlugin, "A caller", "A selector", nullptr, &answer));
    mHost->heard.clear();
    std::int32_t flushed = 0;
    EXPECT_EQ(kMVNoError, mvFlushAccesses(nullptr, &flushed, kMVAdapterDisposeType_Unused));
    EXPECT_EQ(kUnload, mHeard.back());
    EXPECT_EQ(1u, mHost->Heard("MV Adapters: Release plugin"));
    EXPECT_EQ(nullptr, AccessOf(mPlugin));
}

TEST_F(ForeignPluginTest, APropertyThatItDoesNotDeclareIsAskedOfItsAdapter)
{
    Declare(mPlugin, kMVProperty_Capabilities, std::string(1, 1));
    AlignedBytes record(RecordBytes(0x61626364, "data"));
    mHost->answer = At(kMVAdaptersFindPropertySelector,
                       [&](MVAdaptersMessage& ioMessage)
                       {
                           EXPECT_EQ(mPlugin, ioMessage.plugin);
                           EXPECT_EQ(0x61626364u, ioMessage.propertyKey);
                           ioMessage.property = record.Property();
                           return kMVNoError;
                       });
    PIProperty* property = nullptr;
    EXPECT_EQ(kMVNoError, MVFindPluginProperty(mPlugin, kMVVendorID, 0x61626364, 0, &property));
    EXPECT_EQ(record.Property(), property);
    mHost->answer = nullptr;
}

TEST_F(ForeignPluginTest, APluginOfAnAdapterByTheBuiltInNameIsNative)
{
    code.AddEntry("/a.so", "PluginMain", ScriptedPlugin::EntryOf(5));
    MVAdapter* newer = nullptr;
    ASSERT_EQ(kMVNoError, MVAddAdapter(nullptr, nullptr, kMVMoonVetch2Adapter, 2, &newer));
    MVPlugin* plugin = AddListed("/a.so", {RecordBytes(kMVProperty_CodeEntry, "")});
    EXPECT_EQ(newer, plugin->adapter);
    EXPECT_TRUE(mvIsNative(plugin));
    MVAccess* access = nullptr;
    EXPECT_EQ(kMVNoError, MVAcquirePlugin(plugin, &access));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    MVGetNamedPlugin("Moon Vetch 2 Adapter Plugin", &gMV2Adapter->hostPlugin);
}

} // namespace Testing
