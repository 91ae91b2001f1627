#include "CommandLine.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <string_view>

#include "HostError.h"

namespace RKHost
{

namespace
{

struct DurationUnit
{
    char mName;
    std::int64_t mSeconds;
};
constexpr DurationUnit kDurationUnits[] = {{'d', 86400}, {'h', 3600}, {'m', 60}, {'s', 1}};

template <class T>
bool Read(const std::string& inText, T& outValue)
{
    const char* end = inText.data() + inText.size();
    const auto [stop, error] = std::from_chars(inText.data(), end, outValue);
    return error == std::errc() && stop == end;
}

const OptionRow& RowOf(const Given& inGiven, const std::string& inVerb,
                       const std::vector<OptionRow>& inRows)
{
    const auto row = std::find_if(inRows.begin(), inRows.end(), [&](const OptionRow& inRow)
                                  { return inGiven.mName == inRow.mName; });
    if (row == inRows.end())
        Refuse(inGiven.mCommand, inVerb + " has no option " + inGiven.mName);
    return *row;
}

} // namespace

void Refuse(const std::string& inCommand, const std::string& inText)
{
    throw HostError(kExit_Usage, inText + " (" + inCommand + " --help tells what there is)");
}

int Given::Count(int inLeast) const
{
    int value = 0;
    if (!Read(mValue, value) || value < inLeast)
        Refuse(mCommand, mName + " takes a whole number from " + std::to_string(inLeast) +
                             " up, not '" + mValue + "'");
    return value;
}

double Given::Amount(double inMost) const
{
    double value = 0;
    if (!Read(mValue, value) || !(value > 0 && value <= inMost))
        Refuse(mCommand, mName + " takes a number above 0, not '" + mValue + "'");
    return value;
}

double Given::Percentage() const
{
    double value = 0;
    if (!Read(mValue, value) || !(value >= 0 && value <= 100))
        Refuse(mCommand, mName + " takes a number from 0 to 100, not '" + mValue + "'");
    return value;
}

std::uint64_t Given::Bytes() const
{
    std::uint64_t value = 0;
    if (!ParseByteCount(mValue, value))
        Refuse(mCommand,
               mName + " takes a number of bytes such as 512M or 2G, not '" + mValue + "'");
    return value;
}

std::int64_t Given::Duration() const
{
    std::int64_t value = 0;
    if (!ParseDuration(mValue, value))
        Refuse(mCommand,
               mName + " takes a duration such as 30s, 10m, 2h or 7d, not '" + mValue + "'");
    return value;
}

std::string Given::Text(const char* inWhat) const
{
    if (mValue.empty())
        Refuse(mCommand, mName + " wants " + inWhat);
    return mValue;
}

std::vector<std::string> ParseArguments(const std::string& inCommand, const std::string& inVerb,
                                        const std::vector<OptionRow>& inRows,
                                        const std::vector<std::string>& inArguments)
{
    std::vector<std::string> others;
    for (auto at = inArguments.begin(); at != inArguments.end(); ++at)
    {
        if (*at == "--")
        {
            others.insert(others.end(), at + 1, inArguments.end());
            break;
        }
        if (at->size() < 2 || (*at)[0] != '-')
        {
            others.push_back(*at);
            continue;
        }
        const std::size_t equals = at->find('=');
        Given given{inCommand, at->substr(0, equals), std::string()};
        const OptionRow& row = RowOf(given, inVerb, inRows);
        if (equals != std::string::npos && !row.mHasValue)
            Refuse(inCommand, given.mName + " takes no value");
        if (equals != std::string::npos)
            given.mValue = at->substr(equals + 1);
        else if (row.mHasValue && ++at == inArguments.end())
            Refuse(inCommand, given.mName + " wants a value");
        else if (row.mHasValue)
            given.mValue = *at;
        row.mSet(given);
    }
    return others;
}

bool AsksForHelp(const std::vector<std::string>& inArguments)
{
    for (const std::string& argument : inArguments)
    {
        if (argument == "--")
            return false;
        if (argument == "--help" || argument == "-h")
            return true;
    }
    return false;
}

bool ParseByteCount(const std::string& inText, std::uint64_t& outBytes)
{
    static constexpr std::string_view kUnits = "KMGT";
    std::uint64_t value = 0;
    const char* end = inText.data() + inText.size();
    const auto [stop, error] = std::from_chars(inText.data(), end, value);
    std::string_view unit(stop, static_cast<std::size_t>(end - stop));
    unsigned shift = 0;
    if (!unit.empty())
    {
        const std::size_t power = kUnits.find(unit[0]);
        if (power == std::string_view::npos)
            return false;
        shift = 10 * (static_cast<unsigned>(power) + 1);
        unit.remove_prefix(1);
    }
    const std::uint64_t most = std::numeric_limits<std::int64_t>::max() >> shift;
    if (error != std::errc() || value == 0 || value > most ||
        !(unit.empty() || unit == "B" || unit == "iB"))
        return false;
    outBytes = value << shift;
    return true;
}

bool ParseDuration(const std::string& inText, std::int64_t& outSeconds)
{
    constexpr std::int64_t kMost = std::int64_t{36500} * 86400;
    std::int64_t value = 0;
    if (inText.empty() || !Read(inText.substr(0, inText.size() - 1), value) || value < 0)
        return false;
    for (const DurationUnit& unit : kDurationUnits)
    {
        if (inText.back() == unit.mName && value <= kMost / unit.mSeconds)
        {
            outSeconds = value * unit.mSeconds;
            return true;
        }
    }
    return false;
}

std::string DurationText(std::int64_t inSeconds)
{
    const auto* unit = std::find_if(std::begin(kDurationUnits), std::end(kDurationUnits),
                                    [&](const DurationUnit& inUnit)
                                    { return inSeconds != 0 && inSeconds % inUnit.mSeconds == 0; });
    unit = unit != std::end(kDurationUnits) ? unit : std::prev(unit);
    return std::to_string(inSeconds / unit->mSeconds) + unit->mName;
}

} // namespace RKHost
