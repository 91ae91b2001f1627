#include "PluginScan.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "HostError.h"
#include "Text.h"

namespace RKHost
{

namespace
{

struct ReportLine
{
    std::string mWord;
    std::string mText;
};

ReportLine Split(const std::string& inLine)
{
    const std::size_t tab = std::min(inLine.find('\t'), inLine.size());
    return {inLine.substr(0, tab), inLine.substr(std::min(tab + 1, inLine.size()))};
}

/// @return false if it is no number below inCount.
bool ParseNumber(const std::string& inText, std::size_t inCount, std::size_t& outNumber)
{
    const char* const end = inText.data() + inText.size();
    const auto parsed = std::from_chars(inText.data(), end, outNumber);
    return parsed.ec == std::errc() && parsed.ptr == end && outNumber < inCount;
}

/// A plug-in can write into the report too: what a terminal obeys does not get there.
std::string Harmless(std::string inLine)
{
    std::replace_if(
        inLine.begin(), inLine.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    return inLine;
}

} // namespace

PluginScan::PluginScan(EventLoop& ioLoop, PluginQuarantine& ioQuarantine, double inLimitSeconds)
    : mLoop(ioLoop)
    , mQuarantine(ioQuarantine)
    , mLimitSeconds(inLimitSeconds)
{
}

void PluginScan::Condemn(PluginVerdict& ioVerdict, const std::string& inReason)
{
    ioVerdict.mIsGood = false;
    ioVerdict.mIsBad = true;
    ioVerdict.mText = inReason;
    mQuarantine.Add(ioVerdict.mCandidate, inReason);
    mQuarantine.Save(); // whatever comes next
}

void PluginScan::Try(const PluginCandidate& inCandidate)
{
    mVerdicts.push_back(VerdictOf(inCandidate));
    if (mQuarantine.WasLifted(inCandidate.mPath))
        mVerdicts.back().mText += " (has changed, and was tried again)";
}

PluginVerdict PluginScan::VerdictOf(const PluginCandidate& inCandidate)
{
    PluginVerdict verdict = {inCandidate, false, false, std::string()};
    if (const std::string* const reason = mQuarantine.ReasonFor(inCandidate))
    {
        verdict.mIsBad = true;
        verdict.mText = "in quarantine: " + *reason;
        return verdict;
    }
    const PluginTrial trial =
        RunPluginTrial(mLoop, {"plugins", "load-one", "--", inCandidate.mPath}, mLimitSeconds, 1);
    const ReportLine line = Split(trial.mLines.empty() ? std::string() : trial.mLines[0]);
    if (!trial.mFailure.empty())
        Condemn(verdict, trial.mFailure + (trial.mLines.empty() ? " when it was loaded"
                                                                : " when it was unloaded"));
    else if (line.mWord == "none")
        verdict.mText = line.mText.empty() ? "no plug-in" : FromPrintable(line.mText);
    else if (line.mWord != "plug-ins")
        Condemn(verdict, line.mWord == "failed" ? FromPrintable(line.mText) : "gave no answer");
    else
    {
        verdict.mIsGood = true;
        verdict.mText = line.mText == "1" ? "good" : "good, " + Printable(line.mText) + " plug-ins";
    }
    return verdict;
}

std::vector<PluginVerdict*> PluginScan::Good()
{
    std::vector<PluginVerdict*> good;
    for (PluginVerdict& verdict : mVerdicts)
    {
        if (verdict.mIsGood)
            good.push_back(&verdict);
    }
    return good;
}

void PluginScan::StartTogether()
{
    while (!StartOnce(Good()))
    {
    }
}

std::size_t PluginScan::ReadStart(const std::vector<std::string>& inLines, std::size_t inCount)
{
    mStartLines.clear();
    mIsSomeSick = false;
    std::size_t at = inCount;
    for (const std::string& text : inLines)
    {
        const ReportLine line = Split(text);
        if (line.mWord == "row")
            mStartLines.push_back(Harmless(line.mText));
        mIsSomeSick = mIsSomeSick || line.mWord == "sick";
        if (line.mWord == "at" && !ParseNumber(line.mText, inCount, at))
            at = inCount;
    }
    return at;
}

bool PluginScan::StartOnce(const std::vector<PluginVerdict*>& inGood)
{
    std::vector<std::string> arguments = {"plugins", "start-all", "--"};
    for (const PluginVerdict* const verdict : inGood)
        arguments.push_back(verdict->mCandidate.mPath);
    const PluginTrial trial =
        RunPluginTrial(mLoop, arguments, mLimitSeconds, 3 * inGood.size() + 3);
    const std::size_t at = ReadStart(trial.mLines, inGood.size());
    if (trial.mFailure.empty())
        return true;
    if (at < inGood.size())
    {
        Condemn(*inGood[at], trial.mFailure + " when it was started with the others");
        return false;
    }
    if (mStartLines.empty())
        throw HostError(kExit_Failure, "starting the plug-ins together: " + trial.mFailure +
                                           ", and it cannot be told which of them did it");
    mStartLines.push_back("when the plug-ins were shut down: " + trial.mFailure);
    mIsSomeSick = true;
    return true;
}

bool PluginScan::IsAllWell() const
{
    return !mIsSomeSick && std::none_of(mVerdicts.begin(), mVerdicts.end(),
                                        [](const PluginVerdict& v) { return v.mIsBad; });
}

} // namespace RKHost
