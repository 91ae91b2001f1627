#include "PluginQuarantine.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <vector>

#include "HostError.h"
#include "Text.h"
#include "WholeFile.h"

namespace RKHost
{

namespace
{

constexpr char kHeading[] = "rkhost: plug-ins in quarantine, version 1";
constexpr std::size_t kMostBytes = std::size_t{64} << 20;

std::vector<std::string> FieldsOf(const std::string& inLine)
{
    std::vector<std::string> fields;
    std::istringstream line(inLine);
    for (std::string field; std::getline(line, field, '\t');)
        fields.push_back(field);
    return fields;
}

template <class Number>
bool ParseNumber(const std::string& inText, Number& outNumber)
{
    std::istringstream text(inText);
    return bool(text >> outNumber) && text.peek() == std::istringstream::traits_type::eof();
}

} // namespace

PluginQuarantine::PluginQuarantine(const std::string& inPath)
    : mPath(inPath)
{
    std::string text;
    if (ReadWholeFile(mPath, kMostBytes, text))
        Parse(text);
}

void PluginQuarantine::Parse(const std::string& inText)
{
    std::istringstream lines(inText);
    std::string line;
    if (!std::getline(lines, line) || line != kHeading)
        throw HostError(kExit_Failure, mPath + ": is no quarantine of plug-ins");
    while (std::getline(lines, line))
        ParseLine(line);
}

void PluginQuarantine::ParseLine(const std::string& inLine)
{
    const std::vector<std::string> fields = FieldsOf(inLine);
    Entry entry;
    if (fields.size() != 6 || !ParseNumber(fields[0], entry.mStamp.mBytes) ||
        !ParseNumber(fields[1], entry.mStamp.mSeconds) ||
        !ParseNumber(fields[2], entry.mStamp.mNanoseconds) ||
        !ParseNumber(fields[3], entry.mStamp.mInode))
        return;
    entry.mReason = FromPrintable(fields[5]);
    mEntries[FromPrintable(fields[4])] = entry;
}

const std::string* PluginQuarantine::ReasonFor(const PluginCandidate& inCandidate)
{
    const auto found = mEntries.find(inCandidate.mPath);
    if (found == mEntries.end())
        return nullptr;
    if (found->second.mStamp == inCandidate.mStamp)
        return &found->second.mReason;
    mEntries.erase(found);
    mLifted[inCandidate.mPath] = true;
    mIsChanged = true;
    return nullptr;
}

void PluginQuarantine::Add(const PluginCandidate& inCandidate, const std::string& inReason)
{
    mEntries[inCandidate.mPath] = {inCandidate.mStamp, inReason};
    mIsChanged = true;
}

void PluginQuarantine::Save()
{
    if (!mIsChanged)
        return;
    std::ostringstream text;
    text << kHeading << "\n";
    for (const auto& [path, entry] : mEntries)
    {
        PluginStamp now;
        if (StampPlugin(path, now))
            text << entry.mStamp.mBytes << "\t" << entry.mStamp.mSeconds << "\t"
                 << entry.mStamp.mNanoseconds << "\t" << entry.mStamp.mInode << "\t"
                 << Printable(path) << "\t" << Printable(entry.mReason) << "\n";
    }
    std::error_code ignored; // the writing tells
    std::filesystem::create_directories(std::filesystem::absolute(mPath).parent_path(), ignored);
    ReplaceWholeFile(mPath, text.str());
    mIsChanged = false;
}

std::string PluginQuarantine::DefaultPath()
{
    const char* const caches = std::getenv("XDG_CACHE_HOME");
    if (caches != nullptr && caches[0] == '/')
        return std::string(caches) + "/rkhost/plugin-quarantine";
    const char* const home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/')
        return std::string(); // a folder of all users would be no place for it
    return std::string(home) + "/.cache/rkhost/plugin-quarantine";
}

} // namespace RKHost
