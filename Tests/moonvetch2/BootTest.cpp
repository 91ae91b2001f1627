#include "HostInternals.h"
#include "MVAccess.h"
#include "MVAdapts.h"
#include "MVCaches.h"
#include "MVPlugs.h"
#include "MVStrngs.h"
#include "MVSuites.h"

namespace
{

using Testing::HostInternalsFixture;
using Testing::ScriptedPlugin;

constexpr int kTable = 1;

struct Boot : HostInternalsFixture
{
};

struct DebuggedBoot : HostInternalsFixture
{
    DebuggedBoot()
        : HostInternalsFixture(1)
    {
    }
};

TEST_F(Boot, SetsTheOneInstanceOfEverything)
{
    EXPECT_EQ(&app.procs, gMVHostProcs);
    EXPECT_EQ(1, initCount);
    EXPECT_FALSE(gHostSuppliedStringPool);
    ASSERT_NE(nullptr, gMV2Adapter);
    EXPECT_STREQ("Moon Vetch 2 Adapter", gMV2Adapter->name);
    EXPECT_EQ(1, gMV2Adapter->version);
    ASSERT_NE(nullptr, gMV2Adapter->hostPlugin);
    EXPECT_STREQ("Moon Vetch 2 Adapter Plugin", gMV2Adapter->hostPlugin->name);
    EXPECT_EQ(&mvAdapter, gMV2Adapter->hostPlugin->hostEntry);
    EXPECT_EQ(14u, gMVSuites->count);
    EXPECT_EQ(14u, gMVSuites->suites.size());
    EXPECT_EQ(gMVStrings, gMVSuites->strings);
    EXPECT_EQ(gMVPlugins, gMVSuites->plugins);
}

TEST_F(Boot, HoldsTheBasicSuiteItself)
{
    MVSuite* suite = nullptr;
    ASSERT_EQ(kMVNoError, MVFindSuite(nullptr, kMVBasicSuite, kMVBasicSuiteVersion, 0, &suite));

    EXPECT_EQ(gMVBasic, suite->suiteProcs);
    EXPECT_EQ(1, suite->acquireCount);
}

TEST_F(Boot, ANewLifeBeginsAtTheFirstPhase)
{
    MVShutdownPlugins();
    EXPECT_EQ(kMVAccessPhase_Shutdown, gGeneralAccessPoint);
    ASSERT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(kMVAccessPhase_Disposal, gGeneralAccessPoint);

    ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));

    EXPECT_EQ(kMVAccessPhase_BeforeStartup, gGeneralAccessPoint);
}

TEST_F(Boot, LeavesNoAccessBehindThatANewLifeCouldFind)
{
    ScriptedPlugin& plugin = AddScripted();
    MVAccess* access = nullptr;
    ASSERT_EQ(kMVNoError, MVAcquirePlugin(plugin.plugin, &access)); // and never released

    ASSERT_EQ(kMVNoError, MVTerm());

    EXPECT_EQ(nullptr, firstAccess);
    EXPECT_EQ(0, countAccess);
}

TEST_F(Boot, EndsAlthoughAPluginRefusesToBeUnloaded)
{
    AddScripted(nullptr, [](const std::string&, const std::string& inSelector, void*)
                { return inSelector == kMVAccessUnloadSelector ? MVResult{kMVPathError} : 0; });

    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0, MVInited());
    EXPECT_EQ(nullptr, firstAccess);
}

TEST_F(Boot, ASuiteMarksItsPluginAsOneThatExports)
{
    ScriptedPlugin& plugin = AddScripted();
    EXPECT_EQ(0, plugin.plugin->flags & kMVPluginFlag_ExportsSuites);

    MVAddSuite(nullptr, plugin.plugin, "S", 1, 1, &kTable, nullptr);

    EXPECT_NE(0, plugin.plugin->flags & kMVPluginFlag_ExportsSuites);
}

TEST_F(Boot, SuitesCountEachRecordAndSearchesOnce)
{
    const std::uint32_t count = gMVSuites->count;
    const std::uint32_t stamp = gMVSuites->stamp;
    MVSuite* suite = nullptr;
    MVFindSuite(nullptr, "S", 1, 0, &suite);
    MVFindSuite(nullptr, "S", 1, 0, &suite);
    ASSERT_NE(nullptr, gMVSuites->searchedFor);
    EXPECT_EQ(nullptr, gMVSuites->searchedFor->next);

    MVAddSuite(nullptr, nullptr, "S", 1, 1, nullptr, nullptr);
    MVAddSuite(nullptr, nullptr, "S", 1, 1, nullptr, nullptr); // a second record of the key

    EXPECT_EQ(nullptr, gMVSuites->searchedFor);
    EXPECT_EQ(count + 2, gMVSuites->count);
    EXPECT_EQ(stamp + 2, gMVSuites->stamp);
    EXPECT_EQ(count + 1, gMVSuites->suites.size());
}

TEST_F(DebuggedBoot, RunsWithBlockDebugFromStartToEnd)
{
    ScriptedPlugin& plugin = AddScripted();
    MVAddSuite(nullptr, plugin.plugin, "S", 1, 1, &kTable, nullptr);
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    const void* table = nullptr;
    EXPECT_EQ(kMVNoError, MVBasicAcquireSuite("S", 1, &table));
    EXPECT_EQ(kMVNoError, MVBasicReleaseSuite("S", 1));

    std::vector<std::string> texts;
    for (MVBlockHeader* header = firstBlock; header != nullptr; header = header->next)
        texts.emplace_back(header->debug);
    EXPECT_EQ(static_cast<std::size_t>(numBlocks), texts.size());
    for (const char* text : {"an MVSuite", "an MVPlugin", "an MVPluginList", "an MVAdapter",
                             "an MVAdapterList", "an MVAccess", "an MVPropertyList",
                             "an MVStringPool", "an MVPoolHeap", "a PoolHeapBlock", "a SortBlock"})
        EXPECT_THAT(texts, ::testing::Contains(text));
}

} // namespace
