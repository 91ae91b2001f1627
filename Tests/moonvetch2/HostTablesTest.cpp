#include <cstddef>

#include "HostInternals.h"
#include "MVError.h"
#include "MVStrngs.h"

namespace
{

using ::testing::ElementsAre;
using Testing::HostProcsFixture;

// What plug-ins are compiled against: each place is contract.
static_assert(sizeof(MVMessageData) == 32);
static_assert(offsetof(MVMessageData, MVCheck) == 0);
static_assert(offsetof(MVMessageData, self) == 8);
static_assert(offsetof(MVMessageData, globals) == 16);
static_assert(offsetof(MVMessageData, basic) == 24);

static_assert(sizeof(MVAdaptersMessage) == 152);
static_assert(offsetof(MVAdaptersMessage, data) == 0);
static_assert(offsetof(MVAdaptersMessage, adapter) == 32);
static_assert(offsetof(MVAdaptersMessage, plugin) == 40);
static_assert(offsetof(MVAdaptersMessage, error) == 48);
static_assert(offsetof(MVAdaptersMessage, vendorID) == 52);
static_assert(offsetof(MVAdaptersMessage, propertyKey) == 56);
static_assert(offsetof(MVAdaptersMessage, propertyID) == 60);
static_assert(offsetof(MVAdaptersMessage, property) == 64);
static_assert(offsetof(MVAdaptersMessage, flushProc) == 72);
static_assert(offsetof(MVAdaptersMessage, flushed) == 80);
static_assert(offsetof(MVAdaptersMessage, suiteList) == 88);
static_assert(offsetof(MVAdaptersMessage, suite) == 96);
static_assert(offsetof(MVAdaptersMessage, suitePlugin) == 104);
static_assert(offsetof(MVAdaptersMessage, suiteProcs) == 112);
static_assert(offsetof(MVAdaptersMessage, suiteAcquired) == 120);
static_assert(offsetof(MVAdaptersMessage, caller) == 128);
static_assert(offsetof(MVAdaptersMessage, selector) == 136);
static_assert(offsetof(MVAdaptersMessage, message) == 144);

static_assert(sizeof(MVPropertiesMessage) == 64);
static_assert(offsetof(MVPropertiesMessage, vendorID) == 32);
static_assert(offsetof(MVPropertiesMessage, propertyKey) == 36);
static_assert(offsetof(MVPropertiesMessage, propertyID) == 40);
static_assert(offsetof(MVPropertiesMessage, property) == 48);
static_assert(offsetof(MVPropertiesMessage, refCon) == 56);
static_assert(offsetof(MVPropertiesMessage, cacheable) == 60);

static_assert(sizeof(MVAccessMessage) == 40);
static_assert(offsetof(MVAccessMessage, accessPhase) == 32);

static_assert(sizeof(PIProperty) == 16);
static_assert(offsetof(PIProperty, vendorID) == 0);
static_assert(offsetof(PIProperty, propertyKey) == 4);
static_assert(offsetof(PIProperty, propertyID) == 8);
static_assert(offsetof(PIProperty, propertyLength) == 12);
static_assert(sizeof(PIPropertyList) == 8);
static_assert(offsetof(PIPropertyList, version) == 0);
static_assert(offsetof(PIPropertyList, count) == 4);

static_assert(sizeof(MVFileSpecification) == 380);
static_assert(offsetof(MVFileSpecification, reference) == 300);
static_assert(offsetof(MVStartupFailure, error) == 380);

static_assert(offsetof(MVHostProcs, hostData) == 8 * 0);
static_assert(offsetof(MVHostProcs, allocate) == 8 * 1);
static_assert(offsetof(MVHostProcs, free) == 8 * 2);
static_assert(offsetof(MVHostProcs, reallocate) == 8 * 3);
static_assert(offsetof(MVHostProcs, internalAllocate) == 8 * 4);
static_assert(offsetof(MVHostProcs, internalFree) == 8 * 5);
static_assert(offsetof(MVHostProcs, internalReallocate) == 8 * 6);
static_assert(offsetof(MVHostProcs, startupNotify) == 8 * 7);
static_assert(offsetof(MVHostProcs, shutdownNotify) == 8 * 8);
static_assert(offsetof(MVHostProcs, assertTrap) == 8 * 9);
static_assert(offsetof(MVHostProcs, throwTrap) == 8 * 10);
static_assert(offsetof(MVHostProcs, debugTrap) == 8 * 11);
static_assert(offsetof(MVHostProcs, allocateStringPool) == 8 * 12);
static_assert(offsetof(MVHostProcs, freeStringPool) == 8 * 13);
static_assert(offsetof(MVHostProcs, makeWString) == 8 * 14);
static_assert(offsetof(MVHostProcs, stringPool) == 8 * 15);
static_assert(offsetof(MVHostProcs, filterEvent) == 8 * 16);
static_assert(offsetof(MVHostProcs, beforeStartupHook) == 8 * 17);
static_assert(offsetof(MVHostProcs, overrideStartup) == 8 * 18);
static_assert(offsetof(MVHostProcs, getPluginAccess) == 8 * 19);
static_assert(offsetof(MVHostProcs, memoryIsCritical) == 8 * 20);
static_assert(sizeof(MVHostProcs) == 8 * 21);

constexpr MVResult CodeOf(const char (&inText)[5])
{
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(inText[i]);
    return static_cast<MVResult>(code);
}

static_assert(kMVBadParameterError == CodeOf("Parm"));
static_assert(kMVNotImplementedError == CodeOf("!IMP"));
static_assert(kMVAdapterExistsError == CodeOf("AdEx"));
static_assert(kMVBadAdapterListIteratorError == CodeOf("BdAL"));
static_assert(kMVAdapterNotFoundError == CodeOf("?Adp"));
static_assert(kMVNoHostFileSpecError == CodeOf("AdHo"));
static_assert(kMVAlreadyInMessageError == CodeOf("AISC"));
static_assert(kMVAlreadyReleasedError == CodeOf("AlRl"));
static_assert(kMVCantAcquirePluginError == CodeOf("!Acq"));
static_assert(kMVNeedsNativeAdapterError == CodeOf("NMVP"));
static_assert(kMVHostStoppedStartupError == CodeOf("H!St"));
static_assert(kMVPluginNotFoundError == CodeOf("P!Fd"));
static_assert(kMVBadPluginListIteratorError == CodeOf("PiLI"));
static_assert(kMVBadPropertyListIteratorError == CodeOf("BPrI"));
static_assert(kMVPluginStartedWithoutSuiteError == CodeOf("PiH0"));
static_assert(kMVSuiteNotFoundError == CodeOf("S!Fd"));
static_assert(kMVSuiteExistsError == CodeOf("SExi"));
static_assert(kMVSuiteInternalVersionError == CodeOf("SIVs"));
static_assert(kMVSuiteOverReleasedError == CodeOf("SRel"));
static_assert(kMVBadSuiteListIteratorError == CodeOf("SLIt"));
static_assert(kMVBlockDebugLockedError == CodeOf("!Now"));
static_assert(kMVBlockDebugOffError == CodeOf("!Nbl"));
static_assert(kMVPathError == CodeOf("fbar"));
static_assert(kMVPurgedResult == CodeOf("pFls"));
static_assert(kMVOutOfMemoryError == -148);

struct HostTables : HostProcsFixture
{
};

TEST_F(HostTables, AnErrorIsToldToTheApplicationAndNothingElseHappens)
{
    mvThrow(kMVPathError);
    EXPECT_THAT(app.thrown, ElementsAre(kMVPathError));
}

TEST_F(HostTables, FillingLeavesWhatTheApplicationSupplied)
{
    MVHostProcs procs = app.procs;
    procs.throwTrap = nullptr;
    procs.beforeStartupHook = nullptr;
    procs.memoryIsCritical = nullptr;

    mvFillHostProcs(procs);

    EXPECT_EQ(app.procs.allocate, procs.allocate);
    EXPECT_EQ(app.procs.filterEvent, procs.filterEvent);
    EXPECT_NE(nullptr, procs.throwTrap);
    EXPECT_EQ(nullptr, procs.stringPool);
    EXPECT_EQ(nullptr, procs.beforeStartupHook);
    EXPECT_EQ(nullptr, procs.getPluginAccess);
    EXPECT_EQ(nullptr, procs.memoryIsCritical);
}

TEST_F(HostTables, AnEmptyTableIsFilledWithDefaultsThatDoWhatTheySay)
{
    MVHostProcs procs = {};

    mvFillHostProcs(procs);

    void* block = procs.allocate(10, nullptr);
    block = procs.reallocate(block, 20, nullptr);
    EXPECT_NE(nullptr, block);
    procs.free(block, nullptr);
    block = procs.internalReallocate(procs.internalAllocate(10, nullptr), 20, nullptr);
    EXPECT_NE(nullptr, block);
    procs.internalFree(block, nullptr);
    EXPECT_EQ(1, procs.filterEvent(kMVNotifyEvent_FirstOrdinaryPlugin, nullptr));
    EXPECT_EQ(0, procs.filterEvent(kMVNotifyEvent_StartupNotDelivered, nullptr));
    EXPECT_EQ(0, procs.filterEvent(kMVNotifyEvent_StartingPlugin, nullptr));
    EXPECT_EQ(0, procs.overrideStartup(nullptr));
    procs.startupNotify(kMVNotifyEvent_StartingPlugin, nullptr, nullptr);
    procs.shutdownNotify(0, nullptr, nullptr);
    procs.assertTrap("", nullptr);
    procs.throwTrap(kMVPathError, nullptr);
    procs.debugTrap("", nullptr);
    EXPECT_EQ(&defaultAllocateStringPool, procs.allocateStringPool);
    EXPECT_EQ(&defaultFreeStringPool, procs.freeStringPool);
    EXPECT_EQ(&defaultMakeWString, procs.makeWString);
}

TEST_F(HostTables, AreThereBeforeTheHostIsUp)
{
    gMVHostProcs = &gMVDefaultHostProcs;
    void* block = nullptr;

    EXPECT_EQ(kMVNoError, MVAllocateBlock(8, "", &block));
    EXPECT_EQ(kMVNoError, MVFreeBlock(block));
    mvThrow(kMVPathError);
    EXPECT_EQ(0, mvMemoryIsCritical());
}

TEST_F(HostTables, MemoryIsCriticalWhenTheApplicationSaysSo)
{
    app.critical = 7;
    EXPECT_EQ(7, mvMemoryIsCritical());

    app.procs.memoryIsCritical = nullptr;
    EXPECT_EQ(0, mvMemoryIsCritical());
}

TEST_F(HostTables, TheStringsOfTheHostAreInternedInTheirOrder)
{
    ASSERT_EQ(kMVNoError, MVAllocateStringPool(&gMVStrings));
    static std::vector<std::string> sMade;
    sMade.clear();
    app.procs.makeWString = [](MVStringPool* inPool, const char* inString, MVWString* out)
    {
        sMade.emplace_back(inString);
        return defaultMakeWString(inPool, inString, out);
    };

    mvInternHostStrings();

    EXPECT_THAT(sMade,
                ElementsAre("MV Properties", "Acquire", "Release", "MV Interface", "Startup",
                            "Shutdown", "About", "MV Adapters", "Start up", "Shut down",
                            "Dispose info", "Find property", "Flush", "About", "Acquire Suite",
                            "Release Suite", "Register plugins", "Load plugin", "Release plugin",
                            "Send message", "MV Access", "Reload", "Unload", "Moon Vetch 2 Adapter",
                            "MV Flush Access", "MV Cache", "Plug-in Purge"));
    EXPECT_STREQ("Find property", gPSkMVAdaptersFindPropertySelector);
    EXPECT_STREQ("Plug-in Purge", gPSkMVPluginPurgeCachesSelector);
    EXPECT_EQ(gPSkMVInterfaceAboutSelector, gPSkMVAdaptersAboutSelector); // one text
    MVFreeStringPool(nullptr);
}

} // namespace
