// The plug-ins of the documentation, as an application uses them.
#include <algorithm>
#include <cstring>

#include "ExampleMessage.h"
#include "PluginFolder.h"
#include "moonvetch2/HostFixture.h"

namespace
{

using Testing::PluginSample;

class PluginExamplesTest : public Testing::HostFixture
{
protected:
    void Add(const char* inName)
    {
        std::int32_t added = 0;
        EXPECT_EQ(kMVNoError, MVAddPluginFile(nullptr, PluginSample(inName).c_str(), &added))
            << MVGetLoadFailureText();
        EXPECT_EQ(1, added);
    }
    static MVPlugin* Named(const char* inName)
    {
        MVPlugin* plugin = nullptr;
        EXPECT_EQ(kMVNoError, MVGetNamedPlugin(inName, &plugin)) << inName;
        return plugin;
    }
    static std::string TextOf(MVPlugin* inPlugin)
    {
        ExampleTextMessage message = {};
        MVResult answer = -1;
        EXPECT_EQ(kMVNoError,
                  MVSendMessage(inPlugin, kExampleCaller, kExampleTextSelector, &message, &answer));
        EXPECT_EQ(kMVNoError, answer);
        return message.text;
    }
    static bool IsStarted(const char* inName)
    {
        std::int32_t started = 0;
        std::int32_t broken = 1;
        MVGetPluginStarted(Named(inName), &started);
        MVGetPluginBroken(Named(inName), &broken);
        return started != 0 && broken == 0;
    }
    /// How often the plug-in of that name was about to be started.
    std::ptrdiff_t StartsOf(const char* inName)
    {
        MVPlugin* const plugin = Named(inName);
        return std::count_if(app.notified.begin(), app.notified.end(),
                             [plugin](const Testing::Application::Notification& inTold)
                             { return inTold.plugin == plugin; });
    }
};

TEST_F(PluginExamplesTest, TheTemplateStartsKeepsItsGlobalsAndGivesThemBack)
{
    Add("Template.so");
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_TRUE(IsStarted("Template"));
    void* globals = nullptr;
    MVGetPluginGlobals(Named("Template"), &globals);
    EXPECT_NE(nullptr, globals);
    EXPECT_EQ(1u, app.blocks.size());
    EXPECT_EQ(kMVNoError, MVShutdownPlugins());
    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0u, app.blocks.size());
}

TEST_F(PluginExamplesTest, ASuiteIsUsedAcrossTwoFiles)
{
    Add("SuiteUser.so");
    Add("SuiteProvider.plugin");
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_TRUE(IsStarted("Suite User"));
    EXPECT_EQ("25:01:01:07", TextOf(Named("Suite User")));
}

TEST_F(PluginExamplesTest, TheUserComesAfterTheProviderWhateverTheOrder)
{
    Add("SuiteProvider.plugin");
    Add("SuiteUser.so");
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ("25:01:01:07", TextOf(Named("Suite User")));
}

// Without its exports declared, nothing tells the host to begin with the provider.
TEST_F(PluginExamplesTest, AUserThatCameTooEarlyIsStartedAgainOnceTheSuiteIsThere)
{
    const Testing::TemporaryFolder folder;
    const std::string provider = Testing::MakeBundle(
        folder, "Provider", PluginSample("SuiteProvider.plugin/Contents/Linux/SuiteProvider.so"),
        Testing::PropertyBytes().Name("Undeclared Provider").Entry("PluginMain").Bytes());
    std::int32_t added = 0;
    ASSERT_EQ(kMVNoError, MVAddPluginFile(nullptr, provider.c_str(), &added));
    Add("SuiteUser.so"); // ahead in the list
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(2, StartsOf("Suite User"));
    EXPECT_TRUE(IsStarted("Suite User"));
    EXPECT_EQ("25:01:01:07", TextOf(Named("Suite User")));
}

TEST_F(PluginExamplesTest, WithoutTheProviderTheUserWaitsAndIsNotBroken)
{
    Add("SuiteUser.so");
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    std::int32_t broken = 1;
    MVGetPluginBroken(Named("Suite User"), &broken);
    EXPECT_EQ(0, broken);
    EXPECT_FALSE(IsStarted("Suite User"));
}

TEST_F(PluginExamplesTest, AnAdapterMakesPluginsOfTextFiles)
{
    const Testing::TemporaryFolder folder;
    folder.Write("Hello.answers", "Good morning\r\nnot this line\n");
    folder.Write("Empty.answers", "");
    folder.Write("Other.txt", "no plug-in");
    MVFileSpecification place = {};
    std::strncpy(place.path, folder.Path().c_str(), sizeof place.path - 1);
    MVSetRuntimePluginsFolder(&place);
    Add("ForeignAdapter.so");
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ("Good morning", TextOf(Named("Hello.answers")));
    EXPECT_EQ("", TextOf(Named("Empty.answers")));
    MVPlugin* none = nullptr;
    EXPECT_EQ(kMVPluginNotFoundError, MVGetNamedPlugin("Other.txt", &none));
    EXPECT_TRUE(IsStarted("Hello.answers"));
    EXPECT_EQ(kMVNoError, MVShutdownPlugins());
    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0u, app.blocks.size());
}

} // namespace
