#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <RiverKit/MoonVetch/Host.h>

#include "PluginTrial.h"

namespace RKHost
{

// Starts the listed plug-ins of the process's host, and writes down in which order, why there, what came of it, and
// which suites there were. One at a time, and only in a process that may end: it calls plug-ins once more to hear
// with what they refused.
class PluginStartLog
{
public:
    explicit PluginStartLog(const PluginReport& inReport);
    ~PluginStartLog();
    PluginStartLog(const PluginStartLog&) = delete;
    PluginStartLog& operator=(const PluginStartLog&) = delete;

    /// Numbers count from 0, in the order of these calls.
    void AddFile(const std::string& inPath);
    void Start();
    /// Reports all of it.
    void Tell();

private:
    struct History
    {
        std::vector<std::size_t> mKnownSuites; ///< at each attempt to start it
        MVResult mUndelivered = kMVNoError;
    };
    struct Row
    {
        MVPlugin* mPlugin;
        std::string mState;
        bool mIsSick;
    };

    static void OnNotify(std::int32_t inEvent, void* inData, void*);
    void OnStarting(MVPlugin* inPlugin);
    void SayAt(MVPlugin* inPlugin) const;
    void NoteSuites();
    std::vector<MVPlugin*> Plugins() const;
    std::vector<MVPlugin*> InOrder() const;
    Row RowOf(MVPlugin* inPlugin);
    std::string StateOf(MVPlugin* inPlugin, bool& outIsSick);
    std::string AttemptsOf(const History& inHistory) const;
    void TellRows(const std::vector<std::vector<std::string>>& inRows) const;
    void TellOrder();
    void TellSuites();

    const PluginReport& mReport;
    MVHostProcs* mProcs = nullptr;
    decltype(MVHostProcs::startupNotify) mNotifyBefore = nullptr;
    std::size_t mFileCount = 0;
    std::map<MVPlugin*, std::size_t> mFiles; ///< the number of its file
    std::map<MVPlugin*, History> mHistories;
    std::vector<MVPlugin*> mStarted; ///< as it was first tried with each
    MVPlugin* mStarting = nullptr;
    std::vector<std::string> mSuites; ///< "name version", as they appeared
    MVResult mResult = kMVNoError;
};

} // namespace RKHost
