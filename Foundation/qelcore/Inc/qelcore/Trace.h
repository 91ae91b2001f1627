#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <boost/function.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

// Trace lines: what the library says about itself, by category and level.
//
// Levels    From 0 upwards; the higher, the chattier. Level 0 is for failures that have no other
//           way out.
// Settings  Keys of the debug database (RK_DEBUG in the environment sets them too); each holds the
//           highest level that is on, as a decimal number, and takes effect at once:
//             Trace.<category>  that category
//             Trace             every category without a key of its own
//           -1 turns level 0 off as well. A value that is no number counts as not set.
//           With no key set level 0 is on.
// Where to  The sink that the host has set. Without one: to standard error as soon as any of these
//           keys is set, and nowhere until then, so that the library is silent unless asked. The
//           last lines are kept in memory in any case: see RecentTraceLines().
// Form      "<" thread id "> " "<" category "> " "<" level "> " text "\n", in UTF-8.
// Threads   Everything here may be called from any thread, before main() and during exit.
// Errors    Tracing raises nothing: a line for which there is no memory is lost.
namespace qelcore
{
namespace debug
{

/// Moves whenever an answer of TraceEnabled may have changed; never negative.
RK_API std::int32_t TraceChangeCount() noexcept;

/// @param inFlag  true lets level 0 be on where no key says otherwise; false asks for a key.
RK_API bool TraceEnabled(const char* inCategory, int inLevel, bool inFlag) noexcept;

/// Passes on a finished line, which ends in "\n".
RK_API void Trace(const std::string& inLine) noexcept;

/// The last lines passed to Trace(), oldest first: at most 128, each cut to 1024 bytes.
RK_API std::vector<std::string> RecentTraceLines();

using TraceSink = boost::function<void(const std::string&)>;

/// Sends lines to inSink in place of the one before; an empty one restores the default. The sink is
/// called on the tracing thread with no lock held, by several threads at a time. What it raises is
/// dropped, and what it traces itself is only kept for RecentTraceLines().
/// When this returns the sink before is not running, unless it is the caller.
RK_API void SetTraceSink(const TraceSink& inSink);

/// A number to be written in hexadecimal digits, without a prefix.
struct Hex
{
    explicit Hex(std::uint64_t inNumber) noexcept
        : number(inNumber)
    {
    }
    explicit Hex(std::int32_t inNumber) noexcept
        : number(static_cast<std::uint32_t>(inNumber))
    {
    }
    std::uint64_t number;
};

// Builds one line and passes it to Trace() at its end. A value type of one thread.
class RK_API SafeTraceStream
{
public:
    /// Begins the line with thread, category and level.
    SafeTraceStream(const char* inCategory, int inLevel) noexcept;
    /// Ends the line and traces it.
    ~SafeTraceStream();
    SafeTraceStream(const SafeTraceStream&) = delete;
    SafeTraceStream& operator=(const SafeTraceStream&) = delete;

    /// Null is written as "(null)".
    SafeTraceStream& operator<<(const char* inText) noexcept;
    SafeTraceStream& operator<<(std::string_view inText) noexcept;
    SafeTraceStream& operator<<(const std::string& inText) noexcept;
    SafeTraceStream& operator<<(const UTF8String& inText) noexcept;
    /// Written as UTF-8; an unpaired surrogate becomes U+FFFD.
    SafeTraceStream& operator<<(const UTF16String& inText) noexcept;
    SafeTraceStream& operator<<(const char16_t* inText) noexcept;
    SafeTraceStream& operator<<(char inCharacter) noexcept;
    /// "true" or "false".
    SafeTraceStream& operator<<(bool inValue) noexcept;
    SafeTraceStream& operator<<(int inNumber) noexcept;
    SafeTraceStream& operator<<(unsigned inNumber) noexcept;
    SafeTraceStream& operator<<(long inNumber) noexcept;
    SafeTraceStream& operator<<(unsigned long inNumber) noexcept;
    SafeTraceStream& operator<<(long long inNumber) noexcept;
    SafeTraceStream& operator<<(unsigned long long inNumber) noexcept;
    /// The shortest decimal text that reads back as the same number.
    SafeTraceStream& operator<<(double inNumber) noexcept;
    SafeTraceStream& operator<<(Hex inNumber) noexcept;

private:
    std::string mLine;
};

/// Refreshes the two statics of a trace site. @return whether the site is on.
RK_API bool RefreshTraceSite(std::atomic<std::int32_t>& ioSeenCount, std::atomic<bool>& outEnabled,
                             const char* inCategory, int inLevel) noexcept;

inline bool TraceSiteEnabled(std::atomic<std::int32_t>& ioSeenCount, std::atomic<bool>& ioEnabled,
                             const char* inCategory, int inLevel) noexcept
{
    // The answer was stored before the count, with release: who sees the count sees the answer.
    if (ioSeenCount.load(std::memory_order_acquire) == TraceChangeCount())
        return ioEnabled.load(std::memory_order_relaxed);
    return RefreshTraceSite(ioSeenCount, ioEnabled, inCategory, inLevel);
}

} // namespace debug
} // namespace qelcore

/// One trace site. inText is a chain of operands, "a " << b << " c", and is evaluated only if the
/// category is on at that level. Category and level must be the same at each run of the site.
#define RK_TRACE(inCategory, inLevel, inText)                                                      \
    do                                                                                             \
    {                                                                                              \
        static ::std::atomic<::std::int32_t> sRKTraceSeenCount{-1};                                \
        static ::std::atomic<bool> sRKTraceEnabled{false};                                         \
        if (::qelcore::debug::TraceSiteEnabled(sRKTraceSeenCount, sRKTraceEnabled, inCategory,     \
                                               inLevel))                                           \
            ::qelcore::debug::SafeTraceStream(inCategory, inLevel) << inText;                      \
    } while (false)
