// The order in which plug-ins are started, and what becomes of those that cannot.
#include "PluginsFixture.h"

namespace Testing
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class StartupTest : public PluginsFixture
{
protected:
    /// Answers "Startup", and nothing else.
    static ScriptedPlugin::Answer AtStartup(std::function<MVResult()> inAnswer)
    {
        return [inAnswer = std::move(inAnswer)](const std::string& inCaller,
                                                const std::string& inSelector, void*)
        {
            if (inCaller == kMVPropertiesCaller)
                return MVResult{kMVNotImplementedError};
            return inSelector == kMVInterfaceStartupSelector ? inAnswer() : MVResult{kMVNoError};
        };
    }
    static std::string Capabilities(int inBits)
    {
        return RecordBytes(kMVProperty_Capabilities, std::string(1, static_cast<char>(inBits)));
    }
    static std::string Exports()
    {
        return RecordBytes(kMVProperty_Exports, ExportsData({{"Suite", 1}}));
    }
    static std::string Early() { return RecordBytes(kMVProperty_StartsEarly, ""); }
    MVResult AcquireWanted()
    {
        const void* procs = nullptr;
        const MVResult result = MVAcquireSuite(nullptr, "Wanted", 1, 0, &procs);
        return result == kMVNoError ? MVReleaseSuite(nullptr, "Wanted", 1, 0) : result;
    }
    MVResult AddWanted()
    {
        MVSuite* suite = nullptr;
        return MVAddSuite(nullptr, nullptr, "Wanted", 1, 1, this, &suite);
    }
};

TEST_F(StartupTest, HostPluginsGoFirst_ThenEarlyOnes_ThenThoseThatExport_ThenThoseThatAnswer)
{
    MVPlugin* ordinary = AddFile("/ordinary.so").plugin;
    MVPlugin* answers = AddFile("/answers.so", {}, {Capabilities(1)}).plugin;
    MVPlugin* exporting = AddFile("/exports.so", {}, {Exports()}).plugin;
    MVPlugin* early = AddFile("/early.so", {}, {Early()}).plugin;
    MVPlugin* host = AddScripted().plugin;
    MVPlugin* last = AddFile("/last.so").plugin;
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(Started(), ElementsAre(host, early, exporting, answers, last, ordinary));
}

TEST_F(StartupTest, EachPassTurnsTheOrderOfItsGroupAround)
{
    MVPlugin* host1 = AddScripted().plugin;
    MVPlugin* early1 = AddFile("/early1.so", {}, {Early()}).plugin;
    MVPlugin* host2 = AddScripted().plugin;
    MVPlugin* early2 = AddFile("/early2.so", {}, {Early()}).plugin;
    MVPlugin* ordinary1 = AddFile("/ordinary1.so").plugin;
    MVPlugin* ordinary2 = AddFile("/ordinary2.so").plugin;
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(Started(), ElementsAre(host1, host2, early1, early2, ordinary2, ordinary1));
}

TEST_F(StartupTest, AHostPluginThatAnsweredNoExportsIsNoExporter)
{
    const auto answersAll = [](auto&&...) { return MVResult{kMVNoError}; };
    MVPlugin* one = AddScripted(nullptr, answersAll).plugin;
    MVPlugin* two = AddScripted(nullptr, answersAll).plugin;
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(Started(), ElementsAre(one, two));
}

TEST_F(StartupTest, V2AdapterPluginsAreStartedAheadOfAllAndMayRegister)
{
    MVPlugin* host = AddScripted().plugin;
    ScriptedPlugin& adapter =
        AddFile("/adapter.so", {}, {RecordBytes(kMVProperty_Adapter, Word(2))});
    ScriptedPlugin& other = AddFile("/other.so", {}, {RecordBytes(kMVProperty_Adapter, Word(1))});
    ScriptedPlugin& cut =
        AddFile("/cut.so", {}, {RecordBytes(kMVProperty_Adapter, std::string(3, 2))});
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(Started(), ElementsAre(adapter.plugin, host, cut.plugin, other.plugin));
    EXPECT_THAT(adapter.heard, ElementsAre(kReload, kStartup, "MV Adapters: Register plugins"));
    EXPECT_THAT(other.heard, ElementsAre(kReload, kStartup));
}

TEST_F(StartupTest, AV2AdapterThatLacksASuiteDoesNotRegister)
{
    ScriptedPlugin& adapter =
        AddFile("/adapter.so", AtStartup([] { return kMVSuiteNotFoundError; }),
                {RecordBytes(kMVProperty_Adapter, Word(2))});
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(0u, adapter.Heard("MV Adapters: Register plugins"));
    EXPECT_EQ(2u, adapter.Heard(kStartup));
}

TEST_F(StartupTest, ARegistrationThatIsNotDeliveredIsTold)
{
    MVPlugin* adapter =
        AddListed("/adapter.so", {RecordBytes(kMVProperty_Adapter, Word(2)),
                                  RecordBytes(kMVProperty_CodeEntry, PascalString(""))});
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    std::vector<MVResult> told;
    for (const auto& notification : app.notified)
    {
        if (notification.event != kMVNotifyEvent_StartupNotDelivered)
            continue;
        EXPECT_EQ("/adapter.so", notification.path);
        told.push_back(notification.error);
    }
    EXPECT_THAT(told, ElementsAre(kMVCantAcquirePluginError, kMVCantAcquirePluginError));
    EXPECT_TRUE(IsBroken(adapter));
}

TEST_F(StartupTest, WhoLacksASuiteIsStartedAgainWhenItHasCome)
{
    ScriptedPlugin& provider = AddFile("/provider.so", AtStartup([&] { return AddWanted(); }));
    ScriptedPlugin& user = AddFile("/user.so", AtStartup([&] { return AcquireWanted(); }));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(Started(), ElementsAre(user.plugin, provider.plugin, user.plugin));
    EXPECT_EQ(2u, user.Heard(kStartup));
    EXPECT_EQ(1u, provider.Heard(kStartup));
    std::int32_t started = 0;
    EXPECT_EQ(kMVNoError, MVGetPluginStarted(user.plugin, &started));
    EXPECT_EQ(1, started);
    EXPECT_FALSE(IsBroken(user.plugin));
}

TEST_F(StartupTest, WhoLacksASuiteThatNeverComesIsStartedOnce)
{
    ScriptedPlugin& user = AddFile("/user.so", AtStartup([&] { return AcquireWanted(); }));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(1u, user.Heard(kStartup));
    EXPECT_EQ(0, user.plugin->flags & (kMVPluginFlag_Started | kMVPluginFlag_Broken));
}

TEST_F(StartupTest, EachNewSuiteIsOneMoreRoundForWhoNeverSucceeds)
{
    constexpr int kSuites = 50;
    int rounds = 0;
    const auto addOneMore = [&]
    {
        const std::string name = "Suite " + std::to_string(rounds);
        MVSuite* suite = nullptr;
        EXPECT_EQ(kMVNoError, MVFindSuite(nullptr, name.c_str(), 1, 0, &suite));
        if (rounds++ < kSuites)
            MVAddSuite(nullptr, nullptr, name.c_str(), 1, 1, this, &suite);
        return kMVSuiteNotFoundError;
    };
    AddFile("/never.so", AtStartup(addOneMore));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(kSuites + 1, rounds);
}

TEST_F(StartupTest, AnyOtherAnswerBreaksThePluginAndTheNextOneIsStarted)
{
    ScriptedPlugin& next = AddFile("/next.so");
    ScriptedPlugin& broken = AddFile("/broken.so", AtStartup([] { return kMVOutOfMemoryError; }));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(kMVPluginFlag_Started | kMVPluginFlag_Broken | kMVPluginFlag_SkipShutdown,
              broken.plugin->flags);
    EXPECT_EQ(kMVPluginFlag_Started | kMVPluginFlag_StartupAnswered, next.plugin->flags);
    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0u, broken.Heard(kShutdown));
    EXPECT_EQ(1u, next.Heard(kShutdown));
}

TEST_F(StartupTest, AStartupThatIsNotDeliveredIsToldAndIsNoAnswer)
{
    MVPlugin* missing =
        AddListed("/missing.so", {RecordBytes(kMVProperty_CodeEntry, PascalString(""))});
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(kMVPluginFlag_Started | kMVPluginFlag_Broken, missing->flags);
    ASSERT_FALSE(app.notified.empty());
    EXPECT_EQ(kMVNotifyEvent_StartupNotDelivered, app.notified.back().event);
    EXPECT_EQ("/missing.so", app.notified.back().path);
    EXPECT_EQ(kMVCantAcquirePluginError, app.notified.back().error);
}

TEST_F(StartupTest, ThePluginIsAnnouncedBeforeItIsStarted)
{
    std::size_t announced = 0;
    ScriptedPlugin& plugin = AddFile("/a.so", AtStartup(
                                                  [&]
                                                  {
                                                      announced = Started().size();
                                                      return kMVNoError;
                                                  }));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(1u, announced);
    EXPECT_EQ(1u, plugin.Heard(kStartup));
}

TEST_F(StartupTest, ThoseWhoAskForItSkipShutdownOnceTheyAreStarted)
{
    ScriptedPlugin& skips = AddFile("/skips.so", {}, {Capabilities(kMVCapability_SkipShutdown)});
    EXPECT_EQ(0, skips.plugin->flags);
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_NE(0, skips.plugin->flags & kMVPluginFlag_SkipShutdown);
    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0u, skips.Heard(kShutdown));
    EXPECT_EQ(1u, skips.Heard(kUnload));
}

TEST_F(StartupTest, WithoutOrdinaryPluginsTheHostIsAskedOnceInTheEnd)
{
    AddScripted();
    AddFile("/early.so", {}, {Early()});
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(app.filtered, ElementsAre(kMVNotifyEvent_FirstOrdinaryPlugin));
    EXPECT_EQ(2u, Started().size());
}

TEST_F(StartupTest, WithOrdinaryPluginsTheHostIsAskedOnceAheadOfTheFirst)
{
    ScriptedPlugin& first = AddFile("/a.so", AtStartup(
                                                 [&]
                                                 {
                                                     EXPECT_EQ(1u, app.filtered.size());
                                                     return kMVNoError;
                                                 }));
    AddFile("/b.so");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(1u, app.filtered.size());
    EXPECT_EQ(1u, first.Heard(kStartup));
}

TEST_F(StartupTest, TheHostStopsTheStartAtTheFirstOrdinaryPlugin)
{
    ScriptedPlugin& ordinary = AddFile("/a.so");
    ScriptedPlugin& host = AddScripted();
    app.filterAnswer = 0;
    EXPECT_EQ(kMVHostStoppedStartupError, MVStartupPlugins());
    EXPECT_EQ(1u, host.Heard(kStartup));
    EXPECT_THAT(ordinary.heard, IsEmpty());
    EXPECT_EQ(0u, gMV2Adapter->started) << "adapters are not started then";
    EXPECT_THAT(app.thrown, IsEmpty());
}

TEST_F(StartupTest, TheHostStopsTheStartWithoutOrdinaryPluginsToo)
{
    app.filterAnswer = 0;
    EXPECT_EQ(kMVHostStoppedStartupError, MVStartupPlugins());
}

TEST_F(StartupTest, AnEmptyListAsksTheHostOnce)
{
    MVPluginList* own = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocatePluginList(nullptr, &own));
    MVPluginList* const before = std::exchange(gMVPlugins, own);
    EXPECT_EQ(kMVNoError, mvStartupPlugins());
    app.filterAnswer = 0;
    EXPECT_EQ(kMVHostStoppedStartupError, mvStartupPlugins());
    EXPECT_EQ(2u, app.filtered.size());
    gMVPlugins = before;
    EXPECT_EQ(kMVNoError, MVFreePluginList(own));
}

TEST_F(StartupTest, TheHookAheadOfTheStartMayEndIt)
{
    ScriptedPlugin& plugin = AddScripted();
    app.beforeStartup = [] { return kMVNotImplementedError; };
    EXPECT_EQ(kMVNotImplementedError, MVStartupPlugins());
    EXPECT_EQ(0u, plugin.Heard(kStartup));
    EXPECT_THAT(app.filtered, IsEmpty());
}

TEST_F(StartupTest, WhatTheHostOverridesIsNotStarted)
{
    ScriptedPlugin& held = AddFile("/held.so");
    ScriptedPlugin& other = AddFile("/other.so");
    app.mustNotStart = [&](MVPlugin* inPlugin) { return inPlugin == held.plugin; };
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_THAT(Started(), ElementsAre(other.plugin));
}

TEST_F(StartupTest, TheMarkThatKeepsFromStartingGoesWithTheReordering)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    plugin.plugin->flags |= kMVPluginFlag_KeepFromStart;
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(1u, plugin.Heard(kStartup));
    EXPECT_EQ(0, plugin.plugin->flags & kMVPluginFlag_KeepFromStart);
}

TEST_F(StartupTest, WhatIsStartedIsNotStartedAgain)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(1u, plugin.Heard(kStartup));
}

TEST_F(StartupTest, IteratorsAreOfNoUseOnceTheListWasReordered)
{
    MVPluginListIterator* iterator = nullptr;
    ASSERT_EQ(kMVNoError, MVNewPluginListIterator(nullptr, &iterator));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    MVPlugin* plugin = nullptr;
    EXPECT_EQ(kMVBadPluginListIteratorError, MVNextPlugin(iterator, &plugin));
    EXPECT_EQ(kMVNoError, MVDeletePluginListIterator(iterator));
    EXPECT_EQ(1u, gMVPlugins->count);
}

TEST_F(StartupTest, ThePlaceholderOfABrokenPluginIsTriedAgainAtEachAcquire)
{
    ScriptedPlugin& broken = AddFile("/broken.so", AtStartup([] { return kMVOutOfMemoryError; }));
    MVSuite* suite = nullptr;
    ASSERT_EQ(kMVNoError, MVAddSuite(nullptr, broken.plugin, "Supplied", 1, 1, nullptr, &suite));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    ASSERT_EQ(1u, broken.Heard(kStartup));
    for (std::size_t tries = 2; tries < 4; ++tries)
    {
        const void* procs = nullptr;
        EXPECT_EQ(kMVNoError, MVAcquireSuite(nullptr, "Supplied", 1, 0, &procs));
        EXPECT_EQ(nullptr, procs);
        EXPECT_EQ(tries, broken.Heard(kStartup));
        EXPECT_TRUE(IsBroken(broken.plugin));
        EXPECT_NE(0, broken.plugin->flags & kMVPluginFlag_Started);
        EXPECT_EQ(kMVNoError, MVReleaseSuite(nullptr, "Supplied", 1, 0));
    }
}

TEST_F(StartupTest, ThePlaceholderOfAPluginThatStartedWithoutItIsRefused)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    MVSuite* suite = nullptr;
    ASSERT_EQ(kMVNoError, MVAddSuite(nullptr, plugin.plugin, "Supplied", 1, 1, nullptr, &suite));
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    const void* procs = nullptr;
    EXPECT_EQ(kMVPluginStartedWithoutSuiteError, MVAcquireSuite(nullptr, "Supplied", 1, 0, &procs));
    EXPECT_EQ(1u, plugin.Heard(kStartup));
}

class StartupExportTest : public StartupTest
{
protected:
    ScriptedPlugin& AddExporter(const std::string& inData)
    {
        return AddFile("/exporter.so", {}, {RecordBytes(kMVProperty_Exports, inData)});
    }
    static std::int32_t StartExport(const char* inName, std::int32_t inVersion)
    {
        std::int32_t started = -1;
        EXPECT_EQ(kMVNoError, MVStartupExport(nullptr, inName, inVersion, &started));
        return started;
    }
};

TEST_F(StartupExportTest, TheExporterOfANameAndVersionIsStarted)
{
    ScriptedPlugin& exporter = AddExporter(ExportsData({{"One", 1}, {"Another", 2}, {"Abc", 3}}));
    EXPECT_EQ(0, StartExport("Another", 1));
    EXPECT_EQ(0, StartExport("Anothe", 2));
    EXPECT_EQ(0, StartExport(nullptr, 2));
    EXPECT_THAT(exporter.heard, IsEmpty());
    EXPECT_EQ(1, StartExport("Another", 2));
    EXPECT_EQ(1u, exporter.Heard(kStartup));
    EXPECT_EQ(0, StartExport("Another", 2)) << "it is started";
}

TEST_F(StartupExportTest, ANameOfEveryLengthIsFoundBehindOthers)
{
    std::vector<std::pair<std::string, std::int32_t>> all;
    for (int length = 1; length <= 9; ++length)
        all.emplace_back(std::string(static_cast<std::size_t>(length), 'n'), length);
    ScriptedPlugin& exporter = AddExporter(ExportsData(all));
    for (const auto& [name, version] : all)
    {
        EXPECT_EQ(1, StartExport(name.c_str(), version)) << name;
        EXPECT_EQ(kMVNoError, MVSetPluginStarted(exporter.plugin, 0));
    }
}

TEST_F(StartupExportTest, AllExportersOfTheNameAreStarted)
{
    ScriptedPlugin& one = AddFile("/one.so", {}, {Exports()});
    ScriptedPlugin& two = AddFile("/two.so", {}, {Exports()});
    EXPECT_EQ(1, StartExport("Suite", 1));
    EXPECT_EQ(1u, one.Heard(kStartup));
    EXPECT_EQ(1u, two.Heard(kStartup));
}

TEST_F(StartupExportTest, APluginInAMessageIsPassedOver)
{
    std::int32_t started = -1;
    ScriptedPlugin& other = AddFile("/other.so", {}, {Exports()});
    ScriptedPlugin& busy = AddFile("/busy.so", {}, {Capabilities(1)});
    busy.answer = [&](const std::string&, const std::string& inSelector, void*)
    {
        return inSelector == kMVInterfaceAboutSelector
                   ? MVStartupExport(nullptr, "Suite", 1, &started)
                   : MVResult{kMVNoError};
    };
    EXPECT_EQ(kMVNoError, Send(busy, gPSkMVInterfaceCaller, gPSkMVInterfaceAboutSelector));
    EXPECT_EQ(1, started);
    EXPECT_EQ(1u, other.Heard(kStartup));
    EXPECT_EQ(0u, busy.Heard("MV Properties: Acquire"));
}

TEST_F(StartupExportTest, AnyOtherErrorEndsTheSearch)
{
    ScriptedPlugin& behind = AddFile("/behind.so", {}, {Exports()});
    AddListed("/missing.so", {Capabilities(1), RecordBytes(kMVProperty_CodeEntry, "")});
    std::int32_t started = -1;
    EXPECT_EQ(kMVCantAcquirePluginError, MVStartupExport(nullptr, "Suite", 1, &started));
    EXPECT_EQ(0, started);
    EXPECT_THAT(behind.heard, IsEmpty());
}

TEST_F(StartupExportTest, DamagedExportsAreNoExports)
{
    const std::string good = ExportsData({{"Suite", 1}});
    const std::string entry = ExportBytes("Suite", 1);
    const std::vector<std::string> damaged = {
        "",
        "\1",
        Word(1),
        Word(0) + entry,
        Word(1) + Word(0xFFFFFFFF) + entry.substr(4),      // a size past the end
        Word(1) + Word(11) + entry.substr(4),              // the version lies outside
        Word(1) + Word(5) + "Suite",                       // no NUL, nothing behind
        Word(1) + Word(8) + "SuiteSui",                    // no NUL in the entry
        Word(0xFFFFFFFF) + std::string(400, '\0'),         // entries without anything
        Word(2) + Word(0xFFFFFFFC) + std::string(12, 'S'), // would go backwards
        good.substr(0, good.size() - 1),
    };
    for (const std::string& data : damaged)
    {
        ScriptedPlugin::All().at(ScriptedPlugin::kMost - 1).heard.clear();
        MVPlugin* plugin = AddListed("/damaged.so", {RecordBytes(kMVProperty_Exports, data)});
        EXPECT_EQ(0, StartExport("Suite", 1)) << data.size();
        EXPECT_EQ(0, plugin->flags);
    }
}

TEST_F(StartupExportTest, AnEntryWithoutItsNULDoesNotHideTheNext)
{
    ScriptedPlugin& exporter =
        AddExporter(Word(3) + Word(0) + Word(3) + "abc" + ExportBytes("Suite", 1));
    EXPECT_EQ(1, StartExport("Suite", 1));
    EXPECT_EQ(1u, exporter.Heard(kStartup));
}

} // namespace Testing
