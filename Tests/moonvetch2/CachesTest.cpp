#include "HostFixture.h"
#include "PropertyBytes.h"

namespace
{

using ::testing::ElementsAre;
using Testing::HostFixture;
using Testing::ScriptedPlugin;

constexpr char kPurge[] = "MV Cache: Plug-in Purge";
constexpr char kUnload[] = "MV Access: Unload";

struct Caches : HostFixture
{
    void SetUp() override
    {
        HostFixture::SetUp();
        sAsked = 0;
    }

    /// Of native plug-ins only: they are loaded and at a count of 0 after their first message.
    ScriptedPlugin& AddPurging(MVResult inAnswer)
    {
        ScriptedPlugin& plugin =
            AddScripted(nullptr, [inAnswer](const std::string& inCaller, const std::string&, void*)
                        { return inCaller == kMVCacheCaller ? inAnswer : MVResult{kMVNoError}; });
        Testing::Declare(plugin.plugin, kMVProperty_Capabilities,
                         std::string(1, kMVCapability_Purges));
        return plugin;
    }
    /// A plug-in that is an adapter, loaded, and answers "Flush".
    ScriptedPlugin& AddAdapter(const char* inName, std::int32_t inFlushes)
    {
        ScriptedPlugin& plugin = AddScripted();
        MVAdapter* adapter = nullptr;
        EXPECT_EQ(kMVNoError, MVAddAdapter(nullptr, plugin.plugin, inName, 1, &adapter));
        plugin.answer = [inFlushes](const std::string&, const std::string& inSelector, void* ioData)
        {
            if (inSelector == kMVAdaptersFlushSelector)
            {
                auto* message = static_cast<MVAdaptersMessage*>(ioData);
                EXPECT_EQ(0, message->flushed);
                EXPECT_NE(nullptr, message->flushProc);
                message->flushed = inFlushes;
            }
            return MVResult{kMVNoError};
        };
        return plugin;
    }
    /// Brings adapters into this order; the built-in one comes behind them.
    static void Order(const std::vector<const char*>& inNames)
    {
        MVAdapter* adapter = nullptr;
        for (auto name = inNames.rbegin(); name != inNames.rend(); ++name)
            EXPECT_EQ(kMVNoError, MVFindAdapter(nullptr, *name, &adapter));
    }
    bool IsLoaded(const ScriptedPlugin& inPlugin)
    {
        MVAccess* access = nullptr;
        MVGetPluginAccess(inPlugin.plugin, &access);
        return access != nullptr;
    }
    std::int32_t Flush(MVFlushProc inFlushProc = nullptr)
    {
        std::int32_t flushed = -1;
        EXPECT_EQ(kMVNoError, MVFlushCaches(inFlushProc, &flushed));
        return flushed;
    }

    static inline int sAsked = 0;
};

MVResult KeepAll(const char* inType, MVAccess*, std::int32_t* outFlush)
{
    EXPECT_STREQ(kMVFlushAccessType, inType);
    ++Caches::sAsked;
    *outFlush = 0;
    return kMVNoError;
}

TEST_F(Caches, UnloadsWhatNobodyHolds)
{
    ScriptedPlugin& idle = AddScripted();
    ScriptedPlugin& held = AddScripted();
    MVAccess* access = nullptr;
    ASSERT_EQ(kMVNoError, MVAcquirePlugin(held.plugin, &access));
    ASSERT_TRUE(IsLoaded(idle));

    EXPECT_GT(Flush(), 0);

    EXPECT_EQ(1u, idle.Heard(kUnload));
    EXPECT_FALSE(IsLoaded(idle));
    EXPECT_EQ(0u, held.Heard(kUnload));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(Caches, AsksTheFlushProcAndLeavesWhatItKeeps)
{
    ScriptedPlugin& idle = AddScripted();

    EXPECT_EQ(0, Flush(KeepAll));

    EXPECT_GE(sAsked, 1);
    EXPECT_EQ(0u, idle.Heard(kUnload));
}

TEST_F(Caches, StopsAtTheFirstAdapterThatFlushedSomething)
{
    ScriptedPlugin& last = AddAdapter("Last", 5);
    ScriptedPlugin& middle = AddAdapter("Middle", 3);
    ScriptedPlugin& first = AddAdapter("First", 0);
    Order({"First", "Middle", "Last"});

    EXPECT_EQ(3, Flush());

    EXPECT_EQ(1u, first.Heard("MV Adapters: Flush"));
    EXPECT_EQ(1u, middle.Heard("MV Adapters: Flush"));
    EXPECT_EQ(0u, last.Heard("MV Adapters: Flush"));
}

TEST_F(Caches, PassesByAdaptersThatAreNotLoaded)
{
    ScriptedPlugin& adapter = AddAdapter("Adapter", 3);
    Flush(); // its host answers 3
    std::int32_t flushed = 0;
    adapter.answer = {};
    while (Flush() != 0)
    {
    }
    adapter.heard.clear();
    ASSERT_FALSE(IsLoaded(adapter));

    MVFlushCaches(nullptr, &flushed);

    EXPECT_TRUE(adapter.heard.empty());
}

TEST_F(Caches, GoesOnPastAnAdapterThatIsInAMessage)
{
    ScriptedPlugin& other = AddAdapter("Other", 4);
    ScriptedPlugin& busy = AddAdapter("Busy", 9);
    Order({"Busy", "Other"});
    std::int32_t flushed = -1;
    MVResult result = -1;
    busy.answer = [&](const std::string&, const std::string&, void*)
    {
        result = MVFlushCaches(nullptr, &flushed);
        return MVResult{kMVNoError};
    };
    MVResult answer = kMVNoError;
    MVWString caller = nullptr;
    MVMakeWString(nullptr, kMVInterfaceCaller, &caller);

    ASSERT_EQ(kMVNoError, MVSendMessage(busy.plugin, caller, "Something", nullptr, &answer));

    EXPECT_EQ(kMVNoError, result);
    EXPECT_EQ(4, flushed);
    EXPECT_EQ(1u, other.Heard("MV Adapters: Flush"));
}

TEST_F(Caches, AsksEachAdapterOnceWhateverTheyLookUpMeanwhile)
{
    ScriptedPlugin& one = AddAdapter("One", 0);
    ScriptedPlugin& two = AddAdapter("Two", 0);
    Order({"Two", "One"});
    const auto moveBoth = [](const std::string&, const std::string& inSelector, void*)
    {
        MVAdapter* adapter = nullptr;
        for (const char* name : {"One", "Two", "One"})
        {
            if (inSelector == kMVAdaptersFlushSelector)
                MVFindAdapter(nullptr, name, &adapter);
        }
        return MVResult{kMVNoError};
    };
    one.answer = moveBoth;
    two.answer = moveBoth;

    Flush(KeepAll);

    EXPECT_EQ(1u, one.Heard("MV Adapters: Flush"));
    EXPECT_EQ(1u, two.Heard("MV Adapters: Flush"));
}

TEST_F(Caches, NeedAPlaceForTheCount)
{
    EXPECT_EQ(kMVBadParameterError, MVFlushCaches(nullptr, nullptr));
}

TEST_F(Caches, OfPluginsArePurgedWhereTheyDeclareIt)
{
    ScriptedPlugin& purging = AddPurging(kMVPurgedResult);
    ScriptedPlugin& other = AddScripted();

    EXPECT_EQ(1, Flush(KeepAll));

    EXPECT_EQ(1u, purging.Heard(kPurge));
    EXPECT_EQ(0u, other.Heard(kPurge));
}

TEST_F(Caches, OfPluginsCountOnceAndByTheLastAnswer)
{
    ScriptedPlugin& last = AddPurging(kMVNoError);
    ScriptedPlugin& middle = AddPurging(kMVPurgedResult);
    ScriptedPlugin& first = AddPurging(kMVPurgedResult); // loaded last

    EXPECT_EQ(0, Flush(KeepAll));

    EXPECT_THAT((std::array{first.Heard(kPurge), middle.Heard(kPurge), last.Heard(kPurge)}),
                ElementsAre(1u, 1u, 1u));
}

TEST_F(Caches, MayBeFlushedByAPluginThatIsBeingPurged)
{
    ScriptedPlugin& last = AddPurging(kMVNoError);
    ScriptedPlugin& first = AddPurging(kMVNoError);
    first.answer = [&](const std::string& inCaller, const std::string&, void*)
    {
        std::int32_t flushed = 0;
        if (inCaller == kMVCacheCaller)
            MVFlushCaches(nullptr, &flushed);
        return MVResult{kMVNoError};
    };

    Flush(KeepAll);

    EXPECT_EQ(1u, first.Heard(kPurge));
    EXPECT_LE(last.Heard(kPurge), 1u);
}

} // namespace
