#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "qelcore/Export.h"

namespace qelcore
{
namespace debug
{

// Settings by key, as text, for the life of the process.
//
// Begins with what the environment variable RK_DEBUG holds when the database is first used:
// "key=value;key=value". Keys and values are taken as they stand, blanks at their ends removed; a
// piece without "=" or without a key is passed over, and of two values for one key the last counts.
//
// Keys     Compared exactly.
// Threads  Any function from any thread, before main() and during exit.
// Errors   A value that cannot be read as the type asked for gives the default.
class RK_API DebugDatabase
{
public:
    /// The one database; it is never destroyed.
    static DebugDatabase& Instance();

    std::string GetEntry(const std::string& inKey, const std::string& inDefault) const;

    /// T is bool, int or float.
    /// A bool is true exactly if the entry, or "true" or "false" for the default, equals "true".
    /// An int is a decimal number, with an optional "-", and nothing else. A float is a decimal
    /// number with optional point and exponent, and nothing else; it must be finite.
    template <class T>
    T GetEntryAs(const std::string& inKey, T inDefault) const;

    void SetEntry(const std::string& inKey, const std::string& inValue);
    void RemoveEntry(const std::string& inKey);
    /// Sets what a text in the form of RK_DEBUG says. @return the number of entries read.
    std::size_t SetEntries(const std::string& inSettings);

    using Entry = std::pair<std::string, std::string>;
    /// All entries, by key.
    std::vector<Entry> List() const;

    /// Incremented at every change: an entry that is set to the value that it has is none. Starts
    /// at 0 and is never negative. A change can be read before the count that tells of it is seen.
    std::int32_t ChangeCount() const noexcept { return CurrentChangeCount(); }
    /// The same, without the detour by the instance.
    static std::int32_t CurrentChangeCount() noexcept;

private:
    DebugDatabase();
    ~DebugDatabase();
    struct Impl;
    Impl* const mImpl;
};

template <>
RK_API bool DebugDatabase::GetEntryAs<bool>(const std::string& inKey, bool inDefault) const;
template <>
RK_API int DebugDatabase::GetEntryAs<int>(const std::string& inKey, int inDefault) const;
template <>
RK_API float DebugDatabase::GetEntryAs<float>(const std::string& inKey, float inDefault) const;

} // namespace debug
} // namespace qelcore
