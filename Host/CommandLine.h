#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace RKHost
{

/// @param inCommand  whose "--help" the line names: "rkhost", "rkhost cache manage".
/// @throw HostError with kExit_Usage
[[noreturn]] void Refuse(const std::string& inCommand, const std::string& inText);

// What an option was given, and how it is refused when it makes no sense.
struct Given
{
    std::string mCommand;
    std::string mName;
    std::string mValue;

    int Count(int inLeast) const;
    /// Above 0.
    double Amount(double inMost) const;
    /// From 0 to 100.
    double Percentage() const;
    std::uint64_t Bytes() const;
    /// Seconds; see ParseDuration.
    std::int64_t Duration() const;
    /// @param inWhat  what an empty value lacks.
    std::string Text(const char* inWhat) const;
};

struct OptionRow
{
    const char* mName;
    bool mHasValue;
    std::function<void(const Given&)> mSet;
};

/// Sets the options in inArguments, wherever they stand before "--". A value stands behind "=" or is the
/// next argument.
/// @param inCommand  as for Refuse.
/// @param inVerb     what a refusal calls the command: "play".
/// @return what is no option, in its order.
/// @throw HostError with kExit_Usage
std::vector<std::string> ParseArguments(const std::string& inCommand, const std::string& inVerb,
                                        const std::vector<OptionRow>& inRows,
                                        const std::vector<std::string>& inArguments);

/// Whether "--help" or "-h" stands before "--".
bool AsksForHelp(const std::vector<std::string>& inArguments);

/// Reads "1073741824", "1G", "1GiB" or "1GB", which are all the same: units are of 1024.
/// @return false if it is nothing of the kind, 0, or beyond 2^63 - 1; outBytes is then untouched.
bool ParseByteCount(const std::string& inText, std::uint64_t& outBytes);

/// Reads "90s", "10m", "2h" or "7d": a whole number, 0 among them, and a unit.
/// @return false if it is nothing of the kind, or beyond 36500 days; outSeconds is then untouched.
bool ParseDuration(const std::string& inText, std::int64_t& outSeconds);

/// As ParseDuration reads it, in the largest unit that fits.
std::string DurationText(std::int64_t inSeconds);

} // namespace RKHost
