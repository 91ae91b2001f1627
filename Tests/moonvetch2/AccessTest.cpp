// Loaded plug-ins: how they are loaded, counted, flushed and called.
#include "PluginsFixture.h"
#include "Support/FakeClock.h"
#include "edge/MVEAcces.h"

namespace Testing
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StrEq;

class AccessTest : public PluginsFixture
{
protected:
    /// The access of the built-in adapter's plug-in goes, so that only those of the test are counted.
    void SetUp() override
    {
        PluginsFixture::SetUp();
        Flush();
    }
    static MVAccess* Acquire(MVPlugin* inPlugin)
    {
        MVAccess* access = nullptr;
        EXPECT_EQ(kMVNoError, MVAcquirePlugin(inPlugin, &access));
        return access;
    }
    static std::int32_t Flush(kMVAdapterDisposeType inType = kMVAdapterDisposeType_Unused,
                              MVFlushProc inProc = nullptr)
    {
        std::int32_t flushed = -1;
        EXPECT_EQ(kMVNoError, mvFlushAccesses(inProc, &flushed, inType));
        return flushed;
    }
    static MVResult KeepAll(const char*, MVAccess*, std::int32_t* outFlush)
    {
        *outFlush = 0;
        return kMVNoError;
    }
    static MVResult Refuse(const char*, MVAccess*, std::int32_t*) { return kMVNotImplementedError; }
    static std::string Entry(const std::string& inName)
    {
        return RecordBytes(kMVProperty_CodeEntry, PascalString(inName));
    }
    static MVPluginEntry FirstEntry() { return ScriptedPlugin::EntryOf(0); }
    /// What the acquire of a plug-in that cannot be loaded answers.
    MVResult FailToAcquire(MVPlugin* inPlugin)
    {
        MVAccess* access = reinterpret_cast<MVAccess*>(this);
        const MVResult result = MVAcquirePlugin(inPlugin, &access);
        EXPECT_EQ(nullptr, access);
        return result;
    }
};

TEST_F(AccessTest, TwoAcquiresAreOneAccess_AndItStaysLoadedWhenNobodyUsesIt)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    MVAccess* access = Acquire(plugin.plugin);
    EXPECT_EQ(access, Acquire(plugin.plugin));
    EXPECT_EQ(2, access->count);
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    EXPECT_EQ(0, access->count);
    EXPECT_EQ(access, AccessOf(plugin.plugin));
    EXPECT_EQ(kMVAlreadyReleasedError, MVReleasePlugin(access));
    EXPECT_THAT(app.thrown, ElementsAre(kMVAlreadyReleasedError));
    EXPECT_EQ(0, access->count);
    EXPECT_THAT(plugin.heard, ElementsAre(kReload));
}

TEST_F(AccessTest, TheMostRecentlyAcquiredStandsFirst)
{
    MVAccess* one = Acquire(AddFile("/one.so").plugin);
    MVAccess* two = Acquire(AddFile("/two.so").plugin);
    EXPECT_EQ(two, firstAccess);
    EXPECT_EQ(one, Acquire(one->plugin));
    EXPECT_EQ(one, firstAccess);
    EXPECT_EQ(two, firstAccess->next);
    MVReleasePlugin(one);
    MVReleasePlugin(one);
    MVReleasePlugin(two);
}

TEST_F(AccessTest, AHostPluginHasNoFile)
{
    ScriptedPlugin& plugin = AddScripted();
    MVAccess* access = Acquire(plugin.plugin);
    EXPECT_EQ(nullptr, access->fileAccess);
    MVPluginEntry entry = nullptr;
    EXPECT_EQ(kMVNoError, MVGetAccessEntry(access, &entry));
    EXPECT_EQ(ScriptedPlugin::EntryOf(0), entry);
    EXPECT_THAT(code.loads, IsEmpty());
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(AccessTest, TheNamedEntryIsTriedFirst)
{
    code.AddEntry("/a.so", "Mine", FirstEntry());
    code.AddEntry("/a.so", "PluginMain", ScriptedPlugin::EntryOf(1));
    MVAccess* access = Acquire(AddListed("/a.so", {Entry("Mine")}));
    EXPECT_EQ(FirstEntry(), access->entry);
    EXPECT_THAT(code.lookUps, ElementsAre("Mine"));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(AccessTest, MainIsFoundAfterPluginMainFails)
{
    code.AddEntry("/a.so", "main", FirstEntry());
    MVAccess* access = Acquire(AddListed("/a.so", {Entry("")}));
    EXPECT_EQ(FirstEntry(), access->entry);
    EXPECT_THAT(code.lookUps, ElementsAre("PluginMain", "main"));
    EXPECT_THAT(MVGetLoadFailureText(), StrEq(""));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(AccessTest, ANameThatIsLongerThanItsPropertyIsCutThere)
{
    code.AddEntry("/a.so", "main", FirstEntry());
    MVAccess* access =
        Acquire(AddListed("/a.so", {RecordBytes(kMVProperty_CodeEntry, "\xFFMine"),
                                    RecordBytes(kMVProperty_StartsEarly, "beyond")}));
    EXPECT_THAT(code.lookUps, ElementsAre("Mine", "PluginMain", "main"));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(AccessTest, ANameWithoutAnyByteIsNone)
{
    code.AddEntry("/a.so", "main", FirstEntry());
    MVAccess* access = Acquire(AddListed("/a.so", {RecordBytes(kMVProperty_CodeEntry, "")}));
    EXPECT_THAT(code.lookUps, ElementsAre("PluginMain", "main"));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(AccessTest, CodeWithoutAnEntryBreaksThePluginAtEachTry)
{
    code.Add("/a.so", {});
    MVPlugin* plugin = AddListed("/a.so", {Entry("Mine")});
    const std::size_t before = app.internalBlocks.size();
    for (int tries = 0; tries < 2; ++tries)
    {
        EXPECT_EQ(kMVCantAcquirePluginError, FailToAcquire(plugin));
        EXPECT_TRUE(IsBroken(plugin));
        EXPECT_THAT(MVGetLoadFailureText(), StrEq("undefined symbol: main"));
        EXPECT_EQ(nullptr, firstFileAccess->url) << "the place of the file is forgotten";
    }
    EXPECT_THAT(code.lookUps,
                ElementsAre("Mine", "PluginMain", "main", "Mine", "PluginMain", "main"));
    EXPECT_THAT(app.thrown, ElementsAre(kMVCantAcquirePluginError, kMVCantAcquirePluginError));
    EXPECT_EQ(nullptr, AccessOf(plugin));
    Flush();
    EXPECT_EQ(0, fileAccessCount);
    EXPECT_GE(before, app.internalBlocks.size());
}

TEST_F(AccessTest, AFileThatCannotBeLoadedBreaksThePlugin)
{
    MVPlugin* plugin = AddListed("/missing.so", {Entry("")});
    EXPECT_EQ(kMVCantAcquirePluginError, FailToAcquire(plugin));
    EXPECT_TRUE(IsBroken(plugin));
    EXPECT_THAT(MVGetLoadFailureText(), StrEq("/missing.so: there is no such code"));
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVCantAcquirePluginError,
              MVSendMessage(plugin, gPSkMVInterfaceCaller, "any", nullptr, &answer));
    EXPECT_EQ(2u, app.thrown.size());
}

TEST_F(AccessTest, APluginWithoutAFileCannotBeLoaded)
{
    AlignedBytes bytes(ListBytes({Entry("")}));
    MVPlugin* plugin = nullptr;
    ASSERT_EQ(kMVNoError, MVAddPluginSpecification(nullptr, nullptr, bytes.List(),
                                                   kMVMoonVetch2Adapter, nullptr, &plugin));
    EXPECT_EQ(kMVCantAcquirePluginError, FailToAcquire(plugin));
    EXPECT_THAT(code.loads, IsEmpty());
}

TEST_F(AccessTest, APluginThatTellsOfNoCodeNeedsAnAdapterOfItsOwn)
{
    MVPlugin* plugin = AddListed("/a.so", {});
    EXPECT_EQ(kMVNeedsNativeAdapterError, FailToAcquire(plugin));
    EXPECT_FALSE(IsBroken(plugin));
    EXPECT_THAT(app.thrown, IsEmpty());
    EXPECT_THAT(code.loads, IsEmpty());
    EXPECT_EQ(nullptr, AccessOf(plugin));
}

TEST_F(AccessTest, ThePluginsOfOneFileShareIt)
{
    code.AddEntry("/a.so", "One", FirstEntry());
    code.AddEntry("/a.so", "Two", ScriptedPlugin::EntryOf(1));
    MVAccess* one = Acquire(AddListed("/a.so", {Entry("One")}));
    MVAccess* two = Acquire(AddListed("file:///a.so", {Entry("Two")}));
    ASSERT_NE(nullptr, one->fileAccess);
    EXPECT_EQ(one->fileAccess, two->fileAccess);
    EXPECT_EQ(2, one->fileAccess->count);
    EXPECT_EQ(1, fileAccessCount);
    MVReleasePlugin(one);
    EXPECT_EQ(1, Flush());
    EXPECT_EQ(1, two->fileAccess->count);
    MVReleasePlugin(two);
}

TEST_F(AccessTest, AFileOfWhichOneEntryIsMissingStaysForTheOther)
{
    code.AddEntry("/a.so", "One", FirstEntry());
    MVAccess* one = Acquire(AddListed("/a.so", {Entry("One")}));
    EXPECT_EQ(kMVCantAcquirePluginError, FailToAcquire(AddListed("/a.so", {Entry("Two")})));
    ASSERT_NE(nullptr, one->fileAccess);
    EXPECT_EQ(1, one->fileAccess->count);
    MVReleasePlugin(one);
    EXPECT_EQ(2, Flush()) << "the access and the file";
    EXPECT_EQ(0, fileAccessCount);
}

TEST_F(AccessTest, WithoutMemoryNothingIsLoadedAndNothingBroken)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    for (int allocations = 0; allocations < 2; ++allocations)
    {
        app.allocationsLeft = allocations;
        EXPECT_EQ(kMVOutOfMemoryError, FailToAcquire(plugin.plugin));
        app.allocationsLeft = -1;
        EXPECT_FALSE(IsBroken(plugin.plugin));
        EXPECT_EQ(nullptr, AccessOf(plugin.plugin));
    }
    EXPECT_THAT(plugin.heard, IsEmpty());
}

TEST_F(AccessTest, APluginThatRefusesReloadStaysOnTheListUnacquired)
{
    ScriptedPlugin& plugin = AddFile("/a.so", [](auto&&...) { return kMVPathError; });
    EXPECT_EQ(kMVPathError, FailToAcquire(plugin.plugin));
    EXPECT_THAT(app.thrown, ElementsAre(kMVPathError));
    MVAccess* access = AccessOf(plugin.plugin);
    ASSERT_NE(nullptr, access);
    EXPECT_EQ(0, access->count);
    EXPECT_FALSE(IsBroken(plugin.plugin));
    EXPECT_EQ(access, Acquire(plugin.plugin)) << "and is found there the next time";
    EXPECT_THAT(plugin.heard, ElementsAre(kReload));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    plugin.answer = nullptr;
}

TEST_F(AccessTest, ThePhaseTellsWhenAPluginIsLoadedAndUnloaded)
{
    std::vector<std::pair<std::string, std::int32_t>> phases;
    ScriptedPlugin& plugin = AddFile("/a.so");
    plugin.answer = [&](const std::string& inCaller, const std::string& inSelector, void* ioMessage)
    {
        if (inCaller == kMVAccessCaller)
            phases.emplace_back(inSelector, static_cast<MVAccessMessage*>(ioMessage)->accessPhase);
        return kMVNoError;
    };
    const auto loadAndFlush = [&]
    {
        phases.clear();
        EXPECT_EQ(kMVNoError, MVReleasePlugin(Acquire(plugin.plugin)));
        Flush();
        EXPECT_EQ(2u, phases.size());
        return phases.empty() ? -1 : phases[0].second;
    };
    EXPECT_EQ(kMVAccessPhase_BeforeStartup, loadAndFlush());
    gGeneralAccessPoint = kMVAccessPhase_Disposal;
    EXPECT_EQ(kMVAccessPhase_Disposal, loadAndFlush());
    gGeneralAccessPoint = 4;
    EXPECT_EQ(kMVAccessPhase_BeforeStartup, loadAndFlush());
    gGeneralAccessPoint = kMVAccessPhase_BeforeStartup;
    EXPECT_EQ(kMVNoError, MVShutdownPlugins());
    EXPECT_EQ(kMVAccessPhase_Shutdown, loadAndFlush());
    EXPECT_EQ(kMVNoError, MVSetPluginStarted(plugin.plugin, 1));
    EXPECT_EQ(kMVAccessPhase_Started, loadAndFlush());
    EXPECT_EQ(kMVNoError, MVSetPluginStarted(plugin.plugin, 0));
}

TEST_F(AccessTest, AnAccessMessageToAPluginInAMessageIsRefused)
{
    MVAccess* access = Acquire(AddFile("/a.so").plugin);
    for (const std::uint8_t flag : {kMVPluginFlag_InAccessMessage, kMVPluginFlag_InMessage})
    {
        MVResult answer = kMVPathError;
        access->plugin->flags = flag;
        EXPECT_EQ(kMVAlreadyInMessageError,
                  sendAccessMessage(access, gPSkMVAccessUnloadSelector, &answer));
        EXPECT_EQ(kMVNoError, answer);
        EXPECT_EQ(flag, access->plugin->flags) << "the message under way is marked still";
    }
    access->plugin->flags = 0;
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(AccessTest, TheCurrentPluginIsBackAfterAnAccessMessage)
{
    gMVCurrentPlugin = gMV2Adapter->hostPlugin;
    MVPlugin* current = nullptr;
    ScriptedPlugin& plugin =
        AddFile("/a.so", [&](auto&&...) { return MVGetCurrentPlugin(&current); });
    EXPECT_EQ(kMVNoError, MVReleasePlugin(Acquire(plugin.plugin)));
    EXPECT_EQ(plugin.plugin, current);
    EXPECT_EQ(gMV2Adapter->hostPlugin, gMVCurrentPlugin);
}

TEST_F(AccessTest, TheTimeOfACallIsInSixtiethsOfASecond)
{
    FakeClock clock;
    clock.AdvanceSeconds(2.5);
    ScriptedPlugin& plugin = AddScripted();
    EXPECT_EQ(kMVNoError, Send(plugin, "A caller", "A selector"));
    MVAccessInfo info = {};
    EXPECT_EQ(kMVNoError, MVGetAccessInfo(AccessOf(plugin.plugin), &info));
    EXPECT_EQ(210u, info.lastAccessTicks);
}

TEST_F(AccessTest, TheHandleOfAnAccessIsOfOneOfThreeKinds)
{
    int resource = 0;
    ScriptedPlugin& file = AddFile("/a.so");
    EXPECT_EQ(kMVNoError, MVSetPluginResourceAccess(file.plugin, &resource));
    MVAccess* access = Acquire(file.plugin);
    MVAccessInfo info = {&info, nullptr, 1};
    EXPECT_EQ(kMVNoError, MVGetAccessInfo(access, &info));
    EXPECT_EQ(nullptr, info.handle);
    EXPECT_EQ(&resource, info.resourceAccess);
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));

    access = AccessOf(AddScripted().plugin);
    access->plugin->hostData = &resource;
    EXPECT_EQ(kMVNoError, MVGetAccessInfo(access, &info));
    EXPECT_EQ(&resource, info.handle);

    access->plugin->hostData = nullptr;
    struct
    {
        void* untouched;
        MVURL* bundle;
    } record = {&resource, nullptr};
    info.handle = &record;
    EXPECT_EQ(kMVNoError, MVGetAccessInfo(access, &info));
    EXPECT_EQ(&record, info.handle);
    EXPECT_EQ(&resource, record.untouched);
    ASSERT_NE(nullptr, record.bundle);
    EXPECT_NE(nullptr, MVGetURLPath(record.bundle));
    info.handle = nullptr;
    EXPECT_EQ(kMVNoError, MVGetAccessInfo(access, &info));
}

TEST_F(AccessTest, TheApplicationMayAnswerForTheAccess)
{
    static MVAccess sAnswer = {};
    static MVResult sResult = kMVNoError;
    ScriptedPlugin& plugin = AddScripted();
    MVAccess* const own = AccessOf(plugin.plugin);
    app.procs.getPluginAccess = [](MVPlugin*, MVAccess** out)
    {
        *out = &sAnswer;
        return sResult;
    };
    EXPECT_EQ(&sAnswer, AccessOf(plugin.plugin));
    sResult = kMVNotImplementedError;
    EXPECT_EQ(own, AccessOf(plugin.plugin));
    app.procs.getPluginAccess = nullptr;
}

TEST_F(AccessTest, AFlushUnloadsWhatNobodyUses)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    EXPECT_EQ(kMVNoError, MVReleasePlugin(Acquire(plugin.plugin)));
    EXPECT_EQ(1, countAccess);
    EXPECT_EQ(2, Flush()) << "the access and the file";
    EXPECT_EQ(0, countAccess);
    EXPECT_EQ(0, fileAccessCount);
    EXPECT_THAT(plugin.heard, ElementsAre(kReload, kUnload));
    EXPECT_EQ(nullptr, firstAccess);
}

TEST_F(AccessTest, AfterAFlushTheListIsEmptyThoughOneIsInUse)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    MVAccess* access = Acquire(plugin.plugin);
    EXPECT_EQ(0, Flush());
    EXPECT_EQ(nullptr, firstAccess);
    EXPECT_EQ(1, countAccess);
    EXPECT_EQ(nullptr, AccessOf(plugin.plugin));
    MVAccess* again = Acquire(plugin.plugin);
    EXPECT_NE(access, again) << "the next acquire makes a new one";
    EXPECT_THAT(plugin.heard, ElementsAre(kReload, kReload));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(again));
}

TEST_F(AccessTest, ARefusedFlushLeavesEverythingAndEmptiesTheList)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    MVAccess* access = Acquire(plugin.plugin);
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    const std::int32_t before = countAccess;
    EXPECT_EQ(0, Flush(kMVAdapterDisposeType_Unused, KeepAll));
    EXPECT_EQ(nullptr, firstAccess);
    EXPECT_EQ(before, countAccess);
    EXPECT_EQ(0u, plugin.Heard(kUnload));
}

TEST_F(AccessTest, AnErrorOfTheFlushProcEndsTheFlushWithTheListAsItWas)
{
    MVAccess* access = Acquire(AddFile("/a.so").plugin);
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    std::int32_t flushed = -1;
    EXPECT_EQ(kMVNotImplementedError,
              mvFlushAccesses(Refuse, &flushed, kMVAdapterDisposeType_Unused));
    EXPECT_EQ(0, flushed);
    EXPECT_EQ(access, firstAccess);
}

TEST_F(AccessTest, APluginThatRefusesToBeUnloadedEndsTheFlushAndStays)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    MVAccess* access = Acquire(plugin.plugin);
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    plugin.answer = [](auto&&...) { return kMVPathError; };
    std::int32_t flushed = -1;
    EXPECT_EQ(kMVPathError, mvFlushAccesses(nullptr, &flushed, kMVAdapterDisposeType_Unused));
    EXPECT_THAT(app.thrown, ElementsAre(kMVPathError));
    EXPECT_EQ(access, firstAccess);
    EXPECT_NE(nullptr, access->entry);
    EXPECT_EQ(1, access->fileAccess->count);
}

TEST_F(AccessTest, TheFlushProcIsToldWhatItIsAsked)
{
    static std::vector<std::pair<const char*, MVAccess*>> sAsked;
    sAsked.clear();
    MVAccess* used = Acquire(AddFile("/used.so").plugin);
    MVAccess* unused = Acquire(AddFile("/unused.so").plugin);
    EXPECT_EQ(kMVNoError, MVReleasePlugin(unused));
    const auto ask = [](const char* inType, MVAccess* inAccess, std::int32_t* outFlush)
    {
        EXPECT_EQ(0, *outFlush);
        sAsked.emplace_back(inType, inAccess);
        return MVResult{kMVNoError};
    };
    Flush(kMVAdapterDisposeType_Unused, ask);
    EXPECT_THAT(sAsked, ElementsAre(std::pair(gPSkMVFlushAccessType, unused)));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(used));
}

TEST_F(AccessTest, DisposalGoesByWhatIsDeclaredAndNotByCount)
{
    ScriptedPlugin& early = AddFile("/early.so", {}, {RecordBytes(kMVProperty_StartsEarly, "")});
    ScriptedPlugin& ordinary = AddFile("/ordinary.so");
    ScriptedPlugin& host = AddScripted();
    const auto acquireAll = [&]
    {
        for (ScriptedPlugin* plugin : {&early, &ordinary, &host})
        {
            Acquire(plugin->plugin);
            plugin->heard.clear();
        }
    };
    acquireAll();
    EXPECT_EQ(2, Flush(kMVAdapterDisposeType_Ordinary)) << "with its file";
    EXPECT_THAT(ordinary.heard, ElementsAre(kUnload));
    EXPECT_THAT(early.heard, IsEmpty());
    acquireAll();
    Flush(kMVAdapterDisposeType_StartsEarly);
    EXPECT_THAT(early.heard, ElementsAre(kUnload));
    EXPECT_THAT(ordinary.heard, IsEmpty());
    EXPECT_THAT(host.heard, IsEmpty());
}

TEST_F(AccessTest, WhatIsUnloadedWhileItIsHeldCanBeGivenBack)
{
    ScriptedPlugin& plugin = AddFile("/a.so");
    MVAccess* access = Acquire(plugin.plugin);
    EXPECT_EQ(2, Flush(kMVAdapterDisposeType_Ordinary));
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVCantAcquirePluginError,
              MVCallPlugin(access, "A caller", "A selector", nullptr, &answer));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
    const std::size_t before = app.internalBlocks.size();
    Flush();
    EXPECT_EQ(before - 1, app.internalBlocks.size()) << "and goes with the next flush";
}

TEST_F(AccessTest, AFlushLeavesNoMoreBehindHoweverOftenItIsRun)
{
    std::int32_t flushed = 0;
    EXPECT_EQ(kMVNoError, MVFlushCaches(nullptr, &flushed));
    EXPECT_EQ(kMVNoError, MVFlushCaches(nullptr, &flushed));
    const std::size_t before = app.internalBlocks.size();
    for (int round = 0; round < 20; ++round)
        EXPECT_EQ(kMVNoError, MVFlushCaches(nullptr, &flushed));
    EXPECT_GE(before + 1, app.internalBlocks.size());
}

} // namespace Testing
