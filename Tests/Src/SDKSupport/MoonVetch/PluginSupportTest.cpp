// The library's own plug-in, the suites that it publishes, and the basic suite for any thread.
#include <chrono>
#include <cstring>
#include <future>

#include "LibraryPluginFixture.h"
#include "Support/Gate.h"

namespace
{

using PluginSupport = Testing::LibraryPluginTest;

// The first, since nobody may have started the library yet.
TEST(PluginSupportOfTheStoppedLibrary, TheBasicSuiteStaysWhereItWasAndNothingIsPublished)
{
    const MVBasicSuite* const before = RK::GetMVBasicSuite();
    EXPECT_EQ(nullptr, before->AcquireSuite); // nobody has started the library yet
    int table = 0;
    EXPECT_EQ(kMVNotImplementedError, RK::RegisterSuite("Early", 1, &table));
    for (int i = 0; i < 2; ++i)
    {
        const RK::Initializer library;
        EXPECT_EQ(before, RK::GetMVBasicSuite());
        EXPECT_EQ(1, before->IsEqual("a", "a"));
        EXPECT_EQ(kMVNoError, RK::RegisterSuite("Again", 1, &table));
    }
    EXPECT_EQ(0, MVInited());
    EXPECT_NE(nullptr, before->AcquireSuite);
    EXPECT_EQ(kMVNotImplementedError, RK::RegisterSuite("Late", 1, &table));
}

TEST_F(PluginSupport, ASuiteOfTheSameNameAndVersionIsRefusedTheSecondTime)
{
    int other = 0;
    EXPECT_EQ(kMVSuiteExistsError, RK::RegisterSuite(kSuite, 3, &mTable));
    EXPECT_EQ(kMVSuiteExistsError, RK::RegisterSuite(kSuite, 3, &other));
    EXPECT_EQ(kMVNoError, RK::RegisterSuite(kSuite, 4, &other));

    const void* table = nullptr;
    EXPECT_EQ(kMVNoError, Basic().AcquireSuite(kSuite, 3, &table));
    EXPECT_EQ(&mTable, table);
    EXPECT_EQ(kMVNoError, Basic().ReleaseSuite(kSuite, 3));
}

TEST_F(PluginSupport, ThePublishedVersionIsTheFirstOfItsImplementation)
{
    std::int32_t version = 0;
    EXPECT_EQ(kMVNoError, MVGetSuiteInternalVersion(SuiteOf(kSuite, 3), &version));
    EXPECT_EQ(1, version);
}

TEST_F(PluginSupport, APlaceWithoutATableIsFilledByALaterCall)
{
    ASSERT_EQ(kMVNoError, RK::RegisterSuite("Later", 1, nullptr));
    ASSERT_EQ(kMVNoError, RK::RegisterSuite("Later", 1, &mTable));
    const void* table = nullptr;
    EXPECT_EQ(kMVNoError, Basic().AcquireSuite("Later", 1, &table));
    EXPECT_EQ(&mTable, table);
    Basic().ReleaseSuite("Later", 1);
}

TEST_F(PluginSupport, ThePluginThatPublishesIsTheLibrarysAndHasBeenStarted)
{
    MVPlugin* const plugin = LibraryPlugin();
    ASSERT_NE(nullptr, plugin);
    EXPECT_NE(nullptr, LibraryEntry());
    std::int32_t started = 0;
    EXPECT_EQ(kMVNoError, MVGetPluginStarted(plugin, &started));
    EXPECT_NE(0, started);
    MVWString name = "";
    EXPECT_EQ(kMVNoError, MVGetPluginName(plugin, &name));
    EXPECT_EQ(nullptr, name);
}

TEST_F(PluginSupport, AcquiringAPublishedSuiteAcquiresItsPluginWhichIsInNoFile)
{
    MVPlugin* const plugin = LibraryPlugin();
    MVAccess* access = nullptr;
    std::int32_t before = 0;
    if (MVGetPluginAccess(plugin, &access) == kMVNoError && access != nullptr)
        MVGetAccessCount(access, &before);

    const void* table = nullptr;
    ASSERT_EQ(kMVNoError, Basic().AcquireSuite(kSuite, 3, &table));
    ASSERT_EQ(kMVNoError, MVGetPluginAccess(plugin, &access));
    ASSERT_NE(nullptr, access);
    std::int32_t count = 0;
    EXPECT_EQ(kMVNoError, MVGetAccessCount(access, &count));
    EXPECT_EQ(before + 1, count);
    MVPluginEntry entry = nullptr;
    EXPECT_EQ(kMVNoError, MVGetAccessEntry(access, &entry));
    EXPECT_EQ(LibraryEntry(), entry);
    // Of a plug-in in a file the handle would be null; here the host's bundle is written into what it points to.
    void* record[2] = {nullptr, this};
    MVAccessInfo info = {record, nullptr, 0};
    EXPECT_EQ(kMVNoError, MVGetAccessInfo(access, &info));
    EXPECT_EQ(record, info.handle);

    EXPECT_EQ(kMVNoError, Basic().ReleaseSuite(kSuite, 3));
    EXPECT_EQ(kMVNoError, MVGetAccessCount(access, &count));
    EXPECT_EQ(before, count);
}

TEST_F(PluginSupport, TheBasicSuiteDoesWhatTheHostsOwnDoes)
{
    const MVBasicSuite& basic = Basic();
    EXPECT_EQ(1, basic.IsEqual("a", "a"));
    EXPECT_EQ(0, basic.IsEqual("a", "b"));
    EXPECT_EQ(0, basic.IsEqual(nullptr, "a"));
    void* block = nullptr;
    ASSERT_EQ(kMVNoError, basic.AllocateBlock(10, &block));
    std::memset(block, 1, 10);
    void* larger = nullptr;
    ASSERT_EQ(kMVNoError, basic.ReallocateBlock(block, 1000, &larger));
    EXPECT_EQ(1, static_cast<const char*>(larger)[9]);
    EXPECT_EQ(kMVNoError, basic.FreeBlock(larger));
    EXPECT_EQ(kMVBadParameterError, basic.FreeBlock(nullptr));
    EXPECT_EQ(kMVNoError, basic.Undefined());
    const void* table = this;
    EXPECT_EQ(kMVSuiteNotFoundError, basic.AcquireSuite("No such suite", 1, &table));
    EXPECT_EQ(nullptr, table);
    EXPECT_EQ(kMVSuiteNotFoundError, basic.ReleaseSuite("No such suite", 1));
}

MVResult Seven()
{
    return 7;
}

TEST_F(PluginSupport, OnlyAStartupOfTheInterfaceChangesWhereTheBasicSuiteLeads)
{
    const MVPluginEntry entry = LibraryEntry();
    MVBasicSuite other = {};
    other.Undefined = &Seven;
    MVMessageData message = {};
    message.basic = &other;
    for (const char* const selector :
         {kMVInterfaceShutdownSelector, kMVInterfaceAboutSelector, "startup", ""})
        EXPECT_EQ(kMVNoError, entry(kMVInterfaceCaller, selector, &message)) << selector;
    for (const char* const caller : {kMVAdaptersCaller, kMVPropertiesCaller, "mv interface", ""})
        EXPECT_EQ(kMVNoError, entry(caller, kMVInterfaceStartupSelector, &message)) << caller;
    EXPECT_EQ(kMVNoError, Basic().Undefined());

    const OtherBasicSuite changed(other);
    EXPECT_EQ(7, Basic().Undefined());
}

// What follows is a plug-in of the test, which calls the library within its own start.

struct Plugin
{
    MVResult (*onStartup)() = nullptr;
    int startups = 0;
};
Plugin sPlugin;

MVResult TestEntry(const char* inCaller, const char* inSelector, void*)
{
    const MVBasicSuite& basic = *RK::GetMVBasicSuite();
    if (basic.IsEqual(inCaller, kMVInterfaceCaller) == 0 ||
        basic.IsEqual(inSelector, kMVInterfaceStartupSelector) == 0)
        return kMVNoError;
    ++sPlugin.startups;
    return sPlugin.onStartup();
}

class PluginSupportOfPlugins : public PluginSupport
{
protected:
    PluginSupportOfPlugins() { sPlugin = {}; }
    /// A plug-in that is to supply a suite once it is started.
    void AddPluginFor(const char* inSuite, MVResult (*inOnStartup)())
    {
        sPlugin.onStartup = inOnStartup;
        ASSERT_EQ(kMVNoError, MVAddHostPlugin(nullptr, &TestEntry, nullptr, kMVMoonVetch2Adapter,
                                              nullptr, &sAdded, "Test plug-in"));
        MVSuite* suite = nullptr;
        ASSERT_EQ(kMVNoError, MVAddSuite(nullptr, sAdded, inSuite, 1, 1, nullptr, &suite));
    }
    static MVResult Supply(const char* inSuite)
    {
        MVSuite* suite = nullptr;
        return MVAddSuite(nullptr, sAdded, inSuite, 1, 1, &sPlugin, &suite);
    }
    static MVPlugin* sAdded;
};
MVPlugin* PluginSupportOfPlugins::sAdded = nullptr;

TEST_F(PluginSupportOfPlugins, APluginThatAnAcquireStartsMayCallBack)
{
    AddPluginFor("Lazy",
                 []() -> MVResult
                 {
                     const void* table = nullptr;
                     const MVResult result = Basic().AcquireSuite(kSuite, 3, &table);
                     Basic().ReleaseSuite(kSuite, 3);
                     return result != kMVNoError ? result : Supply("Lazy");
                 });
    const void* table = nullptr;
    EXPECT_EQ(kMVNoError, Basic().AcquireSuite("Lazy", 1, &table));
    EXPECT_EQ(&sPlugin, table);
    EXPECT_EQ(1, sPlugin.startups);
    EXPECT_EQ(kMVNoError, Basic().ReleaseSuite("Lazy", 1));
}

Testing::Gate* sStarting = nullptr;

TEST_F(PluginSupportOfPlugins, WhatAnAcquireRunsOfPluginsHoldsTheLock)
{
    Testing::Gate starting;
    sStarting = &starting;
    AddPluginFor("Slow",
                 []() -> MVResult
                 {
                     sStarting->Pass();
                     return Supply("Slow");
                 });
    std::future<MVResult> acquiring = std::async(std::launch::async,
                                                 []
                                                 {
                                                     const void* table = nullptr;
                                                     return Basic().AcquireSuite("Slow", 1, &table);
                                                 });
    starting.WaitUntilCome(1);
    std::future<std::int32_t> comparing =
        std::async(std::launch::async, [] { return Basic().IsEqual("a", "a"); });
    EXPECT_EQ(std::future_status::timeout, comparing.wait_for(std::chrono::milliseconds(100)));
    starting.Open();
    EXPECT_EQ(kMVNoError, acquiring.get());
    EXPECT_EQ(1, comparing.get());
    Basic().ReleaseSuite("Slow", 1);
}

void* NoMemory(std::size_t, void*)
{
    return nullptr;
}

// The library's table of procedures stays from one start to the next, so that it can be set here.
TEST(PluginSupportWithoutAHost, TheLibraryStartsAndEndsAllTheSameAndPublishesNothing)
{
    MVHostProcs* procs = nullptr;
    {
        const RK::Initializer library;
        ASSERT_EQ(kMVNoError, MVGetRuntimeHostProcs(&procs));
    }
    const auto allocate = procs->internalAllocate;
    procs->internalAllocate = &NoMemory;
    for (int i = 0; i < 2; ++i)
    {
        const RK::Initializer library;
        int table = 0;
        EXPECT_EQ(0, MVInited());
        EXPECT_EQ(kMVNotImplementedError, RK::RegisterSuite("Test Suite", 1, &table));
    }
    EXPECT_EQ(0, MVInited());
    procs->internalAllocate = allocate;
    const RK::Initializer library;
    EXPECT_NE(0, MVInited());
    EXPECT_EQ(1, RK::GetMVBasicSuite()->IsEqual("a", "a"));
}

TEST(PluginSupportWithinAHost, WhatTheApplicationHasBroughtUpOutlivesTheLibrary)
{
    ASSERT_EQ(kMVNoError, MVInit(nullptr, 0, 0));
    for (int i = 0; i < 2; ++i)
    {
        const RK::Initializer library;
        int table = 0;
        EXPECT_EQ(i == 0 ? kMVNoError : kMVSuiteExistsError,
                  RK::RegisterSuite("Test Suite", 1, &table));
    }
    EXPECT_NE(0, MVInited());
    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0, MVInited());
}

} // namespace
