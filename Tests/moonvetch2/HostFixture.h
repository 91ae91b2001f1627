#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MoonVetch/Host.h"

namespace Testing
{

/// A result code as it is written: four characters, or a number.
inline std::string CodeText(MVResult inCode)
{
    const auto code = static_cast<std::uint32_t>(inCode);
    const std::string text = {static_cast<char>(code >> 24), static_cast<char>(code >> 16),
                              static_cast<char>(code >> 8), static_cast<char>(code)};
    for (const char character : text)
    {
        if (character < ' ' || character > '~')
            return std::to_string(inCode);
    }
    return "'" + text + "'";
}

/// The application's side of the host: a table of procedures that count the blocks and write down what they are
/// told. One for the process, since the host keeps its table; each test begins with a new state of it.
struct Application
{
    struct Notification
    {
        std::int32_t event;
        MVPlugin* plugin;   ///< of kMVNotifyEvent_StartingPlugin
        std::string path;   ///< of kMVNotifyEvent_StartupNotDelivered
        MVResult error = 0; ///< the same
    };

    MVHostProcs procs = {};
    std::map<void*, std::size_t> blocks;         ///< of plug-ins, by address, with their sizes
    std::map<void*, std::size_t> internalBlocks; ///< of the host itself
    std::vector<MVResult> thrown;
    std::vector<std::string> asserted;
    std::vector<Notification> notified;
    std::vector<std::int32_t> filtered; ///< the events that filterEvent was asked of
    std::int32_t filterAnswer = 1;
    std::function<MVResult()> beforeStartup;     ///< if set
    std::function<bool(MVPlugin*)> mustNotStart; ///< if set
    std::int32_t critical = 0;
    int allocationsLeft = -1; ///< allocations until memory runs out; below 0 it never does

    static Application& Current()
    {
        static Application sApplication;
        return sApplication;
    }

    /// Forgets everything, and gives back what was left allocated.
    void Reset()
    {
        for (const auto& [block, size] : blocks)
            std::free(block);
        for (const auto& [block, size] : internalBlocks)
            std::free(block);
        *this = Application{};
        FillTable();
    }

    bool HasMemory()
    {
        if (allocationsLeft > 0)
            --allocationsLeft;
        else if (allocationsLeft == 0)
            return false;
        return true;
    }

    static void* Allocate(std::map<void*, std::size_t>& ioBlocks, std::size_t inSize)
    {
        if (!Current().HasMemory())
            return nullptr;
        void* block = std::malloc(inSize);
        ioBlocks[block] = inSize;
        return block;
    }
    static void Free(std::map<void*, std::size_t>& ioBlocks, void* inBlock)
    {
        EXPECT_EQ(inBlock == nullptr ? 0u : 1u, ioBlocks.erase(inBlock))
            << "a block is freed that is none";
        std::free(inBlock);
    }
    static void* Reallocate(std::map<void*, std::size_t>& ioBlocks, void* inBlock,
                            std::size_t inSize)
    {
        if (inSize > 0 && !Current().HasMemory())
            return nullptr;
        EXPECT_EQ(inBlock == nullptr ? 0u : 1u, ioBlocks.erase(inBlock))
            << "a block is reallocated that is none";
        if (inSize == 0)
        {
            std::free(inBlock);
            return nullptr;
        }
        void* block = std::realloc(inBlock, inSize);
        ioBlocks[block] = inSize;
        return block;
    }

private:
    static Application& From(void* inHostData) { return *static_cast<Application*>(inHostData); }

    static void Notify(std::int32_t inEvent, void* inData, void* inHostData)
    {
        Notification told{inEvent, nullptr, {}};
        if (inEvent == kMVNotifyEvent_StartingPlugin)
            told.plugin = static_cast<MVPlugin*>(inData);
        if (inEvent == kMVNotifyEvent_StartupNotDelivered)
        {
            const auto* failure = static_cast<const MVStartupFailure*>(inData);
            told.path = failure->file.path;
            told.error = failure->error;
        }
        From(inHostData).notified.push_back(told);
    }

    void FillTable()
    {
        procs.hostData = this;
        procs.allocate = [](std::size_t inSize, void* inHostData)
        { return Allocate(From(inHostData).blocks, inSize); };
        procs.free = [](void* inBlock, void* inHostData)
        { Free(From(inHostData).blocks, inBlock); };
        procs.reallocate = [](void* inBlock, std::size_t inSize, void* inHostData)
        { return Reallocate(From(inHostData).blocks, inBlock, inSize); };
        procs.internalAllocate = [](std::size_t inSize, void* inHostData)
        { return Allocate(From(inHostData).internalBlocks, inSize); };
        procs.internalFree = [](void* inBlock, void* inHostData)
        { Free(From(inHostData).internalBlocks, inBlock); };
        procs.internalReallocate = [](void* inBlock, std::size_t inSize, void* inHostData)
        { return Reallocate(From(inHostData).internalBlocks, inBlock, inSize); };
        procs.startupNotify = Notify;
        procs.assertTrap = [](const char* inText, void* inHostData)
        { From(inHostData).asserted.emplace_back(inText); };
        procs.throwTrap = [](MVResult inCode, void* inHostData)
        { From(inHostData).thrown.push_back(inCode); };
        procs.filterEvent = [](std::int32_t inEvent, void*)
        {
            Current().filtered.push_back(inEvent);
            return Current().filterAnswer;
        };
        procs.beforeStartupHook = []
        { return Current().beforeStartup ? Current().beforeStartup() : kMVNoError; };
        procs.overrideStartup = [](MVPlugin* inPlugin)
        { return Current().mustNotStart && Current().mustNotStart(inPlugin) ? 1 : 0; };
        procs.memoryIsCritical = [] { return Current().critical; };
    }
};

/// A plug-in in the test: it hears messages, and answers what the test says. At most 16 at a time.
struct ScriptedPlugin
{
    using Answer = std::function<MVResult(const std::string& inCaller,
                                          const std::string& inSelector, void* ioMessage)>;

    MVPlugin* plugin = nullptr;
    Answer answer; ///< if set; else success, but a properties message is not answered
    std::vector<std::string> heard; ///< as "caller: selector"

    MVResult Hear(const char* inCaller, const char* inSelector, void* ioMessage)
    {
        heard.push_back(std::string(inCaller) + ": " + inSelector);
        if (answer)
            return answer(inCaller, inSelector, ioMessage);
        return std::string(inCaller) == kMVPropertiesCaller ? kMVNotImplementedError : kMVNoError;
    }
    /// How often it heard a message, in the form of heard.
    std::size_t Heard(const std::string& inMessage) const
    {
        return static_cast<std::size_t>(std::count(heard.begin(), heard.end(), inMessage));
    }

    static constexpr std::size_t kMost = 16;
    static std::array<ScriptedPlugin, kMost>& All()
    {
        static std::array<ScriptedPlugin, kMost> sPlugins;
        return sPlugins;
    }
    /// The entry by which the host calls All()[inIndex].
    static MVPluginEntry EntryOf(std::size_t inIndex)
    {
        return EntriesOf(std::make_index_sequence<kMost>())[inIndex];
    }

private:
    template <std::size_t kIndex>
    static MVResult Entry(const char* inCaller, const char* inSelector, void* ioMessage)
    {
        return All()[kIndex].Hear(inCaller, inSelector, ioMessage);
    }
    template <std::size_t... kIndices>
    static std::array<MVPluginEntry, kMost> EntriesOf(std::index_sequence<kIndices...>)
    {
        return {&Entry<kIndices>...};
    }
};

/// Brings the host up with an Application, and takes it down. All that the host allocates for itself must be back
/// then, but for the blocks of expectedLeft.
class HostFixture : public ::testing::Test
{
protected:
    explicit HostFixture(std::int32_t inFlags = 0)
        : mFlags(inFlags)
    {
    }

    void SetUp() override
    {
        app.Reset();
        for (ScriptedPlugin& plugin : ScriptedPlugin::All())
            plugin = ScriptedPlugin{};
        ASSERT_EQ(kMVNoError, MVInit(&app.procs, 0, mFlags));
    }
    void TearDown() override
    {
        app.allocationsLeft = -1;
        for (ScriptedPlugin& plugin : ScriptedPlugin::All())
            plugin.answer = nullptr; // what it speaks of went with the test's body
        while (MVInited() != 0)
            ASSERT_EQ(kMVNoError, MVTerm());
        EXPECT_EQ(expectedLeft, app.internalBlocks.size());
        EXPECT_TRUE(app.blocks.empty());
    }

    /// A plug-in whose code is in the test, by the built-in adapter.
    ScriptedPlugin& AddScripted(const char* inName = nullptr, ScriptedPlugin::Answer inAnswer = {},
                                const char* inAdapter = kMVMoonVetch2Adapter)
    {
        ScriptedPlugin& scripted = ScriptedPlugin::All().at(mScripted);
        scripted.answer = std::move(inAnswer);
        EXPECT_EQ(kMVNoError, MVAddHostPlugin(nullptr, ScriptedPlugin::EntryOf(mScripted), nullptr,
                                              inAdapter, nullptr, &scripted.plugin, inName));
        ++mScripted;
        return scripted;
    }

    Application& app = Application::Current();
    std::size_t expectedLeft = 0;

private:
    std::int32_t mFlags;
    std::size_t mScripted = 0;
};

} // namespace Testing
