#pragma once

// For tests of how plug-ins are loaded, started and called.

#include <string>
#include <utility>
#include <vector>

#include "HostInternals.h"
#include "MVAccess.h"
#include "MVAdapts.h"
#include "MVPlugs.h"
#include "PropertyBytes.h"
#include "Support/FakeCodeLoader.h"

namespace Testing
{

inline const std::string kStartup = "MV Interface: Startup";
inline const std::string kShutdown = "MV Interface: Shutdown";
inline const std::string kReload = "MV Access: Reload";
inline const std::string kUnload = "MV Access: Unload";

/// The host up, with plug-ins of the test in the program (AddScripted) and in files that are none (AddFile).
class PluginsFixture : public HostInternalsFixture
{
protected:
    /// Ordinary, and loaded by the default names of entries.
    ScriptedPlugin& AddFile(const std::string& inPath, ScriptedPlugin::Answer inAnswer = {},
                            std::vector<std::string> inRecords = {})
    {
        const std::size_t index = --mFiles;
        code.AddEntry(inPath, "PluginMain", ScriptedPlugin::EntryOf(index));
        ScriptedPlugin& scripted = ScriptedPlugin::All().at(index);
        scripted.answer = std::move(inAnswer);
        inRecords.push_back(RecordBytes(kMVProperty_CodeEntry, PascalString("")));
        scripted.plugin = AddListed(inPath, inRecords);
        return scripted;
    }
    /// A plug-in of a file, whatever code is there.
    MVPlugin* AddListed(const std::string& inPath, const std::vector<std::string>& inRecords,
                        const char* inAdapter = kMVMoonVetch2Adapter)
    {
        AlignedBytes bytes(ListBytes(inRecords));
        MVPlugin* plugin = nullptr;
        EXPECT_EQ(kMVNoError,
                  MVAddPlugin(nullptr, inPath.c_str(), bytes.List(), inAdapter, nullptr, &plugin));
        return plugin;
    }
    /// An adapter whose host is in the test.
    MVAdapter* AddAdapter(ScriptedPlugin& inHost, const char* inName, bool inV1 = false)
    {
        if (!inV1)
            Declare(inHost.plugin, kMVProperty_Adapter, Word(1));
        MVAdapter* adapter = nullptr;
        EXPECT_EQ(kMVNoError, MVAddAdapter(nullptr, inHost.plugin, inName, 1, &adapter));
        return adapter;
    }
    /// Those of the test in the order in which "Startup" was announced.
    std::vector<MVPlugin*> Started() const
    {
        std::vector<MVPlugin*> started;
        for (const auto& told : app.notified)
        {
            if (told.event == kMVNotifyEvent_StartingPlugin &&
                told.plugin != gMV2Adapter->hostPlugin)
                started.push_back(told.plugin);
        }
        return started;
    }
    static MVResult Send(ScriptedPlugin& inTo, const char* inCaller, const char* inSelector,
                         void* inMessage = nullptr, MVResult* outAnswer = nullptr)
    {
        MVResult answer = kMVNoError;
        const MVResult sent = MVSendMessage(inTo.plugin, inCaller, inSelector, inMessage, &answer);
        if (outAnswer != nullptr)
            *outAnswer = answer;
        return sent;
    }
    static MVAccess* AccessOf(MVPlugin* inPlugin)
    {
        MVAccess* access = nullptr;
        EXPECT_EQ(kMVNoError, MVGetPluginAccess(inPlugin, &access));
        return access;
    }
    static bool IsBroken(const MVPlugin* inPlugin)
    {
        return (inPlugin->flags & kMVPluginFlag_Broken) != 0;
    }

    FakeCodeLoader code;

private:
    std::size_t mFiles = ScriptedPlugin::kMost;
};

} // namespace Testing
