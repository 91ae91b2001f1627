// Adapters: their list, their start and end.
#include "AdaptersFixture.h"

namespace Testing
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StrEq;

TEST_F(AdapterListTest, TheBuiltInAdapterIsListedWithItsHost)
{
    MVAdapter* adapter = Find(kMVMoonVetch2Adapter);
    ASSERT_EQ(gMV2Adapter, adapter);
    MVPlugin* host = nullptr;
    MVWString name = nullptr;
    std::int32_t version = 0;
    EXPECT_EQ(kMVNoError, MVGetAdapterHost(adapter, &host));
    EXPECT_EQ(kMVNoError, MVGetAdapterName(adapter, &name));
    EXPECT_EQ(kMVNoError, MVGetAdapterVersion(adapter, &version));
    EXPECT_EQ(&mvAdapter, host->hostEntry);
    EXPECT_THAT(name, StrEq(kMVMoonVetch2Adapter));
    EXPECT_EQ(1, version);
    EXPECT_EQ(0, adapter->flags);
}

TEST_F(AdapterListTest, AnUnknownAdapterIsNoError)
{
    EXPECT_EQ(nullptr, Find("Nobody's"));
    EXPECT_EQ(nullptr, Find(nullptr));
    EXPECT_THAT(app.thrown, IsEmpty());
}

TEST_F(AdapterListTest, WhatIsFoundGoesToTheHead)
{
    MVAdapter* one = AddAdapter(AddScripted(), "One");
    MVAdapter* two = AddAdapter(AddScripted(), "Two");
    EXPECT_EQ(two, gMVAdapters->head);
    const std::uint32_t stamp = gMVAdapters->stamp;
    EXPECT_EQ(one, Find("One"));
    EXPECT_EQ(one, gMVAdapters->head);
    EXPECT_EQ(two, one->next);
    EXPECT_EQ(gMV2Adapter, two->next);
    EXPECT_EQ(nullptr, gMV2Adapter->next);
    EXPECT_EQ(stamp, gMVAdapters->stamp);
}

TEST_F(AdapterListTest, AnEqualOrOlderVersionIsRefused)
{
    ScriptedPlugin& host = AddScripted();
    MVAdapter* first = nullptr;
    ASSERT_EQ(kMVNoError, MVAddAdapter(nullptr, host.plugin, "One", 5, &first));
    for (const std::int32_t version : {5, 4, -1})
    {
        MVAdapter* adapter = first;
        EXPECT_EQ(kMVAdapterExistsError,
                  MVAddAdapter(nullptr, host.plugin, "One", version, &adapter));
        EXPECT_EQ(nullptr, adapter);
    }
    EXPECT_EQ(3u, app.thrown.size());
    EXPECT_EQ(2u, gMVAdapters->count);
}

TEST_F(AdapterListTest, ANewerVersionStandsBesideTheOlderRecordWhichItTakesOver)
{
    ScriptedPlugin& older = AddScripted();
    ScriptedPlugin& newer = AddScripted();
    MVAdapter* first = AddAdapter(older, "One");
    first->started = 1;
    AddAdapter(AddScripted(), "Other");
    Declare(newer.plugin, kMVProperty_Adapter, Word(1));
    MVAdapter* second = nullptr;
    ASSERT_EQ(kMVNoError, MVAddAdapter(nullptr, newer.plugin, "One", 2, &second));
    EXPECT_EQ(second, gMVAdapters->head);
    EXPECT_EQ(first, second->next);
    EXPECT_EQ(first->name, second->name);
    EXPECT_EQ(newer.plugin, first->hostPlugin);
    EXPECT_EQ(2, first->version);
    EXPECT_EQ(0u, first->started);
    EXPECT_EQ(second, Find("One"));
}

TEST_F(AdapterListTest, AHostThatDeclaresNoAdapterMakesOneWithoutMessages)
{
    EXPECT_EQ(kMVAdapterFlag_V1, AddAdapter(AddScripted(), "Old", true)->flags);
    EXPECT_EQ(0, AddAdapter(AddScripted(), "New")->flags);
    MVAdapter* without = nullptr;
    ASSERT_EQ(kMVNoError, MVAddAdapter(nullptr, nullptr, "Without", 1, &without));
    EXPECT_EQ(0, without->flags);
}

TEST_F(AdapterListTest, AnIteratorGivesEachAndIsOfNoUseOnceOneHasCome)
{
    MVAdapter* one = AddAdapter(AddScripted(), "One");
    MVAdapterListIterator* iterator = nullptr;
    ASSERT_EQ(kMVNoError, MVNewAdapterListIterator(nullptr, &iterator));
    MVAdapter* adapter = nullptr;
    EXPECT_EQ(kMVNoError, MVNextAdapter(iterator, &adapter));
    EXPECT_EQ(one, adapter);
    EXPECT_EQ(kMVNoError, MVNextAdapter(iterator, &adapter));
    EXPECT_EQ(gMV2Adapter, adapter);
    EXPECT_EQ(kMVNoError, MVNextAdapter(iterator, &adapter));
    EXPECT_EQ(nullptr, adapter);
    AddAdapter(AddScripted(), "Two");
    EXPECT_EQ(kMVBadAdapterListIteratorError, MVNextAdapter(iterator, &adapter));
    EXPECT_EQ(nullptr, adapter);
    EXPECT_THAT(app.thrown, ElementsAre(kMVBadAdapterListIteratorError));
    EXPECT_EQ(kMVNoError, MVDeleteAdapterListIterator(iterator));
}

TEST_F(AdapterListTest, AListOfOnesOwnIsApart)
{
    MVAdapterList* list = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocateAdapterList(nullptr, &list));
    MVAdapter* adapter = nullptr;
    EXPECT_EQ(kMVNoError, MVAddAdapter(list, nullptr, "Apart", 1, &adapter));
    EXPECT_EQ(nullptr, Find("Apart"));
    EXPECT_EQ(1u, list->count);
    EXPECT_EQ(kMVNoError, MVFreeAdapterList(list));
}

TEST_F(AdapterListTest, ArgumentsThatAreMissingAreRefused)
{
    MVAdapter* adapter = nullptr;
    EXPECT_EQ(kMVBadParameterError, MVAllocateAdapterList(nullptr, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVAddAdapter(nullptr, nullptr, nullptr, 1, &adapter));
    EXPECT_EQ(kMVBadParameterError, MVAddAdapter(nullptr, nullptr, "One", 1, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVFindAdapter(nullptr, "One", nullptr));
    EXPECT_EQ(kMVBadParameterError, MVNextAdapter(nullptr, &adapter));
    EXPECT_EQ(kMVBadParameterError, MVGetAdapterHost(nullptr, nullptr));
}

const std::string kAdapterStart = "MV Adapters: Start up";
const std::string kAdapterShutdown = "MV Adapters: Shut down";
const std::string kAdapterDispose = "MV Adapters: Dispose info";

TEST_F(AdapterLifeTest, EachStartAnewStartsTheAdapters)
{
    ScriptedPlugin& host = AddScripted();
    MVAdapter* adapter = AddAdapter(host, "One");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(1u, adapter->started);
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(2u, host.Heard(kAdapterStart));
}

TEST_F(AdapterLifeTest, TheStartNamesTheAdapterAndNothingElse)
{
    ScriptedPlugin& host = AddScripted();
    MVAdapter* adapter = AddAdapter(host, "One");
    std::string rest;
    host.answer = At(kMVAdaptersStartupSelector,
                     [&](MVAdaptersMessage& ioMessage)
                     {
                         EXPECT_EQ(adapter, ioMessage.adapter);
                         rest.assign(reinterpret_cast<const char*>(&ioMessage) + 40, 112);
                         return kMVNoError;
                     });
    EXPECT_EQ(kMVNoError, mvStartupV1Adapters());
    EXPECT_EQ(std::string(112, '\0'), rest);
}

TEST_F(AdapterLifeTest, AnAdapterMayStopTheStart)
{
    ScriptedPlugin& host = AddScripted();
    ScriptedPlugin& next = AddScripted();
    AddAdapter(next, "Next");
    AddAdapter(host, "First");
    host.answer = At(kMVAdaptersStartupSelector,
                     [](MVAdaptersMessage&) { return kMVHostStoppedStartupError; });
    EXPECT_EQ(kMVHostStoppedStartupError, mvStartupV1Adapters());
    EXPECT_EQ(0u, next.Heard(kAdapterStart));
    EXPECT_EQ(kMVNoError, MVStartupPlugins()) << "which is not passed on";
}

TEST_F(AdapterLifeTest, AnyOtherAnswerGoesOn)
{
    ScriptedPlugin& host = AddScripted();
    ScriptedPlugin& next = AddScripted();
    AddAdapter(next, "Next");
    AddAdapter(host, "First");
    host.answer = At(kMVAdaptersStartupSelector, [](MVAdaptersMessage&) { return kMVPathError; });
    EXPECT_EQ(kMVNoError, mvStartupV1Adapters());
    EXPECT_EQ(1u, next.Heard(kAdapterStart));
}

TEST_F(AdapterLifeTest, AHostInAMessageIsPassedOverAndIsTheResultIfItIsTheLast)
{
    gMV2Adapter->started = 1;
    ScriptedPlugin& last = AddScripted();
    ScriptedPlugin& first = AddScripted();
    MVAdapter* lastAdapter = AddAdapter(last, "Last");
    MVAdapter* firstAdapter = AddAdapter(first, "First");
    first.plugin->flags |= kMVPluginFlag_InMessage;
    EXPECT_EQ(kMVNoError, mvStartupV1Adapters());
    EXPECT_EQ(1u, last.Heard(kAdapterStart));
    EXPECT_EQ(1u, firstAdapter->started);
    EXPECT_EQ(0u, first.Heard(kAdapterStart));
    lastAdapter->started = 0;
    last.plugin->flags |= kMVPluginFlag_InMessage;
    EXPECT_EQ(kMVAlreadyInMessageError, mvStartupV1Adapters());
}

TEST_F(AdapterLifeTest, AnAdapterWhoseHostCannotBeReachedEndsTheStart)
{
    MVPlugin* missing =
        AddListed("/missing.so", {RecordBytes(kMVProperty_CodeEntry, PascalString("")),
                                  RecordBytes(kMVProperty_Adapter, Word(1))});
    MVAdapter* adapter = nullptr;
    ASSERT_EQ(kMVNoError, MVAddAdapter(nullptr, missing, "Missing", 1, &adapter));
    EXPECT_EQ(kMVCantAcquirePluginError, mvStartupV1Adapters());
    EXPECT_EQ(1u, adapter->started);
    adapter->started = 0; // or it would keep the host from ending
}

TEST_F(AdapterLifeTest, AdaptersThatAreAddedWhileOthersAreStartedAreStartedToo)
{
    ScriptedPlugin& host = AddScripted();
    ScriptedPlugin& other = AddScripted();
    int added = 0;
    AddAdapter(other, "Other");
    AddAdapter(host, "0");
    host.answer = At(kMVAdaptersStartupSelector,
                     [&](MVAdaptersMessage&)
                     {
                         MVAdapter* adapter = nullptr;
                         return ++added < 20
                                    ? MVAddAdapter(nullptr, host.plugin,
                                                   std::to_string(added).c_str(), 1, &adapter)
                                    : MVResult{kMVNoError};
                     });
    EXPECT_EQ(kMVNoError, mvStartupV1Adapters());
    EXPECT_EQ(20, added);
    EXPECT_EQ(1u, other.Heard(kAdapterStart));
}

TEST_F(AdapterLifeTest, NoneIsSkippedWhenThoseThatAreStartedLookOthersUp)
{
    const char* const names[] = {"One", "Two", "Three", "Four"};
    std::vector<ScriptedPlugin*> hosts;
    for (const char* name : names)
    {
        hosts.push_back(&AddScripted());
        AddAdapter(*hosts.back(), name);
    }
    for (ScriptedPlugin* host : hosts)
        host->answer = [&](const std::string& inCaller, const std::string&, void*)
        {
            for (const char* name : names)
                EXPECT_NE(nullptr, Find(name));
            return inCaller == kMVPropertiesCaller ? kMVNotImplementedError : kMVNoError;
        };
    EXPECT_EQ(kMVNoError, mvStartupV1Adapters());
    EXPECT_EQ(kMVNoError, MVShutdownPlugins());
    std::int32_t flushed = 0;
    EXPECT_EQ(kMVNoError, MVFlushCaches(nullptr, &flushed));
    for (ScriptedPlugin* host : hosts)
    {
        EXPECT_EQ(1u, host->Heard(kAdapterStart));
        EXPECT_EQ(1u, host->Heard(kAdapterShutdown));
    }
}

TEST_F(AdapterLifeTest, OnlyForeignAdaptersThatWereStartedAreShutDown)
{
    ScriptedPlugin& started = AddScripted();
    ScriptedPlugin& idle = AddScripted();
    ScriptedPlugin& plugin = AddScripted();
    AddAdapter(started, "Started");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    AddAdapter(idle, "Idle");
    EXPECT_EQ(kMVNoError, MVShutdownPlugins());
    EXPECT_EQ(kMVAccessPhase_Shutdown, gGeneralAccessPoint);
    EXPECT_EQ(1u, started.Heard(kAdapterShutdown));
    EXPECT_EQ(0u, idle.Heard(kAdapterShutdown));
    EXPECT_EQ(0u, plugin.Heard(kShutdown)) << "native plug-ins go down at the end";
}

TEST_F(AdapterLifeTest, AtShutdownABusyAdapterIsPassedOverAndAnotherErrorEndsIt)
{
    ScriptedPlugin& last = AddScripted();
    ScriptedPlugin& middle = AddScripted();
    ScriptedPlugin& first = AddScripted();
    AddAdapter(last, "Last");
    MVAdapter* middleAdapter = AddAdapter(middle, "Middle");
    AddAdapter(first, "First");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    first.plugin->flags |= kMVPluginFlag_InAccessMessage;
    EXPECT_EQ(kMVNoError, MVShutdownPlugins());
    EXPECT_EQ(0u, first.Heard(kAdapterShutdown));
    EXPECT_EQ(1u, last.Heard(kAdapterShutdown));
    first.plugin->flags = 0;
    MVPlugin* const before =
        std::exchange(middleAdapter->hostPlugin,
                      AddListed("/missing.so", {RecordBytes(kMVProperty_CodeEntry, "")}));
    EXPECT_EQ(kMVCantAcquirePluginError, MVShutdownPlugins());
    EXPECT_EQ(1u, first.Heard(kAdapterShutdown));
    EXPECT_EQ(1u, last.Heard(kAdapterShutdown));
    middleAdapter->hostPlugin = before;
}

TEST_F(AdapterLifeTest, AtTheEndAnAdapterMayLetEverythingGo)
{
    MVFlushProc given = nullptr;
    ScriptedPlugin& host = AddScripted();
    AddAdapter(host, "One");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    host.answer = At(kMVAdaptersDisposeInfoSelector,
                     [&](MVAdaptersMessage& ioMessage)
                     {
                         given = ioMessage.flushProc;
                         return kMVNoError;
                     });
    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(&mvDefaultFlush, given);
}

TEST_F(AdapterLifeTest, AFlushByTheBuiltInAdapterCountsPurgesAndAccesses)
{
    ScriptedPlugin& purger =
        AddFile("/purger.so", {},
                {RecordBytes(kMVProperty_Capabilities, std::string(1, kMVCapability_Purges))});
    purger.answer = [](const std::string&, const std::string& inSelector, void*)
    { return inSelector == kMVPluginPurgeCachesSelector ? kMVPurgedResult : kMVNoError; };
    EXPECT_EQ(kMVNoError, Send(purger, "A caller", "A selector"));
    MVAdaptersMessage message = {};
    message.flushed = 100;
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVNoError,
              mvSendToAdapterHost(gMV2Adapter, gPSkMVAdaptersFlushSelector, message, &answer));
    EXPECT_EQ(3, message.flushed) << "a purge, an access and a file";
    EXPECT_EQ(1u, purger.Heard(kUnload));
}

TEST_F(AdapterLifeTest, TheEndDisposesOfForeignAdaptersAheadOfNativePlugins)
{
    std::vector<std::string> order;
    ScriptedPlugin& host = AddScripted();
    ScriptedPlugin& plugin = AddScripted();
    AddAdapter(host, "One");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    const auto note = [&](const std::string& inCaller, const std::string& inSelector, void*)
    {
        order.push_back(inCaller + ": " + inSelector);
        return kMVNoError;
    };
    host.answer = note;
    plugin.answer = note;
    EXPECT_EQ(kMVNoError, MVTerm());
    ASSERT_FALSE(order.empty());
    EXPECT_EQ(kAdapterDispose, order.front());
    EXPECT_EQ(2, std::count(order.begin(), order.end(), kShutdown));
    EXPECT_EQ(1, std::count(order.begin(), order.end(), kAdapterDispose));
}

TEST_F(AdapterLifeTest, AFailingDisposalKeepsTheHostUp)
{
    ScriptedPlugin& host = AddScripted();
    MVAdapter* adapter = AddAdapter(host, "One");
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    MVPlugin* const before = std::exchange(
        adapter->hostPlugin, AddListed("/missing.so", {RecordBytes(kMVProperty_CodeEntry, "")}));
    EXPECT_EQ(kMVCantAcquirePluginError, MVTerm());
    EXPECT_EQ(1, MVInited());
    adapter->hostPlugin = before;
}

} // namespace Testing
