#include <cstring>

#include "HostFixture.h"

namespace
{

using Testing::Application;
using ::testing::Contains;
using ::testing::ElementsAre;
using Testing::HostFixture;
using Testing::ScriptedPlugin;

/// The host is down when each begins.
struct HostLife : ::testing::Test
{
    void SetUp() override
    {
        app.Reset();
        ASSERT_EQ(0, MVInited());
    }
    void TearDown() override
    {
        app.allocationsLeft = -1;
        while (MVInited() != 0)
            ASSERT_EQ(kMVNoError, MVTerm());
        EXPECT_TRUE(app.internalBlocks.empty());
    }

    bool BasicSuiteCanBeAcquired()
    {
        const void* table = nullptr;
        if (MVAcquireSuite(nullptr, kMVBasicSuite, kMVBasicSuiteVersion, 0, &table) != kMVNoError)
            return false;
        return MVReleaseSuite(nullptr, kMVBasicSuite, kMVBasicSuiteVersion, 0) == kMVNoError;
    }

    Application& app = Application::Current();
};

TEST_F(HostLife, HasAVersion)
{
    EXPECT_EQ(0x000B0002, MVVersion());
}

TEST_F(HostLife, NestsAndOnlyTheOutermostPairActs)
{
    EXPECT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));
    MVHostProcs others = {};
    EXPECT_EQ(kMVNoError, MVInit(&others, 0, 1));
    EXPECT_EQ(nullptr, others.allocate); // not looked at

    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_NE(0, MVInited());
    EXPECT_TRUE(BasicSuiteCanBeAcquired());

    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0, MVInited());
    EXPECT_FALSE(BasicSuiteCanBeAcquired());
}

TEST_F(HostLife, AnEndWithoutABeginningIsNothing)
{
    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0, MVInited());

    EXPECT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));
    EXPECT_NE(0, MVInited());
}

TEST_F(HostLife, WithoutATableItHasDefaultsInEverySlotAndBlockDebugIfAskedFor)
{
    ASSERT_EQ(kMVNoError, MVInit(nullptr, 0, 1));

    std::int32_t enabled = 0;
    EXPECT_EQ(kMVNoError, MVGetBlockDebugEnabled(&enabled));
    EXPECT_NE(0, enabled);
    MVHostProcs* procs = nullptr;
    EXPECT_EQ(kMVNoError, MVGetRuntimeHostProcs(&procs));
    void* slots[sizeof(MVHostProcs) / sizeof(void*)];
    static_assert(sizeof slots == sizeof(MVHostProcs));
    std::memcpy(slots, procs, sizeof slots);
    for (std::size_t slot = 1; slot <= 14; ++slot)
        EXPECT_NE(nullptr, slots[slot]) << slot;
    EXPECT_NE(nullptr, slots[16]);
    EXPECT_NE(nullptr, slots[18]);

    void* block = nullptr;
    EXPECT_EQ(kMVNoError, MVGetFirstBlock(&block));
    EXPECT_NE(nullptr, block);

    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(kMVNoError, MVGetFirstBlock(&block));
    EXPECT_EQ(nullptr, block) << "something of the host was not freed";
    EXPECT_EQ(kMVNoError, MVSetBlockDebugEnabled(0));
}

TEST_F(HostLife, TheApplicationsOwnStringPoolIsUsedAndNotFreed)
{
    MVStringPool* pool = nullptr;
    ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, 0)); // fills the slots
    ASSERT_EQ(kMVNoError, MVAllocateStringPool(&pool));
    ASSERT_EQ(kMVNoError, MVTerm());
    app.procs.stringPool = pool;

    ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));
    MVStringPool* used = nullptr;
    EXPECT_EQ(kMVNoError, MVGetRuntimeStringPool(&used));
    EXPECT_EQ(pool, used);
    ASSERT_EQ(kMVNoError, MVTerm());

    EXPECT_EQ(kMVNoError, MVGetRuntimeStringPool(&used));
    EXPECT_EQ(nullptr, used);
    MVWString string = nullptr;
    EXPECT_EQ(kMVNoError, MVMakeWString(pool, kMVAccessCaller, &string));
    EXPECT_STREQ(kMVAccessCaller, string);
    EXPECT_EQ(kMVNoError, MVFreeStringPool(pool));
}

TEST_F(HostLife, LeavesNothingBehindWhereverMemoryRunsOutAtItsStart)
{
    int allocations = 0;
    for (; MVInited() == 0; ++allocations)
    {
        ASSERT_LT(allocations, 1000);
        app.allocationsLeft = allocations;
        const MVResult result = MVInit(&app.procs, 0, 0);
        app.allocationsLeft = -1;
        if (result == kMVNoError)
            break;
        EXPECT_EQ(kMVOutOfMemoryError, result) << allocations;
        EXPECT_EQ(0, MVInited());
        ASSERT_TRUE(app.internalBlocks.empty()) << allocations;
        MVSuiteList* suites = nullptr;
        MVPluginList* plugins = nullptr;
        EXPECT_EQ(kMVNoError, MVGetRuntimeSuiteList(&suites));
        EXPECT_EQ(kMVNoError, MVGetRuntimePluginList(&plugins));
        EXPECT_EQ(nullptr, suites);
        EXPECT_EQ(nullptr, plugins);
    }
    EXPECT_GT(allocations, 20);
    EXPECT_TRUE(BasicSuiteCanBeAcquired());
}

TEST_F(HostLife, CanBeginAgainAfterItsEnd)
{
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, 0));
        EXPECT_TRUE(BasicSuiteCanBeAcquired());
        ASSERT_EQ(kMVNoError, MVTerm());
        EXPECT_TRUE(app.internalBlocks.empty());
    }
}

struct HostEnd : HostFixture
{
};

TEST_F(HostEnd, TellsPluginsInTheirOrder)
{
    std::vector<std::string> told;
    ScriptedPlugin& plugin = AddScripted(
        "a plug-in",
        [&](const std::string& inCaller, const std::string& inSelector, void*)
        {
            told.push_back(inCaller + ": " + inSelector);
            return inCaller == kMVPropertiesCaller ? MVResult{kMVNotImplementedError} : 0;
        });
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    ASSERT_EQ(1u, plugin.Heard("MV Interface: Startup"));
    told.clear();

    ASSERT_EQ(kMVNoError, MVShutdownPlugins());
    ASSERT_EQ(kMVNoError, MVTerm());

    EXPECT_THAT(told, ElementsAre("MV Interface: Shutdown", "MV Access: Unload"));
}

TEST_F(HostEnd, IsRefusedToAPluginThatIsBeingCalled)
{
    MVResult ended = kMVNoError;
    ScriptedPlugin& plugin = AddScripted(nullptr,
                                         [&](const std::string&, const std::string&, void*)
                                         {
                                             ended = MVTerm();
                                             return MVResult{kMVNoError};
                                         });
    MVResult answer = -1;

    EXPECT_EQ(kMVNoError, MVSendMessage(plugin.plugin, "a caller", "ends it", nullptr, &answer));

    EXPECT_EQ(kMVAlreadyInMessageError, ended);
    EXPECT_EQ(kMVNoError, answer);
    EXPECT_EQ(1, MVInited());
}

TEST_F(HostEnd, ThatMeetsAnErrorLeavesTheHostUpAndCanBeTriedAgain)
{
    ScriptedPlugin& foreign = AddScripted();
    MVAdapter* adapter = nullptr;
    ASSERT_EQ(kMVNoError, MVAddAdapter(nullptr, foreign.plugin, "Foreign", 1, &adapter));
    ASSERT_EQ(kMVNoError, MVStartupPlugins());
    ASSERT_EQ(1u, foreign.Heard("MV Adapters: Start up"));
    std::int32_t flushed = 0;
    MVFlushCaches(nullptr, &flushed); // so that its access must be made anew
    app.allocationsLeft = 0;

    EXPECT_EQ(kMVOutOfMemoryError, MVTerm());

    app.allocationsLeft = -1;
    EXPECT_EQ(1, MVInited());
    const void* table = nullptr;
    EXPECT_EQ(kMVNoError, MVBasicAcquireSuite(kMVStringsSuite, kMVStringsSuiteVersion, &table));
    EXPECT_EQ(kMVNoError, MVBasicReleaseSuite(kMVStringsSuite, kMVStringsSuiteVersion));

    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0, MVInited());
    EXPECT_THAT(foreign.heard, Contains("MV Adapters: Dispose info"));
}

} // namespace
