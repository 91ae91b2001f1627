#include "HostFixture.h"

namespace
{

using ::testing::ElementsAre;
using Testing::HostFixture;
using ::testing::IsEmpty;
using Testing::ScriptedPlugin;

constexpr int kTable = 1;
constexpr int kOtherTable = 2;

struct Suites : HostFixture
{
    MVSuite* Add(const char* inName, std::int32_t inAPIVersion, std::int32_t inInternalVersion,
                 const void* inTable, MVPlugin* inPlugin = nullptr)
    {
        MVSuite* suite = nullptr;
        EXPECT_EQ(kMVNoError, MVAddSuite(nullptr, inPlugin, inName, inAPIVersion, inInternalVersion,
                                         inTable, &suite));
        EXPECT_NE(nullptr, suite);
        return suite;
    }
    MVSuite* Find(const char* inName, std::int32_t inAPIVersion, std::int32_t inInternalVersion = 0)
    {
        MVSuite* suite = nullptr;
        EXPECT_EQ(kMVNoError,
                  MVFindSuite(nullptr, inName, inAPIVersion, inInternalVersion, &suite));
        return suite;
    }
    const void* Acquire(const char* inName, std::int32_t inAPIVersion,
                        std::int32_t inInternalVersion = 0)
    {
        const void* table = nullptr;
        EXPECT_EQ(kMVNoError,
                  MVAcquireSuite(nullptr, inName, inAPIVersion, inInternalVersion, &table));
        return table;
    }
    std::string AcquireFails(const char* inName, std::int32_t inAPIVersion)
    {
        const void* table = &table;
        const MVResult result = MVAcquireSuite(nullptr, inName, inAPIVersion, 0, &table);
        EXPECT_EQ(nullptr, table);
        return Testing::CodeText(result);
    }
    void Release(const char* inName, std::int32_t inAPIVersion, std::int32_t inInternalVersion = 0)
    {
        EXPECT_EQ(kMVNoError, MVReleaseSuite(nullptr, inName, inAPIVersion, inInternalVersion));
    }
    std::int32_t AcquireCount(MVSuite* inSuite)
    {
        std::int32_t count = -1;
        EXPECT_EQ(kMVNoError, MVGetSuiteAcquireCount(inSuite, &count));
        return count;
    }
    /// Of the plug-in's access; -1 if it is not loaded.
    std::int32_t AccessCount(MVPlugin* inPlugin)
    {
        MVAccess* access = nullptr;
        EXPECT_EQ(kMVNoError, MVGetPluginAccess(inPlugin, &access));
        std::int32_t count = -1;
        if (access != nullptr)
            MVGetAccessCount(access, &count);
        return count;
    }
    bool NeededSuiteHasCome()
    {
        std::int32_t available = -1;
        EXPECT_EQ(kMVNoError, MVGetPluginListNeededSuiteAvailable(nullptr, &available));
        return available != 0;
    }
};

MVPlugin* HostOf(MVSuite* inSuite)
{
    MVPlugin* plugin = nullptr;
    EXPECT_EQ(kMVNoError, MVGetSuiteHost(inSuite, &plugin));
    return plugin;
}

const void* TableOf(MVSuite* inSuite)
{
    const void* table = nullptr;
    EXPECT_EQ(kMVNoError, MVGetSuiteProcs(inSuite, &table));
    return table;
}

TEST_F(Suites, TellWhatTheyWereAddedWith)
{
    MVPlugin* plugin = AddScripted().plugin;
    MVSuite* suite = Add("S", 3, 2, &kTable, plugin);

    MVWString name = nullptr;
    std::int32_t apiVersion = 0;
    std::int32_t internalVersion = 0;
    EXPECT_EQ(kMVNoError, MVGetSuiteName(suite, &name));
    EXPECT_EQ(kMVNoError, MVGetSuiteAPIVersion(suite, &apiVersion));
    EXPECT_EQ(kMVNoError, MVGetSuiteInternalVersion(suite, &internalVersion));
    EXPECT_STREQ("S", name);
    EXPECT_EQ(3, apiVersion);
    EXPECT_EQ(2, internalVersion);
    EXPECT_EQ(plugin, HostOf(suite));
    EXPECT_EQ(&kTable, TableOf(suite));
    EXPECT_EQ(0, AcquireCount(suite));
}

TEST_F(Suites, APlaceholderIsFilledByTheTableOfThePluginThatBringsIt)
{
    MVPlugin* first = AddScripted().plugin;
    MVPlugin* second = AddScripted().plugin;
    MVSuite* placeholder = Add("S", 1, 1, nullptr, first);

    MVSuite* filled = Add("S", 1, 1, &kTable, second);

    EXPECT_EQ(placeholder, filled);
    EXPECT_EQ(&kTable, TableOf(filled));
    EXPECT_EQ(second, HostOf(filled));
}

TEST_F(Suites, ATableThatIsThereIsNotReplacedAndThatIsNotRaised)
{
    Add("S", 1, 1, &kTable);
    MVSuite* suite = nullptr;
    app.thrown.clear();

    EXPECT_EQ(kMVSuiteExistsError, MVAddSuite(nullptr, nullptr, "S", 1, 1, &kOtherTable, &suite));
    EXPECT_EQ(nullptr, suite);
    EXPECT_EQ(kMVSuiteExistsError, MVAddSuite(nullptr, nullptr, "S", 1, 1, nullptr, &suite));

    EXPECT_THAT(app.thrown, IsEmpty());
    EXPECT_EQ(&kTable, Acquire("S", 1));
}

TEST_F(Suites, OfTwoPlaceholdersOfOneKeyTheFirstIsFound)
{
    MVSuite* first = Add("S", 1, 1, nullptr);
    MVSuite* second = Add("S", 1, 1, nullptr);

    EXPECT_NE(first, second);
    EXPECT_EQ(first, Find("S", 1));
}

TEST_F(Suites, InternalVersion0CannotBeAdded)
{
    MVSuite* suite = nullptr;

    EXPECT_EQ(kMVSuiteInternalVersionError,
              MVAddSuite(nullptr, nullptr, "S", 1, 0, &kTable, &suite));

    EXPECT_THAT(app.thrown, ElementsAre(kMVSuiteInternalVersionError));
    EXPECT_EQ(nullptr, Find("S", 1));
}

TEST_F(Suites, Version0AsksForTheHighestAndANumberForThatOne)
{
    Add("S", 1, 2, &kOtherTable);
    Add("S", 1, 1, &kTable);

    EXPECT_EQ(&kOtherTable, Acquire("S", 1));
    EXPECT_EQ(&kTable, Acquire("S", 1, 1));
    EXPECT_EQ(&kOtherTable, Acquire("S", 1, 2));
    EXPECT_EQ(nullptr, Find("S", 1, 3));
}

TEST_F(Suites, AReleaseWithVersion0IsOfTheOneThatIsHighestNow)
{
    MVSuite* older = Add("S", 1, 1, &kTable);
    EXPECT_EQ(&kTable, Acquire("S", 1));
    MVSuite* newer = Add("S", 1, 2, &kOtherTable);
    app.thrown.clear();

    EXPECT_EQ(kMVSuiteOverReleasedError, MVReleaseSuite(nullptr, "S", 1, 0));

    EXPECT_THAT(app.thrown, ElementsAre(kMVSuiteOverReleasedError));
    EXPECT_EQ(1, AcquireCount(older));
    EXPECT_EQ(0, AcquireCount(newer));
    Release("S", 1, 1);
}

TEST_F(Suites, WhatWasAskedForInVainIsToldOnceItHasCome)
{
    EXPECT_EQ("'S!Fd'", AcquireFails("S", 1));
    EXPECT_EQ(kMVSuiteNotFoundError, app.thrown.back());
    EXPECT_FALSE(NeededSuiteHasCome());

    Add("S", 1, 1, &kTable);
    EXPECT_TRUE(NeededSuiteHasCome());
    EXPECT_FALSE(NeededSuiteHasCome()); // reading clears it

    Add("S", 1, 2, &kOtherTable); // the search is answered
    EXPECT_FALSE(NeededSuiteHasCome());
}

TEST_F(Suites, ASearchForAnotherVersionIsAnotherSearch)
{
    AcquireFails("S", 1);
    AcquireFails("S", 2);

    Add("S", 3, 1, &kTable);
    EXPECT_FALSE(NeededSuiteHasCome());
    Add("S", 2, 1, &kTable);
    EXPECT_TRUE(NeededSuiteHasCome());
    Add("S", 1, 1, &kTable);
    EXPECT_TRUE(NeededSuiteHasCome());
}

TEST_F(Suites, FindingNothingIsNoErrorAndIsRemembered)
{
    EXPECT_EQ(nullptr, Find("S", 1));
    EXPECT_THAT(app.thrown, IsEmpty());

    Add("S", 1, 1, &kTable);
    EXPECT_TRUE(NeededSuiteHasCome());
}

TEST_F(Suites, ASearchThatThereIsNoMemoryForIsForgotten)
{
    EXPECT_EQ(nullptr, Find("S", 1)); // interned from here on
    app.allocationsLeft = 0;

    EXPECT_EQ(nullptr, Find("S", 2));

    app.allocationsLeft = -1;
    Add("S", 2, 1, &kTable);
    EXPECT_FALSE(NeededSuiteHasCome());
}

TEST_F(Suites, WithoutMemoryForTheRecordNothingIsAdded)
{
    Find("S", 1);
    MVSuite* suite = nullptr;
    app.allocationsLeft = 0;

    EXPECT_EQ(kMVOutOfMemoryError, MVAddSuite(nullptr, nullptr, "S", 1, 1, &kTable, &suite));

    app.allocationsLeft = -1;
    EXPECT_EQ(nullptr, suite);
    EXPECT_EQ(nullptr, Find("S", 1));
    EXPECT_FALSE(NeededSuiteHasCome());
}

TEST_F(Suites, APluginIsLoadedFromTheFirstAcquireToTheLastRelease)
{
    ScriptedPlugin& plugin = AddScripted();
    MVSuite* suite = Add("S", 1, 1, &kTable, plugin.plugin);
    const std::int32_t before = AccessCount(plugin.plugin);

    EXPECT_EQ(&kTable, Acquire("S", 1));
    EXPECT_EQ(1, AccessCount(plugin.plugin) - std::max(before, 0));
    EXPECT_EQ(&kTable, Acquire("S", 1));
    EXPECT_EQ(1, AccessCount(plugin.plugin)); // once, however often it is acquired
    EXPECT_EQ(2, AcquireCount(suite));

    Release("S", 1);
    EXPECT_EQ(1, AccessCount(plugin.plugin));
    Release("S", 1);
    EXPECT_EQ(0, AccessCount(plugin.plugin));
    EXPECT_EQ(0, AcquireCount(suite));
}

TEST_F(Suites, APluginThatCannotBeLoadedSuppliesNothing)
{
    ScriptedPlugin& plugin = AddScripted();
    MVSuite* suite = Add("S", 1, 1, &kTable, plugin.plugin);
    std::int32_t flushed = 0;
    MVFlushCaches(nullptr, &flushed); // loaded anew by the next acquire
    plugin.answer = [](const std::string&, const std::string& inSelector, void*)
    { return inSelector == kMVAccessReloadSelector ? MVResult{kMVPathError} : 0; };

    EXPECT_EQ("'fbar'", AcquireFails("S", 1));

    EXPECT_EQ(0, AcquireCount(suite));
}

TEST_F(Suites, ReleasingWhatIsNotThereOrNotHeldIsRaised)
{
    MVSuite* suite = Add("S", 1, 1, &kTable);
    app.thrown.clear();

    EXPECT_EQ(kMVSuiteNotFoundError, MVReleaseSuite(nullptr, "unknown", 1, 0));
    EXPECT_EQ(kMVSuiteOverReleasedError, MVReleaseSuite(nullptr, "S", 1, 0));

    EXPECT_THAT(app.thrown, ElementsAre(kMVSuiteNotFoundError, kMVSuiteOverReleasedError));
    EXPECT_EQ(0, AcquireCount(suite));
    Add("unknown", 1, 1, &kTable); // the release has looked for it
    EXPECT_TRUE(NeededSuiteHasCome());
}

TEST_F(Suites, ThePluginOfAPlaceholderIsStartedToSupplyIt)
{
    ScriptedPlugin& plugin = AddScripted();
    Add("S", 1, 1, nullptr, plugin.plugin);
    plugin.answer = [&](const std::string&, const std::string& inSelector, void*)
    {
        if (inSelector == kMVInterfaceStartupSelector)
            Add("S", 1, 1, &kTable, plugin.plugin);
        return MVResult{kMVNoError};
    };

    EXPECT_EQ(&kTable, Acquire("S", 1));
    EXPECT_EQ(1u, plugin.Heard("MV Interface: Startup"));
    Release("S", 1);
}

TEST_F(Suites, APluginThatStartedAndLeftItsPlaceholderEmptyIsNotAskedAgain)
{
    ScriptedPlugin& plugin = AddScripted();
    MVSuite* suite = Add("S", 1, 1, nullptr, plugin.plugin);

    EXPECT_EQ(nullptr, Acquire("S", 1)); // the start is a success, without a table
    EXPECT_EQ(1, AcquireCount(suite));
    EXPECT_EQ("'PiH0'", AcquireFails("S", 1));

    EXPECT_EQ(1u, plugin.Heard("MV Interface: Startup"));
    Release("S", 1);
}

TEST_F(Suites, ThePluginOfAPlaceholderThatFailsToStartIsAskedAgainEachTime)
{
    ScriptedPlugin& plugin = AddScripted();
    Add("S", 1, 1, nullptr, plugin.plugin);
    plugin.answer = [](const std::string&, const std::string& inSelector, void*)
    { return inSelector == kMVInterfaceStartupSelector ? MVResult{kMVPathError} : 0; };

    EXPECT_EQ(nullptr, Acquire("S", 1));
    EXPECT_EQ(nullptr, Acquire("S", 1));

    EXPECT_EQ(2u, plugin.Heard("MV Interface: Startup"));
    Release("S", 1);
    Release("S", 1);
}

TEST_F(Suites, APluginMayAcquireItsOwnSuiteWhileItIsLoadedForIt)
{
    ScriptedPlugin& plugin = AddScripted();
    MVSuite* suite = Add("S", 1, 1, &kTable, plugin.plugin);
    std::int32_t flushed = 0;
    MVFlushCaches(nullptr, &flushed);
    bool inReload = false;
    plugin.answer = [&](const std::string&, const std::string& inSelector, void*)
    {
        if (inSelector == kMVAccessReloadSelector && !inReload)
        {
            inReload = true;
            EXPECT_EQ(&kTable, Acquire("S", 1));
        }
        return MVResult{kMVNoError};
    };

    EXPECT_EQ(&kTable, Acquire("S", 1));

    EXPECT_TRUE(inReload);
    EXPECT_EQ(2, AcquireCount(suite));
    EXPECT_EQ(1, AccessCount(plugin.plugin));
    Release("S", 1);
    Release("S", 1);
    EXPECT_EQ(0, AccessCount(plugin.plugin));
}

TEST_F(Suites, APlaceholderOfNobodyIsAcquiredWithoutATable)
{
    MVSuite* suite = Add("S", 1, 1, nullptr);

    EXPECT_EQ(nullptr, Acquire("S", 1));
    EXPECT_EQ(1, AcquireCount(suite));
}

TEST_F(Suites, AnIteratorMeetsEachOneAndThenGivesNull)
{
    Add("S", 1, 1, &kTable);
    Add("S", 1, 2, &kTable);
    MVSuiteListIterator* iterator = nullptr;
    ASSERT_EQ(kMVNoError, MVNewSuiteListIterator(nullptr, &iterator));

    std::vector<std::pair<std::string, std::int32_t>> met;
    MVSuite* suite = nullptr;
    while (MVNextSuite(iterator, &suite) == kMVNoError && suite != nullptr)
    {
        MVWString name = nullptr;
        std::int32_t version = 0;
        MVGetSuiteName(suite, &name);
        MVGetSuiteInternalVersion(suite, &version);
        met.emplace_back(name, version);
    }

    EXPECT_EQ(16u, met.size()); // 14 of the host
    const auto first = std::find(met.begin(), met.end(), std::pair(std::string("S"), 1));
    ASSERT_NE(met.end(), first);
    ASSERT_NE(met.end(), first + 1);
    EXPECT_EQ(std::pair(std::string("S"), 2), *(first + 1)); // in the order of the keys
    EXPECT_EQ(kMVNoError, MVNextSuite(iterator, &suite));
    EXPECT_EQ(nullptr, suite);
    EXPECT_EQ(kMVNoError, MVDeleteSuiteListIterator(iterator));
}

TEST_F(Suites, AnIteratorFailsOnceASuiteWasAdded)
{
    MVSuiteListIterator* iterator = nullptr;
    MVNewSuiteListIterator(nullptr, &iterator);
    MVSuite* suite = nullptr;
    MVNextSuite(iterator, &suite);
    Add("S", 1, 1, &kTable);
    app.thrown.clear();

    EXPECT_EQ(kMVBadSuiteListIteratorError, MVNextSuite(iterator, &suite));

    EXPECT_EQ(nullptr, suite);
    EXPECT_THAT(app.thrown, ElementsAre(kMVBadSuiteListIteratorError));
    MVDeleteSuiteListIterator(iterator);
}

TEST_F(Suites, FillingAPlaceholderLeavesIteratorsAlone)
{
    Add("S", 1, 1, nullptr);
    MVSuiteListIterator* iterator = nullptr;
    MVNewSuiteListIterator(nullptr, &iterator);
    Add("S", 1, 1, &kTable);
    MVSuite* suite = nullptr;

    EXPECT_EQ(kMVNoError, MVNextSuite(iterator, &suite));
    EXPECT_NE(nullptr, suite);
    MVDeleteSuiteListIterator(iterator);
}

TEST_F(Suites, AListOfOnesOwnIsApartFromTheHosts)
{
    MVPluginList* plugins = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocatePluginList(nullptr, &plugins));
    MVSuiteList* list = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocateSuiteList(nullptr, plugins, &list));
    MVSuite* suite = nullptr;
    const void* table = nullptr;
    EXPECT_EQ(kMVSuiteNotFoundError, MVAcquireSuite(list, "S", 1, 0, &table));
    EXPECT_EQ(kMVNoError, MVAddSuite(list, nullptr, "S", 1, 1, &kTable, &suite));

    EXPECT_EQ(kMVNoError, MVAcquireSuite(list, "S", 1, 0, &table));
    EXPECT_EQ(&kTable, table);
    EXPECT_EQ(nullptr, Find("S", 1));
    EXPECT_FALSE(NeededSuiteHasCome()); // that is told to the list's own plug-ins
    std::int32_t available = 0;
    MVGetPluginListNeededSuiteAvailable(plugins, &available);
    EXPECT_NE(0, available);

    EXPECT_EQ(kMVNoError, MVFreeSuiteList(list));
    EXPECT_EQ(kMVNoError, MVFreePluginList(plugins));
}

TEST_F(Suites, NeedANameAndAPlaceForTheAnswer)
{
    const void* table = nullptr;
    MVSuite* suite = nullptr;

    EXPECT_EQ(kMVBadParameterError, MVAcquireSuite(nullptr, "S", 1, 0, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVAcquireSuite(nullptr, nullptr, 1, 0, &table));
    EXPECT_EQ(kMVBadParameterError, MVFindSuite(nullptr, "S", 1, 0, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVFindSuite(nullptr, nullptr, 1, 0, &suite));
    EXPECT_EQ(kMVBadParameterError, MVAddSuite(nullptr, nullptr, nullptr, 1, 1, &kTable, &suite));
    EXPECT_EQ(kMVBadParameterError, MVReleaseSuite(nullptr, nullptr, 1, 0));
    EXPECT_EQ(kMVBadParameterError, MVAllocateSuiteList(nullptr, nullptr, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVNewSuiteListIterator(nullptr, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVNextSuite(nullptr, &suite));
    EXPECT_EQ(kMVBadParameterError, MVDeleteSuiteListIterator(nullptr));
    EXPECT_EQ(kMVBadParameterError, MVGetSuiteHost(nullptr, nullptr));
    std::int32_t count = 7;
    EXPECT_EQ(kMVBadParameterError, MVGetSuiteAcquireCount(nullptr, &count));
    EXPECT_EQ(0, count);
    EXPECT_EQ(kMVNoError, MVAddSuite(nullptr, nullptr, "S", 1, 1, &kTable, nullptr)); // not here
}

/// A plug-in under an adapter without the message protocol: the adapter answers for its suites.
struct ForeignSuites : Suites
{
    void SetUp() override
    {
        Suites::SetUp();
        AddScripted();
        MVAdapter* adapter = nullptr;
        ASSERT_EQ(kMVNoError, MVAddAdapter(nullptr, mAdapter.plugin, "Foreign", 1, &adapter));
        ASSERT_EQ(kMVNoError, MVAddPlugin(nullptr, nullptr, nullptr, "Foreign", nullptr, &mPlugin));
        mSuite = Add("S", 1, 1, &kTable, mPlugin);
        mAdapter.answer = [this](const std::string& inCaller, const std::string& inSelector,
                                 void* ioMessage) { return Hear(inCaller, inSelector, ioMessage); };
    }
    MVResult Hear(const std::string& inCaller, const std::string& inSelector, void* ioMessage)
    {
        if (inCaller != kMVAdaptersCaller)
            return kMVNoError;
        auto* message = static_cast<MVAdaptersMessage*>(ioMessage);
        mMessage = *message;
        if (inSelector == kMVAdaptersAcquireSuiteHostSelector)
        {
            message->suiteAcquired = mAcquires ? 1 : 0;
            message->suiteProcs = mTable;
        }
        return mAnswer;
    }

    ScriptedPlugin& mAdapter = ScriptedPlugin::All()[0];
    MVPlugin* mPlugin = nullptr;
    MVSuite* mSuite = nullptr;
    MVAdaptersMessage mMessage = {};
    bool mAcquires = true;
    const void* mTable = nullptr;
    MVResult mAnswer = kMVNoError;
};

TEST_F(ForeignSuites, AreAcquiredAndReleasedByTheirAdapter)
{
    mTable = &kOtherTable;

    EXPECT_EQ(&kOtherTable, Acquire("S", 1));

    EXPECT_EQ(1u, mAdapter.Heard("MV Adapters: Acquire Suite"));
    EXPECT_EQ(mPlugin, mMessage.plugin);
    EXPECT_EQ(mPlugin, mMessage.suitePlugin);
    EXPECT_EQ(mSuite, mMessage.suite);
    MVSuiteList* list = nullptr;
    MVGetRuntimeSuiteList(&list);
    EXPECT_EQ(list, mMessage.suiteList);
    MVAdapter* adapter = nullptr;
    MVFindAdapter(nullptr, "Foreign", &adapter);
    EXPECT_EQ(adapter, mMessage.adapter);
    EXPECT_EQ(1, AcquireCount(mSuite));
    EXPECT_EQ(&kOtherTable, TableOf(mSuite)); // kept

    Release("S", 1);
    EXPECT_EQ(1u, mAdapter.Heard("MV Adapters: Release Suite"));
    EXPECT_EQ(mSuite, mMessage.suite);
    EXPECT_EQ(0, AcquireCount(mSuite));
}

TEST_F(ForeignSuites, KeepTheirTableWhereTheAdapterGivesNone)
{
    EXPECT_EQ(&kTable, Acquire("S", 1));
    Release("S", 1);
}

TEST_F(ForeignSuites, AreNotFoundWhereTheAdapterDoesNotAcquireThem)
{
    mAcquires = false;
    mTable = &kOtherTable;

    EXPECT_EQ("'S!Fd'", AcquireFails("S", 1));
    EXPECT_EQ(0, AcquireCount(mSuite));
}

TEST_F(ForeignSuites, GiveNullAndWhatTheAdapterAnswers)
{
    mAnswer = kMVPathError;

    EXPECT_EQ("'fbar'", AcquireFails("S", 1));
    EXPECT_EQ(0, AcquireCount(mSuite));
}

TEST_F(ForeignSuites, GiveNullAndTheErrorOfTheDelivery)
{
    std::string failure;
    mAdapter.answer = [&](const std::string& inCaller, const std::string&, void*)
    {
        if (inCaller == kMVPropertiesCaller)
            failure = AcquireFails("S", 1); // the adapter is in a message
        return MVResult{kMVNoError};
    };
    MVResult answer = kMVNoError;

    MVWString caller = nullptr; // the host knows its own callers by pointer
    MVMakeWString(nullptr, kMVPropertiesCaller, &caller);
    MVSendMessage(mAdapter.plugin, caller, kMVPropertiesReleaseSelector, nullptr, &answer);

    EXPECT_EQ("'AISC'", failure);
    EXPECT_EQ(0, AcquireCount(mSuite));
}

TEST_F(ForeignSuites, AreNotOverReleased)
{
    app.thrown.clear();

    EXPECT_EQ(kMVSuiteOverReleasedError, MVReleaseSuite(nullptr, "S", 1, 0));

    EXPECT_THAT(app.thrown, ElementsAre(kMVSuiteOverReleasedError));
    EXPECT_EQ(0u, mAdapter.Heard("MV Adapters: Release Suite"));
}

} // namespace
