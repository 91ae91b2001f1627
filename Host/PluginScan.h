#pragma once

#include <string>
#include <vector>

#include "EventLoop.h"
#include "PluginCandidates.h"
#include "PluginQuarantine.h"
#include "PluginTrial.h"

namespace RKHost
{

// What becomes of a candidate.
struct PluginVerdict
{
    PluginCandidate mCandidate;
    bool mIsGood = false;
    bool mIsBad = false; ///< neither: it is no plug-in
    std::string mText;
};

// Tries candidates, each in a process of its own, and then starts the good ones together in one more. Whatever does
// harm goes into the quarantine at once.
class PluginScan
{
public:
    /// @param ioQuarantine  borrowed.
    PluginScan(EventLoop& ioLoop, PluginQuarantine& ioQuarantine, double inLimitSeconds);

    void Try(const PluginCandidate& inCandidate);
    /// Starts what is good, again without the one that did harm, until none does.
    /// @throw HostError if it cannot be found out which one that is.
    void StartTogether();

    const std::vector<PluginVerdict>& Verdicts() const { return mVerdicts; }
    /// What the start told of it, to be printed.
    const std::vector<std::string>& StartLines() const { return mStartLines; }
    /// Whether all that is a plug-in is good, and was started.
    bool IsAllWell() const;

private:
    PluginVerdict VerdictOf(const PluginCandidate& inCandidate);
    void Condemn(PluginVerdict& ioVerdict, const std::string& inReason);
    /// @return whether nobody did harm.
    bool StartOnce(const std::vector<PluginVerdict*>& inGood);
    /// Takes what is to be told out of a report. @return the number of the file that came last; inCount if none did.
    std::size_t ReadStart(const std::vector<std::string>& inLines, std::size_t inCount);
    std::vector<PluginVerdict*> Good();

    EventLoop& mLoop;
    PluginQuarantine& mQuarantine;
    const double mLimitSeconds;
    std::vector<PluginVerdict> mVerdicts;
    std::vector<std::string> mStartLines;
    bool mIsSomeSick = false; ///< did not start, though without harm
};

} // namespace RKHost
